// What the process framework asks of a member that carries interfaces: the road from libframe to libvumodelapi.
#ifndef SIMSET_PLATFORM_MODELMEMBER_H
#define SIMSET_PLATFORM_MODELMEMBER_H

#include <cstdint>
#include <string>

#include "frame/Process.h"

namespace simset {

class ModelMember : public frame::AppMember {
  public:
    // Waits until the member runs; it may run already. Returns 0 or a status.
    virtual std::int32_t Start() = 0;

    // Fills `interface` with a new reference to the interface called `name`. Returns 0 or a status.
    virtual std::int32_t OpenInterface(boost::shared_ptr<frame::Interface>& interface,
                                       const std::string& name) = 0;
};

}  // namespace simset

#endif
