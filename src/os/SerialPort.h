// The serial device of the factory link, by file descriptor. Callable from any thread; whoever writes from several
// threads keeps their frames apart with a lock.
#ifndef ZELFAC_OS_SERIALPORT_H
#define ZELFAC_OS_SERIALPORT_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace zel {

// Opens `path` for reading and writing, without making it the controlling terminal and without waiting for a
// carrier, then lets reads block. Returns the descriptor, -1 on failure.
int OpenSerialPort(const char* path);

// 115200 baud, 8 data bits, no parity, one stop bit, no flow control, raw; a read returns after 0.5 s of silence.
// What the device refuses is not seen: a descriptor that is no serial line stays as it is.
void ConfigureSerialPort(int descriptor);

// read(2) of 1 to `size` bytes: blocks until bytes are there or the line has been silent for 0.5 s (0). -1 on an
// error, and when nothing came clearly before the silence had lasted: a line that has hung up says so at once,
// every time.
ssize_t ReadSerialPort(int descriptor, std::uint8_t* bytes, std::size_t size);

// write(2) of `size` bytes in one call; blocks while the line is slower. Returns the bytes taken, -1 on an error.
ssize_t WriteSerialPort(int descriptor, const std::uint8_t* bytes, std::size_t size);

// Closes the port; the descriptor is not to be used again.
void CloseSerialPort(int descriptor);

}  // namespace zel

#endif
