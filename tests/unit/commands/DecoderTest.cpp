// The dispatcher: every id, with payloads that fit and that do not, before and after the line has connected.
#include <map>
#include <set>

#include "UartManager/LinkFixture.h"
#include "commands/Answered.h"
#include "connectivity/RadioScan.h"
#include "protocol/CommandCatalogue.h"
#include "provisioning/keys/KeyTransfer.h"

namespace {

constexpr char kBacklightKey[] = "tovix.sl2.i32.video.backlight";
constexpr char kLedKey[] = "tovix.sl2.system.ctrl.led.gpio";
constexpr char kFormatKey[] = "tovix.sl2.i32.video.format";
constexpr char kGpioKey[] = "tovix.sl2.action.system.gpio";
constexpr char kCamKey[] = "tovix.sl2.common.intf.cam.count.detected";
constexpr char kUsbMounts[] =
    "/dev/shm/shm_tmp/vu_sda1 /mnt/a vfat rw 0 0\n/dev/root / squashfs ro 0 0\n"
    "/dev/shm/shm_tmp/vu_sdb1 /mnt/b vfat rw 0 0\n";

const std::string kZero(1, '\0');
const std::string kNone(4, '\0');  // no file of that kind has come
const std::string kTen("\x0A\0\0\0", 4);

class Decoder : public scripted::LinkTest {
  protected:
    static bool IsFailLine(const std::string& output) {
        return output.rfind(" ZelDecodeFacAutoTestCommand ", 0) == 0 &&
               output.find(" fail\n") == output.size() - sizeof " fail\n" + 1;
    }
    void ExpectRefused(std::uint16_t id, const std::string& payload) {
        SCOPED_TRACE(payload);
        ExpectStatus(id, 1);
        const std::string output = DecodeOutput(id, payload);
        EXPECT_TRUE(IsFailLine(output)) << output;
        script.Verify();
    }
    void ExpectDropped(std::uint16_t id, const std::string& payload) {
        EXPECT_EQ(DecodeOutput(id, payload), "") << payload.size();
    }
    // A request of this command that is answered at once: an empty chunk is refused, a full one kept.
    static std::string AnsweredRequest(const zel::CommandInfo& row) {
        return std::string(row.payload == zel::PayloadRule::KeyChunk ? std::string_view() : row.exampleAsked);
    }
    // A search that sees `devices` at its first look, or never; without the switching off behind one that found
    // some.
    void ExpectBluetoothSearch(std::int32_t devices) {
        script.ExpectSet("tovix.sl2.i32.network.enum.access-points.search", 0);
        script.ExpectGet("tovix.sl2.i32.bluetooth.enum.status", 0);
        script.ExpectInvoke("tovix.sl2.action.bluetooth.search.start");
        script.ExpectGetTexts("tovix.sl2.vstr.bluetooth.device.name", {});
        for (int look = 0; look < (devices > 0 ? 1 : 4); ++look) {
            script.Expect("delay-seconds 2");
            script.ExpectGetTexts("tovix.sl2.vstr.bluetooth.device.name", {});
            script.ExpectGet("tovix.sl2.i32.bluetooth.device.count", devices);
        }
        script.ExpectInvoke("tovix.sl2.action.bluetooth.search.stop");
    }
    // ZelSetGpio's action carries both texts at position 0.
    void ExpectGpio(const std::string& arguments) {
        script.ExpectConnect(kGpioKey);
        script.Expect("invoke " + std::string(kGpioKey) + " [" + arguments + "]");
        script.ExpectSettled(kGpioKey);
    }
};

// Requests that are answered once the line has connected: TheReplyOfEveryCommand sends the same ones.
TEST_F(Decoder, NothingIsAnsweredBeforeConnect) {
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        if (row.id != zel::command::kConnect) {
            m_manager->ZelDecodeFacAutoTestCommand(Received(row.id, AnsweredRequest(row)));
        }
    }
    EXPECT_EQ(m_manager->m_bConnected, 0);
}

// On a set whose model, shell and storage fail, with the catalogue saying what each reply looks like.
TEST_F(Decoder, TheReplyOfEveryCommandIsWhatTheCatalogueSays) {
    script.Allow("proxy").Returns(1);
    script.Allow("meta.readstr 8").Returns(1);
    script.Allow("flash.set macaddr=00:11:22:33:44:55").Returns(1);
    script.Allow("popen touch /var/local/ZelPcbSn").Returns(1);
    script.Allow("popen touch /var/local/ZelTestResult").Returns(1);
    script.Allow("delay-seconds 2");  // a Bluetooth search that finds nothing
    const std::set<std::uint16_t> succeed = {0x1273, 0x1287, 0x1289, 0x128B, 0x128C, 0x128D,
                                             0x128E, 0x128F, 0x1290, 0x1291, 0x129F};
    const std::map<std::uint16_t, std::string> answers = {
        {0x1275, ""},    {0x1277, ""},     {0x1279, "\x01"}, {0x127B, "\x01"}, {0x127D, ""},
        {0x127F, ""},    {0x1280, ""},     {0x1292, "\x65"}, {0x1295, kZero},  {0x1296, kTen},
        {0x1297, ""},    {0x129E, "\x01"}, {0x12AB, kTen},   {0x1282, kNone},  {0x1284, kNone},
        {0x1286, kNone}, {0x12A3, kNone},  {0x12A4, kNone},  {0x12B4, kNone},  {0x12BA, kNone}};
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        SCOPED_TRACE(row.id);
        const std::uint8_t status = succeed.count(row.id) == 1 ? 0 : 1;
        switch (row.reply) {
            case zel::ReplyRule::None:
                break;
            case zel::ReplyRule::StatusTwice:
                ExpectStatus(row.id, status);
                ExpectStatus(row.id, status);
                break;
            case zel::ReplyRule::Status:
            case zel::ReplyRule::Failure:
            case zel::ReplyRule::Deferred:
                ExpectStatus(row.id, status);
                break;
            case zel::ReplyRule::Data:
            case zel::ReplyRule::DataByText:
            case zel::ReplyRule::KeyData: {
                const std::string& answer = answers.at(row.id);
                const bool empty = row.answer == zel::AnswerForm::Empty ||
                                   (row.answer == zel::AnswerForm::TextOrNothing && answer.empty());
                ExpectFrame(empty ? 0x10 : 0x11, row.id, answer, empty ? 0 : 1);
                break;
            }
        }
        DecodeOutput(row.id, AnsweredRequest(row));
        script.Verify();
    }
}

TEST_F(Decoder, ConnectIsAnsweredEveryTime) {
    for (const char* payload : {"", "anything"}) {
        ExpectStatus(0x1273, 0);
        m_manager->ZelDecodeFacAutoTestCommand(Received(0x1273, payload));
        EXPECT_EQ(m_manager->m_bConnected, 1);
    }
}

TEST_F(Decoder, IdsOutsideTheTableAreDropped) {
    for (const std::uint16_t id : Ids{0x0000, 0x1272, 0x12BB, 0x7312, 0xF0F0, 0xFFFF}) {
        ExpectDropped(id, "");
        ExpectDropped(id, "text");
    }
}

TEST_F(Decoder, IgnoredIdsAreDropped) {
    for (const std::uint16_t id : Ids{0x1276, 0x127C, 0x127E, 0x12A8, 0x12A9, 0x12AA, 0x12AC, 0x12AD, 0x12AE,
                                      0x12AF, 0x12B0, 0x12B1, 0x12B2, 0x12B5, 0x12B6, 0x12B7, 0x12B8}) {
        ExpectDropped(id, "");
        ExpectDropped(id, std::string(64, 'x'));
    }
}

TEST_F(Decoder, AcknowledgedIds) {
    for (const std::uint16_t id : Ids{0x1287, 0x1289, 0x128B, 0x128C, 0x1290, 0x1291}) {
        ExpectStatus(id, 0);
        Decode(id);
        ExpectStatus(id, 0);
        Decode(id, "payload");
    }
}

TEST_F(Decoder, EmptyQueries) {
    for (const std::uint16_t id : Ids{0x1277, 0x127D, 0x127F, 0x1280}) {
        ExpectEmpty(id);
        Decode(id, "x");
    }
}

TEST_F(Decoder, NotSupported) {
    ExpectStatus(0x127A, 1);
    EXPECT_EQ(DecodeOutput(0x127A), "");
}

TEST_F(Decoder, DataQueries) {
    script.PutFile("/var/local/ZelPcbSn", "AB12");
    ExpectResult(0x1275, "AB12");
    Decode(0x1275);
    script.Expect("meta.readstr 8").Text("mac");
    ExpectResult(0x1279, "mac");
    Decode(0x1279);
    script.ExpectGetText("tovix.sl2.str.network.mac-address-wifi", "wifi");
    ExpectResult(0x127B, "wifi");
    Decode(0x127B);
    ExpectResult(0x1292, std::string(1, 101));
    Decode(0x1292);
    script.ExpectGet(kBacklightKey, 55);
    ExpectResult(0x1295, "\x37");
    Decode(0x1295);
    script.PutFile("/var/tvservice/tvRunningTime", "1");
    ExpectResult(0x1296, std::string("\x01\x00\x00\x00", 4));
    Decode(0x1296);
    ExpectResult(0x12AB, std::string("\x01\x00\x00\x00", 4));
    Decode(0x12AB);
    script.ExpectGetText("tovix.sl2.str.qorfactory.software.version", "a.b");
    ExpectResult(0x1297, "b");
    Decode(0x1297);
}

TEST_F(Decoder, KeyQueriesClearTheFinishedMarkFirst) {
    for (const std::uint16_t id : Ids{0x1282, 0x1284, 0x1286, 0x12A3, 0x12A4, 0x12B4, 0x12BA}) {
        m_bCurrentKeyFinish = true;
        script.Expect("serial.write " + scripted::Hex(scripted::WireFrameOf(0x11, id, scripted::Bytes(4), 0, 1)))
            .Then([] { EXPECT_FALSE(m_bCurrentKeyFinish); });
        Decode(id);
        script.Verify();
    }
}

TEST_F(Decoder, OtherQueriesLeaveTheFinishedMark) {
    m_bCurrentKeyFinish = true;
    ExpectEmpty(0x1277);
    Decode(0x1277);
    EXPECT_TRUE(m_bCurrentKeyFinish);
}

TEST_F(Decoder, WritePcbSerialNumber) {
    script.Expect("popen touch /var/local/ZelPcbSn");
    script.Expect("sync").Times(2);
    ExpectStatus(0x1274, 0);
    Decode(0x1274, "SN-64" + std::string(59, '5'));
    EXPECT_EQ(script.ReadFile("/var/local/ZelPcbSn"), "SN-64" + std::string(59, '5'));
    ExpectDropped(0x1274, "");
    script.Expect("popen touch /var/local/ZelPcbSn").Returns(-1);
    ExpectStatus(0x1274, 1);
    Decode(0x1274, "B");
}

TEST_F(Decoder, WriteTestResult) {
    script.Expect("popen touch /var/local/ZelTestResult");
    script.Expect("sync").Times(2);
    ExpectStatus(0x1298, 0);
    Decode(0x1298, "PASS");
    EXPECT_EQ(script.ReadFile("/var/local/ZelTestResult"), "PASS");
    ExpectDropped(0x1298, "");
    script.Expect("popen touch /var/local/ZelTestResult").Returns(-1);
    ExpectStatus(0x1298, 1);
    EXPECT_NE(DecodeOutput(0x1298, "B").find(" ZelDecodeFacAutoTestCommand "), std::string::npos);
}

TEST_F(Decoder, WriteMac) {
    for (const std::string text : {"00:11:22:33:44:55", "not an address at"}) {
        script.Expect("flash.set macaddr=" + text);
        script.Expect("meta.writestr 8 " + text);
        ExpectStatus(0x1278, 0);
        Decode(0x1278, text);
        script.Verify();
    }
    ExpectDropped(0x1278, "");
    ExpectDropped(0x1278, "00:11:22:33:44:5");
    ExpectDropped(0x1278, "00:11:22:33:44:555");
}

TEST_F(Decoder, WriteMacStopsAtTheFirstStoreThatFails) {
    const std::string text = "00:11:22:33:44:55";
    script.Expect("flash.set macaddr=" + text).Returns(-7);
    ExpectStatus(0x1278, 1);
    EXPECT_NE(DecodeOutput(0x1278, text).find(" fail ret:-7\n"), std::string::npos);
    script.Expect("flash.set macaddr=" + text);
    script.Expect("meta.writestr 8 " + text).Returns(9);
    ExpectStatus(0x1278, 1);
    EXPECT_NE(DecodeOutput(0x1278, text).find(" fail ret:9\n"), std::string::npos);
}

TEST_F(Decoder, WriteMacTagged) {
    for (const std::string text : {"00:11:22:33:44:55", "", "x"}) {
        script.Expect("flash.set macaddr=" + text);
        script.Expect("meta.writestr 8 " + text);
        ExpectStatus(0x129D, 0);
        Decode(0x129D, "MAC=" + text);
        script.Verify();
    }
    // From position 4 on, wherever the tag stands behind the first three letters.
    script.Expect("flash.set macaddr=AC=1");
    script.Expect("meta.writestr 8 AC=1");
    ExpectStatus(0x129D, 0);
    Decode(0x129D, "MACMAC=1");
    script.Verify();
    ExpectDropped(0x129D, "");
    ExpectRefused(0x129D, "MAC");
    ExpectRefused(0x129D, "MAC:00:11:22:33:44:55");
    ExpectRefused(0x129D, " MAC=00:11:22:33:44:55");
    script.Expect("flash.set macaddr=a").Returns(4);
    ExpectStatus(0x129D, 1);
    EXPECT_NE(DecodeOutput(0x129D, "MAC=a").find(" fail ret:4\n"), std::string::npos);
}

TEST_F(Decoder, NamedQuery) {
    ExpectResult(0x129E, "xxx");
    Decode(0x129E, "TVID");
    ExpectDropped(0x129E, "");
}

TEST_F(Decoder, CamDetected) {
    script.ExpectGet(kCamKey, 1);
    ExpectStatus(0x128A, 0);
    Decode(0x128A);
    script.ExpectGet(kCamKey, 0);
    ExpectRefused(0x128A, "");
    script.ExpectModelFailure(3);
    ExpectStatus(0x128A, 1);
    EXPECT_EQ(DecodeOutput(0x128A).rfind("Start biz proxy failed, ret = 3\n ZelDecodeFacAutoTestCommand ", 0), 0U);
}

TEST_F(Decoder, BacklightAlwaysSucceeds) {
    script.ExpectSet(kBacklightKey, 100);
    ExpectStatus(0x128D, 0);
    Decode(0x128D);
    script.ExpectSet(kBacklightKey, 0);
    ExpectStatus(0x128E, 0);
    Decode(0x128E);
    script.ExpectModelFailure();
    ExpectStatus(0x128E, 0);
    Decode(0x128E);
}

TEST_F(Decoder, BacklightFullAnswersTwice) {
    script.ExpectSet(kBacklightKey, 100);
    ExpectStatus(0x128F, 0);
    ExpectStatus(0x128F, 0);
    Decode(0x128F);
}

TEST_F(Decoder, Volume) {
    for (const unsigned volume : {0U, 1U, 100U}) {
        script.ExpectSet("tovix.sl2.i32.sound.main.volume", static_cast<std::int32_t>(volume));
        ExpectStatus(0x129F, 0);
        Decode(0x129F, std::string(1, static_cast<char>(volume)));
        script.Verify();
    }
    script.ExpectModelFailure();
    ExpectStatus(0x129F, 0);
    Decode(0x129F, "\x10");
    ExpectDropped(0x129F, "");
    ExpectDropped(0x129F, std::string(1, 101));
    ExpectDropped(0x129F, "\xFF");
    ExpectDropped(0x129F, "\x10\x10");
}

TEST_F(Decoder, Led) {
    for (const auto& [text, value] : std::vector<std::pair<std::string, std::int32_t>>{
             {"RED_ON", 0}, {"RED_OFF", 1}, {"GREEN_ON", 1}, {"GREEN_OFF", 0}}) {
        script.ExpectSet(kLedKey, value);
        ExpectStatus(0x12A0, 0);
        Decode(0x12A0, text);
        script.Verify();
    }
    script.ExpectModelFailure();
    ExpectStatus(0x12A0, 1);
    Decode(0x12A0, "RED_ON");
    script.Verify();
    for (const char* text : {"", "RED_ON ", "RED_O", "red_on", "BLUE_ON", "RED_ONGREEN_ON"}) {
        ExpectRefused(0x12A0, text);
    }
}

TEST_F(Decoder, PanelLines) {
    for (const auto& [text, arguments] :
         std::vector<std::pair<std::string, std::string>>{{"PANEL_VCC_ON", "0:45, 0:1"},
                                                          {"PANEL_VCC_OFF", "0:45, 0:0"},
                                                          {"PANEL_BL_ON", "0:7, 0:1"},
                                                          {"PANEL_BL_OFF", "0:7, 0:0"}}) {
        ExpectGpio(arguments);
        ExpectStatus(0x12A5, 0);
        Decode(0x12A5, text);
        script.Verify();
    }
    script.ExpectModelFailure();
    ExpectStatus(0x12A5, 1);
    Decode(0x12A5, "PANEL_BL_ON");
}

TEST_F(Decoder, Aspect) {
    for (const auto& [text, value] : std::vector<std::pair<std::string, std::int32_t>>{
             {"ASPECT=16_9", 0}, {"ASPECT=4_3", 1}, {"ASPECT=FULL", 2}}) {
        script.ExpectSet(kFormatKey, value);
        ExpectStatus(0x12A5, 0);
        Decode(0x12A5, text);
        script.Verify();
    }
    script.ExpectModelFailure();
    ExpectStatus(0x12A5, 1);
    Decode(0x12A5, "ASPECT=4_3");
}

TEST_F(Decoder, UnknownPanelTexts) {
    for (const char* text : {"", "PANEL_VCC_ON ", "PANEL_VCC", "ASPECT=21_9", "ASPECT=4_4", "ETHPING=1.2.3.",
                             "ethping=192.168.1.1", "PING=192.168.100.100"}) {
        ExpectRefused(0x12A5, text);
    }
}

TEST_F(Decoder, EthernetTestNeedsNoPingWithAnAddress) {
    script.ExpectGetText(kIpKey, "10.0.0.2");
    ExpectStatus(0x12A5, 0);
    const std::string output = DecodeOutput(0x12A5, "ETHPING=192.168.1.1");
    EXPECT_EQ(output.rfind("ret:0, strIPAddress:10.0.0.2\n ZelDecodeFacAutoTestCommand ", 0), 0U) << output;
    EXPECT_NE(output.find(" eth connected!\n"), std::string::npos) << output;
}

TEST_F(Decoder, EthernetTestPingsWithoutAnAddress) {
    script.ExpectGetText(kIpKey, "");
    script.Expect("output ping 192.168.1.1 -w 1").Text("1 packets transmitted, 1 received, 0% packet loss");
    ExpectStatus(0x12A5, 0);
    EXPECT_EQ(DecodeOutput(0x12A5, "ETHPING=192.168.1.1"), "ret:0, strIPAddress:\nip ok!\n");
    script.Verify();
    script.ExpectModelFailure(5);
    script.Expect("output ping 1.1.1.1 -w 1").Text("1 packets transmitted, 0 received");
    ExpectStatus(0x12A5, 1);
    const std::string output = DecodeOutput(0x12A5, "ETHPING=1.1.1.1");
    EXPECT_EQ(output.rfind("Start biz proxy failed, ret = 5\nret:-1, strIPAddress:\nip ng!\n", 0), 0U) << output;
}

TEST_F(Decoder, APingTargetIsOneWordForTheShell) {
    script.ExpectGetText(kIpKey, "");
    script.Expect("output ping '1.1.1.1;reboot $(x) `y`' -w 1").Text("");
    ExpectStatus(0x12A5, 1);
    Decode(0x12A5, "ETHPING=1.1.1.1;reboot $(x) `y`");
    script.Verify();
    script.ExpectGetText(kIpKey, "");
    script.Expect("output ping ''\\''; rm -rf /'\\''' -w 1").Text("");
    ExpectStatus(0x12A5, 1);
    Decode(0x12A5, "ETHPING='; rm -rf /'");
}

TEST_F(Decoder, WiredNetwork) {
    script.ExpectGetText(kIpKey, "10.0.0.2");
    ExpectStatus(0x1293, 0);
    Decode(0x1293);
    script.ExpectGetText(kIpKey, "");
    ExpectRefused(0x1293, "");
    script.ExpectModelFailure();
    ExpectStatus(0x1293, 1);
    Decode(0x1293);
}

TEST_F(Decoder, BluetoothAlreadyFound) {
    m_manager->m_radioScan->m_u32BTDeviceCount = 2;
    m_manager->m_radioScan->fBTSearching = 1;
    ExpectStatus(0x1294, 0);
    EXPECT_EQ(DecodeOutput(0x1294), "");
}

TEST_F(Decoder, BluetoothSearchUnderWayIsWaitedForOnce) {
    m_manager->m_radioScan->fBTSearching = 1;
    script.Expect("delay-seconds 9");
    ExpectStatus(0x1294, 1);
    const std::string output = DecodeOutput(0x1294);
    EXPECT_EQ(output.rfind("ZelDecodeFacAutoTestCommand ", 0), 0U) << output;
    EXPECT_NE(output.find(" m_u32BTDeviceCount:0\n"), std::string::npos) << output;
    script.Verify();
    script.Expect("delay-seconds 9").Then([this] { m_manager->m_radioScan->m_u32BTDeviceCount = 3; });
    ExpectStatus(0x1294, 0);
    EXPECT_NE(DecodeOutput(0x1294).find(" m_u32BTDeviceCount:3\n"), std::string::npos);
}

TEST_F(Decoder, BluetoothSearchOfItsOwnFindsADevice) {
    ExpectBluetoothSearch(1);
    script.ExpectInvoke("tovix.sl2.action.bluetooth.disable");
    ExpectStatus(0x1294, 0);
    EXPECT_NE(DecodeOutput(0x1294).find(" m_u32BTDeviceCount:1\n"), std::string::npos);
    script.Verify();
    ExpectStatus(0x1294, 0);  // found is found
    EXPECT_EQ(DecodeOutput(0x1294), "");
}

// The flag of a search that found nothing falls only with the fourth: the next command takes that for a search
// under way, and waits for it.
TEST_F(Decoder, TwoBluetoothSearchesThatFindNothing) {
    ExpectBluetoothSearch(0);
    ExpectStatus(0x1294, 1);
    DecodeOutput(0x1294);
    script.Verify();
    script.Expect("delay-seconds 9");
    ExpectStatus(0x1294, 1);
    EXPECT_NE(DecodeOutput(0x1294).find(" m_u32BTDeviceCount:0\n"), std::string::npos);
    EXPECT_EQ(m_manager->m_radioScan->fBTSearching, 1);
}

TEST_F(Decoder, UsbPorts) {
    script.PutFile("/proc/mounts", kUsbMounts);
    script.PutFile("/mnt/a/USB.ZEL", "");
    script.MakeFolder("/mnt/b");
    ExpectStatus(0x129C, 0);
    Decode(0x129C, "USB1");
    ExpectRefused(0x129C, "USB2");
    script.PutFile("/mnt/b/xUSB.ZELx", "");
    ExpectStatus(0x129C, 0);
    Decode(0x129C, "USB2");
    ExpectRefused(0x129C, "USB3");
    ExpectRefused(0x129C, "USB4");
    ExpectRefused(0x129C, "USB5");
    ExpectRefused(0x129C, "USB1X");
    ExpectDropped(0x129C, "");
    // Compared over the bytes received only.
    ExpectStatus(0x129C, 0);
    Decode(0x129C, "USB");
}

TEST_F(Decoder, NoUsbAtAll) {
    script.PutFile("/proc/mounts", "/dev/root / squashfs ro 0 0\n");
    ExpectStatus(0x129C, 1);
    EXPECT_EQ(DecodeOutput(0x129C, "USB1").rfind("no usb device is found!\n ZelDecodeFacAutoTestCommand ", 0), 0U);
}

TEST_F(Decoder, LeaveFactoryStopsTheLinkWithoutAnAnswer) {
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    m_manager->SetRunMode(1);
    script.Expect("join");
    script.Expect("join").Returns(35);  // the command thread cannot join itself
    Decode(0x1299);
    EXPECT_FALSE(m_manager->IsFactoryMode());
    EXPECT_EQ(UartManager::_bExitUartDebug, 1);
}

TEST_F(Decoder, ChunksOutOfRangeAreRefused) {
    for (const std::uint16_t id : Ids{0x1281, 0x1283, 0x1285, 0x12A1, 0x12A2, 0x12A7, 0x12B3, 0x12B9}) {
        ExpectStatus(id, 1);
        const std::string output = DecodeOutput(id);
        EXPECT_NE(output.find(" ZelDecodeFacAutoTestCommand "), std::string::npos) << output;
        script.Verify();
    }
}

}  // namespace
