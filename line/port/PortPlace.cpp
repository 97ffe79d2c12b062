#include "port/PortPlace.h"

#include <fmt/format.h>

#include <filesystem>
#include <regex>

#include "port/PortList.h"

namespace zelline {

std::string PortPlace::Words() const {
    return !path.empty()     ? path
           : !serial.empty() ? fmt::format("USB serial number {}", serial)
                             : fmt::format("USB socket {}", socket);
}

std::string FindPort(const PortPlace& place) {
    if (!place.path.empty()) {
        std::error_code status;
        return std::filesystem::is_character_file(place.path, status) ? place.path : std::string();
    }
    for (const ListedPort& port : ListPorts(false)) {
        if (place.serial.empty() ? IsSocket(port.socket, place.socket) : port.serial == place.serial) {
            return port.path;
        }
    }
    return {};
}

std::string UsbSocketOf(const std::string& device) {
    static const std::regex kInterface("/([0-9]+-[0-9.]+:[0-9.]+)(?=/|$)");
    std::smatch found;
    return std::regex_search(device, found, kInterface) ? found[1].str() : std::string();
}

bool IsSocket(const std::string& socket, const std::string& meant) {
    return !meant.empty() && (socket == meant || socket.substr(0, socket.find(':')) == meant);
}

}  // namespace zelline
