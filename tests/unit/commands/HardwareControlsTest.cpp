#include <set>

#include "UartManager/LinkFixture.h"

namespace {

constexpr char kGpio[] = "tovix.sl2.action.system.gpio";
constexpr char kInvoke[] = "invoke tovix.sl2.action.system.gpio [0:45, 0:1]";

class HardwareControls : public scripted::LinkTest {
  protected:
    std::string SetGpio(std::int32_t expected) {
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelSetGpio("45", "1"), expected);
        return script.Output();
    }
    // The picture states, with the write at `failing` (1 the first, 0 none) made to fail.
    void ExpectPicture(std::size_t failing) {
        const std::string mode = "tovix.sl2.i32.video.factory.picture.mode";
        const std::vector<std::pair<std::string, std::int32_t>> writes = {{"tovix.sl2.i32.video.apply.mode", 1},
                                                                          {mode, 1},
                                                                          {mode + ".data.brightness", 50},
                                                                          {mode + ".data.contrast", 80},
                                                                          {mode + ".data.colorintensity", 50},
                                                                          {mode + ".data.sharpness", 50},
                                                                          {mode + ".data.hue", 0},
                                                                          {"tovix.sl2.i32.video.rgb.only", 0}};
        for (std::size_t i = 0; i < writes.size(); ++i) {
            ExpectWrite(writes[i].first, writes[i].second, i + 1 == failing);
        }
    }
    void ExpectWrite(const std::string& key, std::int32_t value, bool fails) {
        if (fails) {
            script.ExpectModelFailure(4);
        } else {
            script.ExpectSet(key, value);
        }
    }
    void ExpectSound(std::int32_t enable, std::size_t failing) {
        const std::string sound = "tovix.sl2.i32.sound.";
        const std::vector<std::pair<std::string, std::int32_t>> writes = {
            {"apply.mode", 1},           {"main.volume", 90},         {"headphone.mode", 1},
            {"headphone.volume", 90},    {"equalizer.freq.100hz", 0}, {"equalizer.freq.250hz", 0},
            {"equalizer.freq.600hz", 0}, {"equalizer.freq.1khz", 0},  {"equalizer.freq.2k5hz", 0},
            {"equalizer.freq.6khz", 0},  {"equalizer.freq.10khz", 0}, {"volume.automatic", enable}};
        for (std::size_t i = 0; i < writes.size(); ++i) {
            ExpectWrite(sound + writes[i].first, writes[i].second, i + 1 == failing);
        }
        if (failing == 13) {
            script.ExpectModelFailure(4);
        } else {
            script.ExpectSetElement("tovix.sl2.vint32.sound.soc.drc", 0, enable);
        }
        if (failing == 14) {
            script.ExpectModelFailure(4);
        } else {
            script.ExpectSetElement("tovix.sl2.vint32.sound.dts.peq", 1, enable);
        }
    }
    static bool HasFailLine(const std::string& output, const std::string& name) {
        return output.find(" " + name + " ") != std::string::npos && output.find(" fail\n") != std::string::npos;
    }
};

TEST_F(HardwareControls, GpioInvokesWithTwoTexts) {
    script.ExpectConnect(kGpio);
    script.Expect(kInvoke);
    script.ExpectSettled(kGpio);
    EXPECT_EQ(SetGpio(0), "");
}

TEST_F(HardwareControls, GpioFailures) {
    script.Expect("proxy").Returns(3);
    EXPECT_EQ(SetGpio(-1), "Start biz proxy failed, ret = 3\n");
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(4);
    const std::string output = SetGpio(-1);
    EXPECT_EQ(output.rfind("getInterfaceReference failed, ZelSetGpio ", 0), 0U) << output;
    EXPECT_NE(output.find(" ret = 4\n"), std::string::npos) << output;
    script.Expect("proxy");
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
    script.Expect("root").Returns(1);
    EXPECT_EQ(SetGpio(-1), "pRootInterface is NULL\n");
    script.ExpectConnect(kGpio).Returns(5);
    EXPECT_EQ(SetGpio(-1), "connect failed, ret = 5\n");
    script.ExpectConnect(kGpio);
    script.Expect(kInvoke).Returns(6);
    EXPECT_EQ(SetGpio(-1), "invoke failed, ret = 6\n");
}

TEST_F(HardwareControls, PictureBypassWritesEightKeysInOrder) {
    ExpectPicture(0);
    EXPECT_EQ(m_manager->ZelSetPQBypass(), 0);
}

TEST_F(HardwareControls, PictureBypassReportsItsLastWriteOnly) {
    std::set<std::string> lines;  // which write failed can be told from the log
    for (std::size_t failing = 1; failing <= 8; ++failing) {
        ExpectPicture(failing);
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelSetPQBypass(), failing == 8 ? -1 : 0) << failing;
        const std::string output = script.Output();
        EXPECT_TRUE(HasFailLine(output, "ZelSetPQBypass")) << output;
        lines.insert(output.substr(output.find(" ZelSetPQBypass ")));
        script.Verify();
    }
    EXPECT_EQ(lines.size(), 8U);
}

TEST_F(HardwareControls, SoundStateWritesFourteenKeysInOrder) {
    for (const std::int32_t enable : {0, 1}) {
        ExpectSound(enable, 0);
        EXPECT_EQ(m_manager->ZelSetAQEnable(enable), 0);
        script.Verify();
    }
}

TEST_F(HardwareControls, SoundStateReportsItsLastWriteOnly) {
    std::set<std::string> lines;  // which write failed can be told from the log
    for (std::size_t failing = 1; failing <= 14; ++failing) {
        ExpectSound(0, failing);
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelSetAQEnable(0), failing == 14 ? -1 : 0) << failing;
        const std::string output = script.Output();
        EXPECT_TRUE(HasFailLine(output, "ZelSetAQEnable")) << output;
        lines.insert(output.substr(output.find(" ZelSetAQEnable ")));
        script.Verify();
    }
    EXPECT_EQ(lines.size(), 14U);
}

TEST_F(HardwareControls, Ping) {
    const std::vector<std::pair<std::string, std::int32_t>> outputs = {
        {"1 packets transmitted, 1 received, 0% packet loss", 1},
        {"1 packets transmitted, 0 received, 100% packet loss", 0},
        {"1 packets transmitted, 10 received", 1},
        {"1 packets transmitted, 1 packets received, 0% packet loss", 1},  // busybox
        {"1 packets transmitted, 0 packets received, 100% packet loss", 0},
        {"1 packets transmitted, 10 packets received", 1},
        {"1 packets transmitted, 0 received, +1 errors, 100% packet loss", 0},
        {"ping: unknown host", 0},
        {"", 0}};
    for (const auto& [output, expected] : outputs) {
        script.Expect("output ping 192.168.1.1 -w 1").Text(output);
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelEthPingTest("192.168.1.1"), expected) << output;
        EXPECT_EQ(script.Output(), expected == 1 ? "ip ok!\n" : "ip ng!\n");
        script.Verify();
    }
}

}  // namespace
