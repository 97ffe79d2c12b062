#include "model/ModelCycle.h"

#include "model/ModelKeys.h"

namespace zel {

void LogCycleFailure(const char* text, const char* operation, int line, std::int32_t status) {
    if (text == nullptr) {
        LogPrint("getInterfaceReference failed, %s %d ret = %d\n", operation, line, status);
    } else {
        LogPrint("%s, ret = %d\n", text, status);
    }
}

ModelSession::ModelSession(const CallSite& site) {
    const std::int32_t started = frame::Process::getInstance()->startAppMembersSync(CreateBizProxy);
    if (started != 0) {
        LogPrint("Start biz proxy failed, ret = %d\n", started);
        return;
    }
    const std::int32_t found =
        frame::Process::getInstance()->getInterfaceReference(m_interface, key::kRootInterface);
    if (found != 0 || m_interface == nullptr) {
        LogCycleFailure(nullptr, site.operation, site.line, found);
        return;
    }
    m_root = m_interface->getRootInterface();
    if (m_root == nullptr) {
        LogPrint("pRootInterface is NULL\n");
    }
}

vumodelapi::ArgumentList BuildArguments(const char* slot0, const char* slot1, const char* slot2, const char* slot3,
                                        const char* slot4) {
    vumodelapi::ArgumentList arguments;
    std::uint8_t position = 0;
    for (const char* slot : {slot0, slot1, slot2, slot3, slot4}) {
        if (slot != nullptr) {
            arguments.push_back({0, position, 0, slot});
        }
        ++position;
    }
    return arguments;
}

std::int32_t InvokeAction(const CallSite& site, const std::string& key, vumodelapi::ObserverAction& observer,
                          const vumodelapi::ArgumentList& arguments, void (*settle)(),
                          const std::function<void()>& connected) {
    vumodelapi::ArgumentList results;  // the library may fill it until the disconnect
    return RunModelCycle<vumodelapi::Action>(
        site.operation, {site.line, site.line, site.line}, {"connect failed", "invoke failed"}, key, observer,
        [&](vumodelapi::Action& action) {
            connected();
            return action.invoke(arguments, results);
        },
        settle);
}

}  // namespace zel
