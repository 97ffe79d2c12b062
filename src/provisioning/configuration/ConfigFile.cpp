// The customer's configuration: seven lines that decide country, region, logo, brand, language, model and
// project. Applied to the metadata, the television's model and the boot variables, and read back from there.
#include "provisioning/configuration/ConfigFile.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "UartManager/UartManager.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/File.h"
#include "os/Storage.h"
#include "provisioning/configuration/ConfigLines.h"
#include "provisioning/configuration/Revision.h"
#include "text/Decimal.h"

namespace {

constexpr int kLongestRead = 255;  // fgets: at most 254 characters of a line at a time

constexpr std::array<char*, 7> kLineBuffers = {m_strCountry,  m_strRegion,    m_strLogo,         m_strBrand,
                                               m_strLanguage, m_strProjectId, m_strCustomerModel};

// Collects the results of one operation's calls; each failure is printed with its line, none stops the next.
class Results {
  public:
    explicit Results(const char* operation) : m_operation(operation) {}

    void Add(std::int32_t result, int line) { m_all |= zel::PrintIfFailed(result, m_operation, line); }
    std::int32_t All() const { return m_all; }

  private:
    const char* m_operation;
    std::int32_t m_all = 0;
};

// Whether the file gave the line; says so when it did not.
bool IsGiven(const char* line, const char* name) {
    if (zel::IsEmptyLine(line)) {
        std::printf("%s The line data is empty !", name);
        return false;
    }
    return true;
}

}  // namespace

std::int32_t UartManager::ZelReadSpeacialLine(const char* path) {
    const zel::File file = path == nullptr ? nullptr : zel::OpenFile(path, "r");
    if (file == nullptr) {
        zel::PrintFail("ZelReadSpeacialLine", __LINE__);
        return -1;
    }
    std::array<char, kConfigLineSize> line{};
    int number = 1;
    for (char* const buffer : kLineBuffers) {
        line.fill('\0');
        if (std::fgets(line.data(), kLongestRead, file.get()) == nullptr) {
            break;
        }
        std::memcpy(buffer, line.data(), kConfigLineSize);
        std::printf("read the config file curLine:%d strlen:%d data:%s \n", number,
                    static_cast<int>(std::strlen(buffer)), buffer);
        ++number;
    }
    return 0;
}

std::int32_t UartManager::ZelWriteConfigFile(const char* path) {
    if (path == nullptr) {
        zel::PrintFail("ZelWriteConfigFile", __LINE__);
        return -1;
    }
    // A line that this file lacks is empty, not what an earlier file had there.
    for (char* const buffer : kLineBuffers) {
        std::memset(buffer, 0, kConfigLineSize);
    }
    Results results("ZelWriteConfigFile");
    results.Add(ZelReadSpeacialLine(path), __LINE__);
    FlashEnv& flash = FlashEnv::instance();

    if (IsGiven(m_strCountry, "META_COUNTRY")) {
        const std::int32_t country = zel::DecimalOf(m_strCountry);
        std::printf("i32NewCountryIndex:%d m_strCountry:%s \n", country, m_strCountry);
        results.Add(writeMetaData(META_COUNTRY, country), __LINE__);
        results.Add(ZelSetValue(zel::key::kFactoryCountry, country), __LINE__);
        results.Add(flash.setEnv("db_table", "0"), __LINE__);
    }
    if (IsGiven(m_strRegion, "META_REGION")) {
        const std::int32_t region = zel::DecimalOf(m_strRegion);
        std::printf("i32NewRegionIndex:%d m_strRegion:%s \n", region, m_strRegion);
        results.Add(writeMetaData(META_REGION, region), __LINE__);
    }
    if (IsGiven(m_strLogo, "META_LOGO")) {
        const std::int32_t logo = zel::DecimalOf(m_strLogo);
        std::printf("i32NewLogoIndex:%d m_strLogo:%s \n", logo, m_strLogo);
        results.Add(flash.setEnv("db_table", "0"), __LINE__);
        results.Add(writeMetaData(META_LOGO, logo), __LINE__);
    }
    if (IsGiven(m_strBrand, "BRAND")) {
        zel::CutLineEnd(m_strBrand);
        std::printf("m_strBrand:%s \n", m_strBrand);
        results.Add(flash.setEnv("brand", m_strBrand), __LINE__);
    }
    if (IsGiven(m_strLanguage, "META_LAGUAGE")) {
        const std::int32_t language = zel::DecimalOf(m_strLanguage);
        std::printf("i32NewLanguageIndex:%d m_strRegion:%s \n", language, m_strLanguage);
        results.Add(writeMetaData(META_LANGUAGE, language), __LINE__);
    }
    if (IsGiven(m_strCustomerModel, "META_CUSTOMER_MODEL")) {
        zel::CutLineEnd(m_strCustomerModel);
        std::printf("m_strCustomerModel:%s \n", m_strCustomerModel);
        results.Add(writeStrMetaData(META_CUSTOMER_MODEL, m_strCustomerModel), __LINE__);
    }
    if (IsGiven(m_strProjectId, "META_PROJECT_ID")) {
        const std::int32_t project = zel::DecimalOf(m_strProjectId);
        std::printf("i32ProjectId:%d m_strProjectId:%s \n", project, m_strProjectId);
        results.Add(ZelSetValue(zel::key::kModelIndex, project), __LINE__);
        results.Add(writeMetaData(META_PROJECT_ID, project), __LINE__);
        results.Add(createAccessRouteFile(), __LINE__);
        results.Add(flash.setEnv("normal_start", "0"), __LINE__);
    }
    zel::SyncStorage();
    return results.All();
}

std::int32_t UartManager::ZelCheckConfig() {
    Results results("ZelCheckConfig");
    const auto compare = [&results](bool same, int line) { results.Add(same ? 0 : -1, line); };

    std::int32_t value = 0;
    const auto compareNumber = [&](_FAC_META_DATA item, const char* name, const char* bufferName,
                                   const char* wantedLine, int line) {
        const std::int32_t wanted = zel::DecimalOf(wantedLine);
        readMetaData(item, &value);
        std::printf("%s is:%d atoi(%s):%d\n", name, value, bufferName, wanted);
        compare(value == wanted, line);
    };
    compareNumber(META_COUNTRY, "META_COUNTRY", "m_strCountry", m_strCountry, __LINE__);
    // On top of the country's value: a region that cannot be read is compared as that.
    compareNumber(META_REGION, "META_REGION", "m_strRegion", m_strRegion, __LINE__);
    value = 0;
    compareNumber(META_LOGO, "META_LOGO", "m_strLogo", m_strLogo, __LINE__);

    // Over the stored length only: the flash environment may have cut the brand.
    std::array<char, kBrandSize> brand{};
    FlashEnv::instance().getEnv("brand", brand.data(), brand.size());
    std::printf("Brand is:%s m_strBrand:%s\n", brand.data(), m_strBrand);
    compare(std::strncmp(brand.data(), m_strBrand, std::strlen(brand.data())) == 0, __LINE__);

    value = 0;
    compareNumber(META_LANGUAGE, "META_LAGUAGE", "m_strLanguage", m_strLanguage, __LINE__);
    value = 0;
    compareNumber(META_PROJECT_ID, "META_PROJECT_ID", "m_strProjectId", m_strProjectId, __LINE__);
    return results.All();
}

std::int32_t UartManager::ZelPrintfConfig() {
    Results results("ZelPrintfConfig");
    const auto printItem = [&results](_FAC_META_DATA item, const char* label, int line) {
        std::int32_t value = 0;
        const std::int32_t result = readMetaData(item, &value);
        std::printf("%-22s:%d\n", label, value);
        results.Add(result, line);
    };
    printItem(META_COUNTRY, "META_COUNTRY is", __LINE__);
    printItem(META_REGION, "META_REGION is", __LINE__);
    printItem(META_LOGO, "META_LOGO is", __LINE__);
    std::array<char, kBrandSize> brand{};
    std::int32_t result = FlashEnv::instance().getEnv("brand", brand.data(), brand.size());
    std::printf("Brand is              :%s\n", brand.data());
    results.Add(result, __LINE__);
    printItem(META_LANGUAGE, "META_LAGUAGE is", __LINE__);
    printItem(META_PROJECT_ID, "META_PROJECT_ID is", __LINE__);
    std::printf("Git Revision is       :%s\n", zel::kRevision);
    std::string version;
    result = ZelGetString(zel::key::kSoftwareVersion, version);
    std::printf("SoftWare Version is   :%s\n", version.c_str());
    results.Add(result, __LINE__);
    return results.All();
}
