#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <vector>

#include "base/Seed.h"
#include "text/Crc32.h"

namespace {

std::uint32_t Reference(const std::uint8_t* bytes, std::uint32_t running, std::size_t size) {
    return static_cast<std::uint32_t>(crc32(running, bytes, static_cast<uInt>(size)));
}

TEST(Crc32, KnownValue) {
    const std::string text = "123456789";
    EXPECT_EQ(zel::Crc32(reinterpret_cast<const std::uint8_t*>(text.data()), 0, text.size()), 0xCBF43926U);
}

TEST(Crc32, NothingChangesNothing) {
    EXPECT_EQ(zel::Crc32(nullptr, 0, 0), 0U);
    EXPECT_EQ(zel::Crc32(nullptr, 0x12345678, 0), 0x12345678U);
}

TEST(Crc32, AgreesWithZlibOverLengthsAndAlignments) {
    const unsigned seed = tests::Seed();
    SCOPED_TRACE("ZELFAC_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(5000);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    for (std::size_t offset = 0; offset < 16; ++offset) {
        for (std::size_t size = 0; size < 70; ++size) {
            ASSERT_EQ(zel::Crc32(bytes.data() + offset, 0, size), Reference(bytes.data() + offset, 0, size))
                << "offset " << offset << " size " << size;
        }
    }
    for (int i = 0; i < 2000; ++i) {
        const std::size_t offset = random() % 64;
        const std::size_t size = random() % (bytes.size() - offset);
        const std::uint32_t running = static_cast<std::uint32_t>(random());
        ASSERT_EQ(zel::Crc32(bytes.data() + offset, running, size),
                  Reference(bytes.data() + offset, running, size))
            << "offset " << offset << " size " << size << " running " << running;
    }
}

TEST(Crc32, GoesOnWhereItStopped) {
    std::vector<std::uint8_t> bytes(100);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 37);
    }
    const std::uint32_t whole = zel::Crc32(bytes.data(), 0, bytes.size());
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        const std::uint32_t first = zel::Crc32(bytes.data(), 0, cut);
        ASSERT_EQ(zel::Crc32(bytes.data() + cut, first, bytes.size() - cut), whole) << "cut at " << cut;
    }
}

}  // namespace
