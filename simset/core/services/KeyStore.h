// The keys that are installed in the simulated set.
#ifndef SIMSET_SERVICES_KEYSTORE_H
#define SIMSET_SERVICES_KEYSTORE_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "simset/core/rules/CallOrder.h"
#include "simset/core/state/Shared.h"

namespace simset {

// CRC-32 of IEEE 802.3: what the line compares keys by, and what a stored copy is held against.
std::uint32_t Digest(const std::string& bytes);

// Where the state holds the CI+ credential of `type` ("NON_ECP", "ECP"), which the model installs.
std::string CredentialBlob(const std::string& type);

// Not thread-safe; see Shared. Key bytes appear in no trace row and no message.
class KeyStore {
  public:
    KeyStore(Shared& shared, const AuxiliaryOrder& order) : m_shared(shared), m_order(order) {}

    // "key", "files" (names) and "data" (their bytes in hexadecimal, null for a file that could not be read).
    Reply Write(const Request& request);
    // "key".
    Reply Check(const Request& request);

    // Installed keys: type, key, size, crc32 (eight hexadecimal digits), files.
    nlohmann::json List() const;

    // No key is installed any more, and no CI+ credential. Throws StateError.
    void Clear();

    // The key's number by name ("hdcp1") or number; nothing when there is no such key.
    static std::optional<int> Number(const std::string& nameOrNumber);
    static std::vector<std::string> Names();

  private:
    std::int32_t Judge(const char* call, int key) const;

    Shared& m_shared;
    const AuxiliaryOrder& m_order;
};

}  // namespace simset

#endif
