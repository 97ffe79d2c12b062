#include "provisioning/ProvisioningFixture.h"

namespace {

constexpr char kEncrypt[] = "tovix.sl2.common.intf.action.encrypt.key";
constexpr char kCheck[] = "tovix.sl2.common.intf.action.check.ciplus.key";

class CiPlusKeys : public scripted::ProvisioningTest {
  protected:
    // The whole cycle: this one settles for 10 ms only.
    scripted::Step& ExpectAction(const std::string& key, const std::string& arguments) {
        script.ExpectConnect(key);
        scripted::Step& step = script.Expect("invoke " + key + " [" + arguments + "]");
        script.Expect("delay 10000");
        script.Expect("disconnect " + key);
        return step;
    }
    void NotifyResult(const std::string& key, const std::string& text) {
        vumodelapi::Argument result;
        result.values = text;
        script.Observer<vumodelapi::ObserverAction>(key).notifyExecutionResult({result});
    }
};

TEST_F(CiPlusKeys, TypeOneIsPlainAllOthersAreEcp) {
    const std::pair<int, const char*> cases[] = {{1, "NON_ECP"}, {2, "ECP"}, {0, "ECP"}, {3, "ECP"}, {-1, "ECP"}};
    for (const auto& [type, word] : cases) {
        ExpectAction(kEncrypt, std::string("0:") + word + ", 1:/tmp/key.bin");
        EXPECT_EQ(m_manager->ZelWriteCIKey(type, "/tmp/key.bin"), 0);
        ExpectAction(kCheck, std::string("0:") + word);
        EXPECT_EQ(m_manager->ZelCheckCIKey(type), 0);
    }
}

TEST_F(CiPlusKeys, AReportedFailureIsOnlyPrinted) {
    ExpectAction(kEncrypt, "0:ECP, 1:k").Then([this] { NotifyResult(kEncrypt, "Failed"); });
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelWriteCIKey(2, "k"), 0); });
    EXPECT_EQ(output, "results[0].values:Failed \n");
    ExpectAction(kCheck, "0:NON_ECP").Then([this] { NotifyResult(kCheck, "Success"); });
    const std::string checked = OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckCIKey(1), 0); });
    EXPECT_EQ(checked, "results[0].values:Success \n");
}

TEST_F(CiPlusKeys, ProxyThatDoesNotStart) {
    script.Expect("proxy").Returns(7);
    EXPECT_EQ(OutputOf([this] { EXPECT_EQ(m_manager->ZelWriteCIKey(1, "k"), -1); }),
              "Start biz proxy failed, ret = 7\n");
}

TEST_F(CiPlusKeys, InterfaceThatIsNotThere) {
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(8);
    const std::string output = OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckCIKey(1), -1); });
    EXPECT_TRUE(HasLine(output, "getInterfaceReference failed, ZelCheckCIKey ", " ret = 8\n")) << output;
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(9);
    const std::string written = OutputOf([this] { EXPECT_EQ(m_manager->ZelWriteCIKey(1, "k"), -1); });
    EXPECT_TRUE(HasLine(written, "getInterfaceReference failed, ZelWriteCIKey ", " ret = 9\n")) << written;
}

TEST_F(CiPlusKeys, NoRoot) {
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root").Returns(1);
    EXPECT_EQ(OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckCIKey(1), -1); }), "pRootInterface is NULL\n");
}

TEST_F(CiPlusKeys, AFailedConnectInvokesNothing) {
    script.ExpectConnect(kEncrypt).Returns(3);
    EXPECT_EQ(OutputOf([this] { EXPECT_EQ(m_manager->ZelWriteCIKey(1, "k"), -1); }), "connect failed, ret = 3\n");
}

TEST_F(CiPlusKeys, AFailedInvokeNeitherWaitsNorDisconnects) {
    script.ExpectConnect(kCheck);
    script.Expect(std::string("invoke ") + kCheck + " [0:ECP]").Returns(4);
    EXPECT_EQ(OutputOf([this] { EXPECT_EQ(m_manager->ZelCheckCIKey(2), -1); }), "invoke failed, ret = 4\n");
}

}  // namespace
