// The update from a USB stick: makes the set writable and decides what the stick is for.
#include "provisioning/usb/SecondUpdate.h"

#include <cstdio>
#include <string>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/Delay.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/usb/StickNames.h"

namespace {

constexpr char kEntry[] = "ZelSecondUpdate";
constexpr std::uint32_t kMarkerMilliseconds = 100;
constexpr std::uint32_t kSupervisorSeconds = 6;
constexpr std::size_t kAnswerSize = 256;

// The shell's mount goes through the partitions in an order of its own.
constexpr const char* kShellOrder[] = {
    zel::partition::kCritical,   zel::partition::kFactory, zel::partition::kModel,
    zel::partition::kSerialData, zel::partition::kConfig,  zel::partition::kTvConfig,
    zel::partition::kVarLocal,   zel::partition::kVarRun,  zel::partition::kCertificate};

void MakeWritable() {
    for (const char* const path : zel::partition::kAll) {
        const int result = zel::RemountReadWrite(path);
        if (result != 0) {
            std::printf(" %s %d mount fail, mount_res:%d\n", kEntry, __LINE__, result);
        }
    }
    for (const char* const path : kShellOrder) {
        if (zel::ExitedWithSuccess(zel::RunSystem(std::string("mount -o remount,rw ") + path))) {
            zel::SyncStorage();
        } else {
            zel::PrintFail(kEntry, __LINE__);
        }
    }
}

void ReadAnswer(const zel::SupervisorRequest& request, const std::string& marker, zel::UpdateOutcome& outcome) {
    const zel::File file = zel::OpenFile(marker, "r");
    if (file == nullptr) {
        zel::LogPrint(" %s %d fopen %s fail\n", request.operation, __LINE__, marker.c_str());
        m_strSecondUpdateMessage.Append(request.noAnswerWord);
        outcome.bits = zel::UpdateOutcome::kSucceeded | zel::UpdateOutcome::kFailed;
        return;
    }
    const std::string answer = zel::ReadTextUpTo(file.get(), kAnswerSize);
    std::printf("%s %s  buf=%s\n", "./src/UartManager", request.operation, answer.c_str());
    if (answer.find("ret=0") == std::string::npos) {
        zel::LogPrint(" %s %d strstr ret!=0 fail\n", request.operation, __LINE__);
        m_strSecondUpdateMessage.Append(request.badAnswerWord);
        return;
    }
    std::printf(" %s %d superwatch%d ssssssssssssssssssssssssssssss\n", request.operation, __LINE__,
                request.number);
}

}  // namespace

namespace zel {

void AskSupervisor(const SupervisorRequest& request, UpdateOutcome& outcome) {
    const std::string number = std::to_string(request.number);
    const std::string marker = "/var/run/.superwatch" + number;
    if (ExitedWithSuccess(RunSystem("touch " + marker))) {
        DelayMilliseconds(kMarkerMilliseconds);
        SyncStorage();
    } else {
        LogPrint(" %s %d touch .superwatch%d fail\n", request.operation, __LINE__, request.number);
        m_strSecondUpdateMessage.Append(request.touchWord);
        outcome.bits |= UpdateOutcome::kFailed;
    }

    if (ExitedWithSuccess(RunSystem("echo " + number + " > /var/run/superwatch"))) {
        DelaySeconds(kSupervisorSeconds);
        SyncStorage();
        outcome.bits |= UpdateOutcome::kSucceeded;
        ReadAnswer(request, marker, outcome);
    } else {
        LogPrint(" %s %d echo %d > /var/run/superwatch fail\n", request.operation, __LINE__, request.number);
        m_strSecondUpdateMessage.Append(request.sendWord);
        outcome.bits |= UpdateOutcome::kFailed;
    }

    if (ExitedWithSuccess(RunSystem("rm -rf " + marker))) {
        SyncStorage();
    } else {
        LogPrint(" %s %d %s .superwatch%d fail\n", request.operation, __LINE__, request.removal, request.number);
    }
}

void EndUpdate(UartManager& manager, const char* operation, UpdateStatus status) {
    m_secondUpdateStatus = status;
    if (status == ImportDone || status == ExportDone) {
        LogIfFailed(manager.ZelSetValue(key::kLedFlicker, 0), operation, __LINE__);
        LogIfFailed(manager.ZelSetValue(key::kLedGpio, 1), operation, __LINE__);
    }
    std::printf(" m_secondUpdateStatus:%d m_strSecondUpdateMessage:%s\n", m_secondUpdateStatus.load(),
                m_strSecondUpdateMessage.Get().c_str());
    manager.SetStatusChanged(1);
}

}  // namespace zel

std::int32_t UartManager::ZelSecondUpdate() {
    zel::PrintIfFailed(ZelPrintfConfig(), kEntry, __LINE__);
    zel::PrintIfFailed(ZelSetValue(zel::key::kLedFlicker, 1), kEntry, __LINE__);
    MakeWritable();
    if (!zel::ExitedWithSuccess(zel::RunSystem("echo ForceFreerun=TRUE > /proc/utopia_mdb/xc"))) {
        zel::PrintFail(kEntry, __LINE__);
    }
    zel::SyncStorage();

    std::string folder;
    std::string name;
    const std::int32_t customer =
        ZelGetUSBUpdateFileFullPath(zel::stick::kCustomerFolder, zel::stick::kCustomerMarker, folder, name);
    const std::int32_t oem = ZelGetUSBUpdateFileFullPath("", zel::stick::kOemEntry, folder, name);
    std::printf(" ret1:%d ret2:%d \n", customer, oem);
    if (oem != 0 && zel::NothingToSearch(customer)) {
        ZelSecondUpdateExport();
    } else {
        ZelSecondUpdateImport();
    }
    return 0;
}
