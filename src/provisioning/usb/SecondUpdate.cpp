// The update from a USB stick: makes the set writable and decides what the stick is for.
#include "provisioning/usb/SecondUpdate.h"

#include <cstdint>
#include <cstdio>
#include <string>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/Delay.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"

namespace {

constexpr char kSourceName[] = "./src/UartManager";
constexpr std::uint32_t kMarkerMilliseconds = 100;
constexpr std::uint32_t kSupervisorSeconds = 6;
constexpr std::size_t kAnswerSize = 256;

// Partitions that the update writes to. mount(2) and the shell's mount go through them in orders of their own.
constexpr const char* kMountPoints[] = {"/zodata/critical", "/zodata/factory", "/zodata/model",
                                        "/var/local",       "/var/run",        "/vendor/tvconfig/config",
                                        "/config",          "/serialdata",     "/certificate"};
constexpr const char* kMountCommands[] = {
    "mount -o remount,rw /zodata/critical", "mount -o remount,rw /zodata/factory",
    "mount -o remount,rw /zodata/model",    "mount -o remount,rw /serialdata",
    "mount -o remount,rw /config",          "mount -o remount,rw /vendor/tvconfig/config",
    "mount -o remount,rw /var/local",       "mount -o remount,rw /var/run",
    "mount -o remount,rw /certificate",
};

void MakeWritable() {
    for (const char* const path : kMountPoints) {
        const int result = zel::RemountReadWrite(path);
        if (result != 0) {
            std::printf(" %s %d mount fail, mount_res:%d\n", "ZelSecondUpdate", __LINE__, result);
        }
    }
    for (const char* const command : kMountCommands) {
        if (zel::ExitedWithSuccess(zel::RunSystem(command))) {
            zel::SyncStorage();
        } else {
            zel::PrintFail("ZelSecondUpdate", __LINE__);
        }
    }
}

void ReadAnswer(const zel::SupervisorRequest& request, zel::Outcome& outcome) {
    const zel::File file = zel::OpenFile(request.marker, "r");
    if (file == nullptr) {
        zel::LogPrint(request.noAnswer, request.operation, __LINE__);
        m_strSecondUpdateMessage.Append(request.noAnswerWord);
        outcome.bits = zel::Outcome::kSucceeded | zel::Outcome::kFailed;
        return;
    }
    const std::string answer = zel::ReadTextUpTo(file.get(), kAnswerSize);
    std::printf("%s %s  buf=%s\n", kSourceName, request.operation, answer.c_str());
    if (answer.find("ret=0") == std::string::npos) {
        zel::LogPrint(" %s %d strstr ret!=0 fail\n", request.operation, __LINE__);
        m_strSecondUpdateMessage.Append(request.badAnswerWord);
        return;
    }
    std::printf(request.goodAnswer, request.operation, __LINE__);
}

}  // namespace

namespace zel {

void AskSupervisor(const SupervisorRequest& request, Outcome& outcome) {
    if (ExitedWithSuccess(RunSystem(request.touch))) {
        DelayMilliseconds(kMarkerMilliseconds);
        SyncStorage();
    } else {
        LogPrint(request.touchFailed, request.operation, __LINE__);
        m_strSecondUpdateMessage.Append(request.touchWord);
        outcome.bits |= Outcome::kFailed;
    }

    if (ExitedWithSuccess(RunSystem(request.send))) {
        DelaySeconds(kSupervisorSeconds);
        SyncStorage();
        outcome.bits |= Outcome::kSucceeded;
        ReadAnswer(request, outcome);
    } else {
        LogPrint(request.sendFailed, request.operation, __LINE__);
        m_strSecondUpdateMessage.Append(request.sendWord);
        outcome.bits |= Outcome::kFailed;
    }

    if (ExitedWithSuccess(RunSystem(request.removal))) {
        SyncStorage();
    } else {
        LogPrint(request.removalFailed, request.operation, __LINE__);
    }
}

void ShowSuccessOnLed(ModelClient& model, const char* operation) {
    LogIfFailed(model.ZelSetValue(key::kLedFlicker, 0), operation, __LINE__);
    LogIfFailed(model.ZelSetValue(key::kLedGpio, 1), operation, __LINE__);
}

}  // namespace zel

std::int32_t UartManager::ZelSecondUpdate() {
    zel::PrintIfFailed(ZelPrintfConfig(), "ZelSecondUpdate", __LINE__);
    zel::PrintIfFailed(ZelSetValue(zel::key::kLedFlicker, 1), "ZelSecondUpdate", __LINE__);
    MakeWritable();
    if (!zel::ExitedWithSuccess(zel::RunSystem("echo ForceFreerun=TRUE > /proc/utopia_mdb/xc"))) {
        zel::PrintFail("ZelSecondUpdate", __LINE__);
    }
    zel::SyncStorage();

    std::string folder;
    std::string name;
    const std::int32_t customer =
        ZelGetUSBUpdateFileFullPath(zel::kCustomerFolder, zel::kCustomerMarker, folder, name);
    const std::int32_t oem = ZelGetUSBUpdateFileFullPath("", zel::kOemEntry, folder, name);
    std::printf(" ret1:%d ret2:%d \n", customer, oem);
    if (oem != 0 && zel::NothingToSearch(customer)) {
        ZelSecondUpdateExport();
    } else {
        ZelSecondUpdateImport();
    }
    return 0;
}
