// What tells two contents apart without showing them.
#ifndef ZELLINE_STORE_DIGEST_H
#define ZELLINE_STORE_DIGEST_H

#include <string>
#include <string_view>

namespace zelline {

// The SHA-256 of the bytes, as 64 hexadecimal digits in small letters. Any thread may call.
std::string Sha256(std::string_view bytes);

// That many random bytes as hexadecimal digits, two each, for names that no other machine gives. Any thread may
// call.
std::string RandomHex(std::size_t bytes);

}  // namespace zelline

#endif
