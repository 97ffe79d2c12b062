// Gives the set its MAC address: the next one of a range file, or a random one. It is kept twice, as flash
// variable and as metadata.
#include <array>
#include <cstdio>
#include <optional>
#include <string>

#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "log/LogPrint.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/addresses/MacRange.h"
#include "provisioning/addresses/MacStore.h"
#include "provisioning/addresses/MacText.h"
#include "provisioning/configuration/ConfigFile.h"
#include "text/ShellWord.h"

namespace {

constexpr std::size_t kMetaTextSize = 256;

std::int32_t Failed(int line) {
    zel::PrintFail("ZelUpdateMac", line);
    return -1;
}

// Writes the range file anew, so that the next set finds the address after this set's. What a power cut leaves
// beside it does not have a range file's name.
bool RewriteRangeFile(const std::string& path, const std::string& line) {
    return zel::ReplaceFile(path, path.substr(0, path.rfind('/') + 1) + "range.new", line);
}

}  // namespace

std::int32_t UartManager::ZelUpdateMac(const std::string& path) {
    m_strCountry[0] = '\0';  // a file without a line has none, not the range that was read before
    if (ZelReadSpeacialLine(path.c_str()) != 0) {
        return Failed(__LINE__);
    }
    const std::string line = m_strCountry;
    std::printf("MacFullMacStr:%s\n", line.c_str());
    if (line.size() < zel::kMacRangeLength) {
        return Failed(__LINE__);
    }
    const std::size_t dashes = line.find("--");
    if (dashes == std::string::npos) {
        return Failed(__LINE__);
    }
    const std::string endText = line.substr(dashes);
    std::printf("strTmpStart:%s\n", endText.c_str());
    const std::optional<std::string> endDigits = zel::CollectMacDigits(endText);
    if (!endDigits) {
        return Failed(__LINE__);
    }
    const zel::MacAddress end = zel::MacFromDigits(*endDigits);
    std::printf("i32MacEnd1: %06X\n", static_cast<std::uint32_t>(end.upper));
    std::printf("i32MacEnd2: %06X\n", static_cast<std::uint32_t>(end.lower));

    const std::string startText = line.substr(0, zel::kMacTextLength);
    std::printf("strTmpStart 222:%s\n", startText.c_str());
    const std::optional<std::string> startDigits = zel::CollectMacDigits(startText);
    if (!startDigits) {
        return Failed(__LINE__);
    }
    const zel::MacAddress start = zel::MacFromDigits(*startDigits);
    std::printf("i32MacStart1: %06X\n", static_cast<std::uint32_t>(start.upper));
    std::printf("i32MacStart2: %06X\n", static_cast<std::uint32_t>(start.lower));
    if (!zel::IsMacText(startText) || !zel::AreMacDigits(*endDigits) || !zel::IsMacRange(start, end)) {
        return Failed(__LINE__);
    }

    const bool stored = zel::StoreMac(startText, [](int failedLine, std::int32_t result) {
        zel::LogFailCode("ZelUpdateMac", failedLine, result);
        return false;
    });
    if (!stored) {
        return -1;
    }
    if (start == end) {
        if (!zel::RunUnread("rm -rf " + zel::ShellWord(path))) {
            return Failed(__LINE__);
        }
        zel::SyncStorage();
        // A stick that cannot be written would give the same address to every set.
        return zel::OpenFile(path, "r") != nullptr ? Failed(__LINE__) : 0;
    }

    const std::optional<std::string> nextDigits = zel::NextMacDigits(start, end);
    if (!nextDigits) {
        return Failed(__LINE__);
    }
    const std::string nextLine = zel::MacRangeLine(*nextDigits, *endDigits);
    std::printf("%s %d strTmp:%s\n", "ZelUpdateMac", __LINE__, nextLine.c_str());
    if (!RewriteRangeFile(path, nextLine)) {
        return Failed(__LINE__);
    }
    zel::SyncStorage();
    return 0;
}

std::int32_t UartManager::ZelCheckIfSetSetRandomMAC() {
    std::array<char, kMetaTextSize> stored{};
    if (readStrMetaData(META_MAC, stored.data(), stored.size()) == 0 && stored[0] != '\0') {
        return 0;
    }
    const std::string mac = zel::RandomMacText();
    std::printf("=========mac test 3333333:%s strlen():%d\n", mac.c_str(), static_cast<int>(mac.size()));
    std::int32_t logged = 0;
    const bool done = zel::StoreMac(mac, [&logged](int line, std::int32_t result) {
        logged = zel::LogFailCode("ZelCheckIfSetSetRandomMAC", line, result);
        return true;
    });
    return done ? 0 : logged;
}
