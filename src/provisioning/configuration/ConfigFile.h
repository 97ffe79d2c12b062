// The lines of the configuration file that was read last, each with its line end, zero-terminated.
//
// Filled by UartManager::ZelReadSpeacialLine, whatever file that reads: a MAC range file leaves its line in
// m_strCountry. No lock: the commands and the key worker never read a file at the same time.
#ifndef ZELFAC_PROVISIONING_CONFIGURATION_CONFIGFILE_H
#define ZELFAC_PROVISIONING_CONFIGURATION_CONFIGFILE_H

#include <cstddef>

constexpr std::size_t kConfigLineSize = 256;
constexpr std::size_t kBrandSize = 128;  // of the flash variable "brand" as it is read, with its zero byte

inline char m_strCountry[kConfigLineSize];
inline char m_strRegion[kConfigLineSize];
inline char m_strLogo[kConfigLineSize];
inline char m_strBrand[kConfigLineSize];
inline char m_strLanguage[kConfigLineSize];
inline char m_strProjectId[kConfigLineSize];
inline char m_strCustomerModel[kConfigLineSize];

#endif
