// Platform contract: the client of the set's application manager.
#ifndef QX_APPMANAGERCLIENTADAPTER_H
#define QX_APPMANAGERCLIENTADAPTER_H

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include "qx/AppInterface.h"

namespace qx {
namespace apmclient {

// All operations may be called from any thread and return 0 on success, else a code of the library.
class AppManagerClientAdapter {
  public:
    // Prepares the remote calls of the process; to be called once, before getInstance.
    static std::int32_t setRpcEnv();

    // The one adapter of the process, owned by the library; null when the manager cannot be reached.
    static AppManagerClientAdapter* getInstance();

    // Makes `application` known under `appId`. The library keeps a reference until unRegisterApp.
    virtual std::int32_t registerApp(const std::string& appId,
                                     const boost::shared_ptr<appmanager::AppInterface>& application) = 0;

    // Tells the manager the application's state: 1 running, 4 stopped.
    virtual std::int32_t notifyAppStatusInfo(const std::string& appId, std::int32_t status) = 0;

    virtual std::int32_t unRegisterApp(const std::string& appId) = 0;

  protected:
    ~AppManagerClientAdapter() = default;
};

}  // namespace apmclient
}  // namespace qx

#endif
