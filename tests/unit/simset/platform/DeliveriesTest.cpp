#include <gtest/gtest.h>

#include <future>

#include "simset/platform/Deliveries.h"

namespace simset {
namespace {

constexpr std::chrono::seconds kNever{600};

TEST(Deliveries, NothingFollowsTheOneThatARemovalWaitsFor) {
    Deliveries deliveries;
    const auto number = deliveries.NextNumber();
    const nlohmann::json event{{"target", number}};
    const auto asker = std::this_thread::get_id();
    int probes = 0;
    std::promise<void> inside;
    std::promise<void> go;
    deliveries.Add(number, [&](const nlohmann::json&) {
        if (std::this_thread::get_id() == asker) {
            ++probes;
            return;
        }
        inside.set_value();
        go.get_future().wait();
    });
    auto first = std::async(std::launch::async, [&] { deliveries.Deliver(event); });
    inside.get_future().wait();
    auto removed = std::async(std::launch::async, [&] { deliveries.Remove(number); });
    for (int before = -1; before != probes;) {  // until the removal has begun
        before = probes;
        deliveries.Deliver(event);
    }
    EXPECT_EQ(removed.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    go.set_value();
    removed.get();
    first.get();
}

TEST(Deliveries, TheLastEventIsAwaitedButByItsOwnThread) {
    Deliveries deliveries;
    const auto number = deliveries.NextNumber();
    deliveries.AwaitLast(number, kNever);  // nobody is there
    deliveries.Add(number, [&](const nlohmann::json&) { deliveries.AwaitLast(number, kNever); });
    deliveries.Deliver({{"target", number}});
    auto awaited = std::async(std::launch::async, [&] { deliveries.AwaitLast(number, kNever); });
    EXPECT_EQ(awaited.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    deliveries.Last(number);
    awaited.get();
}

TEST(Deliveries, NothingIsAwaitedOnceTheMiddlewareIsGone) {
    Deliveries deliveries;
    const auto number = deliveries.NextNumber();
    deliveries.Add(number, [](const nlohmann::json&) {});
    auto awaited = std::async(std::launch::async, [&] { deliveries.AwaitLast(number, kNever); });
    deliveries.Last();
    awaited.get();
}

}  // namespace
}  // namespace simset
