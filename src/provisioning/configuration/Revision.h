// The revision of the sources that this program was built from; the file with it is made by the build.
#ifndef ZELFAC_PROVISIONING_CONFIGURATION_REVISION_H
#define ZELFAC_PROVISIONING_CONFIGURATION_REVISION_H

namespace zel {

// The commit's short hash, with "-dirty" behind it when the sources had changes; "unknown" without a repository.
extern const char* const kRevision;

}  // namespace zel

#endif
