// Start, stop and the two threads of the serial link.
#include "UartManager/LinkFixture.h"

using scripted::Bytes;
using scripted::Hex;
using scripted::ToBytes;
using scripted::WireFrameOf;

namespace {

constexpr char kOpen[] = "serial.open /dev/ttyS0";

class SerialLink : public scripted::LinkTest {
  protected:
    void SetUp() override {
        LinkTest::SetUp();
        UartManager::input_fd = -1;
    }
    // The reader's loop with scripted reads; the last of them stops the link.
    std::string RunReader() {
        UartManager::_bExitUartDebug = 0;
        script.CaptureOutput();
        m_manager->ZelUartReadLoop();
        return script.Output();
    }
    scripted::Step& ExpectRead(const Bytes& bytes) {
        return script.Expect("serial.read").Text(std::string(bytes.begin(), bytes.end()));
    }
    scripted::Step& ExpectSilence() { return script.Expect("serial.read").Returns(0); }
    static void StopLink() { UartManager::_bExitUartDebug = 1; }
    void Pass() { m_manager->RunCommandPass(m_readyCounter); }

    std::uint32_t m_readyCounter = 0;
};

TEST_F(SerialLink, StartsTheReaderAndThenTheCommandThread) {
    script.Expect("start-thread").Times(2);
    EXPECT_EQ(m_manager->Start(), 1);
    EXPECT_EQ(UartManager::_bExitUartDebug, 0);
    StopLink();
    script.Expect(kOpen).Returns(-1);
    script.RunThread();
    EXPECT_EQ(script.ThreadName(), "UartManager Task");
    script.RunThread();
    EXPECT_EQ(script.ThreadName(), "UartCommand Task");
}

TEST_F(SerialLink, StartedTwiceCreatesNothing) {
    script.Expect("start-thread").Times(2);
    EXPECT_EQ(m_manager->Start(), 1);
    EXPECT_EQ(m_manager->Start(), 1);
}

TEST_F(SerialLink, AReaderThatCannotStartIsReported) {
    script.Expect("start-thread").Returns(11);
    script.CaptureOutput();
    EXPECT_EQ(m_manager->Start(), 0);
    const std::string output = script.Output();
    EXPECT_EQ(output.rfind("[PTHREAD] ./src/UartManager: ", 0), 0U) << output;
    EXPECT_NE(output.find(": pthread_create(&m_threadUartDebugMode, &attr, ZelInitThread, this): "
                          "Resource temporarily unavailable\n"),
              std::string::npos)
        << output;
    EXPECT_EQ(UartManager::_bExitUartDebug, 1);
}

TEST_F(SerialLink, Error110IsNeverReported) {
    script.Expect("start-thread").Returns(110);
    script.CaptureOutput();
    EXPECT_EQ(m_manager->Start(), 0);
    EXPECT_EQ(script.Output(), "");
    EXPECT_EQ(UartManager::_bExitUartDebug, 1);
}

TEST_F(SerialLink, ACommandThreadThatCannotStartIsSilentAndLeavesNothingRunning) {
    script.Expect("start-thread");
    script.Expect("start-thread").Returns(11);
    script.Expect("join");  // the reader, which leaves by itself
    script.CaptureOutput();
    EXPECT_EQ(m_manager->Start(), 0);
    EXPECT_EQ(script.Output(), "");
    EXPECT_EQ(UartManager::_bExitUartDebug, 1);
}

TEST_F(SerialLink, StopWhenNotStartedDoesNothing) {
    script.CaptureOutput();
    m_manager->Stop();
    EXPECT_EQ(script.Output(), "");
}

TEST_F(SerialLink, StopJoinsBothThreads) {
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    script.Expect("join").Times(2);
    script.CaptureOutput();
    m_manager->Stop();
    EXPECT_EQ(script.Output(), "Exit m_threadUartDebugStart Success.Exit m_ZelUartCommandThreadId Success.");
    EXPECT_EQ(UartManager::_bExitUartDebug, 1);
}

TEST_F(SerialLink, StopReportsWhatCannotBeJoined) {
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    script.Expect("join").Returns(110);
    script.Expect("join").Returns(35);
    script.CaptureOutput();
    m_manager->Stop();
    const std::string output = script.Output();
    EXPECT_EQ(output.rfind("m_threadUartDebugStart join failed[PTHREAD] ./src/UartManager: ", 0), 0U) << output;
    EXPECT_NE(output.find(": pthread_join(m_ZelUartCommandThreadId, &thread_result): Resource deadlock avoided\n"
                          "m_ZelUartCommandThreadId join failed"),
              std::string::npos)
        << output;
}

TEST_F(SerialLink, StartsAgainAfterStop) {
    script.Expect("start-thread").Times(2);
    script.Expect("join").Times(2);
    script.Expect("start-thread").Times(2);
    EXPECT_EQ(m_manager->Start(), 1);
    m_manager->Stop();
    EXPECT_EQ(m_manager->Start(), 1);
    EXPECT_EQ(UartManager::_bExitUartDebug, 0);
}

// The one that stopped the link cannot join itself: the next start does, before it has a successor.
TEST_F(SerialLink, AThreadThatCouldNotBeJoinedIsBeforeTheNextStart) {
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    script.Expect("join");
    script.Expect("join").Returns(35);
    script.CaptureOutput();
    m_manager->Stop();
    script.Output();
    script.Expect("join").Then([] { EXPECT_EQ(UartManager::_bExitUartDebug, 1); });
    script.Expect("start-thread").Times(2);
    EXPECT_EQ(m_manager->Start(), 1);
}

TEST_F(SerialLink, DestructionJoinsNothingThatWasNeverStarted) {
    script.CaptureOutput();
    m_manager.reset();
    EXPECT_EQ(script.Output(), "");
}

TEST_F(SerialLink, DestructionJoinsNothingThatWasJoined) {
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    script.Expect("join").Times(2);
    script.CaptureOutput();
    m_manager->Stop();
    script.Output();
    script.CaptureOutput();
    m_manager.reset();
    EXPECT_EQ(script.Output(), "");
}

TEST_F(SerialLink, DestructionJoinsNothingOfAStartThatFailed) {
    script.Expect("start-thread");
    script.Expect("start-thread").Returns(11);
    script.Expect("join");
    m_manager->Start();
    script.CaptureOutput();
    m_manager.reset();
    EXPECT_EQ(script.Output(), "");
}

TEST_F(SerialLink, DestructionJoinsWithTextsOfItsOwn) {
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    script.Expect("join").Returns(3);
    script.Expect("join");
    script.CaptureOutput();
    m_manager.reset();
    const std::string output = script.Output();
    EXPECT_EQ(output.rfind("[PTHREAD] ./src/UartManager: ", 0), 0U) << output;
    EXPECT_NE(output.find(": pthread_join(m_threadUartDebugMode, &thread_result): No such process\n"
                          "threadSignalMonitor join failedExit m_ZelUartCommandThreadId Success."),
              std::string::npos)
        << output;
}

TEST_F(SerialLink, GetInstanceMakesOneObject) {
    UartManager* const first = UartManager::GetInstance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(UartManager::GetInstance(), first);
    EXPECT_EQ(UartManager::m_UartInstance, first);
    script.Allow("join");
    script.CaptureOutput();
    delete first;
    script.Output();
}

TEST_F(SerialLink, AMissingPortIsReportedAndTheReaderEnds) {
    script.Expect(kOpen).Returns(-1);
    EXPECT_EQ(RunReader(), "error open /dev/ttyS0\n");
    EXPECT_EQ(UartManager::input_fd, -1);
}

TEST_F(SerialLink, ReadsBurstsUntilStopped) {
    script.Expect(kOpen).Returns(5);
    script.Expect("serial.configure 5");
    ExpectRead({1, 2, 3}).Then([] { EXPECT_EQ(UartManager::input_fd, 5); });
    ExpectRead({4});
    ExpectSilence();
    ExpectSilence().Then(StopLink);
    script.Expect("serial.close 5");
    EXPECT_EQ(RunReader(), "cus uart debug test loop start\nCus Uart1 Debug Exit!\n");
    EXPECT_EQ(UartManager::input_fd, -1);
}

TEST_F(SerialLink, ABurstReachesTheDecoderWithTheFirstPass) {
    const Bytes connect = WireFrameOf(0, 0x1273, {});
    script.Expect(kOpen).Returns(5);
    script.Expect("serial.configure 5");
    ExpectRead(Bytes(connect.begin(), connect.begin() + 4));
    ExpectRead(Bytes(connect.begin() + 4, connect.end()));
    ExpectSilence().Then(StopLink);
    script.Expect("serial.close 5");
    RunReader();
    UartManager::input_fd = 3;
    ExpectStatus(0x1273, 0);
    Pass();
    EXPECT_EQ(m_manager->m_bConnected, 1);
}

TEST_F(SerialLink, AReadErrorEndsABurstLikeSilence) {
    script.Expect(kOpen).Returns(5);
    script.Expect("serial.configure 5");
    ExpectRead(WireFrameOf(0, 0x1273, {}));
    script.Expect("serial.read").Returns(-1).Then(StopLink);
    script.Expect("serial.close 5");
    RunReader();
    UartManager::input_fd = 3;
    ExpectStatus(0x1273, 0);
    Pass();
}

TEST_F(SerialLink, ADeadLineCostsNoMoreThanASilentOne) {
    script.Expect(kOpen).Returns(5);
    script.Expect("serial.configure 5");
    for (int i = 0; i < 3; ++i) {
        script.Expect("serial.read").Returns(-1);
        script.Expect("delay 500000");
    }
    ExpectSilence().Then(StopLink);
    script.Expect("serial.close 5");
    RunReader();
}

TEST_F(SerialLink, TheReaderLeavesALineThatNeverFallsSilent) {
    script.Expect(kOpen).Returns(5);
    script.Expect("serial.configure 5");
    ExpectRead({0x00});
    ExpectRead(WireFrameOf(0, 0x1273, {})).Then(StopLink);
    script.Expect("serial.close 5");  // and no read before it
    RunReader();
    UartManager::input_fd = 3;
    ExpectStatus(0x1273, 0);  // what had come is not lost
    Pass();
}

TEST_F(SerialLink, ExactlyABlockOfBytesIsOneBurstAndTheNextByteStartsAnother) {
    constexpr std::size_t kBlock = 307200;
    script.Expect(kOpen).Returns(5);
    script.Expect("serial.configure 5");
    const Bytes connect = WireFrameOf(0, 0x1273, {});
    // The connect frame stands at the very end of the first block, beyond what 16 bits count.
    Bytes block(kBlock, 0x00);
    std::copy(connect.begin(), connect.end(), block.end() - static_cast<std::ptrdiff_t>(connect.size()));
    ExpectRead(Bytes(block.begin(), block.begin() + 1000));
    ExpectRead(Bytes(block.begin() + 1000, block.end()));
    const Bytes second = WireFrameOf(0, 0x1290, {});
    ExpectRead(second);
    ExpectSilence().Then(StopLink);
    script.Expect("serial.close 5");
    RunReader();
    UartManager::input_fd = 3;
    ExpectStatus(0x1273, 0);
    Pass();
    script.Verify();
    m_manager->ClearPendingFrames();  // would take the second frame if it were of the same burst
    ExpectStatus(0x1290, 0);
    Pass();
}

TEST_F(SerialLink, OnePassTakesOneBurstAndOneFrame) {
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    Bytes two = WireFrameOf(0, 0x1289, {});
    const Bytes other = WireFrameOf(0, 0x128B, {});
    two.insert(two.end(), other.begin(), other.end());
    m_manager->QueueRawBlock(two);
    m_manager->QueueRawBlock(WireFrameOf(0, 0x128C, {}));
    for (const std::uint16_t id : Ids{0x1289, 0x128B, 0x128C}) {
        ExpectStatus(id, 0);
        Pass();
        script.Verify();
    }
    Pass();
}

TEST_F(SerialLink, ABurstWaitsForAPassOfItsOwn) {
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    m_manager->QueueRawBlock(WireFrameOf(0, 0x1289, {}));
    m_manager->QueueRawBlock(WireFrameOf(0, 0x128B, {}));
    ExpectStatus(0x1289, 0);
    Pass();
    m_manager->ClearPendingFrames();  // would take the frame of the second burst if it had been looked at
    ExpectStatus(0x128B, 0);
    Pass();
}

TEST_F(SerialLink, AHalfFrameAndWaitingBurstsSurviveStopAndStart) {
    const Bytes connect = WireFrameOf(0, 0x1273, {});
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    UartManager::input_fd = 3;
    m_manager->QueueRawBlock(Bytes(connect.begin(), connect.begin() + 5));
    Pass();
    m_manager->QueueRawBlock(Bytes(connect.begin() + 5, connect.end()));
    m_manager->QueueRawBlock(WireFrameOf(0, 0x1289, {}));
    script.Expect("join").Times(2);
    m_manager->Stop();
    script.Expect("start-thread").Times(2);
    m_manager->Start();
    ExpectStatus(0x1273, 0);
    Pass();
    ExpectStatus(0x1289, 0);
    Pass();
}

TEST_F(SerialLink, AFloodOfFramesIsCutOffWithOneLogLine) {
    constexpr int kKept = 1024;
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    Bytes flood;
    const Bytes frame = WireFrameOf(0, 0x1289, {});
    for (int i = 0; i < 2 * kKept; ++i) {
        flood.insert(flood.end(), frame.begin(), frame.end());
    }
    script.CaptureOutput();
    for (int burst = 0; burst < 3; ++burst) {
        m_manager->QueueRawBlock(flood);
    }
    m_manager->QueueRawBlock(WireFrameOf(0, 0x128B, {}));
    // The first burst fills the queue, each later one half of it, and what is asked behind them is answered.
    for (int i = 0; i < kKept + kKept / 2 + kKept / 2; ++i) {
        ExpectStatus(0x1289, 0);
        Pass();
    }
    ExpectStatus(0x128B, 0);
    Pass();
    EXPECT_EQ(script.Output(), "line flooded: 1024 frames wait, dropping the rest\n");
    Pass();
    // A new flood is a new line.
    script.CaptureOutput();
    m_manager->QueueRawBlock(flood);
    ExpectStatus(0x1289, 0);
    Pass();
    EXPECT_EQ(script.Output(), "line flooded: 1024 frames wait, dropping the rest\n");
}

TEST_F(SerialLink, AFileInItsChunksWithItsQueriesIsNoFlood) {
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    Bytes burst;
    constexpr int kFrames = 2 * 262;  // twice a file of 255 chunks, with what goes before and behind it
    for (int i = 0; i < kFrames; ++i) {
        const Bytes frame = WireFrameOf(0, 0x1289, Bytes(64, 'c'));
        burst.insert(burst.end(), frame.begin(), frame.end());
    }
    m_manager->QueueRawBlock(burst);
    for (int i = 0; i < kFrames; ++i) {
        ExpectStatus(0x1289, 0);
        Pass();
    }
}

TEST_F(SerialLink, AFloodOfBurstsIsCutOffWithOneLogLine) {
    constexpr std::size_t kBlock = 307200;
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    script.CaptureOutput();
    for (int burst = 0; burst < 4; ++burst) {
        m_manager->QueueRawBlock(Bytes(kBlock, 0x00));
    }
    EXPECT_EQ(script.Output(), "");
    script.CaptureOutput();
    const Bytes dropped = WireFrameOf(0, 0x1289, {});
    for (int burst = 0; burst < 3; ++burst) {
        m_manager->QueueRawBlock(dropped);
    }
    EXPECT_EQ(script.Output(), "line flooded: bursts wait, dropping the rest\n");
    Pass();
    m_manager->QueueRawBlock(WireFrameOf(0, 0x128B, {}));  // there is room again
    for (int pass = 0; pass < 3; ++pass) {
        Pass();
    }
    ExpectStatus(0x128B, 0);
    Pass();
    Pass();
}

// Each costs more than its bytes.
TEST_F(SerialLink, AFloodOfTinyBurstsIsCutOffToo) {
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    script.CaptureOutput();
    for (int burst = 0; burst < 300; ++burst) {
        m_manager->QueueRawBlock(WireFrameOf(0, 0x1289, {}));
    }
    EXPECT_EQ(script.Output(), "line flooded: bursts wait, dropping the rest\n");
    for (int burst = 0; burst < 256; ++burst) {
        ExpectStatus(0x1289, 0);
        Pass();
    }
    Pass();
}

TEST_F(SerialLink, AFrameMayBeSplitOverBursts) {
    UartManager::input_fd = 3;
    const Bytes connect = WireFrameOf(0, 0x1273, {});
    for (const std::uint8_t byte : connect) {
        EXPECT_EQ(m_manager->m_bConnected, 0);
        m_manager->QueueRawBlock({byte});
        if (byte == 0xFE) {
            ExpectStatus(0x1273, 0);
        }
        Pass();
    }
    EXPECT_EQ(m_manager->m_bConnected, 1);
}

TEST_F(SerialLink, PendingFramesCanBeDropped) {
    Bytes two = WireFrameOf(0, 0x1273, {});
    const Bytes connect = two;
    two.insert(two.end(), connect.begin(), connect.end());
    UartManager::input_fd = 3;
    ExpectStatus(0x1273, 0);
    m_manager->QueueRawBlock(two);
    Pass();
    m_manager->ClearPendingFrames();
    Pass();
}

TEST_F(SerialLink, TheReadyFrameGoesOutEvery200PassesUntilConnected) {
    UartManager::input_fd = 3;
    for (int frame = 0; frame < 2; ++frame) {
        for (int pass = 0; pass < 199; ++pass) {
            Pass();
        }
        script.Expect("serial.write 79 00 12 72 01 02 00 01 78 FE");
        Pass();
        script.Verify();
    }
    m_manager->m_bConnected = 1;
    for (int pass = 0; pass < 500; ++pass) {
        Pass();
    }
}

TEST_F(SerialLink, ThePassCounterStandsStillWhileConnected) {
    UartManager::input_fd = 3;
    m_manager->m_bConnected = 1;
    Pass();
    EXPECT_EQ(m_readyCounter, 0U);
    m_readyCounter = 7;
    Pass();
    EXPECT_EQ(m_readyCounter, 7U);
}

TEST_F(SerialLink, TheCommandThreadPausesAfterEachPassAndLeavesWhenStopped) {
    UartManager::_bExitUartDebug = 0;
    script.Expect("delay 10000").Times(2);
    script.Expect("delay 10000").Then(StopLink);
    UartManager::ZelUartCommandThread(m_manager.get());
    EXPECT_EQ(script.ThreadName(), "UartCommand Task");
}

TEST_F(SerialLink, TheCommandThreadLeavesAtOnceWhenTheLinkHasStopped) {
    UartManager::_bExitUartDebug = 1;
    UartManager::ZelUartCommandThread(m_manager.get());
}

TEST_F(SerialLink, RunModesAreToldApart) {
    EXPECT_FALSE(m_manager->IsFactoryMode() || m_manager->IsAgingMode() || m_manager->IsUsbUpdateMode());
    m_manager->SetRunMode(1);
    EXPECT_TRUE(m_manager->IsFactoryMode());
    m_manager->SetRunMode(2);
    EXPECT_TRUE(m_manager->IsAgingMode());
    EXPECT_FALSE(m_manager->IsFactoryMode());
    m_manager->SetRunMode(3);
    EXPECT_TRUE(m_manager->IsUsbUpdateMode());
}

TEST_F(SerialLink, StatusChangedIsKept) {
    EXPECT_EQ(m_manager->GetStatusChanged(), 0);
    m_manager->SetStatusChanged(1);
    EXPECT_EQ(m_manager->GetStatusChanged(), 1);
}

TEST_F(SerialLink, LogPrintCutsAt255Characters) {
    script.CaptureOutput();
    EXPECT_EQ(UartManager::LogPrint("%s", std::string(300, 'x').c_str()), 255);
    EXPECT_EQ(script.Output(), std::string(255, 'x'));
}

}  // namespace
