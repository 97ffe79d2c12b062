// Board lines, the fixed picture and sound states for measuring, and the one-shot ping.

#include <array>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "os/Shell.h"
#include "text/ShellWord.h"

namespace {

struct Setting {
    const char* key;
    std::int32_t value;
    int line;  // of its own, so that the log tells which write failed
};

constexpr std::array<Setting, 8> kMeasuringPicture = {{{zel::key::kVideoApplyMode, 1, __LINE__},
                                                       {zel::key::kPictureMode, 1, __LINE__},
                                                       {zel::key::kBrightness, 50, __LINE__},
                                                       {zel::key::kContrast, 80, __LINE__},
                                                       {zel::key::kColorIntensity, 50, __LINE__},
                                                       {zel::key::kSharpness, 50, __LINE__},
                                                       {zel::key::kHue, 0, __LINE__},
                                                       {zel::key::kRgbOnly, 0, __LINE__}}};

constexpr std::array<Setting, 11> kMeasuringSound = {{{zel::key::kSoundApplyMode, 1, __LINE__},
                                                      {zel::key::kMainVolume, 90, __LINE__},
                                                      {zel::key::kHeadphoneMode, 1, __LINE__},
                                                      {zel::key::kHeadphoneVolume, 90, __LINE__},
                                                      {zel::key::kEqualizer100Hz, 0, __LINE__},
                                                      {zel::key::kEqualizer250Hz, 0, __LINE__},
                                                      {zel::key::kEqualizer600Hz, 0, __LINE__},
                                                      {zel::key::kEqualizer1kHz, 0, __LINE__},
                                                      {zel::key::kEqualizer2k5Hz, 0, __LINE__},
                                                      {zel::key::kEqualizer6kHz, 0, __LINE__},
                                                      {zel::key::kEqualizer10kHz, 0, __LINE__}}};

constexpr std::int32_t kDrcElement = 0;
constexpr std::int32_t kPeqElement = 1;

}  // namespace

std::int32_t UartManager::ZelSetGpio(const std::string& number, const std::string& value) {
    vumodelapi::ArgumentList arguments(2);  // both at position 0
    arguments[0].values = number;
    arguments[1].values = value;
    ObserverActionImpl observer;
    return zel::InvokeAction({"ZelSetGpio", __LINE__}, zel::key::kGpio, observer, arguments);
}

std::int32_t UartManager::ZelSetPQBypass() {
    std::int32_t result = 0;
    for (const Setting& setting : kMeasuringPicture) {
        result = zel::PrintIfFailed(ZelSetValue(setting.key, setting.value), "ZelSetPQBypass", setting.line);
    }
    return result;
}

std::int32_t UartManager::ZelSetAQEnable(std::int32_t enable) {
    constexpr char kName[] = "ZelSetAQEnable";
    for (const Setting& setting : kMeasuringSound) {
        zel::PrintIfFailed(ZelSetValue(setting.key, setting.value), kName, setting.line);
    }
    zel::PrintIfFailed(ZelSetValue(zel::key::kAutomaticVolume, enable), kName, __LINE__);
    zel::PrintIfFailed(ZelSetVectorValue(zel::key::kSocDrc, kDrcElement, enable), kName, __LINE__);
    return zel::PrintIfFailed(ZelSetVectorValue(zel::key::kDtsPeq, kPeqElement, enable), kName, __LINE__);
}

std::int32_t UartManager::ZelEthPingTest(const std::string& address) {
    const std::string output = zel::ReadOutput("ping " + zel::ShellWord(address) + " -w 1");
    const auto says = [&output](const char* words) { return output.find(words) != std::string::npos; };
    // As iputils and as busybox say it.
    const bool answered = says("received") && !says(", 0 received") && !says(", 0 packets received");
    LogPrint(answered ? "ip ok!\n" : "ip ng!\n");
    return answered ? 1 : 0;
}
