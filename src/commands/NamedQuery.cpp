// The named query: facts about the set by name.

#include <array>
#include <cstdio>

#include "commands/Handlers.h"
#include "factory_aux/FactoryAux.h"
#include "log/FixedLine.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/File.h"
#include "provisioning/addresses/MacText.h"

namespace zel {
namespace {

constexpr char kName[] = "SendCommand";
constexpr char kNotKept[] = "xxx";  // facts that this model does not have
constexpr char kEsnPath[] = "/certificate/netflix50/ESNID";
constexpr std::size_t kEsnLength = 43;

AnswerValue Unreadable(int line) {
    LogFail(kName, line);
    return AnswerValue::OfUnreadable();
}

AnswerValue SayMac(ModelClient&) {
    char stored[256] = {};
    const std::int32_t status = readStrMetaData(META_MAC, stored, sizeof stored);
    std::printf("=========readStrMetaData ret:%d strTmp:%s\n", status, stored);
    if (status == 0) {
        return AnswerValue::OfText(stored);
    }
    const std::string mac = RandomMacText();
    LogFail(kName, FixedLine(4788));
    return AnswerValue::OfText(mac);
}

AnswerValue SayWifiMac(ModelClient& model) {
    std::string mac;
    return model.ZelGetString(key::kWifiMac, mac) == 0 ? AnswerValue::OfText(mac) : Unreadable(FixedLine(4809));
}

AnswerValue SayNotKept(ModelClient&) {
    return AnswerValue::OfText(kNotKept);
}

AnswerValue SayEsn(ModelClient&) {
    const File file = OpenFile(kEsnPath, "r");
    if (!file) {
        return Unreadable(FixedLine(4837));
    }
    const std::string esn = ReadUpTo(file.get(), kEsnLength);
    return esn.empty() ? Unreadable(FixedLine(4855)) : AnswerValue::OfText(esn);
}

AnswerValue SayWiredAddress(ModelClient& model) {
    std::string address;
    const bool read = model.ZelGetString(key::kIpAddress, address) == 0 && !address.empty();
    return read ? AnswerValue::OfText(address) : Unreadable(FixedLine(4878));
}

struct QueryRow {
    const char* prefix;
    AnswerValue (*answer)(ModelClient&);
};

constexpr std::array<QueryRow, 8> kQueries = {{
    {"MAC", SayMac},
    {"WIFIMAC", SayWifiMac},
    {"SN", SayNotKept},
    {"DEVICEID", SayNotKept},
    {"TVID", SayNotKept},
    {"ESN", SayEsn},
    {"UL", SayNotKept},
    {"ETH_IP", SayWiredAddress},
}};

}  // namespace

AnswerValue AnswerNamedQuery(UartManager& manager, std::uint16_t /*id*/, const std::string& text) {
    for (const QueryRow& row : kQueries) {
        if (text.rfind(row.prefix, 0) == 0) {
            return row.answer(manager);
        }
    }
    return AnswerValue::OfText(kNotKept);
}

}  // namespace zel
