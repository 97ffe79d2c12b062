#include "simset/board/inside/SetNetwork.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

#include "simset/base/Descriptor.h"

namespace simset {
namespace {

sockaddr AddressOf(const char* text) {
    sockaddr_in in{};
    in.sin_family = AF_INET;
    ::inet_pton(AF_INET, text, &in.sin_addr);
    sockaddr out{};
    static_assert(sizeof out == sizeof in);
    std::memcpy(&out, &in, sizeof in);
    return out;
}

ifreq RequestFor(const char* device) {
    ifreq request{};
    std::strncpy(request.ifr_name, device, sizeof request.ifr_name - 1);
    return request;
}

void Call(int fd, unsigned long code, void* argument, const char* what) {
    if (::ioctl(fd, code, argument) != 0) {
        throw SystemError(what);
    }
}

}  // namespace

void SetUpNetwork() {
    const Descriptor fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        throw SystemError("network socket");
    }
    ifreq up = RequestFor("lo");
    up.ifr_flags = IFF_UP | IFF_RUNNING;
    Call(fd.Get(), SIOCSIFFLAGS, &up, "loopback device");

    // The whole network of an address on the loopback device is local, so every host of it would answer: the
    // address gets a network of one host, and a plain route leads to the others, who are not there.
    ifreq address = RequestFor("lo:1");
    address.ifr_addr = AddressOf("192.168.1.1");
    Call(fd.Get(), SIOCSIFADDR, &address, "address 192.168.1.1");
    ifreq mask = RequestFor("lo:1");
    mask.ifr_netmask = AddressOf("255.255.255.255");
    Call(fd.Get(), SIOCSIFNETMASK, &mask, "network mask");

    char device[] = "lo";
    rtentry route{};
    route.rt_dst = AddressOf("192.168.1.0");
    route.rt_genmask = AddressOf("255.255.255.0");
    route.rt_flags = RTF_UP;
    route.rt_dev = device;
    Call(fd.Get(), SIOCADDRT, &route, "route to 192.168.1.0");
}

}  // namespace simset
