#include <SQLiteCpp/SQLiteCpp.h>

#include "factory_aux/FactoryAux.h"
#include "simset/base/Status.h"
#include "simset/core/services/KeyStore.h"
#include "simset/platform/Observing.h"

namespace simset::test {
namespace {

class KeySet : public SimsetTest {
  protected:
    KeySet() { init_factory_aux(); }

    void Restart() {
        SimsetTest::Restart();
        init_factory_aux();
    }

    nlohmann::json Keys() { return nlohmann::json::parse(Ctl({"keys", "list"})); }

    // Damages a stored copy behind the set's back.
    void Damage(const std::string& blob) {
        Stop();
        {
            SQLite::Database database((m_dir.Path() / "state.db").string(), SQLite::OPEN_READWRITE);
            SQLite::Statement statement(database, "UPDATE blobs SET bytes=x'00' WHERE name=?");
            statement.bind(1, blob);
            ASSERT_EQ(statement.exec(), 1);
        }
        Restart();
    }
};

TEST_F(KeySet, InstallsAFileWithItsDigest) {
    EXPECT_NE(checkKeyFile(KEY_HDCP1), 0) << "no key is installed yet";
    ASSERT_EQ(writeKeys({m_dir.Write("key.bin", "123456789")}, KEY_HDCP1), 0);
    EXPECT_EQ(checkKeyFile(KEY_HDCP1), 0);
    ASSERT_EQ(Keys().size(), 1U);
    EXPECT_EQ(Keys()[0]["type"], "hdcp1");
    EXPECT_EQ(Keys()[0]["key"], 5);
    EXPECT_EQ(Keys()[0]["size"], 9);
    EXPECT_EQ(Keys()[0]["crc32"], "cbf43926");  // the check value that every CRC-32 gives for these nine digits
    Restart();
    EXPECT_EQ(checkKeyFile(KEY_HDCP1), 0);
}

TEST_F(KeySet, ClearingLeavesNoKey) {
    ASSERT_EQ(writeKeys({m_dir.Write("key.bin", "123456789")}, KEY_HDCP1), 0);
    ASSERT_EQ(writeKeys({m_dir.Write("key.bin", "1234567890")}, KEY_WIDEVINE), 0);
    EXPECT_EQ(Ctl({"keys", "clear"}), "");
    EXPECT_EQ(Keys(), nlohmann::json::array());
    EXPECT_NE(checkKeyFile(KEY_HDCP1), 0);
    Restart();
    EXPECT_EQ(Keys(), nlohmann::json::array());
}

TEST_F(KeySet, InstallsNothingThatIsNotThere) {
    const std::string full = m_dir.Write("full", "x");
    const std::string empty = m_dir.Write("empty", "");
    EXPECT_NE(writeKeys({(m_dir.Path() / "missing").string()}, KEY_HDCP2), 0);
    EXPECT_NE(writeKeys({empty}, KEY_HDCP2), 0);
    EXPECT_NE(writeKeys({full, empty}, KEY_HDCP2), 0);
    EXPECT_NE(writeKeys({}, KEY_HDCP2), 0);
    EXPECT_NE(writeKeys({""}, KEY_HDCP2), 0);
    EXPECT_NE(writeKeys({full}, static_cast<KEY>(7)), 0);
    EXPECT_NE(writeKeys({m_dir.Path().string()}, KEY_HDCP2), 0);
    EXPECT_EQ(Keys(), nlohmann::json::array());
}

TEST_F(KeySet, HasItsOwnSourceOfTwoKeys) {
    EXPECT_EQ(writeKeys({""}, KEY_PLAYREADY), 0);
    EXPECT_EQ(writeKeys({""}, KEY_YOUTUBE), 0);
    EXPECT_EQ(checkKeyFile(KEY_PLAYREADY), 0);
    EXPECT_EQ(checkKeyFile(KEY_YOUTUBE), 0);
    ASSERT_EQ(Keys().size(), 2U);
    EXPECT_NE(Keys()[0]["crc32"], Keys()[1]["crc32"]);
}

TEST_F(KeySet, NoticesADamagedCopy) {
    ASSERT_EQ(writeKeys({m_dir.Write("key.bin", "123456789")}, KEY_WIDEVINE), 0);
    Damage("key widevine");
    EXPECT_EQ(checkKeyFile(KEY_WIDEVINE), kRefused);
}

TEST_F(KeySet, FailsAsAsked) {
    const std::string file = m_dir.Write("key.bin", "x");
    Ctl({"keys", "fail", "netflix", "write", "41", "--times", "1"});
    EXPECT_EQ(writeKeys({file}, KEY_NETFLIX), 41);
    EXPECT_EQ(Keys(), nlohmann::json::array());
    EXPECT_EQ(writeKeys({file}, KEY_NETFLIX), 0);
    Ctl({"keys", "fail", "0", "check", "42"});
    EXPECT_EQ(checkKeyFile(KEY_NETFLIX), 42);
    Ctl({"keys", "fail", "netflix", "check", "0"});
    EXPECT_EQ(checkKeyFile(KEY_NETFLIX), 0);
}

TEST_F(KeySet, ShowsNoKeyBytes) {
    const std::string secret = "the-secret-of-this-key";
    const std::string file = m_dir.Write("key.bin", secret);
    ASSERT_EQ(writeKeys({file}, KEY_CIPLUS), 0);
    const auto row = Trace("keys").at(0);
    EXPECT_EQ(row["call"], "write");
    EXPECT_EQ(row["key"], 3);
    EXPECT_EQ(row["files"], nlohmann::json::array({file}));
    const std::string shown = Ctl({"trace"}) + Ctl({"keys", "list"});
    EXPECT_EQ(shown.find(secret), std::string::npos);
    EXPECT_EQ(shown.find("746865"), std::string::npos) << "not in hexadecimal either";
}

class CredentialSet : public KeySet {
  protected:
    std::string Invoke(const std::string& key, const vumodelapi::ArgumentList& arguments) {
        ActionObserver observer;
        const auto interface = OpenModel();
        vumodelapi::Action* action = nullptr;
        EXPECT_EQ(interface->getRootInterface()->connect(key, &observer, action), 0);
        vumodelapi::ArgumentList results;
        EXPECT_EQ(action->invoke(arguments, results), 0);
        return observer.reports.Take();
    }
    std::string Encrypt(const std::string& type, const std::string& path) {
        return Invoke("tovix.sl2.common.intf.action.encrypt.key", {{0, 0, 0, type}, {0, 0, 0, path}});
    }
    std::string Check(const std::string& type) {
        return Invoke("tovix.sl2.common.intf.action.check.ciplus.key", {{0, 0, 0, type}});
    }
};

TEST_F(CredentialSet, TakesCiPlusCredentialsPerType) {
    EXPECT_EQ(Check("NON_ECP"), "Failed");
    EXPECT_EQ(Encrypt("NON_ECP", m_dir.Write("credential.bin", "secret credential")), "Success");
    EXPECT_EQ(Check("NON_ECP"), "Success");
    EXPECT_EQ(Check("ECP"), "Failed");
    EXPECT_EQ(Encrypt("ECP", m_dir.Write("empty.bin", "")), "Failed");
    EXPECT_EQ(Encrypt("ECP", (m_dir.Path() / "missing").string()), "Failed");
    EXPECT_EQ(Encrypt("OTHER", m_dir.Write("credential.bin", "x")), "Failed");
    EXPECT_EQ(Check("ECP"), "Failed");
    EXPECT_EQ(Keys(), nlohmann::json::array()) << "a credential is no key of the store";
    const std::string trace = Ctl({"trace"});
    EXPECT_EQ(trace.find("secret credential"), std::string::npos);
    EXPECT_EQ(trace.find("736563726574"), std::string::npos);
    Damage("credential NON_ECP");
    EXPECT_EQ(Check("NON_ECP"), "Failed");
    EXPECT_EQ(Encrypt("NON_ECP", m_dir.Write("credential.bin", "secret credential")), "Success");
    Ctl({"keys", "clear"});
    EXPECT_EQ(Check("NON_ECP"), "Failed");
}

TEST_F(CredentialSet, FailsAsAsked) {
    Ctl({"model", "fail", "tovix.sl2.common.intf.action.encrypt.key", "execute", "1", "--times", "1"});
    const std::string file = m_dir.Write("credential.bin", "x");
    EXPECT_EQ(Encrypt("ECP", file), "Failed");
    EXPECT_EQ(Check("ECP"), "Failed") << "a failed action installed something";
    EXPECT_EQ(Encrypt("ECP", file), "Success");
}

}  // namespace
}  // namespace simset::test
