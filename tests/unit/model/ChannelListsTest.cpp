// The preset load and the table reads: every wait, every failure, every line.
#include <functional>
#include <regex>
#include <thread>

#include "model/ModelClient.h"
#include "model/ModelGlobals.h"
#include "scripted/Script.h"

namespace {

constexpr char kMessage[] = "tovix.sl2.messages.messageid";
constexpr char kPreset[] = "tovix.sl2.table.servicelist.list.preset.database";
constexpr char kFavourites[] = "tovix.sl2.table.favouritelist.list";
constexpr char kServices[] = "tovix.sl2.table.servicelist.list";

class ChannelLists : public scripted::Test {
  protected:
    template <typename Operation>
    auto Run(Operation&& operation) {
        script.CaptureOutput();
        const auto result = operation();
        m_output = script.Output();
        return result;
    }

    void ExpectInterfaceText(const char* name, int status) {
        EXPECT_TRUE(std::regex_match(m_output, std::regex("getInterfaceReference failed, " + std::string(name) +
                                                          " [1-9][0-9]* ret = " + std::to_string(status) + "\n")))
            << m_output;
    }

    // The three failures on the way to the root.
    template <typename Operation>
    void ExpectRootFailures(const char* name, Operation&& operation) {
        script.Expect("proxy").Returns(-2);
        EXPECT_EQ(Run(operation), -1);
        EXPECT_EQ(m_output, "Start biz proxy failed, ret = -2\n");
        script.Expect("proxy");
        script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(6);
        EXPECT_EQ(Run(operation), -1);
        ExpectInterfaceText(name, 6);
        script.Expect("proxy");
        script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface");
        script.Expect("root").Returns(1);
        EXPECT_EQ(Run(operation), -1);
        EXPECT_EQ(m_output, "pRootInterface is NULL\n");
    }

    std::string Call(const char* operation, const char* key, const std::string& rest = "") {
        return std::string(operation) + " " + key + rest;
    }

    vumodelapi::ObserverTableIterator& RowReader(const char* key) {
        return script.Observer<vumodelapi::ObserverTableIterator>(key);
    }

    // The wait for the row count runs out.
    void ExpectNoCount(const char* key) {
        script.Expect(Call("count", key));
        script.Expect("delay 50000").Times(10);
    }

    ModelClient m_client;
    std::string m_output;
};

// ---- The preset -----------------------------------------------------------------------------------------------

class FactoryPreset : public ChannelLists {
  protected:
    void ExpectInvoked() {
        script.ExpectConnect(kMessage);
        script.Expect(Call("connect", kPreset));
        script.Expect(Call("invoke", kPreset, " [0:38]"));
    }
    void ExpectDisconnected() {
        script.Expect(Call("disconnect", kPreset));
        script.Expect(Call("disconnect", kMessage));
    }
    void Notify(std::int32_t value) {
        script.Observer<vumodelapi::ObserverNumericInteger>(kMessage).notifyInteger(value);
    }
    std::int32_t RunIt() {
        return Run([this] { return m_client.ZelSetFacPreset("38"); });
    }
};

TEST_F(FactoryPreset, EndsAtTheFirstPollWhenTheMessageWasQuick) {
    ExpectInvoked();
    script.Expect("delay 100000").Then([this] { Notify(338); });
    ExpectDisconnected();
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output, "changePreSignalStateObserverImpl: new value = 338\n\nu8DelayCount = 0 delay:100 ms\n");
}

TEST_F(FactoryPreset, CountsThePollsUntilTheMessage) {
    ExpectInvoked();
    script.Expect("delay 100000").Then([this] { Notify(337); });
    script.Expect("delay 50000").Times(2);
    script.Expect("delay 50000").Then([this] { Notify(338); });
    ExpectDisconnected();
    EXPECT_EQ(RunIt(), 0);
    EXPECT_NE(m_output.find("\nu8DelayCount = 3 delay:250 ms\n"), std::string::npos) << m_output;
}

TEST_F(FactoryPreset, GivesUpAfterAHundredPollsWithoutFailing) {
    ExpectInvoked();
    script.Expect("delay 100000");
    script.Expect("delay 50000").Times(100);
    ExpectDisconnected();
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output, "u8DelayCount = 100 delay:5100 ms\n");
}

TEST_F(FactoryPreset, AMessageDuringTheLastPollComesTooLate) {
    ExpectInvoked();
    script.Expect("delay 100000");
    script.Expect("delay 50000").Times(99);
    script.Expect("delay 50000").Then([] { m_bPresetChannelFinish = true; });
    ExpectDisconnected();
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output, "u8DelayCount = 100 delay:5100 ms\n");
}

TEST_F(FactoryPreset, ASecondLoadEndsAtOnceBecauseTheFlagStays) {
    m_bPresetChannelFinish = true;
    ExpectInvoked();
    script.Expect("delay 100000");
    ExpectDisconnected();
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output, "u8DelayCount = 0 delay:100 ms\n");
    EXPECT_TRUE(m_bPresetChannelFinish);
}

TEST_F(FactoryPreset, NobodyObservesTheDatabase) {
    script.ExpectConnect(kMessage);
    script.Expect(Call("connect", kPreset)).Then([this] {
        EXPECT_THROW(script.Observer<vumodelapi::Observer>(kPreset), std::logic_error);
    });
    script.Expect(Call("invoke", kPreset, " [0:38]")).Then([this] {
        EXPECT_THROW(script.Observer<vumodelapi::Observer>(kPreset), std::logic_error);
    });
    script.Expect("delay 100000").Then([] { m_bPresetChannelFinish = true; });
    ExpectDisconnected();
    EXPECT_EQ(RunIt(), 0);
}

TEST_F(FactoryPreset, Failures) {
    ExpectRootFailures("ZelSetFacPreset", [this] { return m_client.ZelSetFacPreset("38"); });

    script.ExpectConnect(kMessage).Returns(7);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "connect failed, ret = 7\n");

    script.ExpectConnect(kMessage).NoHandle();
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "connect failed, ret = 0\n");

    script.ExpectConnect(kMessage);
    script.Expect(Call("connect", kPreset)).Returns(8);
    EXPECT_EQ(RunIt(), 8) << "the library's own status";
    EXPECT_EQ(m_output, "connect failed or access == NULL ret = 8\n");

    script.ExpectConnect(kMessage);
    script.Expect(Call("connect", kPreset)).NoHandle();
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output, "connect failed or access == NULL ret = 0\n");

    script.ExpectConnect(kMessage);
    script.Expect(Call("connect", kPreset));
    script.Expect(Call("invoke", kPreset, " [0:38]")).Returns(9);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "invoke failed, ret = 9\n");
}

// ---- The tuners -----------------------------------------------------------------------------------------------

class TunerList : public ChannelLists {
  protected:
    void ExpectIterator() {
        script.ExpectConnect(kFavourites);
        script.Expect(Call("iterator", kFavourites, " []"));
    }
    std::int32_t RunIt() {
        return Run([this] { return m_client.ZelGetDvbUuid(); });
    }
};

TEST_F(TunerList, LearnsTheTuners) {
    m_bGeTunerUuidFinish = true;
    ExpectIterator();
    script.Expect(Call("count", kFavourites)).Then([] { EXPECT_FALSE(m_bGeTunerUuidFinish); });
    script.Expect("delay 50000");
    script.Expect("delay 50000").Then([this] { RowReader(kFavourites).notifyTotalCount(3); });
    script.Expect(Call("rows", kFavourites, " 3"));
    script.Expect("delay 50000");
    script.Expect("delay 50000").Then([this] {
        RowReader(kFavourites).notifyReadRowChunk({{"a", "Analog"}, {"t", "Antenna"}});
    });
    script.Expect("delay 50000").Then([this] {
        RowReader(kFavourites).notifyReadRowChunk({{"s", "Astra 19.2"}});
    });
    script.Expect(Call("disconnect", kFavourites)).Then([] { EXPECT_FALSE(m_bGeTunerUuidFinish); });
    EXPECT_EQ(RunIt(), 0);
    EXPECT_TRUE(m_bGeTunerUuidFinish);
    EXPECT_EQ(dst_ATV_tuner_uuid.Get(), "a");
    EXPECT_EQ(dst_DTV_tuner_uuid.Get(), "t");
    EXPECT_EQ(dst_DTVS2_tuner_uuid.Get(), "s");
    EXPECT_EQ(m_output,
              " notifyTotalCount 389 m_i32ChannelCount:3\n"
              "ZelGetDvbUuid totalCount delay:100 ms\n"
              " ZelGetDvbUuid 3062 m_i32ChannelCount:3\n"
              "\n=========notifyReadRowChunk-rows.size():2=========\n"
              "dst_ATV_tuner_uuid:a\ndst_DTV_tuner_uuid:t\n"
              "\n=========notifyReadRowChunk-rows.size():1=========\n"
              "dst_DTVS2_tuner_uuid:s\n"
              "ZelGetDvbUuid readNextRows delay:100 ms\n");
}

TEST_F(TunerList, ATableWithoutRowsIsAskedForNone) {
    m_i32ChannelCount = 12;  // of the table read before
    ExpectIterator();
    ExpectNoCount(kFavourites);
    script.Expect(Call("rows", kFavourites, " 0"));
    script.Expect("delay 50000").Times(11);
    script.Expect(Call("disconnect", kFavourites));
    EXPECT_EQ(RunIt(), 0);
    EXPECT_EQ(m_output,
              "ZelGetDvbUuid totalCount delay:500 ms\n ZelGetDvbUuid 3062 m_i32ChannelCount:0\n"
              "ZelGetDvbUuid readNextRows delay:500 ms\n");
    EXPECT_TRUE(m_bGeTunerUuidFinish);
}

TEST_F(TunerList, AMissingTunerIsWaitedForInFull) {
    ExpectIterator();
    script.Expect(Call("count", kFavourites)).Then([this] { RowReader(kFavourites).notifyTotalCount(2); });
    script.Expect(Call("rows", kFavourites, " 2")).Then([this] {
        RowReader(kFavourites).notifyReadRowChunk({{"a", "Analog"}, {"t", "Antenna"}});
    });
    script.Expect("delay 50000").Times(11);
    script.Expect(Call("disconnect", kFavourites));
    EXPECT_EQ(RunIt(), 0);
    EXPECT_NE(m_output.find("ZelGetDvbUuid totalCount delay:0 ms\n"), std::string::npos) << m_output;
    EXPECT_NE(m_output.find("ZelGetDvbUuid readNextRows delay:500 ms\n"), std::string::npos) << m_output;
    EXPECT_TRUE(dst_DTVS2_tuner_uuid.Empty());
}

TEST_F(TunerList, KeepsTheIteratorBeyondTheOperation) {
    ExpectIterator();
    script.Expect(Call("count", kFavourites)).Then([] { EXPECT_NE(ptrFavListTabLelterator, nullptr); });
    script.Expect("delay 50000").Times(10);
    script.Expect(Call("rows", kFavourites, " 0"));
    script.Expect("delay 50000").Times(11);
    script.Expect(Call("disconnect", kFavourites));
    EXPECT_EQ(RunIt(), 0);
    ASSERT_NE(ptrFavListTabLelterator, nullptr);
    script.Expect(Call("rows", kFavourites, " 1")).Returns(5);
    EXPECT_EQ(ptrFavListTabLelterator->readNextRows(1), 5);
    ptrFavListTabLelterator.reset();  // the iterator calls its observer once more
}

TEST_F(TunerList, TwoThreadsOfTheLibraryNotifyAtOnce) {
    ExpectIterator();
    const auto fromTwoThreads = [](const std::function<void(int)>& notify) {
        std::thread other([&] { notify(1); });
        notify(0);
        other.join();
    };
    script.Expect(Call("count", kFavourites)).Then([&] {
        auto& reader = RowReader(kFavourites);
        fromTwoThreads([&](int) { reader.notifyTotalCount(300); });
    });
    script.Expect(Call("rows", kFavourites, " 300")).Then([&] {
        auto& reader = RowReader(kFavourites);
        fromTwoThreads([&](int which) {
            for (int i = 0; i < 50; ++i) {
                const std::string uuid = "uuid-that-needs-memory-of-its-own-" + std::to_string(which);
                reader.notifyReadRowChunk({{uuid, "Analog"}, {uuid, "Antenna"}, {uuid, "Astra 1"}});
            }
        });
    });
    script.Expect("delay 50000");
    script.Expect(Call("disconnect", kFavourites));
    EXPECT_EQ(RunIt(), 0);
    for (const zel::Tuner* tuner : zel::kTuners) {
        const std::string uuid = tuner->uuid.Get();
        EXPECT_EQ(uuid.substr(0, uuid.size() - 1), "uuid-that-needs-memory-of-its-own-");
    }
}

TEST_F(TunerList, FailuresLeaveRowsToBeTuners) {
    m_bGeTunerUuidFinish = true;
    ExpectRootFailures("ZelGetDvbUuid", [this] { return m_client.ZelGetDvbUuid(); });
    EXPECT_FALSE(m_bGeTunerUuidFinish);

    script.ExpectConnect(kFavourites).Returns(4);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "connect failed, ret = 4\n");

    script.ExpectConnect(kFavourites).NoHandle();
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "connect failed, ret = 0\n");

    script.ExpectConnect(kFavourites);
    script.Expect(Call("iterator", kFavourites, " []")).Returns(1);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "unable to create table iterator for service list!\n\n");
    EXPECT_EQ(ptrFavListTabLelterator, nullptr);

    ExpectIterator();
    script.Expect(Call("count", kFavourites)).Returns(5);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output, "totalCount failed, ret = 5\n");

    ExpectIterator();
    ExpectNoCount(kFavourites);
    script.Expect(Call("rows", kFavourites, " 0")).Returns(6);
    EXPECT_EQ(RunIt(), -1);
    EXPECT_EQ(m_output,
              "ZelGetDvbUuid totalCount delay:500 ms\n ZelGetDvbUuid 3062 m_i32ChannelCount:0\n"
              "readNextRow failed, ret = 6\n");
    EXPECT_FALSE(m_bGeTunerUuidFinish);
}

// ---- The channels ---------------------------------------------------------------------------------------------

class ChannelList : public ChannelLists {
  protected:
    void SetUp() override {
        ChannelLists::SetUp();
        dst_ATV_tuner_uuid.Set("a");
        dst_DTV_tuner_uuid.Set("t");
        dst_DTVS2_tuner_uuid.Set("s");
        m_bGeTunerUuidFinish = true;
    }
    std::string IteratorCall(const std::string& tuner) {
        return Call("iterator", kServices, " [6/0/, 0/0/, 7/0/, 2/0/, 35/0/, 1/0/, 6/1/" + tuner + "]");
    }
    std::int32_t RunIt(const char* tuner) {
        return Run([&] { return m_client.ZelGetDvbChannelList(tuner); });
    }
    // A read in which one row with `tuning` arrives after two polls, waited for until `polls` have passed.
    void ExpectRead(const char* tuner, const char* tuning, int polls) {
        script.ExpectConnect(kServices);
        script.Expect(IteratorCall(tuner));
        script.Expect(Call("count", kServices)).Then([this] { RowReader(kServices).notifyTotalCount(1); });
        script.Expect(Call("rows", kServices, " 1"));
        script.Expect("delay 50000").Times(2);
        script.Expect("delay 50000").Then([this, tuning] {
            RowReader(kServices).notifyReadRowChunk({{"0", "1", "channel", tuning}});
        });
        if (polls > 2) {
            script.Expect("delay 50000").Times(polls - 2);
        }
        script.Expect(Call("disconnect", kServices));
    }
};

TEST_F(ChannelList, FindsTheReferenceChannelOfEachTuner) {
    ExpectRead("a", "frequency=60000", 2);
    EXPECT_EQ(RunIt("a"), 0);
    EXPECT_EQ(m_strAtvUuid.Get(), "channel");
    EXPECT_EQ(m_output,
              " notifyTotalCount 389 m_i32ChannelCount:1\n"
              " ZelGetDvbChannelList 2761 m_i32ChannelCount:1 delay:0 ms\n"
              "\n=========notifyReadRowChunk-rows.size():1=========\nm_strAtvUuid:channel\n");
    ExpectRead("t", "frequency=666000", 2);
    EXPECT_EQ(RunIt("t"), 0);
    EXPECT_EQ(m_strDtvUuid.Get(), "channel");
    ExpectRead("s", "symbolrate=27500", 2);
    EXPECT_EQ(RunIt("s"), 0);
    EXPECT_EQ(m_strDtvS2Uuid.Get(), "channel");
}

TEST_F(ChannelList, AnotherTunersChannelDoesNotEndTheWait) {
    ExpectRead("a", "frequency=666000", 10);
    EXPECT_EQ(RunIt("a"), 0);
    EXPECT_TRUE(m_strAtvUuid.Empty());
}

TEST_F(ChannelList, AnUnknownTunerIsWaitedForInFull) {
    m_strAtvUuid.Set("known");
    ExpectRead("other", "frequency=60000", 10);
    EXPECT_EQ(RunIt("other"), 0);
}

TEST_F(ChannelList, AChannelKnownBeforeEndsTheWaitAtOnce) {
    m_strAtvUuid.Set("known");
    script.ExpectConnect(kServices);
    script.Expect(IteratorCall("a"));
    ExpectNoCount(kServices);
    script.Expect(Call("rows", kServices, " 0"));
    script.Expect("delay 50000");
    script.Expect(Call("disconnect", kServices));
    EXPECT_EQ(RunIt("a"), 0);
    EXPECT_EQ(m_output, " ZelGetDvbChannelList 2761 m_i32ChannelCount:0 delay:500 ms\n");
}

TEST_F(ChannelList, TheFavouriteListsObserverServesTheTable) {
    script.ExpectConnect(kServices);
    script.Expect(IteratorCall("a")).Then([this] {
        script.Observer<vumodelapi::ObserverTable>(kServices).notifyUpdate(1);
    });
    script.Expect(Call("count", kServices)).Returns(1);
    EXPECT_EQ(RunIt("a"), -1);
    EXPECT_EQ(m_output,
              "ChannelObserverTableImpl: new value \n notifyUpdate 360 update:1\ntotalCount failed, ret = 1\n");
}

TEST_F(ChannelList, Failures) {
    ExpectRootFailures("ZelGetDvbChannelList", [this] { return m_client.ZelGetDvbChannelList("a"); });

    script.ExpectConnect(kServices).Returns(4);
    EXPECT_EQ(RunIt("a"), -1);
    EXPECT_EQ(m_output, "connect failed, ret = 4\n");

    script.ExpectConnect(kServices);
    script.Expect(IteratorCall("a")).Returns(1);
    EXPECT_EQ(RunIt("a"), -1);
    EXPECT_EQ(m_output, "unable to create table iterator for service list!\n\n");

    script.ExpectConnect(kServices);
    script.Expect(IteratorCall("a"));
    script.Expect(Call("count", kServices)).Then([this] { RowReader(kServices).notifyTotalCount(2); });
    script.Expect(Call("rows", kServices, " 2")).Returns(-6);
    EXPECT_EQ(RunIt("a"), -1);
    EXPECT_EQ(m_output,
              " notifyTotalCount 389 m_i32ChannelCount:2\n"
              " ZelGetDvbChannelList 2761 m_i32ChannelCount:2 delay:0 ms\nreadNextRow failed, ret = -6\n");
}

// ---- All of it ------------------------------------------------------------------------------------------------

class PresetChannel : public ChannelLists {
  protected:
    void RunIt() {
        script.CaptureOutput();
        m_client.ZelSetPresetChannel();
        m_output = script.Output();
    }
};

TEST_F(PresetChannel, EveryStepMayFailAndTheNextIsMade) {
    script.ExpectModelFailure();  // location
    script.ExpectModelFailure();  // language
    script.ExpectModelFailure();  // preset
    script.ExpectModelFailure();  // tuners
    script.ExpectModelFailure();  // channels of three tuners
    script.ExpectModelFailure();
    script.ExpectModelFailure();
    dst_ATV_tuner_uuid.Set("a");
    dst_DTV_tuner_uuid.Set("t");
    dst_DTVS2_tuner_uuid.Set("s");
    RunIt();
    std::string expected;
    for (const char* step : {"2277", "2283", "2296", "2303", "2312", "2322", "2332"}) {
        expected += "Start biz proxy failed, ret = 1\n ZelSetPresetChannel " + std::string(step) + " fail\n";
    }
    EXPECT_EQ(m_output, expected);
}

TEST_F(PresetChannel, TunersThatAreMissingAreSkipped) {
    script.ExpectModelFailure();
    script.ExpectModelFailure();
    script.ExpectModelFailure();
    script.ExpectModelFailure();
    script.ExpectConnect(kServices).Returns(1);
    dst_DTV_tuner_uuid.Set("t");
    RunIt();
    EXPECT_NE(m_output.find("connect failed, ret = 1\n ZelSetPresetChannel 2322 fail\n"), std::string::npos);
    EXPECT_EQ(m_output.find("2312"), std::string::npos);
    EXPECT_EQ(m_output.find("2332"), std::string::npos);
}

TEST_F(PresetChannel, AStatusOfThePresetDatabaseIsAFailureToo) {
    script.ExpectSet("tovix.sl2.i32.basic.settings.tvset.location", 8);
    script.ExpectSet("tovix.sl2.i32.language.osd", 1);
    script.ExpectConnect(kMessage);
    script.Expect(Call("connect", kPreset)).Returns(44);
    script.ExpectModelFailure();
    RunIt();
    EXPECT_EQ(m_output,
              "connect failed or access == NULL ret = 44\n ZelSetPresetChannel 2296 fail\n"
              "Start biz proxy failed, ret = 1\n ZelSetPresetChannel 2303 fail\n");
}

TEST_F(PresetChannel, AllGoesWellInOrder) {
    script.ExpectSet("tovix.sl2.i32.basic.settings.tvset.location", 8);
    script.ExpectSet("tovix.sl2.i32.language.osd", 1);

    script.ExpectConnect(kMessage);
    script.Expect(Call("connect", kPreset));
    script.Expect(Call("invoke", kPreset, " [0:38]"));
    script.Expect("delay 100000").Then([this] {
        script.Observer<vumodelapi::ObserverNumericInteger>(kMessage).notifyInteger(338);
    });
    script.Expect(Call("disconnect", kPreset));
    script.Expect(Call("disconnect", kMessage));

    script.ExpectConnect(kFavourites);
    script.Expect(Call("iterator", kFavourites, " []"));
    script.Expect(Call("count", kFavourites)).Then([this] { RowReader(kFavourites).notifyTotalCount(2); });
    script.Expect(Call("rows", kFavourites, " 2")).Then([this] {
        RowReader(kFavourites).notifyReadRowChunk({{"a", "Analog"}, {"t", "Antenna"}});
    });
    script.Expect("delay 50000").Times(11);
    script.Expect(Call("disconnect", kFavourites));

    const auto expectChannels = [this](const std::string& tuner, const char* tuning, const char* channel) {
        script.ExpectConnect(kServices);
        script.Expect(Call("iterator", kServices, " [6/0/, 0/0/, 7/0/, 2/0/, 35/0/, 1/0/, 6/1/" + tuner + "]"));
        script.Expect(Call("count", kServices)).Then([this] { RowReader(kServices).notifyTotalCount(1); });
        script.Expect(Call("rows", kServices, " 1")).Then([this, tuning, channel] {
            RowReader(kServices).notifyReadRowChunk({{"0", "1", channel, tuning}});
        });
        script.Expect("delay 50000");
        script.Expect(Call("disconnect", kServices));
    };
    expectChannels("a", "frequency=60000", "atv");
    expectChannels("t", "frequency=666000", "dtv");
    RunIt();
    EXPECT_EQ(m_output.find("fail"), std::string::npos) << m_output;
    EXPECT_EQ(m_strAtvUuid.Get(), "atv");
    EXPECT_EQ(m_strDtvUuid.Get(), "dtv");
    EXPECT_TRUE(m_strDtvS2Uuid.Empty());
}

}  // namespace
