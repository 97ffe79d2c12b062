// The application as the application manager sees it.
#ifndef ZELFAC_TEST_ADAPTER_APPLICATIONTEST_H
#define ZELFAC_TEST_ADAPTER_APPLICATIONTEST_H

#include <atomic>
#include <cstdint>
#include <string>

#include "qx/AppInterface.h"
#include "qx/AppManagerClientAdapter.h"

// The manager's client, set by main before it registers; null until then and when there is none.
extern std::atomic<qx::apmclient::AppManagerClientAdapter*> s_appManagerClientAdapter;

// Takes keys and the stop request; accepts (0) whatever else the manager asks and does nothing about it. Called on
// the client library's threads; has no data of its own.
class ApplicationTest : public qx::appmanager::AppInterface {
  public:
    static const std::string appId;

    std::int32_t requestStart(const std::string& arguments) override;
    // Tells the manager that the application has stopped and takes it off its list. The process goes on.
    std::int32_t requestStop(const std::string& arguments) override;
    std::int32_t requestPause(const std::string& arguments) override;
    std::int32_t requestResume(const std::string& arguments) override;
    std::int32_t requestSuspend(const std::string& arguments) override;
    std::int32_t requestWakeup(const std::string& arguments) override;
    std::int32_t requestForeground(const std::string& arguments) override;
    std::int32_t requestBackground(const std::string& arguments) override;
    std::int32_t requestShow(const std::string& arguments) override;
    std::int32_t requestHide(const std::string& arguments) override;
    std::int32_t requestReload(const std::string& arguments) override;
    std::int32_t requestLanguageChange(const std::string& language) override;
    std::int32_t requestCountryChange(const std::string& country) override;
    std::int32_t requestDisplayChange(const std::string& display) override;
    std::int32_t requestUserData(const std::string& name, const std::string& data) override;
    std::int32_t requestMessage(const std::string& sender, const std::string& message) override;
    // Reports keys to the line in factory mode. The power key ends aging and USB update mode for good and restarts
    // the set.
    std::int32_t onKeyEvent(const qx::appmanager::KeyEvent& event) override;
    std::string getAppId() override;
    std::int32_t requestFocus(const std::string& arguments) override;
    std::int32_t requestUnfocus(const std::string& arguments) override;
    std::int32_t requestStatus(const std::string& arguments) override;
};

#endif
