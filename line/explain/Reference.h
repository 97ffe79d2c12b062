// The protocol reference and the dissector for Wireshark, made from the command catalogue.
#ifndef ZELLINE_EXPLAIN_REFERENCE_H
#define ZELLINE_EXPLAIN_REFERENCE_H

#include <string>
#include <string_view>

namespace zelline {

// The whole page, in Markdown.
std::string ProtocolReference();

// A script in Lua that shows captured frames in Wireshark: the one of the documents, with the catalogue's tables.
std::string DissectorScript();

// The script as docs/wireshark/zelfac.lua had it when this was built.
std::string_view DissectorInDocuments();

}  // namespace zelline

#endif
