// Platform contract: the process framework, through which the business members of the set are reached.
#ifndef FRAME_PROCESS_H
#define FRAME_PROCESS_H

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>

namespace vumodelapi {
class RootInterface;
}

namespace frame {

// An application member that the framework runs inside the process; made by a factory function.
class AppMember {
  public:
    virtual ~AppMember() = default;
};

using AppMemberFactory = AppMember* (*)();

// A named interface of the set's middleware. Releasing the last reference drops every connection made through
// it, and waits for notifications that are being delivered on them.
class Interface {
  public:
    virtual ~Interface() = default;

    // The root of the TV model, owned by this interface; null when the interface has none.
    virtual vumodelapi::RootInterface* getRootInterface() = 0;
};

// The process as the framework sees it. All operations may be called from any thread.
class Process {
  public:
    // The one process object; never null, never destroyed.
    static Process* getInstance();

    // Starts the members that `factory` makes and waits until they run. Starting members that already run is
    // allowed. Returns 0, or the framework's status.
    virtual std::int32_t startAppMembersSync(AppMemberFactory factory) = 0;

    // Fills `interface` with a reference of its own to the interface called `name`. Returns 0, or the
    // framework's status with `interface` untouched. A status 0 does not promise a reference: it may be null.
    virtual std::int32_t getInterfaceReference(boost::shared_ptr<Interface>& interface,
                                               const std::string& name) = 0;

  protected:
    ~Process() = default;
};

}  // namespace frame

// The model library's factory of the business proxy, for Process::startAppMembersSync.
frame::AppMember* CreateBizProxy();

#endif
