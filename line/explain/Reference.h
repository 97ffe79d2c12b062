// The protocol reference and the dissector for Wireshark, made from the command catalogue.
#ifndef ZELLINE_EXPLAIN_REFERENCE_H
#define ZELLINE_EXPLAIN_REFERENCE_H

#include <string>

namespace zelline {

// The whole page, in Markdown.
std::string ProtocolReference();

// A script in Lua that shows captured frames in Wireshark.
std::string DissectorScript();

}  // namespace zelline

#endif
