// What is set at start-up, before and after the link starts. No step stops a flow.

#include <cstdio>
#include <list>
#include <string>

#include "UartManager/UartManager.h"
#include "commands/FactoryFinish.h"
#include "factory_aux/FactoryAux.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/Shell.h"
#include "os/Storage.h"

namespace {

constexpr std::int32_t kAspect16To9 = 0;
constexpr std::int32_t kSpeakerArcMode = 3;

// Installs a key from the library's own source and checks it. Returns the check's result; both log lines show the
// write's.
std::int32_t InstallOwnKey(KEY key, const char* name) {
    const std::int32_t written = writeKeys(std::list<std::string>{""}, key);
    if (written != 0) {
        std::printf("=========writeKeys %s ret:%d=========\n", name, written);
    }
    const std::int32_t checked = checkKeyFile(key);
    if (checked != 0) {
        std::printf("=========checkKeyFile %s ret:%d=========\n", name, written);
    }
    return checked;
}

}  // namespace

void UartManager::ZelFacAutoTestBeforSetDefaultSetting() {
    constexpr char kName[] = "ZelFacAutoTestBeforSetDefaultSetting";
    ZelSetPresetChannel();
    zel::PrintIfFailed(ZelSetSource(zel::key::kSourceSwitch, "HDMI1"), kName, __LINE__);
    for (const char* mountPoint : zel::partition::kAll) {
        const int result = zel::RemountReadWrite(mountPoint);
        if (result != 0) {
            std::printf(" %s %d mount fail, mount_res:%d\n", kName, __LINE__, result);
        }
    }
    for (const char* mountPoint : zel::partition::kAll) {
        zel::PrintIfFailed(zel::RunSystem(std::string("mount -o remount,rw ") + mountPoint), kName, __LINE__);
    }
    zel::PrintIfFailed(zel::RunSystem("echo ForceFreerun=TRUE > /proc/utopia_mdb/xc"), kName, __LINE__);
    zel::PrintIfFailed(zel::RunSystem("echo 18 > /var/run/superwatch"), kName, __LINE__);
    zel::PrintIfFailed(ZelCheckIfSetSetRandomMAC(), kName, __LINE__);
    zel::PrintIfFailed(ZelSetValue(zel::key::kSpeakerArcMode, kSpeakerArcMode), kName, __LINE__);
    zel::PrintIfFailed(ZelSetAction(zel::key::kForceUnmute), kName, __LINE__);
    zel::PrintIfFailed(ZelPrintfConfig(), kName, __LINE__);
}

void UartManager::ZelFacAutoTestAfterSetDefaultSetting() {
    constexpr char kName[] = "ZelFacAutoTestAfterSetDefaultSetting";
    zel::PrintIfFailed(ZelSetPQBypass(), kName, __LINE__);
    zel::PrintIfFailed(ZelSetAQEnable(0), kName, __LINE__);
    zel::PrintIfFailed(ZelSetAction(zel::key::kWiredSet), kName, __LINE__);
    ZelWifiScan();
    zel::PrintIfFailed(ZelSetValue(zel::key::kVideoFormat, kAspect16To9), kName, __LINE__);
    const std::int32_t playReady = InstallOwnKey(KEY_PLAYREADY, "PLAYREADY");
    const std::int32_t joined = playReady | InstallOwnKey(KEY_YOUTUBE, "YOUTUBE");
    // At once, when both are known: it opens the way to the finish commands, which the line may send meanwhile.
    m_i32RetCheckPlayreadyYoutube = joined;
    std::printf(" %s %d m_i32RetCheckPlayreadyYoutube:%d\n", kName, __LINE__, joined);
}

void UartManager::ZelBurnModeBeforSetDefaultSetting() {
    constexpr char kName[] = "ZelBurnModeBeforSetDefaultSetting";
    zel::PrintIfFailed(ZelSetValue(zel::key::kVideoApplyMode, 1), kName, __LINE__);
    zel::PrintIfFailed(ZelSetValue(zel::key::kLedFlicker, 1), kName, __LINE__);
    zel::PrintIfFailed(ZelSetValue(zel::key::kTestPattern, 0), kName, __LINE__);
}
