// The application as the application manager sees it.
#ifndef ZELFAC_TEST_ADAPTER_APPLICATIONTEST_H
#define ZELFAC_TEST_ADAPTER_APPLICATIONTEST_H

#include <atomic>
#include <cstdint>
#include <string>

#include "qx/AppInterface.h"
#include "qx/AppManagerClientAdapter.h"

// The manager's client, set by main before it registers; null until then and when there is none.
inline std::atomic<qx::apmclient::AppManagerClientAdapter*> s_appManagerClientAdapter{nullptr};

// Takes keys and the stop request; accepts (0) whatever else the manager asks and does nothing about it. Called on
// the client library's threads; has no data of its own.
class ApplicationTest : public qx::appmanager::AppInterface {
  public:
    inline static const std::string appId = "ZelFactory_Eu4K";

    std::int32_t requestStart(const std::string&) override { return 0; }
    // Tells the manager that the application has stopped and takes it off its list. The process goes on.
    std::int32_t requestStop(const std::string& arguments) override;
    std::int32_t requestPause(const std::string&) override { return 0; }
    std::int32_t requestResume(const std::string&) override { return 0; }
    std::int32_t requestSuspend(const std::string&) override { return 0; }
    std::int32_t requestWakeup(const std::string&) override { return 0; }
    std::int32_t requestForeground(const std::string&) override { return 0; }
    std::int32_t requestBackground(const std::string&) override { return 0; }
    std::int32_t requestShow(const std::string&) override { return 0; }
    std::int32_t requestHide(const std::string&) override { return 0; }
    std::int32_t requestReload(const std::string&) override { return 0; }
    std::int32_t requestLanguageChange(const std::string&) override { return 0; }
    std::int32_t requestCountryChange(const std::string&) override { return 0; }
    std::int32_t requestDisplayChange(const std::string&) override { return 0; }
    std::int32_t requestUserData(const std::string&, const std::string&) override { return 0; }
    std::int32_t requestMessage(const std::string&, const std::string&) override { return 0; }
    // Reports keys to the line in factory mode. The power key ends aging and USB update mode for good and restarts
    // the set.
    std::int32_t onKeyEvent(const qx::appmanager::KeyEvent& event) override;
    std::string getAppId() override { return appId; }
    std::int32_t requestFocus(const std::string&) override { return 0; }
    std::int32_t requestUnfocus(const std::string&) override { return 0; }
    std::int32_t requestStatus(const std::string&) override { return 0; }
};

#endif
