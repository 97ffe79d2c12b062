// The factory records, one small file each that holds one text and nothing else, and the handlers that write them
// and the addresses.

#include "UartManager/UartManager.h"
#include "commands/Handlers.h"
#include "log/LogPrint.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/addresses/MacStore.h"
#include "text/Decimal.h"

namespace {

struct Record {
    const char* path;
    const char* touch;      // shell command that makes sure of the file
    const char* missing;    // log line of a reader that finds none
    const char* operation;  // the writer's name
};

constexpr Record kPcbSn = {"/var/local/ZelPcbSn", "touch /var/local/ZelPcbSn", "fopen /var/local/ZelPcbSn fail!\n",
                           "ZelSetPcbSn"};
constexpr Record kTestResult = {"/var/local/ZelTestResult", "touch /var/local/ZelTestResult",
                                "fopen /var/local/ZelTestResult fail!\n", "ZelSetTestResult"};
constexpr std::size_t kReadLimit = 256;

// Replaces the record and has the screen redrawn. 1, or 0 with a log line when the text did not reach the disk
// whole; the former record is then still there.
std::int32_t Write(UartManager& manager, const Record& record, const std::string& text) {
    if (!zel::RunUnread(record.touch)) {
        zel::LogFail(record.operation, __LINE__);
        return 0;
    }
    zel::SyncStorage();
    if (!zel::ReplaceFile(record.path, std::string(record.path) + ".new", text.c_str())) {
        zel::LogFail(record.operation, __LINE__);
        return 0;
    }
    zel::SyncStorage();
    manager.SetStatusChanged(1);
    return 1;
}

std::string Read(const Record& record) {
    const zel::File file = zel::OpenFile(record.path, "r");
    if (!file) {
        zel::LogPrint("%s", record.missing);
        return {};
    }
    return zel::ReadTextUpTo(file.get(), kReadLimit - 1);
}

}  // namespace

std::int32_t UartManager::ZelSetPcbSn(const std::string& text) {
    return Write(*this, kPcbSn, text);
}

std::int32_t UartManager::ZelSetTestResult(const std::string& text) {
    return Write(*this, kTestResult, text);
}

std::string UartManager::ZelGetPcbSn() {
    return Read(kPcbSn);
}

std::string UartManager::ZelGetTestResult() {
    return Read(kTestResult);
}

std::int32_t UartManager::ZelGetRunningTime() {
    const zel::File file = zel::OpenFile("/var/tvservice/tvRunningTime", "r");
    if (!file) {
        zel::LogPrint("/var/tvservice/tvRunningTime fail!\n");
        return 0;
    }
    return zel::DecimalOf(zel::ReadTextUpTo(file.get(), kReadLimit).c_str());
}

namespace zel {
namespace {

constexpr char kMacTag[] = "MAC=";

CommandResult WriteMac(const std::string& mac) {
    const bool stored = StoreMac(mac, [](int line, std::int32_t result) {
        DecodeFailed(line, result);
        return false;
    });
    return stored ? CommandResult::Success : CommandResult::Failure;
}

}  // namespace

CommandResult HandleWritePcbSn(UartManager& manager, const UartFrame& frame) {
    return manager.ZelSetPcbSn(PayloadText(frame)) != 0 ? CommandResult::Success : CommandResult::Failure;
}

CommandResult HandleWriteTestResult(UartManager& manager, const UartFrame& frame) {
    return SuccessIf(manager.ZelSetTestResult(PayloadText(frame)) != 0, __LINE__);
}

CommandResult HandleWriteMac(UartManager& /*manager*/, const UartFrame& frame) {
    return WriteMac(PayloadText(frame));
}

CommandResult HandleWriteMacTagged(UartManager& /*manager*/, const UartFrame& frame) {
    const std::string payload = PayloadText(frame);
    if (payload.find(kMacTag) == std::string::npos || payload.rfind("MAC", 0) != 0) {
        return DecodeFailed(__LINE__);
    }
    return WriteMac(payload.substr(sizeof kMacTag - 1));
}

}  // namespace zel
