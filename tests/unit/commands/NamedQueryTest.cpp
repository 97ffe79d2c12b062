// The named query, byte for byte.
#include "UartManager/LinkFixture.h"
#include "commands/Answered.h"

namespace {

class NamedQuery : public scripted::LinkTest {
  protected:
    void Query(const std::string& name) { m_manager->SendCommand(0x129E, 0, name); }
    std::string QueryOutput(const std::string& name) {
        script.CaptureOutput();
        Query(name);
        return script.Output();
    }
};

TEST_F(NamedQuery, Mac) {
    for (const char* name : {"MAC", "MACX"}) {
        script.Expect("meta.readstr 8").Text("00:11:22:33:44:55");
        ExpectResult(0x129E, "00:11:22:33:44:55");
        EXPECT_EQ(QueryOutput(name), "=========readStrMetaData ret:0 strTmp:00:11:22:33:44:55\n");
    }
}

TEST_F(NamedQuery, MacIsRandomWhenNoneCanBeRead) {
    script.PutFile("/dev/urandom", std::string("\xFD\xAB\x12\x00", 4));  // 0x0012ABFD and the minimum of 1
    script.Expect("meta.readstr 8").Returns(-2);
    ExpectResult(0x129E, "00:00:00:12:AB:FE");
    const std::string output = QueryOutput("MAC");
    EXPECT_EQ(output.rfind("=========readStrMetaData ret:-2 strTmp:\n", 0), 0U) << output;
    EXPECT_NE(output.find(" SendCommand 4788 fail\n"), std::string::npos) << output;
}

TEST_F(NamedQuery, WifiMac) {
    script.ExpectGetText(kWifiMacKey, "66:55:44:33:22:11");
    ExpectResult(0x129E, "66:55:44:33:22:11");
    Query("WIFIMAC");
    script.ExpectModelFailure(1);
    ExpectResult(0x129E, kUnreadable);
    EXPECT_EQ(QueryOutput("WIFIMAC"), "Start biz proxy failed, ret = 1\n SendCommand 4809 fail\n");
}

TEST_F(NamedQuery, QueriesThatThisModelDoesNotKeep) {
    for (const char* name :
         {"SN", "SNX", "DEVICEID", "TVID", "UL", "ULX", "S", "", " ", "mac", "WIFIMA", "ETH_I"}) {
        ExpectResult(0x129E, "xxx");
        Query(name);
    }
}

TEST_F(NamedQuery, Esn) {
    const std::string esn = "NFANDROID2-PRV-" + std::string(40, 'E');
    script.PutFile("/certificate/netflix50/ESNID", esn);
    ExpectResult(0x129E, esn.substr(0, 43));
    Query("ESN");
    script.PutFile("/certificate/netflix50/ESNID", "short");
    ExpectResult(0x129E, "short");
    Query("ESN");
}

TEST_F(NamedQuery, UnreadableEsn) {
    ExpectResult(0x129E, kUnreadable);
    EXPECT_EQ(QueryOutput("ESN"), " SendCommand 4837 fail\n");
    script.PutFile("/certificate/netflix50/ESNID", "");
    ExpectResult(0x129E, kUnreadable);
    EXPECT_EQ(QueryOutput("ESN"), " SendCommand 4855 fail\n");
}

TEST_F(NamedQuery, WiredAddress) {
    script.ExpectGetText(kIpKey, "192.168.1.57");
    ExpectResult(0x129E, "192.168.1.57");
    Query("ETH_IP");
    script.ExpectGetText(kIpKey, "");
    ExpectResult(0x129E, kUnreadable);
    EXPECT_EQ(QueryOutput("ETH_IP"), " SendCommand 4878 fail\n");
    script.ExpectModelFailure(2);
    ExpectResult(0x129E, kUnreadable);
    EXPECT_EQ(QueryOutput("ETH_IP"), "Start biz proxy failed, ret = 2\n SendCommand 4878 fail\n");
}

}  // namespace
