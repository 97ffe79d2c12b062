// The named query: facts about the set by name.
#ifndef ZELFAC_UARTMANAGER_NAMEDQUERIES_H
#define ZELFAC_UARTMANAGER_NAMEDQUERIES_H

#include <string>

class ModelClient;

namespace zel {

// The answer to the query `name`, compared by prefix: "MAC", "WIFIMAC", "SN", "DEVICEID", "TVID", "ESN", "UL",
// "ETH_IP"; any other name is answered "xxx" as the fixed ones are. One byte 0x01 when the fact cannot be read.
// Command thread.
std::string AnswerNamedQuery(ModelClient& model, const std::string& name);

}  // namespace zel

#endif
