#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "qx/AppManagerClientAdapter.h"
#include "simset/base/Status.h"
#include "simset/platform/Client.h"

namespace qx {
namespace apmclient {

namespace {

using nlohmann::json;
using Application = boost::shared_ptr<appmanager::AppInterface>;

class SimulatedAdapter final : public AppManagerClientAdapter {
  public:
    SimulatedAdapter() : m_channel([this](const json& event) { Deliver(event); }) {}

    std::int32_t registerApp(const std::string& appId, const Application& application) override {
        if (!application) {
            return simset::kBadRequest;
        }
        std::string client;
        std::int32_t status = m_channel.Open(client);
        if (status != simset::kOk) {
            return status;
        }
        // Known here before the manager knows it: its first event may come at once.
        Application before = Exchange(appId, application);
        status = simset::AskStatus({{"op", "apm-register"}, {"client", client}, {"appId", appId}});
        if (status != simset::kOk) {
            Exchange(appId, before);
        }
        return status;
    }

    std::int32_t notifyAppStatusInfo(const std::string& appId, std::int32_t status) override {
        return simset::AskStatus({{"op", "apm-status"}, {"appId", appId}, {"value", status}});
    }

    std::int32_t unRegisterApp(const std::string& appId) override {
        const std::int32_t status = simset::AskStatus({{"op", "apm-unregister"}, {"appId", appId}});
        if (status == simset::kOk) {
            Exchange(appId, {});
        }
        return status;
    }

  private:
    // Puts `application` in the place of the one that is returned; an empty one is none.
    Application Exchange(const std::string& appId, const Application& application) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Application before = m_applications[appId];
        m_applications[appId] = application;
        return before;
    }

    static std::int32_t Call(appmanager::AppInterface& application, const json& event) {
        if (event.at("event") == "key") {
            appmanager::KeyEvent key;
            key.keyCode = event.at("code").get<std::int32_t>();
            key.keyType = event.at("type").get<std::int32_t>();
            return application.onKeyEvent(key);
        }
        const auto request = event.at("request").get<std::string>();
        const auto texts = event.at("texts").get<std::vector<std::string>>();
        if (request == "getAppId") {
            return application.getAppId() == event.at("appId") ? simset::kOk : simset::kBadRequest;
        }
        if (request == "requestUserData") {
            return application.requestUserData(texts.at(0), texts.at(1));
        }
        if (request == "requestMessage") {
            return application.requestMessage(texts.at(0), texts.at(1));
        }
        using Handler = std::int32_t (appmanager::AppInterface::*)(const std::string&);
        using App = appmanager::AppInterface;
        static const std::map<std::string, Handler> kHandlers = {
            {"requestStart", &App::requestStart},
            {"requestStop", &App::requestStop},
            {"requestPause", &App::requestPause},
            {"requestResume", &App::requestResume},
            {"requestSuspend", &App::requestSuspend},
            {"requestWakeup", &App::requestWakeup},
            {"requestForeground", &App::requestForeground},
            {"requestBackground", &App::requestBackground},
            {"requestShow", &App::requestShow},
            {"requestHide", &App::requestHide},
            {"requestReload", &App::requestReload},
            {"requestLanguageChange", &App::requestLanguageChange},
            {"requestCountryChange", &App::requestCountryChange},
            {"requestDisplayChange", &App::requestDisplayChange},
            {"requestFocus", &App::requestFocus},
            {"requestUnfocus", &App::requestUnfocus},
            {"requestStatus", &App::requestStatus},
        };
        return (application.*kHandlers.at(request))(texts.at(0));
    }

    void Deliver(const json& event) {
        Application application;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            application = m_applications[event.at("appId").get<std::string>()];
        }
        std::int32_t result = simset::kNotConnected;
        if (application) {
            result = Call(*application, event);
            // Let go before anybody learns that the event has been taken.
            application.reset();
        }
        simset::Ask({{"op", "apm-delivered"}, {"delivery", event.at("delivery")}, {"result", result}});
    }

    simset::EventChannel m_channel;
    std::mutex m_mutex;
    std::map<std::string, Application> m_applications;
};

}  // namespace

std::int32_t AppManagerClientAdapter::setRpcEnv() {
    return simset::AskStatus({{"op", "apm-rpc"}});
}

AppManagerClientAdapter* AppManagerClientAdapter::getInstance() {
    // Events may still come while the process exits: never destroyed.
    static SimulatedAdapter* const adapter = new SimulatedAdapter;
    return simset::AskStatus({{"op", "apm-adapter"}}) == simset::kOk ? adapter : nullptr;
}

}  // namespace apmclient
}  // namespace qx
