#include "model/Arguments.h"
#include "model/ModelClient.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"

using zel::BuildArguments;
using zel::CycleTexts;
using zel::RunModelCycle;

namespace {

constexpr char kCaller[] = "ZelFacTestUUID";  // how the set knows the factory test
constexpr int kSwitchSource = 9;              // command codes of the source action
constexpr int kSwitchChannel = 8;

constexpr CycleTexts kTexts = {"connect failed, ret = %d\n", "invoke failed, ret = %d\n"};

std::int32_t Invoke(vumodelapi::Action& action, const vumodelapi::ArgumentList& arguments) {
    vumodelapi::ArgumentList results;
    return action.invoke(arguments, results);
}

vumodelapi::ArgumentList ChannelArguments(const std::string& number, const std::string& uuid) {
    return BuildArguments(kCaller, std::to_string(kSwitchChannel).c_str(), "TV", uuid.c_str(), number.c_str());
}

}  // namespace

std::int32_t ModelClient::ZelSetSource(const std::string& key, const char* source) {
    ObserverActionImpl observer;
    return RunModelCycle<vumodelapi::Action>(
        "ZelSetSource", {__LINE__, 0, 0}, kTexts, key, observer, [&](vumodelapi::Action& action) {
            return Invoke(action, BuildArguments(kCaller, std::to_string(kSwitchSource).c_str(), source, "0"));
        });
}

std::int32_t ModelClient::ZelSetDvbTVChannel(const std::string& channelNumber, const std::string& channelUuid) {
    ObserverActionImpl observer;
    return RunModelCycle<vumodelapi::Action>(
        "ZelSetDvbTVChannel", {__LINE__, 0, 0}, kTexts, zel::key::kSourceSwitch, observer,
        [&](vumodelapi::Action& action) { return Invoke(action, ChannelArguments(channelNumber, channelUuid)); });
}

std::int32_t ModelClient::ZelSetTVChannel(const std::string& channelNumber, const std::string& channelUuid) {
    ObserverActionImpl observer;
    return RunModelCycle<vumodelapi::Action>(
        "ZelSetTVChannel", {__LINE__, 0, 0}, kTexts, zel::key::kSourceSwitch, observer,
        [&](vumodelapi::Action& action) {
            zel::LogPrint("strChannelNum:%s,strChannelUuid:%s,cStrEnum:%s\n", channelNumber.c_str(),
                          channelUuid.c_str(), std::to_string(kSwitchChannel).c_str());
            return Invoke(action, ChannelArguments(channelNumber, channelUuid));
        },
        [] {
            zel::DelayMicroseconds(zel::kSettleMicroseconds);
            zel::LogPrint("Current idRef: %d\n", 0);  // the connect's status; without success there is no line
        });
}
