// Writes the set's own configuration onto the stick, in the form in which an import reads it.
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "log/LogPrint.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/configuration/ConfigFile.h"
#include "provisioning/usb/SecondUpdate.h"
#include "provisioning/usb/StickNames.h"
#include "text/ShellWord.h"

namespace {

using zel::UpdateOutcome;

constexpr char kExport[] = "ZelSecondUpdateExport";

constexpr zel::SupervisorRequest kOemExport = {kExport, 12, "oem;", "oem;", "oem;", "oem;", "rm -rf"};

void Fail(const char* word, UpdateOutcome& outcome, int line) {
    m_strSecondUpdateMessage.Append(word);
    zel::LogFail(kExport, line);
    outcome.bits |= UpdateOutcome::kFailed;
}

std::int32_t ReadItem(_FAC_META_DATA item, const char* label, const char* word, UpdateOutcome& outcome) {
    std::int32_t value = 0;
    if (readMetaData(item, &value) != 0) {
        Fail(word, outcome, __LINE__);
    }
    zel::LogPrint("%-22s:%d\n", label, value);
    return value;
}

// The set's configuration as the lines of a configuration file.
std::string ReadConfiguration(UpdateOutcome& outcome) {
    const std::int32_t country = ReadItem(META_COUNTRY, "META_COUNTRY is", "Country;", outcome);
    const std::int32_t region = ReadItem(META_REGION, "META_REGION is", "Region;", outcome);
    const std::int32_t logo = ReadItem(META_LOGO, "META_LOGO is", "Logo;", outcome);
    std::array<char, kBrandSize> brand{};
    if (FlashEnv::instance().getEnv("brand", brand.data(), brand.size()) != 0) {
        Fail("Brand;", outcome, __LINE__);
    }
    zel::LogPrint("Brand is              :%s\n", brand.data());
    const std::int32_t language = ReadItem(META_LANGUAGE, "META_LAGUAGE is", "Lang;", outcome);
    const std::int32_t project = ReadItem(META_PROJECT_ID, "META_PROJECT_ID is", "Pid;", outcome);

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
    UpdateOutcome outcome;
    if (zel::NothingToSearch(ZelGetUSBUpdateFileFullPath("", zel::stick::kConfigName, root, name))) {
        zel::LogFail(kExport, __LINE__);
    }
    const std::string folder = root + "/" + zel::stick::kExportFolder;
    const std::string configFolder = folder + "/" + zel::stick::kConfigFolder;
    const std::string file = configFolder + "/" + zel::stick::kConfigName;
    const auto run = [](const std::string& command, const std::string& path) {
        return zel::ExitedWithSuccess(zel::RunSystem(command + zel::ShellWord(path)));
    };
    if (!run("rm -rf ", folder)) {
        zel::LogFail(kExport, __LINE__);
    }
    if (run("mkdir -p ", configFolder) && run("touch ", file)) {
        const std::string text = ReadConfiguration(outcome);
        if (WriteConfiguration(file, text)) {
            zel::SyncStorage();
            outcome.bits |= UpdateOutcome::kSucceeded;
        } else {
            Fail("Config.bin;", outcome, __LINE__);
        }
    } else {
        Fail("Config.bin;", outcome, __LINE__);
    }
    zel::SyncStorage();
    zel::AskSupervisor(kOemExport, outcome);

    zel::EndUpdate(*this, kExport,
                   outcome.bits == UpdateOutcome::kSucceeded ? zel::ExportDone : zel::ExportErrors);
}
