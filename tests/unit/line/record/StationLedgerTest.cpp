#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/TempFolder.h"
#include "record/RunRecord.h"
#include "record/Runs.h"
#include "record/StationLedger.h"
#include "stock/Stock.h"
#include "wire/Error.h"

namespace zelline {
namespace {

// A file stands in for the server: the statements are the same.
class StationLedgerTest : public testing::Test {
  protected:
    void Fill(std::size_t count) {
        std::vector<Item> items;
        for (std::size_t i = 0; i < count; ++i) {
            Item item;
            item.type = kAddressStock;
            item.name = fmt::format("00:00:00:00:00:{:02X}", i);
            item.content = item.name;
            items.push_back(item);
        }
        Stock(m_server).Add(items);
    }
    static std::string StateOf(Store& store, const std::string& name) {
        for (const Item& item : Stock(store).All()) {
            if (item.name == name) {
                return fmt::format("{} {}", ItemStateWord(item.state), item.unit);
            }
        }
        return "none";
    }
    static std::size_t FreeIn(Store& store) {
        const auto counts = Stock(store).Count();
        return counts.empty() ? 0 : counts[0].free;
    }
    std::size_t Leased() { return Stock(m_server).Count().at(0).leased; }

    tests::TempFolder m_folder;
    Store m_server{m_folder.At("server.db").string()};
    Store m_own{m_folder.At("a.db").string()};
    Store m_other{m_folder.At("b.db").string()};
    const std::set<std::string> m_types = {kAddressStock};
};

TEST_F(StationLedgerTest, AStationHasABlockThatNoOtherHas) {
    Fill(50);
    StationLedger(m_own, m_server, "A").Supply(m_types, "U1");
    EXPECT_EQ(FreeIn(m_own), StationLedger::kBlock);
    StationLedger(m_other, m_server, "B").Supply(m_types, "U2");
    EXPECT_EQ(FreeIn(m_other), StationLedger::kBlock);
    EXPECT_EQ(Leased(), 2 * StationLedger::kBlock);
    EXPECT_EQ(Stock(m_own).Reserve(kAddressStock, "U1", "r").name, "00:00:00:00:00:00");
    EXPECT_EQ(Stock(m_other).Reserve(kAddressStock, "U2", "r").name, "00:00:00:00:00:14");
    const auto leases = Stock(m_server).Leases();
    ASSERT_EQ(leases.size(), 2U);
    EXPECT_EQ(leases[0].station, "A");
    EXPECT_EQ(leases[0].free, StationLedger::kBlock);
}

TEST_F(StationLedgerTest, ABlockIsFilledUpWhenItRunsLow) {
    Fill(60);
    StationLedger ledger(m_own, m_server, "A");
    ledger.Supply(m_types, "U");
    std::size_t used = 0;
    const auto use = [&](std::size_t count) {
        for (; count > 0; --count) {
            Stock(m_own).Reserve(kAddressStock, fmt::format("V{}", ++used), "r");
        }
        ledger.BringUp();
        ledger.Supply(m_types, "U");
    };
    use(StationLedger::kBlock - StationLedger::kLow);
    EXPECT_EQ(FreeIn(m_own), StationLedger::kLow) << "not low yet";
    use(1);
    EXPECT_EQ(FreeIn(m_own), StationLedger::kBlock);
    EXPECT_EQ(Leased(), StationLedger::kBlock);
}

TEST_F(StationLedgerTest, WhatWasLeasedByAProcessThatWasKilledIsTakenOverAndNotLeasedTwice) {
    Fill(50);
    StationLedger ledger(m_own, m_server, "A");
    ledger.Supply(m_types, "U");
    m_own.Do([](soci::session& sql) { sql << "DELETE FROM item"; });  // it was killed before it had them
    ledger.Supply(m_types, "U");
    EXPECT_EQ(FreeIn(m_own), StationLedger::kBlock);
    EXPECT_EQ(Leased(), StationLedger::kBlock);
}

TEST_F(StationLedgerTest, WhatBecameOfItemsIsBroughtUp) {
    Fill(30);
    StationLedger ledger(m_own, m_server, "A");
    ledger.Supply(m_types, "U");
    Stock stock(m_own);
    const Item item = stock.Reserve(kAddressStock, "U", "r");
    EXPECT_EQ(StateOf(m_server, item.name), "free ");
    ledger.BringUp();
    EXPECT_EQ(StateOf(m_server, item.name), "reserved U");
    stock.Sending(item, "r");
    stock.Settle(item, ItemState::Verified, "");
    // The server does not outrank the station.
    ledger.Supply(m_types, "U");
    EXPECT_EQ(StateOf(m_own, item.name), "verified U");
    ledger.BringUp();
    EXPECT_EQ(StateOf(m_server, item.name), "verified U");
}

TEST_F(StationLedgerTest, WhatIsOlderDoesNotTakeThePlaceOfWhatIsNewer) {
    Fill(30);
    StationLedger ledger(m_own, m_server, "A");
    ledger.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r");
    ledger.BringUp();
    // Another process of the station has brought up what came after that.
    m_server.Do(
        [](soci::session& sql) { sql << "UPDATE item SET state = 'verified', revision = 100 WHERE unit = 'U'"; });
    Stock(m_own).Sending(item, "r");
    ledger.BringUp();
    EXPECT_EQ(StateOf(m_server, item.name), "verified U");
}

TEST_F(StationLedgerTest, AUnitKeepsItsItemAtAnotherStation) {
    Fill(50);
    StationLedger a(m_own, m_server, "A");
    a.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r1");
    Stock(m_own).Settle(item, ItemState::Written, "");
    a.BringUp();
    StationLedger b(m_other, m_server, "B");
    b.Supply(m_types, "U");
    EXPECT_EQ(Stock(m_other).Reserve(kAddressStock, "U", "r2").name, item.name);
    EXPECT_EQ(StateOf(m_other, item.name), "written U");
    Stock(m_other).Settle(item, ItemState::Verified, "");
    b.BringUp();
    EXPECT_EQ(StateOf(m_server, item.name), "verified U");
    // And back, with what the other station knows of it.
    a.BringUp();
    a.Supply(m_types, "U");
    EXPECT_EQ(StateOf(m_own, item.name), "verified U");
}

TEST_F(StationLedgerTest, WhatIsOnlyReservedStaysWhereItMayBeFreedAgain) {
    Fill(50);
    StationLedger a(m_own, m_server, "A");
    a.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r1");
    a.BringUp();
    Stock(m_own).Release("r1");  // it was not sent, and the server was away
    StationLedger b(m_other, m_server, "B");
    b.Supply(m_types, "U");
    const Item second = Stock(m_other).Reserve(kAddressStock, "U", "r2");
    EXPECT_NE(second.name, item.name);
    Stock(m_other).Settle(second, ItemState::Written, "");
    b.BringUp();
    a.BringUp();
    a.Supply(m_types, "V");
    EXPECT_EQ(Stock(m_own).Reserve(kAddressStock, "V", "r3").name, item.name) << "no other unit has it";
}

TEST_F(StationLedgerTest, WhatWasReservedForAUnitThatHasAnotherIsFreeAgain) {
    Fill(50);
    StationLedger a(m_own, m_server, "A");
    a.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r1");  // and the process was killed
    StationLedger b(m_other, m_server, "B");
    b.Supply(m_types, "U");
    const Item second = Stock(m_other).Reserve(kAddressStock, "U", "r2");
    Stock(m_other).Settle(second, ItemState::Written, "");
    b.BringUp();
    a.BringUp();
    EXPECT_THAT(Stock(m_server).Check(), testing::IsEmpty()) << "the unit was given one only";
    a.Supply(m_types, "U");
    EXPECT_EQ(Stock(m_own).Reserve(kAddressStock, "U", "r3").name, second.name);
    EXPECT_EQ(StateOf(m_own, item.name), "free ");
}

TEST_F(StationLedgerTest, WhatWasClaimedByAProcessThatWasKilledIsTakenOver) {
    Fill(50);
    StationLedger a(m_own, m_server, "A");
    a.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r1");
    Stock(m_own).Settle(item, ItemState::Written, "");
    a.BringUp();
    StationLedger b(m_other, m_server, "B");
    b.Supply(m_types, "U");
    m_other.Do([](soci::session& sql) { sql << "DELETE FROM item"; });  // it was killed before it had them
    b.Supply(m_types, "U");
    EXPECT_EQ(Stock(m_other).Reserve(kAddressStock, "U", "r2").name, item.name);
}

TEST_F(StationLedgerTest, WhatAStationCouldNotTellInTimeIsOlderThanWhatTheNextOneKnows) {
    Fill(50);
    StationLedger a(m_own, m_server, "A");
    a.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r1");
    Stock(m_own).Sending(item, "r1");
    a.BringUp();
    for (int change = 0; change < 5; ++change) {  // while the server was away
        Stock(m_own).Sending(item, "r1");
    }
    StationLedger b(m_other, m_server, "B");
    b.Supply(m_types, "U");
    Stock(m_other).Settle(Stock(m_other).Reserve(kAddressStock, "U", "r2"), ItemState::Verified, "");
    b.BringUp();
    a.Supply(m_types, "U");
    EXPECT_EQ(StateOf(m_own, item.name), "verified U");
    a.BringUp();
    EXPECT_EQ(StateOf(m_server, item.name), "verified U");
}

TEST_F(StationLedgerTest, NothingIsBroughtUpTimeAndAgain) {
    const auto toBring = [this] {
        int count = 0;
        m_own.Do([&](soci::session& sql) {
            sql << "SELECT COUNT(*) FROM item WHERE revision > pushed", soci::into(count);
        });
        return count;
    };
    Fill(50);
    StationLedger a(m_own, m_server, "A");
    a.Supply(m_types, "U");
    const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r1");
    Stock(m_own).Sending(item, "r1");
    EXPECT_EQ(toBring(), 1);
    a.BringUp();
    EXPECT_EQ(toBring(), 0);
    // Its process was killed before it had noted that.
    m_own.Do([](soci::session& sql) { sql << "UPDATE item SET pushed = 0"; });
    a.BringUp();
    EXPECT_EQ(toBring(), 0);
    // Another station has the item by now.
    Stock(m_own).Settle(item, ItemState::Written, "");
    StationLedger(m_other, m_server, "B").Supply(m_types, "U");
    a.BringUp();
    EXPECT_EQ(toBring(), 0);
}

TEST_F(StationLedgerTest, AnOlderCopyOfTheFileIsRefused) {
    Fill(30);
    { const StationLedger ledger(m_own, m_server, "A"); }
    // What a copy from before the last use has.
    m_own.Do([](soci::session& sql) { sql << "UPDATE ledger SET generation = generation - 2"; });
    try {
        const StationLedger ledger(m_own, m_server, "A");
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Exit::Unusable);
        EXPECT_THAT(error.what(), testing::HasSubstr("older copy"));
    }
}

TEST_F(StationLedgerTest, ARetiredLedgerIsSpentAndRefused) {
    Fill(30);
    {
        StationLedger ledger(m_own, m_server, "A");
        ledger.Supply(m_types, "U");
        const Item item = Stock(m_own).Reserve(kAddressStock, "U", "r");
        Stock(m_own).Settle(item, ItemState::Verified, "");
        ledger.BringUp();
    }
    const std::string name = Stock(m_server).Leases().at(0).ledger;
    EXPECT_FALSE(Stock(m_server).RetireLedger("other"));
    EXPECT_TRUE(Stock(m_server).RetireLedger(name));
    const auto counts = Stock(m_server).Count();
    EXPECT_EQ(counts[0].spent, StationLedger::kBlock - 1);
    EXPECT_EQ(counts[0].verified, 1U);
    EXPECT_EQ(counts[0].free, 30 - StationLedger::kBlock);
    EXPECT_THROW(StationLedger(m_own, m_server, "A"), Error);
}

TEST_F(StationLedgerTest, RecordsAreBroughtUpAsTheyAre) {
    Plan plan;
    plan.run = "r1";
    plan.steps.resize(2);
    PlanResult planned;
    planned.name = "Plan";
    planned.steps.resize(2);
    RunRecord record(m_own, plan, {"U", "A", "", "port", "1"});
    record.RunBegins(planned);
    StepResult step;
    step.name = "first";
    step.value = "7";
    step.isNumber = true;
    step.state = StepState::Passed;
    record.StepEnded(0, step);
    StationLedger ledger(m_own, m_server, "A");
    ledger.BringUp();
    RecordedRun run = LoadRun(m_server, "r1");
    EXPECT_EQ(VerdictOf(run), "UNFINISHED");
    EXPECT_EQ(run.result.steps.at(0).value, "7");
    EXPECT_TRUE(run.result.steps.at(0).isNumber);
    EXPECT_EQ(run.result.steps.at(1).state, StepState::NotRun);
    planned.status = Exit::Failure;
    record.RunEnded(planned);
    ledger.BringUp();
    ledger.BringUp();
    run = LoadRun(m_server, "r1");
    EXPECT_EQ(VerdictOf(run), "FAILED");
    EXPECT_EQ(run.result.steps.size(), 2U);
    EXPECT_EQ(run.place.station, "A");
}

TEST_F(StationLedgerTest, ManyRunsAreBroughtUpInPieces) {
    const auto count = [](Store& store, const char* which) {
        int runs = 0;
        store.Do([&](soci::session& sql) {
            sql << std::string("SELECT COUNT(*) FROM run WHERE ") + which, soci::into(runs);
        });
        return runs;
    };
    for (int number = 0; number < 120; ++number) {
        Plan plan;
        plan.run = fmt::format("r{:03}", number);
        RunRecord(m_own, plan, {"U", "A", "1", "/dev/ttyS0", "1.0"}).RunBegins(PlanResult());
    }
    StationLedger a(m_own, m_server, "A");
    m_server.Do([](soci::session& sql) {  // as one that goes away in the middle does
        sql << "CREATE TRIGGER away BEFORE INSERT ON run WHEN NEW.id = 'r110' BEGIN SELECT RAISE(ABORT, 'away'); "
               "END";
    });
    EXPECT_THROW(a.BringUp(), Error);
    EXPECT_EQ(count(m_server, "1 = 1"), 100);
    EXPECT_EQ(count(m_own, "revision > pushed"), 20);
    m_server.Do([](soci::session& sql) { sql << "DROP TRIGGER away"; });
    a.BringUp();
    EXPECT_EQ(count(m_server, "1 = 1"), 120);
    EXPECT_EQ(count(m_own, "revision > pushed"), 0);
}

}  // namespace
}  // namespace zelline
