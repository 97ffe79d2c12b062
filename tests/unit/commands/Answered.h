// What several tests of the commands ask for and are answered.
#ifndef ZELFAC_TESTS_COMMANDS_ANSWERED_H
#define ZELFAC_TESTS_COMMANDS_ANSWERED_H

#include <string>

inline const std::string kUnreadable("\x01");  // the answer of a query whose value cannot be read
inline constexpr char kWifiMacKey[] = "tovix.sl2.str.network.mac-address-wifi";
inline constexpr char kIpKey[] = "tovix.sl2.str.network.ip-address";

#endif
