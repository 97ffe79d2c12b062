#include <set>

#include "simset/base/Partitions.h"
#include "simset/base/Status.h"
#include "simset/core/Fixture.h"
#include "simset/core/middleware/DiskSizes.h"
#include "simset/wire/Wire.h"

namespace simset::test {
namespace {

constexpr char kConfig[] = "/config";

TEST(DiskSizes, ReadsSizesAsTheyAreTyped) {
    EXPECT_EQ(DiskSizes::Parse(kConfig, "5000"), 5000U);
    EXPECT_EQ(DiskSizes::Parse(kConfig, "64K"), 65536U);
    EXPECT_EQ(DiskSizes::Parse(kConfig, "2M"), 2097152U);
    EXPECT_EQ(DiskSizes::Parse(kConfig, "8192M"), kStickSize);
    EXPECT_EQ(DiskSizes::Parse(kConfig, "full"), DiskSizes::kFull);
    EXPECT_EQ(DiskSizes::Parse(kConfig, "default"), 32 * kMebibyte);
    EXPECT_EQ(DiskSizes::Parse("/mnt/usb/sda1", "default"), kStickSize);
    for (const char* text : {"", "0", "0K", "K", "-1", "1G", "1.5M", "8193M", "18446744073709551615M"}) {
        EXPECT_FALSE(DiskSizes::Parse(kConfig, text)) << text;
    }
}

TEST(DiskSizes, KnowsPartitionsAndSticks) {
    for (const char* path : {"/config", "/zodata/critical", "/mnt/usb/sda1"}) {
        EXPECT_TRUE(DiskSizes::IsDisk(path)) << path;
    }
    for (const char* path : {"", "/", "/config/", "/config/font", "/tmp", "/mnt/usb/", "/mnt/usb/sda1/x"}) {
        EXPECT_FALSE(DiskSizes::IsDisk(path)) << path;
    }
}

TEST(DiskSizes, EveryPartitionIsOfWholePages) {
    for (const Partition& partition : kPartitions) {
        EXPECT_GT(partition.size, 0U) << partition.path;
        EXPECT_EQ(partition.size % kDiskPage, 0U) << partition.path;
    }
}

TEST(DiskSizes, KeepsWhatIsNotItsOwn) {
    const tests::TempFolder dir;
    State state(dir.Path() / "state.db");
    {
        DiskSizes sizes(state);
        sizes.Change(kConfig, 8192);
        sizes.Change("/certificate", 4096);
        sizes.Change("/certificate", *DiskSizes::Parse("/certificate", "default"));
        sizes.Change("/serialdata", DiskSizes::kFull);
    }
    const DiskSizes sizes(state);
    EXPECT_EQ(sizes.Of(kConfig), 8192U);
    EXPECT_EQ(sizes.Of("/certificate"), 16 * kMebibyte);
    EXPECT_EQ(sizes.Of("/mnt/usb/sdb1"), kStickSize);
    EXPECT_EQ(sizes.Changed(),
              (std::map<std::string, std::uint64_t>{{kConfig, 8192}, {"/serialdata", DiskSizes::kFull}}));
}

class Disks : public SimsetTest {};

TEST_F(Disks, AreResizedBeforeTheirSizeIsKept) {
    std::map<std::string, std::uint64_t> resized;
    m_hooks.resizeDisk = [&](const std::string& path, std::uint64_t size) {
        if (size == 4096) {
            throw std::runtime_error("holds more");
        }
        resized[path] = size;
    };
    Ctl({"disk", kConfig, "16K"});
    EXPECT_EQ(resized, (std::map<std::string, std::uint64_t>{{kConfig, 16384}}));
    EXPECT_EQ(CtlError({"disk", kConfig, "4K"}), "holds more");
    EXPECT_EQ(TheMiddleware().DiskSize(kConfig), 16384U);
    EXPECT_NE(CtlError({"disk", "/conf", "4K"}).find(kConfig), std::string::npos);
    EXPECT_NE(CtlError({"disk", kConfig, "4G"}).find("no size"), std::string::npos);
    Restart();
    EXPECT_EQ(TheMiddleware().ChangedDiskSizes(), (std::map<std::string, std::uint64_t>{{kConfig, 16384}}));
}

TEST_F(Disks, AreListedAsTheBoardSeesThem) {
    const auto sizes = nlohmann::json::parse(Ctl({"disk"}));
    EXPECT_EQ(sizes.size(), kPartitions.size());
    EXPECT_EQ(sizes[0], (nlohmann::json{{"path", "/zodata/critical"}, {"size", 4 * kMebibyte}}));
    m_hooks.disks = [] { return nlohmann::ordered_json::array({{{"path", kConfig}, {"size", 9}, {"free", 1}}}); };
    EXPECT_EQ(Ctl({"disk"}), "[{\"path\":\"/config\",\"size\":9,\"free\":1}]\n");
}

TEST_F(Disks, AreToldWhenACommandFailsWhileTheyAreFull) {
    m_hooks.disks = [] {
        return nlohmann::ordered_json::array(
            {{{"path", kConfig}, {"free", 1}}, {{"path", "/certificate"}, {"free", 0}}});
    };
    const auto end = [](int status) {
        AskStatus({{"op", "trace"}, {"row", {{"who", "shell-end"}, {"command", "cp"}, {"status", status}}}});
    };
    end(0);
    EXPECT_TRUE(Trace("disk").empty());
    end(1);
    const auto rows = Trace("disk");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0]["path"], "/certificate");
    EXPECT_EQ(rows[0]["command"], "cp");
    EXPECT_LT(rows[0]["seq"], Trace("shell-end").at(1)["seq"]);
}

}  // namespace
}  // namespace simset::test
