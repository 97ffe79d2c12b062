// Numbers that stand as text in files.
#ifndef ZELFAC_TEXT_DECIMAL_H
#define ZELFAC_TEXT_DECIMAL_H

#include <cstdint>

namespace zel {

// The decimal number that `text` begins with, after white space and a sign; 0 when it begins with none. What does
// not fit in 32 bits is the nearest number that does, on every processor alike. Any thread.
std::int32_t DecimalOf(const char* text);

}  // namespace zel

#endif
