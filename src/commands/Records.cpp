// The factory records: one small file each, holding one text and nothing else.

#include <cstdlib>
#include <cstring>

#include "UartManager/UartManager.h"
#include "support/File.h"
#include "support/LogPrint.h"
#include "support/Shell.h"
#include "support/Storage.h"

namespace {

constexpr char kPcbSnPath[] = "/var/local/ZelPcbSn";
constexpr char kTestResultPath[] = "/var/local/ZelTestResult";
constexpr char kRunningTimePath[] = "/var/tvservice/tvRunningTime";
constexpr std::size_t kReadLimit = 256;

// Replaces the record at `path`. Logs under `operation` and leaves the file untouched when it cannot be made.
bool WriteRecord(const std::string& path, const std::string& text, const char* operation) {
    if (!zel::RunUnread("touch " + path)) {
        zel::LogFail(operation, __LINE__);
        return false;
    }
    zel::SyncStorage();
    zel::File file = zel::OpenFile(path, "wb+");
    if (!file) {
        zel::LogFail(operation, __LINE__);
        return false;
    }
    std::fwrite(text.c_str(), 1, std::strlen(text.c_str()), file.get());
    file.reset();
    zel::SyncStorage();
    return true;
}

std::string ReadRecord(const std::string& path) {
    const zel::File file = zel::OpenFile(path, "r");
    if (!file) {
        zel::LogPrint("fopen %s fail!\n", path.c_str());
        return {};
    }
    return zel::ReadTextUpTo(file.get(), kReadLimit - 1);
}

}  // namespace

std::int32_t UartManager::ZelSetPcbSn(const std::string& text) {
    if (!WriteRecord(kPcbSnPath, text, "ZelSetPcbSn")) {
        return 0;
    }
    SetStatusChanged(1);
    return 1;
}

std::int32_t UartManager::ZelSetTestResult(const std::string& text) {
    if (!WriteRecord(kTestResultPath, text, "ZelSetTestResult")) {
        return 0;
    }
    SetStatusChanged(1);
    return 1;
}

std::string UartManager::ZelGetPcbSn() {
    return ReadRecord(kPcbSnPath);
}

std::string UartManager::ZelGetTestResult() {
    return ReadRecord(kTestResultPath);
}

std::int32_t UartManager::ZelGetRunningTime() {
    const zel::File file = zel::OpenFile(kRunningTimePath, "r");
    if (!file) {
        zel::LogPrint("%s fail!\n", kRunningTimePath);
        return 0;
    }
    return static_cast<std::int32_t>(std::strtol(zel::ReadTextUpTo(file.get(), kReadLimit).c_str(), nullptr, 10));
}
