#include <gtest/gtest.h>

#include <chrono>

#include "simset/board/host/PowerQueue.h"

namespace simset {
namespace {

bool IsAnswered(const std::future<bool>& future) {
    return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

TEST(PowerQueue, AsksThatWaitAreCarriedOutTogether) {
    PowerQueue queue;
    EXPECT_FALSE(queue.Take());
    auto first = queue.Ask(Wish::Reboot);
    auto second = queue.Ask(Wish::Reboot);
    EXPECT_EQ(queue.Take(), Wish::Reboot);
    EXPECT_FALSE(IsAnswered(first));
    queue.Done();
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    EXPECT_FALSE(queue.Take());
}

TEST(PowerQueue, WhatIsAskedMeanwhileIsTheNext) {
    PowerQueue queue;
    auto first = queue.Ask(Wish::Reboot);
    EXPECT_EQ(queue.Take(), Wish::Reboot);
    auto second = queue.Ask(Wish::Reboot);
    queue.Done();
    EXPECT_TRUE(first.get());
    EXPECT_FALSE(IsAnswered(second));
    EXPECT_EQ(queue.Take(), Wish::Reboot);
    queue.Done();
    EXPECT_TRUE(second.get());
}

TEST(PowerQueue, APowerCutOvertakesReboots) {
    PowerQueue queue;
    auto reboot = queue.Ask(Wish::Reboot);
    auto cut = queue.Ask(Wish::PowerCut);
    EXPECT_EQ(queue.Take(), Wish::PowerCut);
    queue.Done();
    EXPECT_FALSE(reboot.get());
    EXPECT_TRUE(cut.get());
}

TEST(PowerQueue, NobodyWaitsForASetThatIsOff) {
    PowerQueue queue;
    auto taken = queue.Ask(Wish::Reboot);
    queue.Take();
    auto waiting = queue.Ask(Wish::PowerCut);
    queue.Close();
    EXPECT_FALSE(taken.get());
    EXPECT_FALSE(waiting.get());
    EXPECT_FALSE(queue.Ask(Wish::Reboot).get());
}

}  // namespace
}  // namespace simset
