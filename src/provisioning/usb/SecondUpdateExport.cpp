// Writes the set's own configuration onto the stick, in the form in which an import reads it.
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "log/LogPrint.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/usb/SecondUpdate.h"
#include "text/ShellWord.h"

namespace {

constexpr char kExport[] = "ZelSecondUpdateExport";
constexpr char kExportFolder[] = "CopyRW9602CustomerFile";
constexpr char kExportConfigFolder[] = "CopyRW9602CustomerFile/CONFIG";
constexpr std::size_t kBrandSize = 128;

constexpr zel::SupervisorRequest kOemExport = {
    kExport,
    "/var/run/.superwatch12",
    "touch /var/run/.superwatch12",
    " %s %d touch .superwatch12 fail\n",
    "oem;",
    "echo 12 > /var/run/superwatch",
    " %s %d echo 12 > /var/run/superwatch fail\n",
    "oem;",
    " %s %d fopen /var/run/.superwatch12 fail\n",
    "oem;",
    "oem;",
    " %s %d superwatch12 ssssssssssssssssssssssssssssss\n",
    "rm -rf /var/run/.superwatch12",
    " %s %d rm -rf .superwatch12 fail\n",
};

void Fail(const char* word, zel::Outcome& outcome, int line) {
    m_strSecondUpdateMessage.Append(word);
    zel::LogFail(kExport, line);
    outcome.bits |= zel::Outcome::kFailed;
}

std::int32_t ReadItem(_FAC_META_DATA item, const char* format, const char* word, zel::Outcome& outcome) {
    std::int32_t value = 0;
    if (readMetaData(item, &value) != 0) {
        Fail(word, outcome, __LINE__);
    }
    zel::LogPrint(format, value);
    return value;
}

// The set's configuration as the lines of a configuration file.
std::string ReadConfiguration(zel::Outcome& outcome) {
    const std::int32_t country = ReadItem(META_COUNTRY, "META_COUNTRY is       :%d\n", "Country;", outcome);
    const std::int32_t region = ReadItem(META_REGION, "META_REGION is        :%d\n", "Region;", outcome);
    const std::int32_t logo = ReadItem(META_LOGO, "META_LOGO is          :%d\n", "Logo;", outcome);
    std::array<char, kBrandSize> brand{};
    if (FlashEnv::instance().getEnv("brand", brand.data(), brand.size()) != 0) {
        Fail("Brand;", outcome, __LINE__);
    }
    zel::LogPrint("Brand is              :%s\n", brand.data());
    const std::int32_t language = ReadItem(META_LANGUAGE, "META_LAGUAGE is       :%d\n", "Lang;", outcome);
    const std::int32_t project = ReadItem(META_PROJECT_ID, "META_PROJECT_ID is    :%d\n", "Pid;", outcome);

    std::array<char, kBrandSize + 128> text{};  // five numbers need far less than 128 characters
    std::snprintf(text.data(), text.size(), "%d\r\n%d\r\n%d\r\n%s\r\n%d\r\n%d", country, region, logo,
                  brand.data(), language, project);
    return text.data();
}

bool WriteConfiguration(const std::string& path, const std::string& text) {
    const zel::File file = zel::OpenFile(path, "wb+");
    return file != nullptr && zel::WriteAll(file.get(), text);
}

}  // namespace

void UartManager::ZelSecondUpdateExport() {
    std::string root;
    std::string name;
    zel::Outcome outcome;
    if (zel::NothingToSearch(ZelGetUSBUpdateFileFullPath("", zel::kConfigName, root, name))) {
        zel::LogFail(kExport, __LINE__);
    }
    const std::string folder = root + "/" + kExportConfigFolder;
    const std::string file = folder + "/" + zel::kConfigName;
    const auto run = [](const std::string& command, const std::string& path) {
        return zel::ExitedWithSuccess(zel::RunSystem(command + zel::ShellWord(path)));
    };
    if (!run("rm -rf ", root + "/" + kExportFolder)) {
        zel::LogFail(kExport, __LINE__);
    }
    if (run("mkdir -p ", folder) && run("touch ", file)) {
        const std::string text = ReadConfiguration(outcome);
        if (WriteConfiguration(file, text)) {
            zel::SyncStorage();
            outcome.bits |= zel::Outcome::kSucceeded;
        } else {
            Fail("Config.bin;", outcome, __LINE__);
        }
    } else {
        Fail("Config.bin;", outcome, __LINE__);
    }
    zel::SyncStorage();
    zel::AskSupervisor(kOemExport, outcome);

    if (outcome.bits == zel::Outcome::kSucceeded) {
        m_secondUpdateStatus = 3;
        zel::ShowSuccessOnLed(*this, kExport);
    } else {
        m_secondUpdateStatus = 4;
    }
    std::printf(" m_secondUpdateStatus:%d m_strSecondUpdateMessage:%s\n", m_secondUpdateStatus.load(),
                m_strSecondUpdateMessage.Get().c_str());
    SetStatusChanged(1);
}
