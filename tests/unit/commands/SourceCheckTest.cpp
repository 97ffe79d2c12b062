#include <regex>

#include "UartManager/LinkFixture.h"
#include "model/ModelGlobals.h"

namespace {

constexpr char kSwitch[] = "tovix.sl2.action.source.switch";
constexpr char kTuners[] = "tovix.sl2.table.favouritelist.list";
constexpr char kChannels[] = "tovix.sl2.table.servicelist.list";

class SourceCheck : public scripted::LinkTest {
  protected:
    void KnowEverything() {
        dst_ATV_tuner_uuid.Set("atv");
        dst_DTV_tuner_uuid.Set("dtv");
        dst_DTVS2_tuner_uuid.Set("s2");
        m_strAtvUuid.Set("atv-list");
        m_strDtvUuid.Set("dtv-list");
        m_strDtvS2Uuid.Set("s2-list");
    }
    void ExpectSoundReset() {
        script.ExpectSet("tovix.sl2.i32.sound.volume.automatic", 0);
        script.ExpectSetElement("tovix.sl2.vint32.sound.soc.drc", 0, 0);
        script.ExpectSetElement("tovix.sl2.vint32.sound.dts.peq", 1, 0);
    }
    void ExpectListFails(const std::string& tuner) {
        script.ExpectConnect(kChannels);
        script
            .Expect("iterator " + std::string(kChannels) + " [6/0/, 0/0/, 7/0/, 2/0/, 35/0/, 1/0/, 6/1/" + tuner +
                    "]")
            .Returns(1);
    }
    std::string Check(const std::string& name, std::int32_t expected) {
        script.CaptureOutput();
        EXPECT_EQ(m_manager->ZelUartCmdSourceCheck(Received(0x1288, name)), expected) << name;
        const std::string output = script.Output();
        script.Verify();
        return output;
    }
};

TEST_F(SourceCheck, ExternalInputs) {
    KnowEverything();
    for (const auto& [name, source] : std::vector<std::pair<std::string, std::string>>{{"VGA", "VGA"},
                                                                                       {"AV1", "AVS"},
                                                                                       {"AV2", "AVS"},
                                                                                       {"AV3", "AVS"},
                                                                                       {"HDMI1", "HDMI1"},
                                                                                       {"HDMI2", "HDMI2"},
                                                                                       {"HDMI3", "HDMI3"},
                                                                                       {"HDMI4", "HDMI4"},
                                                                                       {"SCART1", "SCART"},
                                                                                       {"YPBPR1", "COMPONENT"},
                                                                                       {"YPBPR2", "COMPONENT"}}) {
        script.ExpectInvoke(kSwitch, {"ZelFacTestUUID", "9", source, "0"});
        ExpectSoundReset();
        Check(name, 0);
    }
}

TEST_F(SourceCheck, TunerInputs) {
    KnowEverything();
    for (const auto& [name, tuner] : std::vector<std::pair<std::string, std::string>>{{"DTV", "dtv"},
                                                                                      {"ATV", "atv"},
                                                                                      {"DTV-C", "dtv"},
                                                                                      {"DTV-T", "dtv"},
                                                                                      {"DTV-S2", "s2"},
                                                                                      {"DTV-T2", "dtv"}}) {
        script.ExpectInvoke(kSwitch, {"ZelFacTestUUID", "8", "TV", tuner + "-list", tuner});
        ExpectSoundReset();
        Check(name, 0);
    }
}

TEST_F(SourceCheck, UnknownNamesSwitchNothingAndStillResetTheSound) {
    KnowEverything();
    for (const char* name :
         {"HDMI5", "HDMI", "hdmi1", "", "TV", "DTV-T3", "DTV ", "HDMI1 ", "USB", "SCART2", "YPBPR3"}) {
        ExpectSoundReset();
        Check(name, -1);
    }
}

TEST_F(SourceCheck, AMissingIdentityFailsOnlyTheInputsThatNeedIt) {
    KnowEverything();
    dst_DTVS2_tuner_uuid.Set("");
    m_strDtvS2Uuid.Set("");
    // The missing tuner is asked for again at every check.
    script.ExpectModelFailure(1);
    ExpectSoundReset();
    EXPECT_EQ(Check("DTV-S2", -1).rfind("Start biz proxy failed, ret = 1\n ZelUartCmdSourceCheck ", 0), 0U);
    script.ExpectModelFailure(1);
    script.ExpectInvoke(kSwitch, {"ZelFacTestUUID", "8", "TV", "dtv-list", "dtv"});
    ExpectSoundReset();
    Check("DTV", 0);
}

TEST_F(SourceCheck, AListWithoutItsTunerIsNotAskedFor) {
    KnowEverything();
    m_strAtvUuid.Set("");
    dst_ATV_tuner_uuid.Set("");
    script.ExpectModelFailure(1);  // the tuners
    ExpectSoundReset();
    Check("ATV", -1);
}

TEST_F(SourceCheck, MissingListsAreAskedForInOrder) {
    KnowEverything();
    m_strAtvUuid.Set("");
    m_strDtvUuid.Set("");
    m_strDtvS2Uuid.Set("");
    for (const char* tuner : {"atv", "dtv", "s2"}) {
        ExpectListFails(tuner);
    }
    ExpectSoundReset();
    const std::string output = Check("DTV", -1);
    const std::regex failed(
        "(unable to create table iterator for service list!\n\n"
        " ZelUartCmdSourceCheck [1-9][0-9]* fail\n){3}");
    EXPECT_TRUE(std::regex_match(output, failed)) << output;
}

TEST_F(SourceCheck, AListIsAskedForAlsoWhenTheTunersCannotBeRead) {
    KnowEverything();
    dst_DTVS2_tuner_uuid.Set("");
    m_strDtvS2Uuid.Set("");
    m_strDtvUuid.Set("");
    script.ExpectModelFailure(1);  // the tuners
    ExpectListFails("dtv");
    ExpectSoundReset();
    Check("DTV-S2", -1);
}

TEST_F(SourceCheck, WithoutAnyTunerOnlyTheTunersAreAskedFor) {
    script.ExpectConnect(kTuners).Returns(7);
    ExpectSoundReset();
    Check("DTV", -1);
}

TEST_F(SourceCheck, AFailedSwitchIsTheResult) {
    KnowEverything();
    script.ExpectModelFailure(2);
    ExpectSoundReset();
    Check("HDMI1", -1);
}

TEST_F(SourceCheck, EveryFailedSoundWriteIsPrintedAndTheNextFollows) {
    KnowEverything();
    script.ExpectInvoke(kSwitch, {"ZelFacTestUUID", "9", "HDMI1", "0"});
    script.ExpectModelFailure(1);
    script.ExpectModelFailure(2);
    script.ExpectModelFailure(3);
    const std::string output = Check("HDMI1", 0);
    std::size_t lines = 0;
    for (std::size_t at = output.find(" ZelUartCmdSourceCheck "); at != std::string::npos;
         at = output.find(" ZelUartCmdSourceCheck ", at + 1)) {
        ++lines;
    }
    EXPECT_EQ(lines, 3U) << output;
}

TEST_F(SourceCheck, TheDecoderAnswersByTheResult) {
    KnowEverything();
    script.ExpectInvoke(kSwitch, {"ZelFacTestUUID", "9", "HDMI1", "0"});
    ExpectSoundReset();
    ExpectStatus(0x1288, 0);
    Decode(0x1288, "HDMI1");
    ExpectSoundReset();
    ExpectStatus(0x1288, 1);
    EXPECT_EQ(DecodeOutput(0x1288, "HDMI5").rfind(" ZelDecodeFacAutoTestCommand ", 0), 0U);
}

}  // namespace
