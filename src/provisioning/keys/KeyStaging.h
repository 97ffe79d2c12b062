// Where key files stand while they travel from the line to the key store.
#ifndef ZELFAC_PROVISIONING_KEYS_KEYSTAGING_H
#define ZELFAC_PROVISIONING_KEYS_KEYSTAGING_H

namespace zel {

constexpr char kStagingFolder[] = "/tmp/tmpkey/";
constexpr char kAssemblyFile[] = "/tmp/tmpkey/tmp.bin";  // the chunks received so far, in order of arrival

}  // namespace zel

#endif
