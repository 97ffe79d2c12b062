#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/TempFolder.h"
#include "stock/Delivery.h"
#include "wire/Error.h"
#include "wire/Json.h"

namespace zelline {
namespace {

using testing::ElementsAre;

std::vector<std::string> NamesOf(const std::vector<Item>& items) {
    std::vector<std::string> names;
    for (const Item& item : items) {
        names.push_back(item.name);
    }
    return names;
}

template <typename Call>
Exit StatusOf(Call call) {
    try {
        call();
    } catch (const Error& error) {
        return error.Status();
    }
    return Exit::Success;
}

TEST(Delivery, AFolderIsReadByNameWithoutHiddenFiles) {
    const tests::TempFolder folder;
    folder.Write("keys/0002.bin", "two");
    folder.Write("keys/0001.bin", "one");
    folder.Write("keys/._0001.bin", "not a key");
    folder.Write("keys/more/0003.bin", "three");
    const auto items = KeysIn("hdcp1", folder.At("keys").string());
    EXPECT_THAT(NamesOf(items), ElementsAre("0001.bin", "0002.bin"));
    EXPECT_EQ(items[0].content, "one");
    EXPECT_EQ(items[0].type, "hdcp1");
}

TEST(Delivery, AFolderThatIsNotWholeIsRefused) {
    const tests::TempFolder folder;
    const std::string path = folder.Path().string();
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp1", path); }), Exit::Unusable) << "no files";
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp1", path + "/none"); }), Exit::Unusable);
    folder.Write("a.bin", "a");
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp1", path); }), Exit::Success);
    EXPECT_EQ(StatusOf([&] { KeysIn("mac", path); }), Exit::Unusable);
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp9", path); }), Exit::Unusable);
    folder.Write("b.bin", "");
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp1", path); }), Exit::Unusable) << "an empty file";
    folder.Write("b.bin", std::string("\xFF\xFF\xFF\xFF", 4));
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp1", path); }), Exit::Success);
    folder.Write("b.bin", std::string("\x9D\x0A\xD9\x6D", 4));  // its CRC-32 is 0
    EXPECT_EQ(StatusOf([&] { KeysIn("hdcp1", path); }), Exit::Unusable);
}

TEST(Delivery, ARangeHasBothItsEnds) {
    EXPECT_THAT(NamesOf(AddressesFrom("00:11:22:33:44:fe", "00-11-22-33-45-01")),
                ElementsAre("00:11:22:33:44:FE", "00:11:22:33:44:FF", "00:11:22:33:45:00", "00:11:22:33:45:01"));
    EXPECT_THAT(NamesOf(AddressesFrom("00:00:00:00:00:01", "00:00:00:00:00:01")),
                ElementsAre("00:00:00:00:00:01"));
}

TEST(Delivery, ARangeThatIsNoneIsRefused) {
    const std::pair<const char*, const char*> rows[] = {
        {"00:00:00:00:00:02", "00:00:00:00:00:01"}, {"00:00:00:00:00:00", "00:00:00:00:00:01"},
        {"01:00:00:00:00:00", "01:00:00:00:00:01"}, {"00:00:00:00:00:01", "00:00:01:00:00:01"},
        {"00:00:00:00:00", "00:00:00:00:00:01"},    {"00:00-00:00:00:01", "00:00:00:00:00:02"},
        {"00:00:00:00:00:0g", "00:00:00:00:00:02"}, {"", ""},
    };
    for (const auto& [first, last] : rows) {
        EXPECT_EQ(StatusOf([first = first, last = last] { AddressesFrom(first, last); }), Exit::Unusable) << first;
    }
    EXPECT_EQ(AddressesFrom("00:00:00:00:00:01", "00:00:00:0F:42:40").size(), 1000000U);
}

class ExportTest : public testing::Test {
  protected:
    ExportTest() {
        Item item;
        item.type = "hdcp1";
        item.name = "a \"b\".bin";
        item.content = "the key itself";
        item.unit = "=1+1";
        item.state = ItemState::Verified;
        item.digest = "d1";
        m_items = {item};
    }

    tests::TempFolder m_folder;
    std::vector<Item> m_items;
};

TEST_F(ExportTest, IsATableWithoutKeys) {
    Export(m_items, m_folder.At("stock.csv").string());
    EXPECT_EQ(m_folder.Read("stock.csv"),
              "type,name,state,unit,run,digest,added,changed,note\r\n"
              "hdcp1,\"a \"\"b\"\".bin\",verified,\"'=1+1\",\"\",d1,,,\"\"\r\n");
    struct stat about {};
    ASSERT_EQ(::stat(m_folder.At("stock.csv").c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777U, 0600U);
}

TEST_F(ExportTest, IsJsonWithoutKeys) {
    Export(m_items, m_folder.At("stock.json").string());
    const Json read = Json::parse(m_folder.Read("stock.json"));
    EXPECT_EQ(read["items"][0]["state"], "verified");
    EXPECT_EQ(read["items"][0]["unit"], "=1+1");
    EXPECT_EQ(m_folder.Read("stock.json").find("the key itself"), std::string::npos);
}

TEST_F(ExportTest, OverwritesNothing) {
    const std::string path = m_folder.Write("stock.csv", "older");
    EXPECT_EQ(StatusOf([&] { Export(m_items, path); }), Exit::Record);
    EXPECT_EQ(m_folder.Read("stock.csv"), "older");
    EXPECT_EQ(StatusOf([&] { Export(m_items, m_folder.At("stock.txt").string()); }), Exit::Unusable);
}

}  // namespace
}  // namespace zelline
