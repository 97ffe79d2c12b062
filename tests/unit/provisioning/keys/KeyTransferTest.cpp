#include <cstring>

#include "provisioning/keys/KeyTransferFixture.h"

namespace {

using namespace scripted;

class KeyTransfer : public KeyTransferTest {};

TEST_F(KeyTransfer, LengthsOutOfRangeAreRefusedBeforeAnyFileIsTouched) {
    for (const std::uint8_t length : {std::uint8_t{0}, std::uint8_t{65}, std::uint8_t{255}}) {
        UartFrame frame = Received(kHdcp1, "x", 0, 1);
        frame.length = length;
        const std::string output =
            OutputOf([&] { EXPECT_EQ(m_manager->ZelUartCmdProcessRxCmd(frame), 0) << int{length}; });
        EXPECT_TRUE(HasFail(output, "ZelUartCmdProcessRxCmd"));
    }
}

TEST_F(KeyTransfer, AOneChunkFileStartsTheWorkerAtOnce) {
    ExpectReset();
    ExpectChunk(0);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp1, 0, 1, std::string("a\0b", 3)), 1);
    EXPECT_EQ(script.ReadFile(ChunkPath(0)), std::string("a\0b", 3));
    EXPECT_EQ(script.ReadFile(kAssembly), std::string("a\0b", 3));
    EXPECT_EQ(script.PendingThreads(), 1U);
}

TEST_F(KeyTransfer, OnlyTheLastOfSeveralStartsTheWorker) {
    ExpectReset();
    ExpectChunk(0);
    EXPECT_EQ(Chunk(kHdcp1, 0, 3, std::string(64, 'a')), 1);
    ExpectChunk(1);
    EXPECT_EQ(Chunk(kHdcp1, 1, 3, std::string(64, 'b')), 1);
    script.Verify();
    ExpectChunk(2);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp1, 2, 3, "c"), 1);
    EXPECT_EQ(script.ReadFile(kAssembly), std::string(64, 'a') + std::string(64, 'b') + "c");
}

TEST_F(KeyTransfer, TwoHundredAndFiftyFiveChunks) {
    ExpectReset();
    std::string whole;
    for (int index = 0; index < 255; ++index) {
        const std::string data(64, static_cast<char>(index));
        whole += data;
        ExpectChunk(index);
        if (index == 254) {
            script.Expect("start-thread");
        }
        ASSERT_EQ(Chunk(kHdcp1, index, 255, data), 1);
    }
    EXPECT_EQ(whole.size(), 16320U);
    EXPECT_EQ(script.ReadFile(kAssembly), whole);
}

TEST_F(KeyTransfer, ATotalOfZeroNeverCompletes) {
    ExpectReset();
    for (int index = 0; index < 256; ++index) {
        ExpectChunk(index);
        ASSERT_EQ(Chunk(kHdcp1, index, 0), 1);
    }
    EXPECT_EQ(script.PendingThreads(), 0U);
}

TEST_F(KeyTransfer, ARepeatedChunkIsNotAppendedAgain) {
    ExpectReset();
    ExpectChunk(0);
    EXPECT_EQ(Chunk(kHdcp1, 0, 2, "first"), 1);
    EXPECT_EQ(Chunk(kHdcp1, 0, 2, "again"), 1);
    EXPECT_EQ(Chunk(kHdcp1, 0, 1, "again"), 1);  // nor looked at for completeness
    EXPECT_EQ(script.ReadFile(kAssembly), "first");
    ExpectChunk(1);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp1, 1, 2, " second"), 1);  // nor counted
}

TEST_F(KeyTransfer, ChunksStandInTheOrderOfArrival) {
    ExpectReset();
    ExpectChunk(2);
    EXPECT_EQ(Chunk(kHdcp1, 2, 3, "C"), 1);
    ExpectChunk(0);
    EXPECT_EQ(Chunk(kHdcp1, 0, 3, "A"), 1);
    ExpectChunk(1);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp1, 1, 3, "B"), 1);
    EXPECT_EQ(script.ReadFile(kAssembly), "CAB");
}

TEST_F(KeyTransfer, AMissingChunkLeavesTheTransferOpen) {
    ExpectReset();
    ExpectChunk(0);
    Chunk(kHdcp1, 0, 3);
    ExpectChunk(2);
    Chunk(kHdcp1, 2, 3);
    script.Verify();
    ExpectChunk(1);
    script.Expect("start-thread");
    Chunk(kHdcp1, 1, 3);
}

TEST_F(KeyTransfer, AnotherIdStartsFromScratch) {
    ExpectReset();
    ExpectChunk(0);
    Chunk(kHdcp1, 0, 3, "old");
    ExpectReset();
    ExpectChunk(1);
    Chunk(kHdcp2, 1, 2);
    script.Verify();
    ExpectChunk(0);  // neither its flag nor the count is left of the former
    script.Expect("start-thread");
    Chunk(kHdcp2, 0, 2);
    script.Verify();
}

TEST_F(KeyTransfer, WhileTheWorkerRunsChunksOfItsFileAreDroppedWithWhatWaits) {
    ExpectReset();
    ExpectChunk(0);
    script.Expect("start-thread");
    Chunk(kHdcp1, 0, 1);
    m_manager->m_bConnected = 1;
    // Two frames wait; the first of them is taken, the second must be gone after the chunk.
    Bytes burst = WireFrameOf(0, 0x1276, {});
    const Bytes second = WireFrameOf(0, 0x1273, {});
    burst.insert(burst.end(), second.begin(), second.end());
    m_manager->QueueRawBlock(burst);
    std::uint32_t readyCounter = 0;
    m_manager->RunCommandPass(readyCounter);
    script.Expect("delay 10000");
    EXPECT_EQ(Chunk(kHdcp1, 1, 2), 1);
    m_manager->RunCommandPass(readyCounter);  // would answer the connect command
    EXPECT_EQ(script.PendingThreads(), 1U);
}

TEST_F(KeyTransfer, AfterASuccessOnlyTheFirstChunkIsTaken) {
    m_bCurrentKeyFinish = true;
    ExpectReset();
    ExpectChunk(0);
    EXPECT_EQ(Chunk(kHdcp2, 0, 2, "one"), 1);
    EXPECT_EQ(Chunk(kHdcp2, 1, 2, "two"), 1);
    EXPECT_EQ(script.ReadFile(kAssembly), "one");
    script.Verify();
    m_bCurrentKeyFinish = false;
    ExpectChunk(1);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp2, 1, 2, "two"), 1);
}

TEST_F(KeyTransfer, AfterASuccessAOneChunkFileIsInstalled) {
    m_bCurrentKeyFinish = true;
    ExpectReset();
    ExpectChunk(0);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp2, 0, 1), 1);
}

TEST_F(KeyTransfer, AShellThatDoesNotStartIsLoggedAndTheTransferGoesOn) {
    script.Expect("private /tmp/tmpkey");
    script.Expect("popen rm -rf /tmp/tmpkey/").Returns(-1);
    script.Expect("private /tmp/tmpkey");
    script.Expect("popen mkdir -p /tmp/tmpkey/").Returns(-1);
    script.Expect("popen touch /tmp/tmpkey/tmp.bin").Returns(-1);
    script.Expect("sync");
    script.Expect("popen touch " + ChunkPath(0)).Returns(-1);
    script.Expect("popen cat " + ChunkPath(0) + " >> " + kAssembly).Returns(-1);
    script.Expect("start-thread");
    const std::string output = OutputOf([this] { EXPECT_EQ(Chunk(kHdcp1, 0, 1), 1); });
    EXPECT_EQ(Count(output, " ZelUartCmdProcessRxCmd "), 3) << output;
    EXPECT_EQ(Count(output, " fail!!!\n"), 2) << output;
    EXPECT_EQ(Count(output, " fail\n"), 1) << output;
}

TEST_F(KeyTransfer, AChunkFileThatCannotBeOpenedIsCountedAllTheSame) {
    script.FailOpen(ChunkPath(0));
    ExpectReset();
    ExpectChunk(0);
    script.Expect("start-thread");
    const std::string output = OutputOf([this] { EXPECT_EQ(Chunk(kHdcp1, 0, 1), 1); });
    EXPECT_TRUE(HasFail(output, "ZelUartCmdProcessRxCmd")) << output;
}

TEST_F(KeyTransfer, AChunkThatTheFullDiskDoesNotTakeIsLoggedAndCountedAllTheSame) {
    std::filesystem::create_symlink("/dev/full", script.FilePath(ChunkPath(0)));
    ExpectReset();
    script.Expect("popen touch " + ChunkPath(0));
    script.Expect("popen cat " + ChunkPath(0) + " >> " + kAssembly);
    const std::string output = OutputOf([this] { EXPECT_EQ(Chunk(kHdcp1, 0, 2), 1); });
    EXPECT_TRUE(HasFail(output, "ZelUartCmdProcessRxCmd")) << output;
    ExpectChunk(1);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp1, 1, 2, "rest"), 1);
    EXPECT_EQ(script.ReadFile(kAssembly), "rest");
}

TEST_F(KeyTransfer, AThreadThatCannotBeCreatedBlocksAllLaterOnes) {
    ExpectReset();
    ExpectChunk(0);
    script.Expect("start-thread").Returns(11);
    const std::string output = OutputOf([this] { EXPECT_EQ(Chunk(kHdcp1, 0, 1), 1); });
    EXPECT_TRUE(HasLine(output, "[PTHREAD] ./src/UartManager: ",
                        std::string(": pthread_create(&m_threadKeyUpgrade, &attr, ZelKeyUpgradeThread, this): ") +
                            strerror(11) + "\n"))
        << output;
    script.Expect("delay 10000");
    EXPECT_EQ(Chunk(kHdcp1, 1, 2), 1);
    ExpectReset();
    ExpectChunk(0);
    EXPECT_EQ(Chunk(kHdcp2, 0, 1), 1);
}

TEST_F(KeyTransfer, TheErrorThatIsReportedElsewhereIsNotPrinted) {
    script.Expect("start-thread").Returns(110);
    const std::string output =
        OutputOf([this] { EXPECT_EQ(m_manager->StartKeyUpgrade(Received(kHdcp1, "x", 0, 1)), 110); });
    EXPECT_EQ(output, "");
    EXPECT_EQ(m_manager->StartKeyUpgrade(Received(kHdcp1, "x", 0, 1)), 0) << "nor tried again";
}

}  // namespace
