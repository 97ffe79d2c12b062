#include "simset/base/Status.h"
#include "simset/core/Keys.h"
#include "simset/platform/Observing.h"

namespace simset::test {
namespace {

class TableSet : public SimsetTest {
  protected:
    TableSet() {
        vumodelapi::Action* preset = nullptr;
        constexpr vumodelapi::ObserverAction* kNobody = nullptr;
        EXPECT_EQ(m_root->connect("tovix.sl2.table.servicelist.list.preset.database", kNobody, preset), 0);
        vumodelapi::ArgumentList results;
        EXPECT_EQ(preset->invoke({{0, 0, 0, "38"}}, results), 0);
        Advance(400);
        EXPECT_EQ(m_root->disconnect("tovix.sl2.table.servicelist.list.preset.database", kNobody), 0);
    }

    TableObserver m_observer;
    RowObserver m_rows;
    boost::shared_ptr<frame::Interface> m_interface = OpenModel();
    vumodelapi::RootInterface* m_root = m_interface->getRootInterface();

    vumodelapi::TableRowChunk Read(const std::string& key, const vumodelapi::TableSelectionList& selection) {
        vumodelapi::Table* table = nullptr;
        EXPECT_EQ(m_root->connect(key, &m_observer, table), 0);
        const auto iterator = table->createIterator(selection, &m_rows);
        EXPECT_EQ(iterator->totalCount(), 0);
        const std::int32_t count = m_rows.counts.Take();
        EXPECT_EQ(iterator->readNextRows(count), 0);
        auto rows = m_rows.chunks.Take();
        EXPECT_EQ(static_cast<std::int32_t>(rows.size()), count);
        EXPECT_EQ(m_root->disconnect(key, &m_observer), 0);
        return rows;
    }

    std::string Tuner(const std::string& name) {
        for (const auto& row : Read(kTuners, {})) {
            if (row.at(1) == name) {
                return row.at(0);
            }
        }
        ADD_FAILURE() << "no tuner " << name;
        return {};
    }

    // The channels of a tuner whose tuning text holds `part`.
    std::size_t Matches(const std::string& tuner, const std::string& part) {
        std::size_t matches = 0;
        for (const auto& row : Read(kChannels, {{6, 0, ""}, {7, 0, ""}, {6, 1, tuner}})) {
            EXPECT_FALSE(row.at(2).empty());
            matches += row.at(3).find(part) != std::string::npos ? 1U : 0U;
        }
        return matches;
    }
};

TEST_F(TableSet, EachTunerHasOneReferenceChannel) {
    const std::string analog = Tuner("Analog");
    const std::string antenna = Tuner("Antenna");
    const std::string satellite = Tuner("Astra 19.2E");
    EXPECT_EQ(Matches(analog, "frequency=60000"), 1U);
    EXPECT_EQ(Matches(analog, "frequency=666000"), 0U);
    EXPECT_EQ(Matches(antenna, "frequency=666000"), 1U);
    EXPECT_EQ(Matches(antenna, "frequency=60000"), 0U);
    EXPECT_EQ(Matches(satellite, "symbolrate=27500"), 1U);
    EXPECT_EQ(Matches(satellite, "frequency=60000"), 0U);
    EXPECT_EQ(Matches("no such tuner", ""), 0U);
    EXPECT_EQ(Matches("", "symbolrate=27500"), 1U) << "without a tuner all rows are meant";
    std::size_t satellites = 0;
    for (const auto& row : Read(kTuners, {})) {
        satellites += row.at(1).compare(0, 5, "Astra") == 0 ? 1U : 0U;
    }
    EXPECT_EQ(satellites, 1U);
}

TEST_F(TableSet, RowsComeOneAfterTheOther) {
    Ctl({"model", "set", kTuners, R"([["1","a"],["2","b"],["3","c"]])"});
    vumodelapi::Table* table = nullptr;
    ASSERT_EQ(m_root->connect(kTuners, &m_observer, table), 0);
    const auto iterator = table->createIterator({}, &m_rows);
    ASSERT_EQ(iterator->readNextRows(2), 0);
    EXPECT_EQ(m_rows.chunks.Take(), (vumodelapi::TableRowChunk{{"1", "a"}, {"2", "b"}}));
    ASSERT_EQ(iterator->readNextRows(0), 0);
    EXPECT_TRUE(m_rows.chunks.Take().empty());
    ASSERT_EQ(iterator->readNextRows(5), 0);
    EXPECT_EQ(m_rows.chunks.Take(), (vumodelapi::TableRowChunk{{"3", "c"}}));
    EXPECT_EQ(iterator->readNextRows(-1), kOutOfRange);
    Ctl({"model", "set", kTuners, "[]"});
    EXPECT_EQ(m_observer.updates.Take(), 1);
    ASSERT_EQ(iterator->totalCount(), 0);
    EXPECT_EQ(m_rows.counts.Take(), 0);
}

TEST_F(TableSet, AnIteratorThatIsKeptDeliversNothingMore) {
    vumodelapi::Table* table = nullptr;
    ASSERT_EQ(m_root->connect(kTuners, &m_observer, table), 0);
    const auto kept = table->createIterator({}, &m_rows);
    ASSERT_TRUE(kept);
    ASSERT_EQ(m_root->disconnect(kTuners, &m_observer), 0);
    EXPECT_EQ(kept->totalCount(), kNotConnected);
    EXPECT_EQ(kept->readNextRows(1), kNotConnected);
    m_interface.reset();
    EXPECT_EQ(kept->totalCount(), kNotConnected);
    EXPECT_TRUE(m_rows.counts.Empty());
}

TEST_F(TableSet, MeetsTheFaultsOfItsSteps) {
    vumodelapi::Table* table = nullptr;
    ASSERT_EQ(m_root->connect(kTuners, &m_observer, table), 0);
    Ctl({"model", "fail", kTuners, "operate", "31", "--times", "1"});
    EXPECT_FALSE(table->createIterator({}, &m_rows));
    const auto iterator = table->createIterator({}, &m_rows);
    Ctl({"model", "fail", kTuners, "count", "32", "--times", "1"});
    EXPECT_EQ(iterator->totalCount(), 32);
    Ctl({"model", "fail", kTuners, "rows", "33", "--times", "1"});
    EXPECT_EQ(iterator->readNextRows(1), 33);
    ASSERT_EQ(iterator->totalCount(), 0);
    EXPECT_GT(m_rows.counts.Take(), 0);
    EXPECT_TRUE(m_rows.chunks.Empty()) << "a failed read delivered rows";
}

}  // namespace
}  // namespace simset::test
