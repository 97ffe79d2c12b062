#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "simset/board/line/LineModel.h"

namespace simset {
namespace {

using namespace std::chrono_literals;
using Nanos = LineClock::Nanos;

TEST(LineClock, ByteTakesTenBitTimes) {
    LineClock clock(115200);
    EXPECT_EQ(clock.Schedule(1s, 1), 1s + Nanos(86805));
}

TEST(LineClock, BytesOfABurstFollowWithoutGap) {
    LineClock clock(9600);
    clock.Schedule(0ns, 10);
    EXPECT_EQ(clock.Schedule(1ms, 10), Nanos(20'833'333));
    EXPECT_EQ(clock.FreeAt(), Nanos(20'833'333));
}

TEST(LineClock, PauseStartsANewBurst) {
    LineClock clock(9600);
    clock.Schedule(0ns, 1);
    EXPECT_EQ(clock.Schedule(1s, 96), 1s + 100ms);
}

TEST(LineClock, RoundingDoesNotAddUp) {
    LineClock clock(115200);
    Nanos last{0};
    for (int i = 0; i < 11'520 * 60; ++i) {
        last = clock.Schedule(last, 1);
    }
    EXPECT_EQ(last, Nanos(60s));
}

TEST(LineClock, LateCallerMakesUpForBytesThatWaited) {
    LineClock clock(115200);
    clock.Schedule(0ns, 1152);
    EXPECT_EQ(clock.Schedule(150ms, 1152, true), Nanos(200ms));
    EXPECT_EQ(clock.Schedule(250ms, 1152, false), Nanos(350ms));
}

TEST(LineClock, SleepOfTheMachineIsNotMadeUpFor) {
    LineClock clock(115200);
    clock.Schedule(0ns, 1152);
    EXPECT_EQ(clock.Schedule(10s, 1152, true), Nanos(10'100ms));
}

TEST(LineClock, RunOfDaysStaysExact) {
    LineClock clock(12'000'000);
    Nanos last{0};
    for (int day = 0; day < 7; ++day) {
        last = clock.Schedule(last, std::size_t{1'200'000} * 86'400);
    }
    EXPECT_EQ(last, Nanos(168h));
}

TEST(LineClock, BytesInATickAreAtLeastOne) {
    EXPECT_EQ(LineClock(115200).BytesIn(1ms), 11U);
    EXPECT_EQ(LineClock(50).BytesIn(1ms), 1U);
}

LineSettings Faulty(double drop, double flip, std::uint64_t seed) {
    LineSettings settings;
    settings.drop = drop;
    settings.flip = flip;
    settings.seed = seed;
    return settings;
}

std::string Ramp(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(i % 256);
    }
    return bytes;
}

TEST(FaultInjector, CleanLineChangesNothing) {
    FaultInjector faults(Faulty(0, 0, 1), 0);
    std::string bytes = Ramp(1000);
    faults.Apply(bytes);
    EXPECT_EQ(bytes, Ramp(1000));
    EXPECT_EQ(faults.Dropped() + faults.Flipped(), 0U);
}

TEST(FaultInjector, SameSeedSameFaultsHoweverTheBytesAreCut) {
    std::string whole = Ramp(5000);
    FaultInjector first(Faulty(0.05, 0.05, 42), 1);
    first.Apply(whole);

    const std::string ramp = Ramp(5000);
    std::string pieces;
    FaultInjector second(Faulty(0.05, 0.05, 42), 1);
    for (std::size_t at = 0, size = 1; at < ramp.size(); at += size, size = size % 37 + 1) {
        std::string piece = ramp.substr(at, size);
        second.Apply(piece);
        pieces += piece;
    }
    EXPECT_EQ(pieces, whole);
    EXPECT_NE(whole, ramp);
}

TEST(FaultInjector, SeedAndDirectionChangeTheFaults) {
    std::string results[3] = {Ramp(5000), Ramp(5000), Ramp(5000)};
    FaultInjector(Faulty(0, 0.1, 1), 0).Apply(results[0]);
    FaultInjector(Faulty(0, 0.1, 1), 1).Apply(results[1]);
    FaultInjector(Faulty(0, 0.1, 2), 0).Apply(results[2]);
    EXPECT_NE(results[0], results[1]);
    EXPECT_NE(results[0], results[2]);
}

TEST(FaultInjector, DropsAndFlipsAsOftenAsAsked) {
    constexpr std::size_t kBytes = 200'000;
    FaultInjector faults(Faulty(0.02, 0.1, 7), 0);
    std::string bytes = Ramp(kBytes);
    faults.Apply(bytes);
    EXPECT_EQ(bytes.size(), kBytes - faults.Dropped());
    EXPECT_NEAR(static_cast<double>(faults.Dropped()), 0.02 * kBytes, 400);
    EXPECT_NEAR(static_cast<double>(faults.Flipped()), 0.1 * 0.98 * kBytes, 1000);
}

TEST(FaultInjector, FlipInvertsExactlyOneBit) {
    FaultInjector faults(Faulty(0, 1, 3), 0);
    std::string bytes(1000, '\x5A');
    faults.Apply(bytes);
    for (const char byte : bytes) {
        const unsigned difference = static_cast<unsigned char>(byte) ^ 0x5AU;
        EXPECT_EQ(__builtin_popcount(difference), 1);
    }
}

TEST(FaultInjector, CertainDropLeavesNothing) {
    FaultInjector faults(Faulty(1, 0, 3), 0);
    std::string bytes = Ramp(100);
    faults.Apply(bytes);
    EXPECT_TRUE(bytes.empty());
}

// What `line` makes of the settings it finds; nothing when it refuses the arguments.
std::optional<LineSettings> After(const Words& arguments, LineSettings settings = {}) {
    Words words{"line"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const auto matched = Match({"line", "[--baud N] [--drop P] [--flip P] [--delay MS] [--seed N]", ""}, words);
    return matched ? std::optional(Changed(settings, *matched)) : std::nullopt;
}

TEST(LineArguments, ChangeOnlyWhatTheyName) {
    LineSettings settings;
    settings.drop = 0.5;
    settings = After({"--flip", "0.25", "--seed=18446744073709551615"}, settings).value();
    EXPECT_EQ(settings.drop, 0.5);
    EXPECT_EQ(settings.flip, 0.25);
    EXPECT_EQ(settings.seed, 18446744073709551615ULL);
    EXPECT_EQ(settings.baud, 115200U);
    settings = After({"--baud", "0", "--delay", "20"}, settings).value();
    EXPECT_EQ(settings.baud, 0U);
    EXPECT_EQ(settings.delayMs, 20U);
}

TEST(LineArguments, OutsideTheirBoundsAreRefused) {
    for (const Words& arguments :
         {Words{"--baud", "9600", "--drop", "1.5"}, Words{"--flip", "-0.1"}, Words{"--baud", "-1"},
          Words{"--delay", "60001"}, Words{"--seed", "1x"}, Words{"--drop="}}) {
        EXPECT_THROW(After(arguments), ControlError) << arguments[0];
    }
    for (const Words& arguments : {Words{"--drop"}, Words{"--speed", "1"}, Words{"off"}}) {
        EXPECT_FALSE(After(arguments)) << arguments[0];
    }
}

}  // namespace
}  // namespace simset
