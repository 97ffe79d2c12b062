#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>

#include "line/SimulatedReceiver.h"
#include "link/Uploader.h"

namespace zelline {
namespace {

std::string Random(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

const zel::KeyFileInfo& kConfiguration = zel::InfoOf(zel::KeyFile::Config);

const zel::KeyFileInfo& Hdcp1() {
    return FindKeyType("hdcp1");
}

UploadResult Send(SimulatedReceiver& set, const std::string& bytes, int retries = 3,
                  const zel::KeyFileInfo& type = Hdcp1()) {
    Link link(set);
    UploadOptions options;
    options.retries = retries;
    return Uploader(link, type, bytes, options).Run();
}

TEST(Uploader, EverySizeOfEveryTypeArrives) {
    for (const zel::KeyFileInfo& type : zel::kKeyFiles) {
        if (type.file == zel::KeyFile::Config) {
            continue;
        }
        for (const std::size_t size : {1U, 63U, 64U, 65U, 640U, 16320U}) {
            SimulatedReceiver set;
            const std::string bytes = Random(size, 7);
            const UploadResult result = Send(set, bytes, 0, type);
            EXPECT_EQ(result.status, Exit::Success) << type.name << ' ' << size << ": " << result.words;
            EXPECT_EQ(result.chunks, (size + 63) / 64);
            EXPECT_EQ(set.installed[type.transfer], bytes);
            EXPECT_EQ(set.handedToInstaller, std::vector<std::string>{bytes});
        }
    }
}

TEST(Uploader, ConfigurationIsComparedByItsAnswer) {
    SimulatedReceiver set;
    const std::string bytes = "1\r\n2\r\n3\r\nACME\r\n4\r\n5\r\nMODEL\r\n" + std::string(100, ' ');
    EXPECT_EQ(Send(set, bytes, 0, kConfiguration).status, Exit::Success);
    EXPECT_EQ(set.installed[0x12A7], bytes);
}

TEST(Uploader, OneTransferBehindAnotherOnTheSameSet) {
    SimulatedReceiver set;
    for (unsigned i = 0; i < 4; ++i) {
        const std::string bytes = Random(300, i);
        EXPECT_EQ(Send(set, bytes, 0).status, Exit::Success);
        EXPECT_EQ(set.installed[0x1281], bytes);
    }
    EXPECT_EQ(Send(set, Random(300, 3), 0).status, Exit::Success) << "the same file once more";
}

TEST(Uploader, RemainsOfABrokenOffTransferAreNeverMixedIn) {
    for (const int present : {1, 2, 4}) {
        SimulatedReceiver set;
        {
            Link link(set);
            std::vector<UartFrame> frames = {FrameOf({0x1273, "", 0, 0})};
            for (int i = 0; i < present; ++i) {
                frames.push_back(FrameOf({0x1281, std::string(64, 'x'), static_cast<std::uint8_t>(i), 5}));
            }
            link.Send(frames);
            set.Sleep(Millis(2000));
        }
        const std::string bytes = Random(320, 9);
        const UploadResult result = Send(set, bytes, 0);
        EXPECT_EQ(result.status, Exit::Success) << result.words;
        EXPECT_EQ(set.handedToInstaller, std::vector<std::string>{bytes});
    }
}

TEST(Uploader, RefusalByTheSetIsAFailureAndNotRepeated) {
    SimulatedReceiver set;
    set.refuses = true;
    const UploadResult result = Send(set, Random(200, 1));
    EXPECT_EQ(result.status, Exit::Failure);
    EXPECT_EQ(result.transfers, 1);
}

TEST(Uploader, SuccessWithOtherBytesIsRepeatedAndNeverCounts) {
    const zel::KeyFileInfo* types[] = {&Hdcp1(), &kConfiguration};
    for (const zel::KeyFileInfo* type : types) {
        SimulatedReceiver set;
        set.damages = 2;
        const std::string bytes = Random(200, 1);
        const UploadResult result = Send(set, bytes, 3, *type);
        EXPECT_EQ(result.status, Exit::Success) << result.words;
        EXPECT_EQ(result.transfers, 3);
        EXPECT_EQ(set.installed[type->transfer], bytes);

        set.damages = 100;
        const UploadResult bad = Send(set, Random(200, 2), 2, *type);
        EXPECT_EQ(bad.status, Exit::Failure) << bad.words;
        EXPECT_EQ(bad.transfers, 3);
    }
}

TEST(Uploader, ARefusalOfDamagedBytesIsRepeated) {
    SimulatedReceiver set;
    set.refuses = true;
    set.damages = 1;
    const UploadResult result = Send(set, Random(200, 1));
    EXPECT_EQ(result.status, Exit::Failure);
    EXPECT_EQ(result.transfers, 2) << "the first refusal was of other bytes, the second of these";
}

TEST(Uploader, WithoutTheSetsAnswerNothingCounts) {
    SimulatedReceiver set;
    set.swallowsAnswers = true;
    const UploadResult result = Send(set, Random(200, 1), 1);
    EXPECT_EQ(result.status, Exit::NoAnswer);
    EXPECT_EQ(result.transfers, 2);
}

TEST(Uploader, WaitsForASlowInstallation) {
    SimulatedReceiver set;
    set.installMs = 20000;
    const UploadResult result = Send(set, Random(200, 1), 0);
    EXPECT_EQ(result.status, Exit::Success) << result.words;
    EXPECT_EQ(set.handedToInstaller.size(), 1U);
}

TEST(Uploader, PacedChunksArriveToo) {
    for (const long pace : {5L, 100L, 700L}) {
        SimulatedReceiver set;
        Link link(set);
        UploadOptions options;
        options.pace = Millis(pace);
        const std::string bytes = Random(500, 2);
        EXPECT_EQ(Uploader(link, Hdcp1(), bytes, options).Run().status, Exit::Success) << pace;
        EXPECT_EQ(set.installed[0x1281], bytes);
    }
}

TEST(Uploader, AFileWithChecksumZeroIsRefusedUnsent) {
    const std::string bytes = "\x9D\x0A\xD9\x6D";
    ASSERT_EQ(crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), 4), 0U);
    SimulatedReceiver set;
    Link link(set);
    EXPECT_THROW(Uploader(link, Hdcp1(), bytes, {}), Error);
    EXPECT_TRUE(set.received.empty());
}

TEST(Uploader, ProgressIsTrueToTheByte) {
    SimulatedReceiver set;
    struct Progress : UploadProgress {
        explicit Progress(const SimulatedReceiver& simulated) : clock(simulated) {}
        const SimulatedReceiver& clock;
        std::vector<std::size_t> steps;
        std::vector<Millis> times;
        int begun = 0;
        int ended = 0;
        void Begin(std::size_t, int) override { ++begun; }
        void Advance(std::size_t done) override {
            steps.push_back(done);
            times.push_back(clock.Now());
        }
        void Phase(const std::string&) override {}
        void End() override { ++ended; }
    } progress(set);
    Link link(set);
    const std::string bytes = Random(1000, 4);
    Uploader(link, Hdcp1(), bytes, {}, &progress).Run();
    ASSERT_FALSE(progress.steps.empty());
    EXPECT_TRUE(std::is_sorted(progress.steps.begin(), progress.steps.end()));
    // What the wire carries in that time, less 30 bytes in front of the chunks and, of each chunk, a header of 5
    // and a trailer of 4.
    for (std::size_t i = 0; i < progress.steps.size(); ++i) {
        const long wire = (progress.times[i] - progress.times[0]).count() * 11520 / 1000 - 30;
        const long chunk = std::max(wire, 0L) / 73;
        const long file = chunk * 64 + std::clamp(wire - chunk * 73 - 5, 0L, 64L);
        EXPECT_EQ(progress.steps[i], std::min(static_cast<std::size_t>(file), bytes.size())) << wire;
    }
    EXPECT_GE(progress.times.back() - progress.times.front(), Millis(100)) << "1174 bytes take that long";
    EXPECT_EQ(progress.steps.back(), bytes.size());
    EXPECT_EQ(progress.begun, progress.ended);
}

struct NoiseCase {
    const char* name;
    double drop;
    double flip;
};

class UploaderNoise : public testing::TestWithParam<NoiseCase> {};

// What counts as sent is there, to the byte, and stays there.
TEST_P(UploaderNoise, NoWrongKeyIsCountedAsRightIn200Transfers) {
    int succeeded = 0;
    int repeated = 0;
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SimulatedReceiver set({GetParam().drop, GetParam().flip, seed});
        const std::string bytes = Random(1 + seed * 7 % 900, seed);
        UploadResult result;
        try {
            result = Send(set, bytes, 10);
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Exit::NoAnswer);
            continue;
        }
        set.Settle();
        if (result.status == Exit::Success) {
            ++succeeded;
            repeated += result.transfers > 1 ? 1 : 0;
            EXPECT_EQ(set.installed[0x1281], bytes) << "seed " << seed;
        }
    }
    EXPECT_GE(succeeded, 190);
    EXPECT_GT(repeated, 20) << "the noise was too weak to try anything";
}

INSTANTIATE_TEST_SUITE_P(Lines, UploaderNoise,
                         testing::Values(NoiseCase{"drops", 0.001, 0}, NoiseCase{"flips", 0, 0.001},
                                         NoiseCase{"both", 0.0007, 0.0007}),
                         [](const auto& noise) { return noise.param.name; });

}  // namespace
}  // namespace zelline
