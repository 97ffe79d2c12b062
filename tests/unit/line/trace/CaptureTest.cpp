#include <gmock/gmock.h>

#include "base/TempFolder.h"
#include "line/SimulatedReceiver.h"
#include "link/Uploader.h"
#include "trace/Capture.h"
#include "wire/Error.h"

namespace zelline {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kCaptureFile = "c.pcapng";
const Bytes kCapturedConnect = {0x79, 0x00, 0x12, 0x73, 0x00, 0x00, 0x00, 0x7B, 0xFE};

void CaptureKey(const tests::TempFolder& folder, bool withBytes) {
    SimulatedReceiver set;
    const auto capture = MakeRecording(folder.At(kCaptureFile), withBytes, "port");
    Link link(set, {capture.get()});
    Uploader(link, FindKeyType("netflix"), "SECRETSECRET", {}).Run();
}

std::string ToldOfCapture(const std::string& path) {
    try {
        ReadTrace(path);
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::Unusable);
        return error.what();
    }
    return "";
}

TEST(Capture, HoldsWhatWasOnTheLineBothWays) {
    const tests::TempFolder folder;
    SimulatedReceiver set;
    set.texts[0x1297] = "2.5";
    {
        const auto capture = MakeRecording(folder.At(kCaptureFile), false, "/dev/ttyUSB0");
        Link link(set, {capture.get()});
        link.Ask({0x1297, "", 0, 0}, {});
        capture->Noise({1, 2, 3}, Millis(0));
    }
    const auto packets = ReadCapture(folder.At(kCaptureFile));
    ASSERT_EQ(packets.size(), 6U);
    EXPECT_EQ(packets[0].bytes, Bytes(73, 0));
    EXPECT_EQ(packets[1].bytes, kCapturedConnect);
    const std::vector<bool> sent = {true, true, true, false, false, false};
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].sent, sent[i]) << i;
        EXPECT_EQ(packets[i].number, i + 1);
        EXPECT_TRUE(packets[i].whole);
    }
    EXPECT_EQ(packets[5].bytes, (Bytes{1, 2, 3}));
    const std::string text = folder.Read(kCaptureFile);
    EXPECT_THAT(text, HasSubstr("/dev/ttyUSB0"));
    EXPECT_THAT(text, HasSubstr("answer 0x1297 read software version, \"2.5\""));
    const auto bursts = ReadTrace(folder.At(kCaptureFile));
    ASSERT_EQ(bursts.size(), 1U);
    EXPECT_TRUE(bursts[0].flushed);
    EXPECT_EQ(bursts[0].requests.size(), 2U);
    EXPECT_EQ(bursts[0].answers.size(), 2U);
}

TEST(Capture, LeavesKeyBytesOutUnlessAsked) {
    const tests::TempFolder folder;
    CaptureKey(folder, false);
    EXPECT_THAT(folder.Read(kCaptureFile), Not(HasSubstr("SECRET")));
    EXPECT_THAT(folder.Read(kCaptureFile), HasSubstr("chunk 1 of 1, 12 bytes"));
    EXPECT_THAT(ToldOfCapture(folder.At(kCaptureFile)), HasSubstr("--trace-key-bytes"));
    CaptureKey(folder, true);
    EXPECT_THAT(folder.Read(kCaptureFile), HasSubstr("SECRETSECRET"));
    EXPECT_EQ(ToldOfCapture(folder.At(kCaptureFile)), "");
}

TEST(Capture, KeepsTheFileUntilItBegins) {
    const tests::TempFolder folder;
    folder.Write(kCaptureFile, "an earlier one");
    const auto capture = MakeRecording(folder.At(kCaptureFile), false, "port");
    EXPECT_EQ(folder.Read(kCaptureFile), "an earlier one");
    capture->Begin();
    EXPECT_TRUE(IsCapture(folder.At(kCaptureFile)));
    EXPECT_TRUE(ReadCapture(folder.At(kCaptureFile)).empty());
    EXPECT_THROW(MakeRecording(folder.At("nowhere/c.pcapng"), false, "port"), Error);
}

// As a program of another machine may write it: big-endian, a block that is not known, options in another order.
TEST(Capture, OfTheOtherByteOrderIsRead) {
    const tests::TempFolder folder;
    const auto words = [](std::initializer_list<std::uint32_t> numbers) {
        std::string text;
        for (const std::uint32_t number : numbers) {
            for (int shift = 24; shift >= 0; shift -= 8) {
                text += static_cast<char>(number >> shift);
            }
        }
        return text;
    };
    const std::string head =
        words({0x0A0D0D0A, 28, 0x1A2B3C4D, 0x00010000, ~0U, ~0U, 28, 1, 20, 147U << 16, 0, 20}) +
        words({0x0BAD, 16, 7, 16});
    const std::string connect(kCapturedConnect.begin(), kCapturedConnect.end());
    const auto packet = [&](std::uint32_t direction) {
        return words({6, 64, 0, 0, 0, 9, 9}) + connect + std::string(3, '\0') +
               std::string("\0\x01\0\x02hi\0\0", 8) + words({0x00020004, direction, 0, 64});
    };
    const auto packets = ReadCapture(folder.Write(kCaptureFile, head + packet(2) + packet(1)));
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[1].bytes, kCapturedConnect);
    EXPECT_TRUE(packets[0].sent);
    EXPECT_FALSE(packets[1].sent);
    EXPECT_THAT(ToldOfCapture(folder.Write(kCaptureFile, head + packet(2) + packet(0))), HasSubstr("packet 2"));
    const std::string whole = head + packet(2);
    for (std::size_t size = head.size() + 1; size < whole.size(); ++size) {
        EXPECT_THAT(ToldOfCapture(folder.Write(kCaptureFile, whole.substr(0, size))), HasSubstr("cut off"))
            << size;
    }
}

}  // namespace
}  // namespace zelline
