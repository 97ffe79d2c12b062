// The serial device of the factory link, by file descriptor.
#ifndef ZELFAC_SUPPORT_SERIALPORT_H
#define ZELFAC_SUPPORT_SERIALPORT_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace zel {

// Opens `path` for reading and writing, without making it the controlling terminal and without waiting for a
// carrier, then lets reads block. Returns the descriptor, -1 on failure.
int OpenSerialPort(const char* path);

// 115200 baud, 8 data bits, no parity, one stop bit, no flow control, raw; a read returns after 0.5 s of silence.
void ConfigureSerialPort(int descriptor);

// read(2): blocks until bytes are there or the line has been silent for 0.5 s (0). -1 on an error.
ssize_t ReadSerialPort(int descriptor, std::uint8_t* bytes, std::size_t size);

// write(2) in one call.
ssize_t WriteSerialPort(int descriptor, const std::uint8_t* bytes, std::size_t size);

void CloseSerialPort(int descriptor);

}  // namespace zel

#endif
