#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "line/CliFixture.h"
#include "store/Store.h"

namespace zelline {
namespace {

using testing::HasSubstr;

class StockCli : public CliFixture {
  protected:
    StockCli() { m_folder.Write("keys/1.bin", "one"); }

    int OnStock(std::vector<std::string> words) {
        words.insert(words.begin(), {"--store", m_store, "stock"});
        return Run(words);
    }

    std::string m_store = m_folder.At("line.db").string();
    std::string m_keys = m_folder.At("keys").string();
};

TEST_F(StockCli, IsFilledAndCounted) {
    EXPECT_EQ(OnStock({"add", "hdcp1", m_keys}), 0);
    EXPECT_EQ(m_out.str(), "hdcp1: 1 taken in\n");
    m_folder.Write("keys/2.bin", "two");
    EXPECT_EQ(OnStock({"add", "hdcp1", m_keys, "--json"}), 0);
    EXPECT_EQ(Last()["added"], 1);
    EXPECT_EQ(Last()["known"], 1);
    EXPECT_EQ(OnStock({"add", "mac", "00:00:00:00:00:01", "00:00:00:00:00:0A"}), 0);
    EXPECT_EQ(OnStock({"status"}), 0);
    EXPECT_THAT(m_out.str(), testing::MatchesRegex("stock +free +leased +reserved +written +verified +spent\n"
                                                   "hdcp1 +2 +0 +0 +0 +0 +0\nmac +10 +0 +0 +0 +0 +0\n"));
    EXPECT_EQ(OnStock({"status", "--json"}), 0);
    EXPECT_EQ(Last()["stock"], "mac");
    EXPECT_EQ(Last()["free"], 10);
}

TEST_F(StockCli, IsCheckedExportedAndRetired) {
    ASSERT_EQ(OnStock({"add", "hdcp1", m_keys}), 0);
    EXPECT_EQ(OnStock({"check"}), 0);
    EXPECT_EQ(m_out.str(), "1 items, all in order\n");
    EXPECT_EQ(OnStock({"retire", "hdcp1", "1.bin"}), 0);
    EXPECT_EQ(OnStock({"retire", "hdcp1", "1.bin"}), 2);
    EXPECT_EQ(OnStock({"retire", "ledger", "none"}), 2);
    Store(m_store).Do([](soci::session& sql) { sql << "INSERT INTO ledger VALUES ('f00d', 'A', 1)"; });
    EXPECT_EQ(OnStock({"retire", "ledger", "f00d"}), 0);
    const std::string path = m_folder.At("stock.csv").string();
    EXPECT_EQ(OnStock({"export", path}), 0);
    EXPECT_THAT(m_folder.Read("stock.csv"), HasSubstr("hdcp1,\"1.bin\",spent,"));
    EXPECT_EQ(OnStock({"export", path}), 5);
    Store(m_store).Do([](soci::session& sql) { sql << "UPDATE item SET content = '00'"; });
    EXPECT_EQ(OnStock({"check"}), 1);
    EXPECT_THAT(m_out.str(), HasSubstr("hdcp1 1.bin does not have the content"));
}

TEST_F(StockCli, UnusableWordsChangeNothing) {
    EXPECT_EQ(OnStock({}), 2);
    EXPECT_EQ(OnStock({"count"}), 2);
    EXPECT_EQ(OnStock({"add", "hdcp1"}), 2);
    EXPECT_EQ(OnStock({"add", "hdcp1", m_keys, "more"}), 2);
    EXPECT_EQ(OnStock({"add", "mac", "00:00:00:00:00:01"}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("stock add mac FIRST LAST"));
    EXPECT_EQ(OnStock({"export"}), 2);
}

TEST_F(StockCli, NeedsAStoreThatCanBeReached) {
    EXPECT_EQ(Run({"stock", "status"}), 2);
    EXPECT_THAT(m_err.str(), HasSubstr("ZELLINE_STORE"));
    m_store = "postgresql://127.0.0.1:1/line";
    EXPECT_EQ(OnStock({"status", "--json"}), 6);
    EXPECT_EQ(Last()["outcome"], "store");
    EXPECT_EQ(Last()["exit"], 6);
}

}  // namespace
}  // namespace zelline
