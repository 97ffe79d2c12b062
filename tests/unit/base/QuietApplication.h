// An application that answers every request of the application manager with 0, to derive from.
#ifndef TESTS_BASE_QUIETAPPLICATION_H
#define TESTS_BASE_QUIETAPPLICATION_H

#include <cstdint>
#include <string>

#include "qx/AppManagerClientAdapter.h"

namespace tests {

class QuietApplication : public qx::appmanager::AppInterface {
  public:
    std::int32_t requestStart(const std::string&) override { return 0; }
    std::int32_t requestStop(const std::string&) override { return 0; }
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
    std::int32_t onKeyEvent(const qx::appmanager::KeyEvent&) override { return 0; }
    std::int32_t requestFocus(const std::string&) override { return 0; }
    std::int32_t requestUnfocus(const std::string&) override { return 0; }
    std::int32_t requestStatus(const std::string&) override { return 0; }
};

}  // namespace tests

#endif
