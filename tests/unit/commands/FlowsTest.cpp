// The flows around the start of the link.
#include "UartManager/LinkFixture.h"
#include "commands/FactoryFinish.h"
#include "model/ModelGlobals.h"

namespace {

const std::vector<std::string> kMountPoints = {"/zodata/critical", "/zodata/factory", "/zodata/model",
                                               "/var/local",       "/var/run",        "/vendor/tvconfig/config",
                                               "/config",          "/serialdata",     "/certificate"};

class Flows : public scripted::LinkTest {
  protected:
    // Everything that the first half asks the model for before the partitions, all of it failing.
    void ExpectNoPreset() {
        script.ExpectModelFailure(1);  // location
        script.ExpectModelFailure(1);  // language
        script.ExpectModelFailure(1);  // preset
        script.ExpectModelFailure(1);  // tuners
    }
    void ExpectConfigPrinted() {
        for (const char* item : {"1", "2", "4"}) {
            script.Expect(std::string("meta.read ") + item);
        }
        script.Expect("flash.get brand").Text("ACME");
        script.Expect("meta.read 3");
        script.Expect("meta.read 0");
        script.ExpectGetText("tovix.sl2.str.qorfactory.software.version", "V8.1");
    }
    void ExpectMeasuringStates() {
        script.Expect("proxy").Returns(1).Times(22);  // picture and sound, tried elsewhere
    }
};

TEST_F(Flows, BeforeTheLinkStarts) {
    ExpectNoPreset();
    script.ExpectInvoke("tovix.sl2.action.source.switch", {"ZelFacTestUUID", "9", "HDMI1", "0"});
    for (const std::string& path : kMountPoints) {
        script.Expect("remount " + path);
    }
    for (const std::string& path : kMountPoints) {
        script.Expect("system mount -o remount,rw " + path);
    }
    script.Expect("system echo ForceFreerun=TRUE > /proc/utopia_mdb/xc");
    script.Expect("system echo 18 > /var/run/superwatch");
    script.Expect("meta.readstr 8").Text("00:11:22:33:44:55");
    script.ExpectSet("tovix.sl2.i32.sound.speaker.arc.mode", 3);
    script.ExpectInvoke("tovix.sl2.action.sound.force.speaker.spdif.unmute");
    ExpectConfigPrinted();
    script.CaptureOutput();
    m_manager->ZelFacAutoTestBeforSetDefaultSetting();
    EXPECT_EQ(script.Output().find("ZelFacAutoTestBeforSetDefaultSetting"), std::string::npos);
}

TEST_F(Flows, BeforeTheLinkStartsNothingStopsTheFlow) {
    ExpectNoPreset();
    script.ExpectModelFailure(1);
    for (const std::string& path : kMountPoints) {
        script.Expect("remount " + path).Returns(-1);
    }
    for (const std::string& path : kMountPoints) {
        script.Expect("system mount -o remount,rw " + path).Returns(256);
    }
    script.Expect("system echo ForceFreerun=TRUE > /proc/utopia_mdb/xc").Returns(256);
    script.Expect("system echo 18 > /var/run/superwatch").Returns(256);
    script.Expect("meta.readstr 8").Returns(1);
    script.PutFile("/dev/urandom", std::string(4, '\x01'));
    script.Expect("flash.set macaddr=00:00:00:01:01:03").Returns(1);
    script.Expect("meta.writestr 8 00:00:00:01:01:03").Returns(1);
    script.ExpectModelFailure(1);
    script.ExpectModelFailure(1);
    for (const char* item : {"1", "2", "4"}) {
        script.Expect(std::string("meta.read ") + item).Returns(1);
    }
    script.Expect("flash.get brand").Returns(1);
    script.Expect("meta.read 3").Returns(1);
    script.Expect("meta.read 0").Returns(1);
    script.ExpectModelFailure(1);
    script.CaptureOutput();
    m_manager->ZelFacAutoTestBeforSetDefaultSetting();
    const std::string output = script.Output();
    std::size_t mounts = 0;
    std::size_t others = 0;
    const std::string name = " ZelFacAutoTestBeforSetDefaultSetting ";
    for (std::size_t at = output.find(name); at != std::string::npos; at = output.find(name, at + 1)) {
        const std::string line = output.substr(at, output.find('\n', at) - at);
        mounts += line.find(" mount fail, mount_res:-1") != std::string::npos ? 1 : 0;
        others += line.find(" fail") == line.size() - 5 ? 1 : 0;
    }
    EXPECT_EQ(mounts, 9U) << output;
    EXPECT_EQ(others, 1U + 9U + 2U + 1U + 2U + 1U) << output;
}

TEST_F(Flows, AfterTheLinkStarted) {
    ExpectMeasuringStates();
    script.ExpectInvoke("tovix.sl2.action.network.wired.set");
    script.Expect("start-thread");
    script.ExpectSet("tovix.sl2.i32.video.format", 0);
    script.Expect("keys.write 6 [\"\"]");
    script.Expect("keys.check 6");
    script.Expect("keys.write 8 [\"\"]");
    script.Expect("keys.check 8");
    script.CaptureOutput();
    m_manager->ZelFacAutoTestAfterSetDefaultSetting();
    const std::string output = script.Output();
    EXPECT_EQ(m_i32RetCheckPlayreadyYoutube, 0);
    EXPECT_NE(output.find(" m_i32RetCheckPlayreadyYoutube:0\n"), std::string::npos) << output;
    EXPECT_EQ(output.find("========="), std::string::npos) << output;
}

TEST_F(Flows, TheKeyResultsAreJoined) {
    struct Row {
        int write6, check6, write8, check8, joined;
    };
    for (const Row& row : {Row{0, 4, 0, 0, 4}, Row{0, 0, 0, 2, 2}, Row{0, 4, 0, 2, 6}, Row{7, 0, 9, 0, 0}}) {
        ExpectMeasuringStates();
        script.ExpectModelFailure(1);
        script.Expect("start-thread");
        script.ExpectModelFailure(1);
        script.Expect("keys.write 6 [\"\"]").Returns(row.write6);
        script.Expect("keys.check 6").Returns(row.check6);
        script.Expect("keys.write 8 [\"\"]").Returns(row.write8);
        script.Expect("keys.check 8").Returns(row.check8);
        script.CaptureOutput();
        m_manager->ZelFacAutoTestAfterSetDefaultSetting();
        script.Output();
        EXPECT_EQ(m_i32RetCheckPlayreadyYoutube, row.joined);
        script.Verify();
    }
}

TEST_F(Flows, TheGateOfTheFinishStaysShutUntilBothKeysAreChecked) {
    const auto isShut = [] { EXPECT_EQ(m_i32RetCheckPlayreadyYoutube, -1); };
    ExpectMeasuringStates();
    script.ExpectModelFailure(1);
    script.Expect("start-thread");
    script.ExpectModelFailure(1);
    script.Expect("keys.write 6 [\"\"]");
    script.Expect("keys.check 6");
    script.Expect("keys.write 8 [\"\"]").Then(isShut);
    script.Expect("keys.check 8").Then(isShut);
    script.CaptureOutput();
    m_manager->ZelFacAutoTestAfterSetDefaultSetting();
    script.Output();
    EXPECT_EQ(m_i32RetCheckPlayreadyYoutube, 0);
}

TEST_F(Flows, TheCheckLinesShowWhatTheWriteReturned) {
    ExpectMeasuringStates();
    script.ExpectModelFailure(1);
    script.Expect("start-thread");
    script.ExpectModelFailure(1);
    script.Expect("keys.write 6 [\"\"]").Returns(11);
    script.Expect("keys.check 6").Returns(22);
    script.Expect("keys.write 8 [\"\"]").Returns(33);
    script.Expect("keys.check 8").Returns(44);
    script.CaptureOutput();
    m_manager->ZelFacAutoTestAfterSetDefaultSetting();
    const std::string output = script.Output();
    for (const char* line :
         {"=========writeKeys PLAYREADY ret:11=========\n", "=========checkKeyFile PLAYREADY ret:11=========\n",
          "=========writeKeys YOUTUBE ret:33=========\n", "=========checkKeyFile YOUTUBE ret:33=========\n",
          " m_i32RetCheckPlayreadyYoutube:62\n"}) {
        EXPECT_NE(output.find(line), std::string::npos) << line << output;
    }
}

TEST_F(Flows, BurnMode) {
    script.ExpectSet("tovix.sl2.i32.video.apply.mode", 1);
    script.ExpectSet("tovix.sl2.system.ctrl.led.flicker", 1);
    script.ExpectSet("tovix.sl2.i32.video.factory.testPattern", 0);
    script.CaptureOutput();
    m_manager->ZelBurnModeBeforSetDefaultSetting();
    EXPECT_EQ(script.Output(), "");
    for (int i = 0; i < 3; ++i) {
        script.ExpectModelFailure(1);
    }
    script.CaptureOutput();
    m_manager->ZelBurnModeBeforSetDefaultSetting();
    EXPECT_NE(script.Output().find(" ZelBurnModeBeforSetDefaultSetting "), std::string::npos);
}

}  // namespace
