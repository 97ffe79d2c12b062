// Our application manager's client over the made-up vendor's.
#include <acme/Runtime.h>

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "qx/AppManagerClientAdapter.h"

namespace {

using qx::appmanager::AppInterface;
using Request = std::int32_t (AppInterface::*)(const std::string&);

// The requests of one text; null: not among them.
Request RequestOf(acme::Wish wish) {
    switch (wish) {
        case acme::Wish::Start:
            return &AppInterface::requestStart;
        case acme::Wish::Stop:
            return &AppInterface::requestStop;
        case acme::Wish::Pause:
            return &AppInterface::requestPause;
        case acme::Wish::Resume:
            return &AppInterface::requestResume;
        case acme::Wish::Suspend:
            return &AppInterface::requestSuspend;
        case acme::Wish::Wakeup:
            return &AppInterface::requestWakeup;
        case acme::Wish::ToFront:
            return &AppInterface::requestForeground;
        case acme::Wish::ToBack:
            return &AppInterface::requestBackground;
        case acme::Wish::Show:
            return &AppInterface::requestShow;
        case acme::Wish::Hide:
            return &AppInterface::requestHide;
        case acme::Wish::Reload:
            return &AppInterface::requestReload;
        case acme::Wish::Language:
            return &AppInterface::requestLanguageChange;
        case acme::Wish::Country:
            return &AppInterface::requestCountryChange;
        case acme::Wish::Display:
            return &AppInterface::requestDisplayChange;
        case acme::Wish::Focus:
            return &AppInterface::requestFocus;
        case acme::Wish::Unfocus:
            return &AppInterface::requestUnfocus;
        case acme::Wish::Status:
            return &AppInterface::requestStatus;
        case acme::Wish::Data:
        case acme::Wish::Message:
            break;
    }
    return nullptr;
}

class ApplicationJoint : public acme::Application {
  public:
    explicit ApplicationJoint(boost::shared_ptr<AppInterface> ours) : m_ours(std::move(ours)) {}
    int wish(acme::Wish what, const std::string& first, const std::string& second) override {
        if (what == acme::Wish::Data) {
            return m_ours->requestUserData(first, second);
        }
        if (what == acme::Wish::Message) {
            return m_ours->requestMessage(first, second);
        }
        return (*m_ours.*RequestOf(what))(first);
    }
    int key(int code, bool released) override { return m_ours->onKeyEvent({code, released ? 1 : 0}); }
    std::string identity() override { return m_ours->getAppId(); }

  private:
    boost::shared_ptr<AppInterface> m_ours;
};

class ExampleClient final : public qx::apmclient::AppManagerClientAdapter {
  public:
    explicit ExampleClient(acme::Manager& manager) : m_manager(manager) {}
    std::int32_t registerApp(const std::string& appId,
                             const boost::shared_ptr<AppInterface>& application) override {
        const std::lock_guard lock(m_mutex);
        auto& joint = m_applications[appId] = std::make_unique<ApplicationJoint>(application);
        return m_manager.enroll(appId.c_str(), joint.get());
    }
    std::int32_t notifyAppStatusInfo(const std::string& appId, std::int32_t status) override {
        return m_manager.tell(appId.c_str(), status);
    }
    std::int32_t unRegisterApp(const std::string& appId) override {
        const int status = m_manager.dismiss(appId.c_str());  // calls nothing of it any more
        const std::lock_guard lock(m_mutex);
        m_applications.erase(appId);
        return status;
    }

  private:
    acme::Manager& m_manager;
    std::mutex m_mutex;
    std::map<std::string, std::unique_ptr<ApplicationJoint>> m_applications;
};

}  // namespace

std::int32_t qx::apmclient::AppManagerClientAdapter::setRpcEnv() {
    return acme::Manager::prepare();
}

qx::apmclient::AppManagerClientAdapter* qx::apmclient::AppManagerClientAdapter::getInstance() {
    acme::Manager* const manager = acme::Manager::get();
    static ExampleClient* const client = manager == nullptr ? nullptr : new ExampleClient(*manager);
    return client;
}
