#include "store/Digest.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <random>

namespace zelline {

std::string Sha256(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        text += fmt::format("{:02x}", digest[i]);
    }
    return text;
}

std::string RandomHex(std::size_t bytes) {
    std::random_device random;
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) {
        text += fmt::format("{:02x}", random() & 0xFFU);
    }
    return text;
}

}  // namespace zelline
