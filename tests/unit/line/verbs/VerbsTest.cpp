#include <gtest/gtest.h>

#include "verbs/Verbs.h"
#include "wire/Error.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

std::string Wire(const Words& words) {
    return WireHex(FrameOf(MakeAction(words).request));
}

TEST(Verbs, RequestsOnTheWire) {
    EXPECT_EQ(Wire({"connect"}), "79 00 12 73 00 00 00 7B FE");
    EXPECT_EQ(Wire({"sn", "write", "AB12"}), "79 00 12 74 04 41 42 31 32 00 00 90 FE");
    EXPECT_EQ(Wire({"volume", "0"}), "79 00 12 9F 01 00 00 00 4E FE");
    EXPECT_EQ(Wire({"volume", "100"}), "79 00 12 9F 01 64 00 00 EA FE");
    EXPECT_EQ(Wire({"raw", "0x12A6"}), "79 00 12 A6 00 00 00 48 FE");
    EXPECT_EQ(Wire({"raw", "129F", "0x14"}), "79 00 12 9F 01 14 00 00 3A FE");
}

TEST(Verbs, EachAsksWithTheRightIdAndText) {
    const struct {
        Words words;
        int id;
        const char* payload;
    } rows[] = {
        {{"sn", "read"}, 0x1275, ""},
        {{"result", "PASS 1"}, 0x1298, "PASS 1"},
        {{"mac", "read"}, 0x1279, ""},
        {{"mac", "write", "00:11:22:33:44:55"}, 0x1278, "00:11:22:33:44:55"},
        {{"wifi-mac"}, 0x127B, ""},
        {{"version"}, 0x1297, ""},
        {{"uptime"}, 0x1296, ""},
        {{"backlight", "read"}, 0x1295, ""},
        {{"backlight", "on"}, 0x128D, ""},
        {{"backlight", "off"}, 0x128E, ""},
        {{"led", "red", "on"}, 0x12A0, "RED_ON"},
        {{"led", "red", "off"}, 0x12A0, "RED_OFF"},
        {{"led", "green", "on"}, 0x12A0, "GREEN_ON"},
        {{"led", "green", "off"}, 0x12A0, "GREEN_OFF"},
        {{"aspect", "16:9"}, 0x12A5, "ASPECT=16_9"},
        {{"aspect", "4:3"}, 0x12A5, "ASPECT=4_3"},
        {{"aspect", "full"}, 0x12A5, "ASPECT=FULL"},
        {{"panel", "vcc", "on"}, 0x12A5, "PANEL_VCC_ON"},
        {{"panel", "vcc", "off"}, 0x12A5, "PANEL_VCC_OFF"},
        {{"panel", "backlight", "on"}, 0x12A5, "PANEL_BL_ON"},
        {{"panel", "backlight", "off"}, 0x12A5, "PANEL_BL_OFF"},
        {{"source", "HDMI1"}, 0x1288, "HDMI1"},
        {{"cam"}, 0x128A, ""},
        {{"network"}, 0x1293, ""},
        {{"ping", "192.168.1.1"}, 0x12A5, "ETHPING=192.168.1.1"},
        {{"wifi"}, 0x1292, ""},
        {{"bluetooth"}, 0x1294, ""},
        {{"usb", "2"}, 0x129C, "USB2"},
        {{"query", "ETH_IP"}, 0x129E, "ETH_IP"},
        {{"key", "crc", "hdcp1"}, 0x1282, ""},
        {{"key", "crc", "hdcp2"}, 0x1284, ""},
        {{"key", "crc", "ciplus"}, 0x1286, ""},
        {{"key", "crc", "esn-ulpk-mac"}, 0x12A3, ""},
        {{"key", "crc", "widevine"}, 0x12A4, ""},
        {{"key", "crc", "netflix"}, 0x12B4, ""},
        {{"key", "crc", "ciplusecp"}, 0x12BA, ""},
        {{"finish"}, 0x129A, ""},
        {{"leave"}, 0x1299, ""},
    };
    for (const auto& row : rows) {
        const Action action = MakeAction(row.words);
        EXPECT_EQ(action.request.id, row.id) << action.verb;
        EXPECT_EQ(action.request.payload, row.payload) << action.verb;
    }
    EXPECT_EQ(MakeAction({"leave"}).kind, Action::Kind::Leave);
    EXPECT_EQ(MakeAction({"key", "send", "widevine", "f"}).type->transfer, 0x12A2);
    EXPECT_EQ(MakeAction({"config", "f"}).type->transfer, 0x12A7);
}

TEST(Verbs, RefuseWhatTheSetCouldNeverAnswer) {
    const Words unusable[] = {{},
                              {"dance"},
                              {"connect", "now"},
                              {"sn"},
                              {"sn", "write"},
                              {"sn", "write", ""},
                              {"sn", "write", std::string(65, 'x')},
                              {"sn", "read", "x"},
                              {"sn", "erase"},
                              {"mac", "write", "00:11:22:33:44:5"},
                              {"volume"},
                              {"volume", "101"},
                              {"volume", "-1"},
                              {"volume", "20%"},
                              {"led", "blue", "on"},
                              {"led", "red"},
                              {"aspect", "21:9"},
                              {"panel", "vcc", "dim"},
                              {"usb", "0"},
                              {"usb", "5"},
                              {"query", ""},
                              {"ping", std::string(60, '1')},
                              {"key", "send", "hdcp3", "f"},
                              {"key", "send", "hdcp1"},
                              {"key", "crc", "hdcp1", "f"},
                              {"raw"},
                              {"raw", "zz"},
                              {"raw", "1297", "4"},
                              {"raw", "1297", std::string(130, '0')}};
    for (const Words& words : unusable) {
        try {
            MakeAction(words);
            ADD_FAILURE() << (words.empty() ? "nothing" : words.back());
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Exit::Unusable);
        }
    }
}

TEST(Verbs, LongestTextsFit) {
    EXPECT_EQ(MakeAction({"sn", "write", std::string(64, 'x')}).request.payload.size(), 64U);
    EXPECT_EQ(MakeAction({"ping", std::string(56, '1')}).request.payload.size(), 64U);
}

}  // namespace
}  // namespace zelline
