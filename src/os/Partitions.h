// The set's partitions that hold factory data. They are mounted read-only until a mode makes them writable.
#ifndef ZELFAC_OS_PARTITIONS_H
#define ZELFAC_OS_PARTITIONS_H

#include <array>

namespace zel::partition {

constexpr char kCritical[] = "/zodata/critical";
constexpr char kFactory[] = "/zodata/factory";
constexpr char kModel[] = "/zodata/model";
constexpr char kVarLocal[] = "/var/local";
constexpr char kVarRun[] = "/var/run";
constexpr char kTvConfig[] = "/vendor/tvconfig/config";
constexpr char kConfig[] = "/config";
constexpr char kSerialData[] = "/serialdata";
constexpr char kCertificate[] = "/certificate";

// In the order in which mount(2) goes through them.
constexpr std::array<const char*, 9> kAll = {kCritical, kFactory, kModel,      kVarLocal,   kVarRun,
                                             kTvConfig, kConfig,  kSerialData, kCertificate};

}  // namespace zel::partition

#endif
