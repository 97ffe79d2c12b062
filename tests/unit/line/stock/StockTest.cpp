#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/TempFolder.h"
#include "stock/Stock.h"
#include "wire/Error.h"

namespace zelline {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

Item KeyItem(const std::string& name, const std::string& content) {
    Item item;
    item.type = "hdcp1";
    item.name = name;
    item.content = content;
    return item;
}

Item AddressItem(const std::string& address) {
    Item item;
    item.type = kAddressStock;
    item.name = address;
    item.content = address;
    return item;
}

class StockTest : public testing::Test {
  protected:
    std::vector<std::string> States() {
        std::vector<std::string> states;
        for (const Item& item : m_stock.All()) {
            states.push_back(item.name + " " + ItemStateWord(item.state) + " " + item.unit);
        }
        return states;
    }
    void Change(const std::string& statement) {
        m_store.Do([&](soci::session& sql) { sql << statement; });
    }

    tests::TempFolder m_folder;
    Store m_store{m_folder.At("line.db").string()};
    Stock m_stock{m_store};
};

TEST_F(StockTest, KeepsContentAsItIs) {
    const std::string content("\0\xFFkey\n", 6);
    EXPECT_EQ(m_stock.Add({KeyItem("0001.bin", content)}), 1U);
    EXPECT_EQ(m_stock.Reserve("hdcp1", "A", "r1").content, content);
    const auto items = m_stock.All();
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].content, content);
    EXPECT_EQ(items[0].digest.size(), 64U);
}

TEST_F(StockTest, TakesNothingInTwice) {
    EXPECT_EQ(m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2"), KeyItem("c", "1")}), 2U);
    EXPECT_EQ(m_stock.Add({KeyItem("other", "2"), KeyItem("d", "3")}), 1U);
    EXPECT_EQ(m_stock.Add({AddressItem("00:00:00:00:00:01"), AddressItem("00:00:00:00:00:02")}), 2U);
    EXPECT_EQ(m_stock.Add({AddressItem("00:00:00:00:00:02"), AddressItem("00:00:00:00:00:03")}), 1U);
    Item other = KeyItem("e", "1");
    other.type = "hdcp2";
    EXPECT_EQ(m_stock.Add({other}), 0U);
    EXPECT_THAT(States(), ElementsAre("a free ", "b free ", "d free ", "00:00:00:00:00:01 free ",
                                      "00:00:00:00:00:02 free ", "00:00:00:00:00:03 free "));
    // Not once it is used up either.
    m_stock.Settle(m_stock.Reserve("hdcp1", "A", "r1"), ItemState::Spent, "");
    EXPECT_EQ(m_stock.Add({KeyItem("again", "1")}), 0U);
}

TEST_F(StockTest, AUnitKeepsItsItemAndNoOtherGetsIt) {
    m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2")});
    const Item item = m_stock.Reserve("hdcp1", "A", "r1");
    EXPECT_EQ(item.name, "a");
    EXPECT_EQ(m_stock.Reserve("hdcp1", "B", "r2").name, "b");
    for (const ItemState state :
         {ItemState::Reserved, ItemState::Written, ItemState::Verified, ItemState::Spent}) {
        m_stock.Settle(item, state, "");
        EXPECT_EQ(m_stock.Reserve("hdcp1", "A", "r3").name, "a");
        try {
            m_stock.Reserve("hdcp1", "C", "r4");
            ADD_FAILURE() << ItemStateWord(state);
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Exit::Store);
            EXPECT_THAT(error.what(), HasSubstr("the stock of hdcp1 is empty"));
        }
    }
}

TEST_F(StockTest, WhatIsSentIsSpentUntilMoreIsKnown) {
    m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2")});
    const Item item = m_stock.Reserve("hdcp1", "A", "r1");
    m_stock.Reserve("hdcp1", "B", "r1");
    EXPECT_THAT(States(), ElementsAre("a reserved A", "b reserved B"));
    m_stock.Sending(item, "r1");
    EXPECT_THAT(States(), ElementsAre("a spent A", "b reserved B"));
    m_stock.Release("r1");
    EXPECT_THAT(States(), ElementsAre("a spent A", "b free "));
    m_stock.Settle(item, ItemState::Verified, "");
    EXPECT_THAT(States(), ElementsAre("a verified A", "b free "));
}

TEST_F(StockTest, ARunReleasesOnlyWhatItReservedItself) {
    m_stock.Add({KeyItem("a", "1")});
    m_stock.Reserve("hdcp1", "A", "r1");
    m_stock.Reserve("hdcp1", "A", "r2");
    m_stock.Release("r2");
    EXPECT_THAT(States(), ElementsAre("a reserved A"));
    m_stock.Release("r1");
    EXPECT_THAT(States(), ElementsAre("a free "));
}

TEST_F(StockTest, ARetiredItemIsUsedNoMore) {
    m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2")});
    m_stock.Reserve("hdcp1", "A", "r1");
    EXPECT_TRUE(m_stock.Retire("hdcp1", "a", "damaged"));
    EXPECT_FALSE(m_stock.Retire("hdcp1", "a", "damaged"));
    EXPECT_FALSE(m_stock.Retire("hdcp2", "b", "damaged"));
    EXPECT_EQ(m_stock.Reserve("hdcp1", "A", "r2").name, "b");
    EXPECT_THAT(States(), ElementsAre("a spent ", "b reserved A"));
}

TEST_F(StockTest, IsCounted) {
    m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2"), KeyItem("c", "3"), KeyItem("d", "4"), KeyItem("e", "5"),
                 AddressItem("00:00:00:00:00:01")});
    m_stock.Reserve("hdcp1", "A", "r");
    m_stock.Settle(m_stock.Reserve("hdcp1", "B", "r"), ItemState::Written, "");
    m_stock.Settle(m_stock.Reserve("hdcp1", "C", "r"), ItemState::Verified, "");
    m_stock.Settle(m_stock.Reserve("hdcp1", "D", "r"), ItemState::Spent, "");
    const auto counts = m_stock.Count();
    ASSERT_EQ(counts.size(), 2U);
    EXPECT_EQ(counts[0].type, "hdcp1");
    EXPECT_EQ(counts[0].free, 1U);
    EXPECT_EQ(counts[0].reserved, 1U);
    EXPECT_EQ(counts[0].written, 1U);
    EXPECT_EQ(counts[0].verified, 1U);
    EXPECT_EQ(counts[0].spent, 1U);
    EXPECT_EQ(counts[1].type, "mac");
    EXPECT_EQ(counts[1].free, 1U);
}

TEST_F(StockTest, ACheckFindsWhatWasChangedFromOutside) {
    m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2"), KeyItem("c", "3"), AddressItem("00:00:00:00:00:01")});
    m_stock.Reserve("hdcp1", "A", "r");
    EXPECT_THAT(m_stock.Check(), IsEmpty());
    Change("UPDATE item SET content = '31' WHERE name = 'b'");
    Change("UPDATE item SET content = 'x' WHERE name = 'c'");
    Change("UPDATE item SET content = '1' WHERE type = 'mac'");
    Change("UPDATE item SET unit = '' WHERE name = 'a'");
    EXPECT_THAT(m_stock.Check(),
                UnorderedElementsAre("hdcp1 b does not have the content that was taken in",
                                     "hdcp1 c does not have the content that was taken in",
                                     "mac 00:00:00:00:00:01 does not have the content that was taken in",
                                     "hdcp1 a is reserved and has no unit"));
    Change("UPDATE item SET state = 'lent'");
    EXPECT_THAT(m_stock.Check(), testing::Contains("hdcp1 a has the state 'lent', which there is not"));
}

TEST_F(StockTest, ACheckTellsOfAUnitWithTwoAndOfAFreeItemWithAUnit) {
    m_stock.Add({KeyItem("a", "1"), KeyItem("b", "2")});
    const Item item = m_stock.Reserve("hdcp1", "A", "r");
    Change("UPDATE item SET unit = 'A' WHERE name = 'b'");
    EXPECT_THAT(m_stock.Check(), ElementsAre("hdcp1 b is free and has a unit")) << "it was sent neither";
    m_stock.Sending(item, "r");
    EXPECT_THAT(m_stock.Check(), UnorderedElementsAre("hdcp1 b is free and has a unit",
                                                      "the unit A has two items of hdcp1: a and b"));
}

}  // namespace
}  // namespace zelline
