// The answers with data, the ready frame and the key press reports, byte for byte.
#include "UartManager/LinkFixture.h"
#include "commands/Answered.h"
#include "connectivity/RadioScan.h"

namespace {

class Answers : public scripted::LinkTest {
  protected:
    void Send(std::int32_t id, std::int32_t subCode = 0, const std::string& text = " ") {
        m_manager->SendCommand(id, subCode, text);
    }
    std::string SendOutput(std::int32_t id, const std::string& text = " ") {
        script.CaptureOutput();
        Send(id, 0, text);
        return script.Output();
    }
};

TEST_F(Answers, ReadyFrame) {
    script.Expect("serial.write 79 00 12 72 01 02 00 01 78 FE");
    Send(0x1272);
}

TEST_F(Answers, IdsThatAreAnsweredEmpty) {
    for (const std::int32_t id : {0x1273, 0x1274, 0x1276, 0x1277, 0x1278, 0x127A, 0x127C, 0x127D, 0x127E, 0x127F,
                                  0x1280, 0x1281, 0x1283, 0x1285, 0x1288, 0x1289, 0x128A, 0x128B, 0x128C, 0x128D,
                                  0x128E, 0x128F, 0x1290, 0x1291, 0x1293, 0x1294, 0x1298, 0x129A, 0x129B, 0x129C,
                                  0x129D, 0x129F, 0x12A0, 0x12A1, 0x12A2, 0x12A5, 0x12B3, 0x12B9, 0xF0F0}) {
        SCOPED_TRACE(id);
        ExpectEmpty(static_cast<std::uint16_t>(id));
        Send(id);
        script.Verify();
    }
}

TEST_F(Answers, IdsThatAreNotAnswered) {
    for (const std::int32_t id :
         {0x0000, 0x1271, 0x12A6, 0x12A8, 0x12A9, 0x12AA, 0x12AC, 0x12AD, 0x12AE, 0x12AF,  0x12B0,
          0x12B1, 0x12B2, 0x12B5, 0x12B6, 0x12B7, 0x12B8, 0x12BB, 0xF0F1, 0xFFFF, 0x11273, 0x1F0F0}) {
        Send(id);
    }
}

TEST_F(Answers, LinkClosing) {
    script.Expect("serial.write " + scripted::Hex(scripted::WireFrameOf(0x20, 0x1299, {})));
    Send(0x1299);
}

TEST_F(Answers, PcbSerialNumber) {
    script.PutFile("/var/local/ZelPcbSn", "AB12");
    ExpectResult(0x1275, "AB12");
    Send(0x1275);
}

TEST_F(Answers, NoPcbSerialNumber) {
    ExpectEmpty(0x1275);
    Send(0x1275);
    script.PutFile("/var/local/ZelPcbSn", "");
    ExpectEmpty(0x1275);
    Send(0x1275);
}

TEST_F(Answers, ATextTooLongIsCutWithALogLine) {
    script.PutFile("/var/local/ZelPcbSn", std::string(65, 's'));
    ExpectResult(0x1275, std::string(64, 's'));
    EXPECT_NE(SendOutput(0x1275).find("65 bytes"), std::string::npos);
}

TEST_F(Answers, ATextOf64BytesGoesWhole) {
    script.PutFile("/var/local/ZelPcbSn", std::string(64, 's'));
    ExpectResult(0x1275, std::string(64, 's'));
    EXPECT_EQ(SendOutput(0x1275), "");
}

TEST_F(Answers, FactoryMac) {
    script.Expect("meta.readstr 8").Text("00:11:22:33:44:55");
    ExpectResult(0x1279, "00:11:22:33:44:55");
    Send(0x1279);
    script.Expect("meta.readstr 8").Text("");
    ExpectResult(0x1279, "");
    Send(0x1279);
}

TEST_F(Answers, UnreadableFactoryMac) {
    script.Expect("meta.readstr 8").Returns(5);
    ExpectResult(0x1279, kUnreadable);
    EXPECT_EQ(SendOutput(0x1279), " SendCommand 4367 fail\n");
}

TEST_F(Answers, WifiMac) {
    script.ExpectGetText(kWifiMacKey, "66:55:44:33:22:11");
    ExpectResult(0x127B, "66:55:44:33:22:11");
    Send(0x127B);
}

TEST_F(Answers, UnreadableWifiMac) {
    script.ExpectModelFailure(7);
    ExpectResult(0x127B, kUnreadable);
    EXPECT_EQ(SendOutput(0x127B), "Start biz proxy failed, ret = 7\n");
}

TEST_F(Answers, ChecksumsOfFilesThatNeverCame) {
    for (const int id : {0x1282, 0x1284, 0x1286, 0x12A3, 0x12A4, 0x12A7, 0x12B4, 0x12BA}) {
        ExpectResult(static_cast<std::uint16_t>(id), std::string(4, '\0'));
        Send(static_cast<std::uint16_t>(id));
    }
}

TEST_F(Answers, WifiProgressCountsDown) {
    ExpectResult(0x1292, std::string(1, 101));
    Send(0x1292);
    m_u8WifiScanTestAPCount = 30;
    ExpectResult(0x1292, std::string(1, 71));
    Send(0x1292);
}

TEST_F(Answers, Backlight) {
    script.ExpectGet("tovix.sl2.i32.video.backlight", 0x164);
    ExpectResult(0x1295, "\x64");
    Send(0x1295);
}

TEST_F(Answers, UnreadableBacklightIsZero) {
    script.ExpectModelFailure();
    ExpectResult(0x1295, std::string(1, '\0'));
    Send(0x1295);
}

TEST_F(Answers, RunningTimeIsLittleEndian) {
    for (const std::uint16_t id : Ids{0x1296, 0x12AB}) {
        script.PutFile("/var/tvservice/tvRunningTime", "300");
        ExpectResult(id, std::string("\x2C\x01\x00\x00", 4));
        Send(id);
        script.PutFile("/var/tvservice/tvRunningTime", "16909060");
        ExpectResult(id, std::string("\x04\x03\x02\x01", 4));
        Send(id);
    }
}

TEST_F(Answers, RunningTimeIsNeverZero) {
    const std::string ten("\x0A\x00\x00\x00", 4);
    ExpectResult(0x1296, ten);
    EXPECT_EQ(SendOutput(0x1296), "/var/tvservice/tvRunningTime fail!\n");
    for (const char* text : {"0", "-5", "soon", ""}) {
        script.PutFile("/var/tvservice/tvRunningTime", text);
        ExpectResult(0x12AB, ten);
        EXPECT_EQ(SendOutput(0x12AB), "");
    }
}

TEST_F(Answers, RunningTimeBeyond32BitsIsTheMost) {
    script.PutFile("/var/tvservice/tvRunningTime", "4294967296");  // 0 in its low 32 bits
    ExpectResult(0x1296, "\xFF\xFF\xFF\x7F");
    Send(0x1296);
}

TEST_F(Answers, SoftwareVersionFromItsFirstDotOn) {
    constexpr char kKey[] = "tovix.sl2.str.qorfactory.software.version";
    for (const auto& [version, sent] : std::vector<std::pair<std::string, std::string>>{
             {"V8.12.345", "12.345"}, {".7", "7"}, {"V8.", ""}, {"V8", "V8"}}) {
        script.ExpectGetText(kKey, version);
        ExpectResult(0x1297, sent);
        Send(0x1297);
        script.Verify();
    }
    script.ExpectModelFailure();
    ExpectResult(0x1297, "");
    Send(0x1297);
}

TEST_F(Answers, NoKeyPressReportBeforeTheLineHasConnected) {
    Send(0x1287, 70);
    Send(0x1287, 999);
    m_manager->m_bConnected = 1;
    for (int press = 0; press < 10; ++press) {  // none was counted
        ExpectResult(0x1287, "POWER");
        Send(0x1287, 70);
    }
}

TEST_F(Answers, EachKeyIsReportedTenTimes) {
    m_manager->m_bConnected = 1;
    const std::vector<std::pair<std::int32_t, std::string>> keys = {
        {70, "POWER"}, {161, "CHUP"}, {162, "VODOWN"}, {163, "CHDOWN"},
        {164, "MENU"}, {166, "VOUP"}, {168, "SOURCE"}};
    for (const auto& [code, word] : keys) {
        for (int press = 0; press < 10; ++press) {
            ExpectResult(0x1287, word);
            Send(0x1287, code);
        }
        script.Verify();
        Send(0x1287, code);
        Send(0x1287, code);
    }
}

TEST_F(Answers, OtherKeysAreReportedEmptyEveryTime) {
    m_manager->m_bConnected = 1;
    for (int press = 0; press < 12; ++press) {
        ExpectResult(0x1287, "");
        Send(0x1287, 165);
    }
}

}  // namespace
