#include <gtest/gtest.h>
#include <zlib.h>

#include "provisioning/keys/FileCrc.h"
#include "scripted/Script.h"

namespace {

std::uint32_t CrcOf(const std::string& text) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
}

class FileCrcTest : public scripted::Test {
  protected:
    std::int32_t Run() {
        script.CaptureOutput();
        const std::int32_t result = zel::FileCrc(kPath, m_crc);
        m_output = script.Output();
        return result;
    }

    static constexpr char kPath[] = "/tmp/file.bin";
    std::uint32_t m_crc = 77;
    std::string m_output;
};

TEST_F(FileCrcTest, WholeContentAlsoBeyondOneBlock) {
    for (const std::size_t size : {1U, 63U, 64U, 16320U, 131071U, 131072U, 131073U, 400000U}) {
        std::string text(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = static_cast<char>(i * 131 + i / 251);
        }
        text.back() = 'e';
        script.PutFile(kPath, text);
        EXPECT_EQ(Run(), 1) << size;
        EXPECT_EQ(m_crc, CrcOf(text)) << size;
        EXPECT_EQ(m_output, "");
    }
}

TEST_F(FileCrcTest, NoFile) {
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(m_output, "fopen Fail\n");
    EXPECT_EQ(m_crc, 77U);
}

TEST_F(FileCrcTest, AnEmptyFileCountsAsFailure) {
    script.PutFile(kPath, "");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(m_crc, 0U);
    EXPECT_EQ(m_output, "");
}

TEST_F(FileCrcTest, ACrcOfZeroCountsAsFailure) {
    const std::string text("\xFF\xFF\xFF\xFF", 4);
    ASSERT_EQ(CrcOf(text), 0xFFFFFFFFU);
    const std::string zero("\x9D\x0A\xD9\x6D", 4);
    ASSERT_EQ(CrcOf(zero), 0U);
    script.PutFile(kPath, zero);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(m_crc, 0U);
}

TEST_F(FileCrcTest, WhatCannotBeReadFails) {
    script.MakeFolder(kPath);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(m_crc, 77U);
}

}  // namespace
