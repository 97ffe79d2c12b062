#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "base/Seed.h"
#include "link/Fences.h"

namespace zelline {
namespace {

using testing::ElementsAre;

using Ids = std::vector<std::uint16_t>;
using Certain = std::vector<std::optional<std::size_t>>;

Ids IdsOf(const std::vector<Slot>& slots) {
    Ids ids;
    for (const Slot& slot : slots) {
        ids.push_back(slot.id);
    }
    return ids;
}

TEST(Fences, AreTheQueriesThatAreAnsweredWithoutData) {
    EXPECT_THAT(kFences, ElementsAre(0x1277, 0x127D, 0x127F, 0x1280));
}

TEST(Fences, StandBetweenRequestsOfTheSameCommandAndBehindAll) {
    EXPECT_EQ(IdsOf(WithFences({0x1275}, {1})), (Ids{0x1275}));
    EXPECT_EQ(IdsOf(WithFences({0x1274, 0x1275}, {1, 1})), (Ids{0x1274, 0x1275, 0x1277}));
    EXPECT_EQ(IdsOf(WithFences({0x1288, 0x1288, 0x1288}, {1, 1, 1})),
              (Ids{0x1288, 0x1277, 0x1288, 0x127D, 0x1288, 0x127F}));
    EXPECT_EQ(IdsOf(WithFences({0x128E, 0x1295, 0x128D, 0x1295}, {1, 1, 1, 1})),
              (Ids{0x128E, 0x1295, 0x128D, 0x1295, 0x1277}));
    EXPECT_EQ(IdsOf(WithFences({0x128F, 0x1275}, {2, 1}, 3)), (Ids{0x128F, 0x128F, 0x1275, 0x1280}));
    EXPECT_EQ(WithFences({0x1288, 0x1288}, {1, 1})[2].request, 1U);
    EXPECT_EQ(WithFences({0x1288, 0x1288}, {1, 1})[1].request, kFence);
}

TEST(Fences, AnAnswerIsAttributedWhenItCanBelongToOneRequestOnly) {
    const std::vector<Slot> slots = WithFences({0x1288, 0x1288, 0x1288}, {1, 1, 1});
    EXPECT_EQ(Attribute(slots, {0x1288, 0x1277, 0x1288, 0x127D, 0x1288, 0x127F}), (Certain{0, 1, 2, 3, 4, 5}));
    // Lost: the first answer, the second, the third.
    EXPECT_EQ(Attribute(slots, {0x1277, 0x1288, 0x127D, 0x1288, 0x127F}), (Certain{1, 2, 3, 4, 5}));
    EXPECT_EQ(Attribute(slots, {0x1288, 0x1277, 0x127D, 0x1288, 0x127F}), (Certain{0, 1, 3, 4, 5}));
    EXPECT_EQ(Attribute(slots, {0x1288, 0x1277, 0x1288, 0x127D, 0x127F}), (Certain{0, 1, 2, 3, 5}));
    // A fence and one of its neighbours: which of the two answered is not known.
    EXPECT_EQ(Attribute(slots, {0x1288, 0x127D, 0x1288, 0x127F}), (Certain{std::nullopt, 3, 4, 5}));
    // A fence alone: both neighbours answered, in order.
    EXPECT_EQ(Attribute(slots, {0x1288, 0x1288, 0x127D, 0x1288, 0x127F}), (Certain{0, 2, 3, 4, 5}));
}

TEST(Fences, NothingIsAttributedToAnswersThatDoNotFit) {
    const std::vector<Slot> slots = WithFences({0x1288, 0x1288}, {1, 1});
    for (const Ids& ids : {Ids{0x1288, 0x1288, 0x1288}, Ids{0x127D, 0x1288}, Ids{0x1275}}) {
        EXPECT_EQ(Attribute(slots, ids), Certain(ids.size()));
    }
    EXPECT_TRUE(Attribute(slots, {}).empty());
}

TEST(Fences, BothAnswersOfADoubleOneAreItsRequests) {
    const std::vector<Slot> slots = WithFences({0x128F, 0x1275}, {2, 1});
    EXPECT_EQ(Attribute(slots, {0x128F, 0x128F, 0x1275, 0x1277}), (Certain{0, 1, 2, 3}));
    EXPECT_EQ(Attribute(slots, {0x128F, 0x1275, 0x1277}), (Certain{0, 2, 3}));
}

TEST(Fences, WhateverIsLostNoAnswerIsAttributedToAnotherRequest) {
    std::mt19937 random(tests::Seed());
    int told = 0;
    for (int round = 0; round < 20000; ++round) {
        Ids ids(1 + random() % 12);
        std::generate(ids.begin(), ids.end(), [&] { return static_cast<std::uint16_t>(0x1288 + random() % 3); });
        const std::vector<Slot> slots = WithFences(ids, std::vector<int>(ids.size(), 1), random() % 4);
        std::vector<std::size_t> came;
        Ids answers;
        for (std::size_t i = 0; i < slots.size(); ++i) {
            if (random() % 4 != 0) {
                came.push_back(i);
                answers.push_back(slots[i].id);
            }
        }
        const Certain certain = Attribute(slots, answers);
        for (std::size_t i = 0; i < came.size(); ++i) {
            if (certain[i]) {
                ++told;
                ASSERT_EQ(*certain[i], came[i]);
            }
        }
    }
    EXPECT_GT(told, 20000);
}

}  // namespace
}  // namespace zelline
