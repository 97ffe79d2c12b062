// CI+ host credentials: the television's software takes them in, and checks them, through two actions.
#include <cstdint>
#include <string>
#include <vector>

#include "UartManager/UartManager.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "os/Delay.h"
#include "vumodelapi/Argument.h"

namespace {

constexpr std::int32_t kPlainCredentials = 1;  // every other type is ECP
constexpr std::uint32_t kSettleMilliseconds = 10;

const char* TypeWord(std::int32_t type) {
    return type == kPlainCredentials ? "NON_ECP" : "ECP";
}

// Returns as soon as the action was accepted: what it came to is only printed, by the observer.
std::int32_t InvokeCiAction(const char* operation, int line, const char* key,
                            const std::vector<std::string>& values) {
    vumodelapi::ArgumentList arguments;
    for (const std::string& value : values) {
        vumodelapi::Argument argument;
        argument.position = static_cast<std::uint8_t>(arguments.size());
        argument.values = value;
        arguments.push_back(argument);
    }
    SetCIKeyActionObserver observer;
    return zel::RunModelCycle<vumodelapi::Action>(
        operation, {line, line, line}, {"connect failed, ret = %d\n", "invoke failed, ret = %d\n"}, key, observer,
        [&arguments](vumodelapi::Action& action) {
            vumodelapi::ArgumentList results;
            return action.invoke(arguments, results);
        },
        [] { zel::DelayMilliseconds(kSettleMilliseconds); });
}

}  // namespace

std::int32_t UartManager::ZelWriteCIKey(std::int32_t type, const std::string& path) {
    return InvokeCiAction("ZelWriteCIKey", __LINE__, zel::key::kEncryptKey, {TypeWord(type), path});
}

std::int32_t UartManager::ZelCheckCIKey(std::int32_t type) {
    return InvokeCiAction("ZelCheckCIKey", __LINE__, zel::key::kCheckCiPlusKey, {TypeWord(type)});
}
