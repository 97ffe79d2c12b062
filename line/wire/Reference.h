// The protocol reference, made from the command catalogue.
#ifndef ZELLINE_WIRE_REFERENCE_H
#define ZELLINE_WIRE_REFERENCE_H

#include <string>

namespace zelline {

// The whole page, in Markdown.
std::string ProtocolReference();

}  // namespace zelline

#endif
