// Platform contract: what the application manager asks of an application.
#ifndef QX_APPINTERFACE_H
#define QX_APPINTERFACE_H

#include <cstdint>
#include <string>

namespace qx {
namespace appmanager {

// A remote-control or panel key.
struct KeyEvent {
    std::int32_t keyCode = 0;  // the set's key code, for example 70 for the power key
    std::int32_t keyType = 0;  // 0 pressed; other values are the manager's own
};

// Implemented by the application, called by the application manager's client library on threads of its own.
// The order of the operations is the library's and part of the contract. Every request handler returns 0 when
// it took the request.
class AppInterface {
  public:
    virtual ~AppInterface() = default;

    virtual std::int32_t requestStart(const std::string& arguments) = 0;
    virtual std::int32_t requestStop(const std::string& arguments) = 0;
    virtual std::int32_t requestPause(const std::string& arguments) = 0;
    virtual std::int32_t requestResume(const std::string& arguments) = 0;
    virtual std::int32_t requestSuspend(const std::string& arguments) = 0;
    virtual std::int32_t requestWakeup(const std::string& arguments) = 0;
    virtual std::int32_t requestForeground(const std::string& arguments) = 0;
    virtual std::int32_t requestBackground(const std::string& arguments) = 0;
    virtual std::int32_t requestShow(const std::string& arguments) = 0;
    virtual std::int32_t requestHide(const std::string& arguments) = 0;
    virtual std::int32_t requestReload(const std::string& arguments) = 0;
    virtual std::int32_t requestLanguageChange(const std::string& language) = 0;
    virtual std::int32_t requestCountryChange(const std::string& country) = 0;
    virtual std::int32_t requestDisplayChange(const std::string& display) = 0;
    virtual std::int32_t requestUserData(const std::string& name, const std::string& data) = 0;
    virtual std::int32_t requestMessage(const std::string& sender, const std::string& message) = 0;
    virtual std::int32_t onKeyEvent(const KeyEvent& event) = 0;
    virtual std::string getAppId() = 0;
    virtual std::int32_t requestFocus(const std::string& arguments) = 0;
    virtual std::int32_t requestUnfocus(const std::string& arguments) = 0;
    virtual std::int32_t requestStatus(const std::string& arguments) = 0;
};

}  // namespace appmanager
}  // namespace qx

#endif
