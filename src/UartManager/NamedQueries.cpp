#include "UartManager/NamedQueries.h"

#include <array>
#include <cstdio>

#include "factory_aux/FactoryAux.h"
#include "log/LogPrint.h"
#include "model/ModelClient.h"
#include "model/ModelKeys.h"
#include "os/File.h"
#include "provisioning/addresses/MacText.h"

namespace zel {
namespace {

constexpr char kName[] = "SendCommand";
constexpr char kUnreadable[] = "\x01";
constexpr char kNotKept[] = "xxx";  // facts that this model does not have
constexpr char kEsnPath[] = "/certificate/netflix50/ESNID";
constexpr std::size_t kEsnLength = 43;

std::string Unreadable(int line) {
    LogFail(kName, line);
    return kUnreadable;
}

std::string AnswerMac(ModelClient&) {
    char stored[256] = {};
    const std::int32_t status = readStrMetaData(META_MAC, stored, sizeof stored);
    std::printf("=========readStrMetaData ret:%d strTmp:%s\n", status, stored);
    if (status == 0) {
        return stored;
    }
    std::string mac = RandomMacText();
    LogFail(kName, 4788);
    return mac;
}

std::string AnswerWifiMac(ModelClient& model) {
    std::string mac;
    return model.ZelGetString(key::kWifiMac, mac) == 0 ? mac : Unreadable(4809);
}

std::string AnswerNotKept(ModelClient&) {
    return kNotKept;
}

std::string AnswerEsn(ModelClient&) {
    const File file = OpenFile(kEsnPath, "r");
    if (!file) {
        return Unreadable(4837);
    }
    const std::string esn = ReadUpTo(file.get(), kEsnLength);
    return esn.empty() ? Unreadable(4855) : esn;
}

std::string AnswerWiredAddress(ModelClient& model) {
    std::string address;
    const bool read = model.ZelGetString(key::kIpAddress, address) == 0 && !address.empty();
    return read ? address : Unreadable(4878);
}

struct QueryRow {
    const char* prefix;
    std::string (*answer)(ModelClient&);
};

constexpr std::array<QueryRow, 8> kQueries = {{
    {"MAC", AnswerMac},
    {"WIFIMAC", AnswerWifiMac},
    {"SN", AnswerNotKept},
    {"DEVICEID", AnswerNotKept},
    {"TVID", AnswerNotKept},
    {"ESN", AnswerEsn},
    {"UL", AnswerNotKept},
    {"ETH_IP", AnswerWiredAddress},
}};

}  // namespace

std::string AnswerNamedQuery(ModelClient& model, const std::string& name) {
    for (const QueryRow& row : kQueries) {
        if (name.rfind(row.prefix, 0) == 0) {
            return row.answer(model);
        }
    }
    return kNotKept;
}

}  // namespace zel
