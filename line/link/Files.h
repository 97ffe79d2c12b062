// The files that travel to the set in chunks, as the line's user names them.
#ifndef ZELLINE_LINK_FILES_H
#define ZELLINE_LINK_FILES_H

#include <string>
#include <string_view>

#include "protocol/KeyFiles.h"

namespace zelline {

// "hdcp1, hdcp2, ...": all but the configuration, which has a verb of its own.
std::string KeyTypeNames();

// The key type of that name. Throws Error with Exit::Unusable that lists the types.
const zel::KeyFileInfo& FindKeyType(std::string_view name);

// The file's bytes. Throws Error with Exit::Unusable when it cannot be read, is no file, is empty, or is larger
// than the protocol carries.
std::string LoadFile(const std::string& path);

}  // namespace zelline

#endif
