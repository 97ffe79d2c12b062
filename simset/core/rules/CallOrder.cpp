#include "simset/core/rules/CallOrder.h"

#include "simset/base/Status.h"

namespace simset {

namespace {

constexpr std::int32_t kRunning = 1;
constexpr std::int32_t kStopped = 4;
constexpr char kManagerOrder[] = "manager-call-order";

}  // namespace

std::optional<Broken> AuxiliaryOrder::Init(std::int32_t status) {
    m_asked = true;
    if (m_initialised) {
        return Broken{"auxiliary-initialised-once", "init_factory_aux once in the life of the application"};
    }
    m_initialised = status == kOk;
    return std::nullopt;
}

std::optional<Broken> AuxiliaryOrder::Use() const {
    if (m_asked) {
        return std::nullopt;
    }
    return Broken{"auxiliary-before-init", "init_factory_aux before every other call of the library"};
}

std::optional<Broken> ManagerOrder::SetRpcEnv() {
    if (m_rpc) {
        return Broken{kManagerOrder, "setRpcEnv once"};
    }
    m_rpc = true;
    return std::nullopt;
}

std::optional<Broken> ManagerOrder::GetInstance() const {
    return m_rpc ? std::nullopt : std::optional<Broken>({kManagerOrder, "setRpcEnv before getInstance"});
}

std::optional<Broken> ManagerOrder::Register(const std::string& identity, std::int32_t status) {
    std::optional<Broken> broken;
    if (m_registered) {
        broken = Broken{kManagerOrder, "one registration until unRegisterApp"};
    } else if (!m_identity.empty() && identity != m_identity) {
        broken = Broken{"manager-identity", "the identity \"" + m_identity + "\""};
    }
    if (status == kOk) {
        m_registered = true;
        m_lastStatus = 0;
        if (m_identity.empty()) {
            m_identity = identity;
        }
    }
    return broken;
}

std::optional<Broken> ManagerOrder::Notify(const std::string& identity, std::int32_t value) {
    if (m_startCrossesStop && identity == m_identity && value == kRunning && m_lastStatus == kStopped) {
        return std::nullopt;
    }
    const bool first = m_lastStatus == 0 && !m_startCrossesStop;
    m_lastStatus = value;
    if (auto broken = JudgeIdentity(identity, "notifyAppStatusInfo")) {
        return broken;
    }
    if (value != kRunning && value != kStopped) {
        return Broken{"manager-status", "status 1 (running) or 4 (stopped)"};
    }
    if (first && value != kRunning) {
        return Broken{kManagerOrder, "status 1 (running) as the first after registerApp"};
    }
    return std::nullopt;
}

std::optional<Broken> ManagerOrder::Unregister(const std::string& identity) {
    auto broken = JudgeIdentity(identity, "unRegisterApp");
    if (!broken && m_lastStatus != kStopped) {
        broken = Broken{kManagerOrder, "status 4 (stopped) before unRegisterApp"};
    }
    if (identity == m_identity) {
        m_registered = false;
    }
    return broken;
}

std::optional<Broken> ManagerOrder::Stopped() const {
    if (!m_registered) {
        return std::nullopt;
    }
    return Broken{"manager-unregistration", "unRegisterApp before requestStop returns"};
}

std::optional<Broken> ManagerOrder::Ended() const {
    if (!m_registered || m_lastStatus != 0) {
        return std::nullopt;
    }
    return Broken{kManagerOrder, "status 1 (running) after registerApp"};
}

std::optional<Broken> ManagerOrder::JudgeIdentity(const std::string& identity, const char* call) const {
    if (!m_registered) {
        return Broken{kManagerOrder, std::string("registerApp before ") + call};
    }
    if (identity != m_identity) {
        return Broken{"manager-identity", "the identity \"" + m_identity + "\""};
    }
    return std::nullopt;
}

}  // namespace simset
