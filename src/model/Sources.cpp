#include "model/ModelClient.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"

using zel::BuildArguments;
using zel::InvokeAction;

namespace {

constexpr char kCaller[] = "ZelFacTestUUID";  // how the set knows the factory test
constexpr int kSwitchSource = 9;              // command codes of the source action
constexpr int kSwitchChannel = 8;

vumodelapi::ArgumentList ChannelArguments(const std::string& number, const std::string& uuid) {
    return BuildArguments(kCaller, std::to_string(kSwitchChannel).c_str(), "TV", uuid.c_str(), number.c_str());
}

}  // namespace

std::int32_t ModelClient::ZelSetSource(const std::string& key, const char* source) {
    ObserverActionImpl observer;
    return InvokeAction({"ZelSetSource", __LINE__}, key, observer,
                        BuildArguments(kCaller, std::to_string(kSwitchSource).c_str(), source, "0"));
}

std::int32_t ModelClient::ZelSetDvbTVChannel(const std::string& channelNumber, const std::string& channelUuid) {
    ObserverActionImpl observer;
    return InvokeAction({"ZelSetDvbTVChannel", __LINE__}, zel::key::kSourceSwitch, observer,
                        ChannelArguments(channelNumber, channelUuid));
}

std::int32_t ModelClient::ZelSetTVChannel(const std::string& channelNumber, const std::string& channelUuid) {
    ObserverActionImpl observer;
    return InvokeAction(
        {"ZelSetTVChannel", __LINE__}, zel::key::kSourceSwitch, observer,
        ChannelArguments(channelNumber, channelUuid),
        [] {
            zel::Settle();
            zel::LogPrint("Current idRef: %d\n", 0);  // the connect's status; without success there is no line
        },
        [&] {
            zel::LogPrint("strChannelNum:%s,strChannelUuid:%s,cStrEnum:%s\n", channelNumber.c_str(),
                          channelUuid.c_str(), std::to_string(kSwitchChannel).c_str());
        });
}
