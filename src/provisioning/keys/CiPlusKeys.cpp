// CI+ host credentials: the television's software takes them in, and checks them, through two actions.
#include <cstdint>
#include <string>

#include "UartManager/UartManager.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "os/Delay.h"

namespace {

constexpr std::int32_t kPlainCredentials = 1;  // every other type is ECP
constexpr std::uint32_t kSettleMilliseconds = 10;

const char* TypeWord(std::int32_t type) {
    return type == kPlainCredentials ? "NON_ECP" : "ECP";
}

// Returns as soon as the action was accepted: what it came to is only printed, by the observer.
std::int32_t InvokeCiAction(const zel::CallSite& site, const char* key,
                            const vumodelapi::ArgumentList& arguments) {
    SetCIKeyActionObserver observer;
    return zel::InvokeAction(site, key, observer, arguments, [] { zel::DelayMilliseconds(kSettleMilliseconds); });
}

}  // namespace

std::int32_t UartManager::ZelWriteCIKey(std::int32_t type, const std::string& path) {
    return InvokeCiAction({"ZelWriteCIKey", __LINE__}, zel::key::kEncryptKey,
                          zel::BuildArguments(TypeWord(type), path.c_str()));
}

std::int32_t UartManager::ZelCheckCIKey(std::int32_t type) {
    return InvokeCiAction({"ZelCheckCIKey", __LINE__}, zel::key::kCheckCiPlusKey,
                          zel::BuildArguments(TypeWord(type)));
}
