#include <SQLiteCpp/SQLiteCpp.h>

#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "simset/base/Status.h"
#include "simset/core/DiskFull.h"
#include "simset/core/Fixture.h"
#include "simset/core/state/State.h"

namespace simset::test {
namespace {

TEST(State, KeepsValuesAndBlobsOverReopening) {
    const tests::TempFolder dir;
    const std::string bytes("\0\xff\n'", 4);
    {
        State state(dir.Path() / "state.db");
        state.Put("flash", "brand", bytes);
        state.Put("flash", "gone", "x");
        state.Erase("flash", "gone");
        state.PutBlob("key", {bytes, 0xFFFFFFFFU, "from"});
    }
    State state(dir.Path() / "state.db");
    EXPECT_EQ(state.Load("flash"), (std::map<std::string, std::string>{{"brand", bytes}}));
    EXPECT_TRUE(state.Load("meta").empty());
    const auto blob = state.GetBlob("key");
    ASSERT_TRUE(blob);
    EXPECT_EQ(blob->bytes, bytes);
    EXPECT_EQ(blob->digest, 0xFFFFFFFFU);
    EXPECT_EQ(blob->note, "from");
    EXPECT_FALSE(state.GetBlob("other"));
}

TEST(State, SaysWhatToDoAboutAFileThatIsNone) {
    const tests::TempFolder dir;
    dir.Write("state.db", std::string(8192, 'x'));
    try {
        const State state(dir.Path() / "state.db");
        FAIL() << "a text file passed for a state";
    } catch (const StateError& error) {
        EXPECT_NE(std::string(error.what()).find("move it away"), std::string::npos) << error.what();
        EXPECT_NE(std::string(error.what()).find("state.db"), std::string::npos) << error.what();
    }
    EXPECT_THROW(State(dir.Path() / "no folder" / "state.db"), StateError);
}

TEST(State, RefusesTheStateOfANewerProgram) {
    const tests::TempFolder dir;
    {
        SQLite::Database database((dir.Path() / "state.db").string(),
                                  SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        database.exec("PRAGMA user_version=99");
    }
    EXPECT_THROW(State(dir.Path() / "state.db"), StateError);
}

using StoredSet = SimsetTest;

TEST_F(StoredSet, IsAPlausibleNewSet) {
    EXPECT_EQ(Ctl({"flash", "get", "ZelFacMode"}), "1\n");
    EXPECT_EQ(Ctl({"flash", "get", "never-set"}), "\n");
    EXPECT_EQ(Ctl({"meta", "get", "0"}), "0\n");
    EXPECT_EQ(Ctl({"meta", "get", "8"}), "\n");
    EXPECT_EQ(Ctl({"keys", "list"}), "[]\n");
    EXPECT_EQ(Ctl({"model", "get", "tovix.sl2.str.network.ip-address"}), "\n");
    const auto version = Ctl({"model", "get", "tovix.sl2.str.qorfactory.software.version"});
    EXPECT_NE(version.find('.'), std::string::npos);
    EXPECT_EQ(Value("tovix.sl2.vstr.bluetooth.support")[1], "1");
    EXPECT_EQ(Value("tovix.sl2.i32.bluetooth.enum.status"), 1);
}

TEST_F(StoredSet, KeepsSettingsAndForgetsWhatATelevisionForgets) {
    Ctl({"model", "set", "tovix.sl2.i32.video.backlight", "17"});
    Ctl({"model", "set", "tovix.sl2.messages.messageid", "5"});
    Ctl({"behave", "wifi", "250"});
    Ctl({"model", "fail", "*", "connect", "9", "--times", "3"});
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "ACME"), 0);
    ASSERT_EQ(init_factory_aux(), 0);
    EXPECT_EQ(writeMetaData(META_COUNTRY, -3), 0);
    EXPECT_EQ(writeStrMetaData(META_MAC, "00-11"), 0);
    Restart();
    EXPECT_EQ(Value("tovix.sl2.i32.video.backlight"), 17);
    EXPECT_EQ(Value("tovix.sl2.messages.messageid"), 0);
    EXPECT_EQ(Ctl({"flash", "get", "brand"}), "ACME\n");
    EXPECT_EQ(Ctl({"meta", "get", "1"}), "-3\n");
    EXPECT_EQ(Ctl({"meta", "get", "8"}), "00-11\n");
    EXPECT_EQ(TheMiddleware().Behaviour("wifi"), std::chrono::milliseconds(250));
    EXPECT_EQ(Ctl({"model", "fail"}), "[{\"name\":\"*\",\"status\":9,\"step\":\"connect\",\"times\":3}]\n");
}

TEST_F(StoredSet, ForgetsAtPowerOnWithoutARestart) {
    Ctl({"model", "set", "tovix.sl2.i32.video.backlight", "17"});
    Ctl({"model", "set", "tovix.sl2.messages.messageid", "5"});
    TheMiddleware().PowerOff();
    TheMiddleware().PowerOn();
    EXPECT_EQ(Value("tovix.sl2.i32.video.backlight"), 17);
    EXPECT_EQ(Value("tovix.sl2.messages.messageid"), 0);
}

TEST_F(StoredSet, AFullDiskFailsTheCallAndLosesNothing) {
    ASSERT_EQ(init_factory_aux(), 0);
    Mailbox<std::string> problems;
    m_hooks.onProblem = [&](const std::string& message) { problems.Put(message); };
    ASSERT_EQ(FlashEnv::instance().setEnv("brand", "ACME"), 0);
    ASSERT_EQ(writeKeys({m_dir.Write("key.bin", "123456789")}, KEY_HDCP1), 0);
    const std::string large(1U << 20U, 'x');
    const std::string largeKey = m_dir.Write("large.bin", large);
    {
        const DiskFull full(512U << 10U);
        EXPECT_EQ(FlashEnv::instance().setEnv("brand", large), kNotKept);
        EXPECT_NE(problems.Take().find("the trace cannot be written"), std::string::npos);
        const std::string problem = problems.Take();
        EXPECT_NE(problem.find("free some space"), std::string::npos) << problem;
        EXPECT_EQ(writeKeys({largeKey}, KEY_HDCP1), kNotKept);
        EXPECT_NE(CtlError({"flash", "set", "brand", large}).find("free some space"), std::string::npos);
    }
    EXPECT_EQ(Trace("keys").back()["status"], kNotKept);
    EXPECT_EQ(TheMiddleware().Flash("brand"), "ACME");
    EXPECT_EQ(checkKeyFile(KEY_HDCP1), 0);
    EXPECT_EQ(FlashEnv::instance().setEnv("brand", "OTHER"), 0) << "the set works again once there is room";
    Restart();
    EXPECT_EQ(TheMiddleware().Flash("brand"), "OTHER");
}

TEST_F(StoredSet, TextsKeepTheirBytes) {
    const std::string text("caf\xe9 \xff\xfe\n\"\\", 10);
    char buffer[32] = {};
    ASSERT_EQ(FlashEnv::instance().setEnv("brand", text), 0);
    ASSERT_EQ(FlashEnv::instance().getEnv("brand", buffer, sizeof(buffer)), 0);
    EXPECT_EQ(buffer, text);
    ASSERT_EQ(init_factory_aux(), 0);
    ASSERT_EQ(writeStrMetaData(META_CUSTOMER_MODEL, text), 0);
    Restart();
    ASSERT_EQ(init_factory_aux(), 0);
    ASSERT_EQ(readStrMetaData(META_CUSTOMER_MODEL, buffer, sizeof(buffer)), 0);
    EXPECT_EQ(buffer, text);
    EXPECT_EQ(TheMiddleware().Flash("brand"), text);
}

}  // namespace
}  // namespace simset::test
