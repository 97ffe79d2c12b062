// What each observer prints, to the blank, and what it leaves behind.
#include <iostream>
#include <memory>

#include "model/ModelGlobals.h"
#include "model/Observers.h"
#include "model/TableObservers.h"
#include "scripted/Script.h"

namespace {

class ObserversTest : public scripted::Test {
  protected:
    template <typename Notify>
    std::string Printed(Notify&& notify) {
        script.CaptureOutput();
        notify();
        return script.Output();
    }
};

TEST_F(ObserversTest, ConnectionStatesAreOfNoInterest) {
    const std::unique_ptr<vumodelapi::Observer> observers[] = {
        std::make_unique<ObserverIntegerImpl>(),
        std::make_unique<ObserverVectorIntegerImpl>(),
        std::make_unique<ObserverStringImpl>(),
        std::make_unique<ObserverActionImpl>(),
        std::make_unique<ChannelObserverTableImpl>(),
        std::make_unique<FavlistObserverTableImpl>(),
        std::make_unique<ChannelObserverTableIteratorImpl>(),
        std::make_unique<FavlistObserverTableIteratorImpl>(),
        std::make_unique<changePreSignalStateObserverImpl>(),
        std::make_unique<btSearchStateObserverImpl>(),
        std::make_unique<FactoryReadyActionObserver>(),
        std::make_unique<SetCIKeyActionObserver>(),
    };
    for (const auto& observer : observers) {
        EXPECT_EQ(Printed([&] { observer->notifyConnectionState(338); }), "");
    }
    EXPECT_FALSE(m_bPresetChannelFinish);
}

TEST_F(ObserversTest, Integer) {
    ObserverIntegerImpl observer;
    EXPECT_EQ(Printed([&] { observer.notifyInteger(-12); }), "ObserverIntegerImpl: new value = -12\n\n");
}

TEST_F(ObserversTest, VectorOfIntegersPrintsItsLength) {
    ObserverVectorIntegerImpl observer;
    EXPECT_EQ(Printed([&] {
                  observer.notifyIntegerVector({100, 200});
              }),
              "ObserverVectorIntegerImpl: new value = 2\n\n");
    EXPECT_EQ(Printed([&] { observer.notifyIntegerVector({}); }), "ObserverVectorIntegerImpl: new value = 0\n\n");
}

TEST_F(ObserversTest, Text) {
    ObserverStringImpl observer;
    EXPECT_EQ(Printed([&] { observer.notifyString("a %s b"); }), "ObserverStringImpl: new value = a %s b\n\n");
    EXPECT_EQ(Printed([&] { observer.notifyString(""); }), "ObserverStringImpl: new value = \n\n");
    EXPECT_TRUE(std::cout.good());
}

TEST_F(ObserversTest, ANullTextPutsTheStreamInItsFailedState) {
    ObserverStringImpl text;
    ObserverIntegerImpl integer;
    EXPECT_EQ(Printed([&] {
                  text.notifyString(nullptr);
                  integer.notifyInteger(1);
                  std::printf("printf goes on\n");
              }),
              "ObserverStringImpl: new value = printf goes on\n");
    EXPECT_TRUE(std::cout.bad());
}

TEST_F(ObserversTest, ActionsAreOnlyTraced) {
    ObserverActionImpl observer;
    EXPECT_EQ(Printed([&] {
                  observer.notifyExecutionResult({{0, 0, 0, "1"}});
              }),
              "ObserverActionImpl: new value \n\n");
    EXPECT_EQ(Printed([&] { observer.notifyExecutionError(5); }), "ObserverActionImpl: new value \n\n");
    EXPECT_EQ(factory_ready_val, 0);
}

TEST_F(ObserversTest, OnlyMessage338EndsAPresetLoad) {
    changePreSignalStateObserverImpl observer;
    EXPECT_EQ(Printed([&] { observer.notifyInteger(337); }),
              "changePreSignalStateObserverImpl: new value = 337\n\n");
    EXPECT_FALSE(m_bPresetChannelFinish);
    Printed([&] { observer.notifyInteger(339); });
    EXPECT_FALSE(m_bPresetChannelFinish);
    EXPECT_EQ(Printed([&] { observer.notifyInteger(338); }),
              "changePreSignalStateObserverImpl: new value = 338\n\n");
    EXPECT_TRUE(m_bPresetChannelFinish);
    Printed([&] { observer.notifyInteger(0); });
    EXPECT_TRUE(m_bPresetChannelFinish);
}

TEST_F(ObserversTest, VectorOfTexts) {
    btSearchStateObserverImpl observer;
    EXPECT_EQ(Printed([&] {
                  observer.notifyStringVector({"a", "b", "c"});
              }),
              "notifyStringVector \n\n========notifyStringVector======i:3\n");
}

TEST_F(ObserversTest, TheFactoryIsReadyOnExactlyOne) {
    FactoryReadyActionObserver observer;
    for (const char* text : {"1 ", "01", "", "10", "0"}) {
        factory_ready_val = 1;
        EXPECT_EQ(Printed([&] { observer.notifyExecutionResult({{0, 0, 0, text}}); }), "");
        EXPECT_EQ(factory_ready_val, 0) << text;
    }
    Printed([&] { observer.notifyExecutionResult({{0, 0, 0, "1"}, {0, 1, 0, "0"}}); });
    EXPECT_EQ(factory_ready_val, 1);
    Printed([&] { observer.notifyExecutionResult({{0, 0, 0, "0"}, {0, 1, 0, "1"}}); });
    EXPECT_EQ(factory_ready_val, 0) << "the first result alone counts";
}

TEST_F(ObserversTest, NoResultIsNoConfirmation) {
    FactoryReadyActionObserver observer;
    factory_ready_val = 1;
    observer.notifyExecutionResult({});
    EXPECT_EQ(factory_ready_val, 0);
}

TEST_F(ObserversTest, AnErrorLeavesTheFactoryReadyFlag) {
    FactoryReadyActionObserver observer;
    factory_ready_val = 1;
    EXPECT_EQ(Printed([&] { observer.notifyExecutionError(1); }), "========notifyExecutionError=======\n");
    EXPECT_EQ(factory_ready_val, 1);
}

TEST_F(ObserversTest, CiKey) {
    SetCIKeyActionObserver observer;
    EXPECT_EQ(Printed([&] {
                  observer.notifyExecutionResult({{0, 0, 0, "Success"}});
              }),
              "results[0].values:Success \n");
    EXPECT_EQ(Printed([&] { observer.notifyExecutionResult({{0, 0, 0, "%d"}}); }), "results[0].values:%d \n");
    EXPECT_EQ(Printed([&] { observer.notifyExecutionResult({}); }), "results[0].values: \n");
    EXPECT_EQ(Printed([&] { observer.notifyExecutionError(9); }), " notifyExecutionError 602\n");
    EXPECT_EQ(factory_ready_val, 0);
}

TEST_F(ObserversTest, TablesShareOneText) {
    ChannelObserverTableImpl channels;
    FavlistObserverTableImpl favourites;
    EXPECT_EQ(Printed([&] { channels.notifyUpdate(6); }),
              "ChannelObserverTableImpl: new value \n notifyUpdate 172 update:6\n");
    EXPECT_EQ(Printed([&] { favourites.notifyUpdate(-6); }),
              "ChannelObserverTableImpl: new value \n notifyUpdate 360 update:-6\n");
}

TEST_F(ObserversTest, ServiceListIterator) {
    ChannelObserverTableIteratorImpl observer;
    EXPECT_EQ(Printed([&] {
                  observer.notifyCommit(1);
                  observer.notifySeekToRow(2);
                  observer.notifySeekToContent(3);
                  observer.notifyCursorPosition(4);
                  observer.notifyReadRow();
                  observer.notifyIteratorReady();
                  observer.notifyUpdate(5);
              }),
              " notifyCommit 191 result:1\n"
              " notifySeekToRow 211 res:2\n"
              " notifySeekToContent 221 res:3\n"
              " notifyCursorPosition 231 res:4\n"
              " notifyReadRow 244 \n"
              " notifyIteratorReady 314 \n"
              " notifyUpdate 324 update:5\n");
    EXPECT_EQ(m_i32ChannelCount, 0);
    EXPECT_EQ(Printed([&] { observer.notifyTotalCount(42); }), " notifyTotalCount 201 m_i32ChannelCount:42\n");
    EXPECT_EQ(m_i32ChannelCount, 42);
}

TEST_F(ObserversTest, FavouriteListIterator) {
    FavlistObserverTableIteratorImpl observer;
    EXPECT_EQ(Printed([&] {
                  observer.notifyCommit(1);
                  observer.notifySeekToRow(2);
                  observer.notifySeekToContent(3);
                  observer.notifyCursorPosition(4);
                  observer.notifyReadRow();
                  observer.notifyIteratorReady();
                  observer.notifyUpdate(5);
              }),
              " notifyCommit 379 result:1\n"
              " notifySeekToRow 399 res:2\n"
              " notifySeekToContent 409 res:3\n"
              " notifyCursorPosition 419 res:4\n"
              "=========notifyReadRow=========\n notifyReadRow 432 \n"
              " notifyIteratorReady 516 \n"
              " notifyUpdate 526 update:5\n");
    EXPECT_EQ(m_i32ChannelCount, 0);
    EXPECT_EQ(Printed([&] { observer.notifyTotalCount(7); }), " notifyTotalCount 389 m_i32ChannelCount:7\n");
    EXPECT_EQ(m_i32ChannelCount, 7);
}

TEST_F(ObserversTest, ServiceRowsAreNotKept) {
    ChannelObserverTableIteratorImpl observer;
    m_strAtvNum.Set("1");
    m_strAtvUuid.Set("atv");
    m_strDtvNum.Set("2");
    m_strDtvUuid.Set("dtv");
    const char kSummary[] =
        "notifyReadRowChunk \n m_strAtvNum:1 m_strAtvUuid:atv \n m_strDtvNum:2 m_strDtvUuid:dtv\n";
    m_bGeTunerUuidFinish = true;
    EXPECT_EQ(Printed([&] { observer.notifyReadRowChunk({}); }), kSummary);
    EXPECT_EQ(Printed([&] { observer.notifyReadRowChunk({{"a", "b", "c", "frequency=60000"}}); }), kSummary);
    EXPECT_EQ(m_strAtvUuid.Get(), "atv");
}

class RowReaderTest : public ObserversTest {
  protected:
    std::string Rows(const vumodelapi::TableRowChunk& rows) {
        return Printed([&] { m_reader.notifyReadRowChunk(rows); });
    }
    FavlistObserverTableIteratorImpl m_reader;
};

TEST_F(RowReaderTest, AnEmptyChunkChangesNothing) {
    dst_ATV_tuner_uuid.Set("old");
    EXPECT_EQ(Rows({}), "\n=========notifyReadRowChunk-rows.size():0=========\n");
    EXPECT_EQ(dst_ATV_tuner_uuid.Get(), "old");
}

TEST_F(RowReaderTest, TunersByName) {
    EXPECT_EQ(Rows({{"u1", "Analog"}, {"u2", "Antenna", "x"}, {"u3", "Astra 19.2E"}, {"u4", "Cable"}}),
              "\n=========notifyReadRowChunk-rows.size():4=========\n"
              "dst_ATV_tuner_uuid:u1\ndst_DTV_tuner_uuid:u2\ndst_DTVS2_tuner_uuid:u3\n");
    EXPECT_EQ(dst_ATV_tuner_uuid.Get(), "u1");
    EXPECT_EQ(dst_DTV_tuner_uuid.Get(), "u2");
    EXPECT_EQ(dst_DTVS2_tuner_uuid.Get(), "u3");
    EXPECT_TRUE(m_strAtvUuid.Empty());
}

TEST_F(RowReaderTest, TunerNamesAreExactButForTheSatellite) {
    EXPECT_EQ(Rows({{"u1", "Analogue"}, {"u2", "antenna"}, {"u3", "An Astra"}, {"u4", "Astr"}, {"u5"}, {}}),
              "\n=========notifyReadRowChunk-rows.size():6=========\n");
    EXPECT_TRUE(dst_ATV_tuner_uuid.Empty());
    EXPECT_TRUE(dst_DTV_tuner_uuid.Empty());
    EXPECT_TRUE(dst_DTVS2_tuner_uuid.Empty());
    Rows({{"u6", "Astra"}});
    EXPECT_EQ(dst_DTVS2_tuner_uuid.Get(), "u6");
}

TEST_F(RowReaderTest, TheLastTunerWins) {
    Rows({{"u1", "Analog"}, {"u2", "Analog"}});
    EXPECT_EQ(dst_ATV_tuner_uuid.Get(), "u2");
}

TEST_F(RowReaderTest, ChannelsByTuningData) {
    m_bGeTunerUuidFinish = true;
    EXPECT_EQ(Rows({{"0", "1", "c1", "a;frequency=60000;b"},
                    {"0", "1", "c2", "frequency=666000"},
                    {"0", "1", "c3", "symbolrate=27500"},
                    {"u1", "Analog", "c4", "frequency=1"}}),
              "\n=========notifyReadRowChunk-rows.size():4=========\n"
              "m_strAtvUuid:c1\nm_strDtvUuid:c2\nm_strDtvS2Uuid:c3\n");
    EXPECT_EQ(m_strAtvUuid.Get(), "c1");
    EXPECT_EQ(m_strDtvUuid.Get(), "c2");
    EXPECT_EQ(m_strDtvS2Uuid.Get(), "c3");
    EXPECT_TRUE(dst_ATV_tuner_uuid.Empty());
}

TEST_F(RowReaderTest, OneRowMayBeSeveralReferenceChannels) {
    m_bGeTunerUuidFinish = true;
    EXPECT_EQ(Rows({{"0", "1", "c", "symbolrate=27500 frequency=666000 frequency=60000"}}),
              "\n=========notifyReadRowChunk-rows.size():1=========\n"
              "m_strAtvUuid:c\nm_strDtvUuid:c\nm_strDtvS2Uuid:c\n");
}

TEST_F(RowReaderTest, ALongerNumberMatchesAndTheLastRowWins) {
    m_bGeTunerUuidFinish = true;
    Rows({{"0", "1", "c1", "frequency=60000"}, {"0", "1", "c2", "frequency=600005"}});
    EXPECT_EQ(m_strAtvUuid.Get(), "c2");
}

TEST_F(RowReaderTest, ARowThatIsTooShortMatchesNothing) {
    m_bGeTunerUuidFinish = true;
    EXPECT_EQ(Rows({{"frequency=60000", "frequency=60000", "frequency=60000"}}),
              "\n=========notifyReadRowChunk-rows.size():1=========\n");
    EXPECT_TRUE(m_strAtvUuid.Empty());
}

}  // namespace
