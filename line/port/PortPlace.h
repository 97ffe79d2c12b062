// Where a serial port is, in ways that outlast its being plugged in again.
#ifndef ZELLINE_PORT_PORTPLACE_H
#define ZELLINE_PORT_PORTPLACE_H

#include <string>

namespace zelline {

// One of the three is given, the others are empty.
struct PortPlace {
    std::string path;    // a device, or a link to one
    std::string serial;  // the serial number of the USB adapter
    std::string
        socket;  // of the hub, as the kernel names it: "1-1.4", or "1-1.4:1.0" for an adapter of several ports

    // For people.
    std::string Words() const;
};

// The path of the port at that place; empty when there is none at this moment. Any thread may call.
std::string FindPort(const PortPlace& place);

// The socket of the USB device that `device`, a path below /sys/devices, belongs to, with its interface; empty
// when it belongs to none.
std::string UsbSocketOf(const std::string& device);

// Whether `socket`, as UsbSocketOf has it, is the one that is meant; it may be meant without its interface.
bool IsSocket(const std::string& socket, const std::string& meant);

}  // namespace zelline

#endif
