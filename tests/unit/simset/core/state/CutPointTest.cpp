#include <future>
#include <thread>

#include "simset/core/Fixture.h"
#include "simset/core/state/CutPoint.h"

namespace simset::test {
namespace {

TEST(CutPoint, CountsWhatChangesSomething) {
    EXPECT_TRUE(CutPoint::IsStep({{"who", "shell"}, {"command", "true"}}));
    EXPECT_TRUE(CutPoint::IsStep({{"who", "mount"}, {"call", "mount"}}));
    EXPECT_TRUE(CutPoint::IsStep({{"who", "flash"}, {"call", "set"}}));
    EXPECT_TRUE(CutPoint::IsStep({{"who", "meta"}, {"call", "write"}}));
    EXPECT_TRUE(CutPoint::IsStep({{"who", "model"}, {"call", "invoke"}}));
    EXPECT_FALSE(CutPoint::IsStep({{"who", "model"}, {"call", "get"}}));
    EXPECT_FALSE(CutPoint::IsStep({{"who", "keys"}, {"call", "check"}}));
    EXPECT_FALSE(CutPoint::IsStep({{"who", "apm"}, {"call", "registerApp"}}));
    EXPECT_FALSE(CutPoint::IsStep({{"who", "violation"}, {"call", "set"}})) << "that call has a row of its own";
    EXPECT_FALSE(CutPoint::IsStep({{"who", "mount"}, {"call", "umount"}}));
    EXPECT_FALSE(CutPoint::IsStep({{"who", "shell-end"}, {"command", "true"}})) << "its start was counted";
    EXPECT_FALSE(CutPoint::IsStep({{"who", "sync"}, {"call", "sync"}})) << "counted before it is carried out";
    EXPECT_FALSE(CutPoint::IsStep({{"who", "ctl"}, {"call", "set"}}));
    EXPECT_FALSE(CutPoint::IsStep({{"who", "event"}, {"call", "value"}}));
}

TEST(CutPoint, FailsAtItsStepAndIsToldOnce) {
    CutPoint point;
    point.Arm(2);
    point.Step();
    EXPECT_FALSE(point.IsFailing());
    point.HoldWhileFailing();
    point.Step();
    EXPECT_TRUE(point.IsFailing());
    EXPECT_TRUE(point.TakeReached());
    EXPECT_FALSE(point.TakeReached());
    auto held = std::async(std::launch::async, [&point] { point.HoldWhileFailing(); });
    EXPECT_EQ(held.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    point.PowerIsOff();
    EXPECT_EQ(held.wait_for(kPatience), std::future_status::ready);
    point.Step();
    EXPECT_FALSE(point.IsFailing());
}

TEST(CutPoint, CountsNothingWhileThePowerIsOff) {
    CutPoint point;
    point.PowerIsOff();
    point.Arm(1);
    point.Step();
    EXPECT_FALSE(point.IsFailing()) << "who fails now waits for a power-off that has been";
    point.PowerIsOn();
    point.Step();
    EXPECT_TRUE(point.IsFailing());
}

TEST(CutPoint, IsTakenBack) {
    CutPoint point;
    point.Arm(1);
    point.Arm(0);
    point.Step();
    EXPECT_FALSE(point.IsFailing());
}

}  // namespace
}  // namespace simset::test
