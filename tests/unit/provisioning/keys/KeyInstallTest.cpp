#include "provisioning/keys/KeyTransferFixture.h"
#include "text/Crc32.h"

namespace {

using namespace scripted;

struct KeyCase {
    std::uint16_t id;
    const char* word;
    const char* folder;
    const char* staged;
    const char* listed;
    int key;
    const char* removal;
    zel::KeyFile slot;
    const char* ciWord;  // null: no CI+ key
};

void PrintTo(const KeyCase& key, std::ostream* out) {
    *out << key.word;
}

class KeyWorker : public KeyTransferTest {
  protected:
    static constexpr char kContent[] = "key bytes";
    static std::uint32_t ContentCrc() {
        return zel::Crc32(reinterpret_cast<const std::uint8_t*>(kContent), 0, sizeof kContent - 1);
    }

    // A file of kind `id` is received, and the worker started for it.
    void Start(std::uint16_t id) {
        script.RemoveFile(kAssembly);
        ExpectReset();
        ExpectChunk(0);
        script.Expect("start-thread");
        Chunk(id, 0, 1, kContent);
        script.Verify();
    }
    void ExpectAssembly() {
        script.Expect("popen rm /tmp/tmpkey/tmp_*.bin");
        script.Expect("sync");
    }
    void ExpectStaging(const std::string& folder, const std::string& staged) {
        ExpectAssembly();
        script.Expect("popen rm -rf " + folder);
        script.Expect("popen mkdir -p " + folder);
        script.Expect("popen mv /tmp/tmpkey/tmp.bin " + staged);
        script.Expect("sync");
    }
    void ExpectAction(const std::string& key, const std::string& arguments, int status) {
        script.ExpectConnect(key);
        script.Expect("invoke " + key + " [" + arguments + "]").Returns(status);
        if (status == 0) {
            script.Expect("delay 10000");
            script.Expect("disconnect " + key);
        }
    }
    void ExpectInstallation(const KeyCase& key, int write, int check) {
        ExpectStaging(key.folder, key.staged);
        const std::string list = "keys.write " + std::to_string(key.key) + " [" + key.listed + "]";
        if (key.ciWord == nullptr) {
            script.Expect(list).Returns(write);
            script.Expect("keys.check " + std::to_string(key.key)).Returns(check);
        } else {
            ExpectAction("tovix.sl2.common.intf.action.encrypt.key",
                         std::string("0:") + key.ciWord + ", 1:" + key.listed, 0);
            script.Expect(list).Returns(write);
            ExpectAction("tovix.sl2.common.intf.action.check.ciplus.key", std::string("0:") + key.ciWord, check);
        }
        script.Expect(std::string("popen ") + key.removal);
        script.Expect("rmdir /tmp/tmpkey");
        script.Expect("sync");
    }
    std::string Run() {
        return OutputOf([this] { script.RunThread(); });
    }
    // What the line gets when it asks for the checksum of the last file of that kind.
    void ExpectChecksum(zel::KeyFile file, std::uint32_t crc) {
        const zel::KeyFileInfo& info = zel::InfoOf(file);
        ExpectResult(info.checksum, BigEndian(crc));
        m_manager->SendCommand(info.checksum, 0, " ");
    }
    static std::string BigEndian(std::uint32_t crc) {
        std::string bytes;
        for (const int shift : {24, 16, 8, 0}) {
            bytes += static_cast<char>(crc >> shift);
        }
        return bytes;
    }
};

class KeyInstallation : public KeyWorker, public ::testing::WithParamInterface<KeyCase> {};

TEST_P(KeyInstallation, Succeeds) {
    const KeyCase& key = GetParam();
    Start(key.id);
    ExpectInstallation(key, 0, 0);
    ExpectStatus(key.id, 0);
    const std::string output = Run();
    char line[64];
    std::snprintf(line, sizeof line, " u16CmdId:0x%x u32Crc:0x%x\n", unsigned{key.id}, ContentCrc());
    EXPECT_EQ(output, line);
    EXPECT_EQ(script.ThreadName(), "KeyUpgrade Task");
    for (const zel::KeyFileInfo& info : zel::kKeyFiles) {
        ExpectChecksum(info.file, info.file == key.slot ? ContentCrc() : 0);
    }
    EXPECT_TRUE(m_bCurrentKeyFinish);
    m_bCurrentKeyFinish = false;  // as the query of the checksum does
    ExpectIdle(key.id);
}

TEST_P(KeyInstallation, AFailedWriteAloneIsOnlyLogged) {
    const KeyCase& key = GetParam();
    Start(key.id);
    ExpectInstallation(key, -5, 0);
    ExpectStatus(key.id, 0);
    const std::string output = Run();
    if (key.ciWord == nullptr) {
        EXPECT_NE(output.find(std::string("=========writeKeys ") + key.word + " ret:-5=========\n"),
                  std::string::npos)
            << output;
    } else {
        EXPECT_TRUE(HasFail(output, "ZelKeyUpgradeThread")) << output;
    }
}

TEST_P(KeyInstallation, TheCheckDecides) {
    const KeyCase& key = GetParam();
    Start(key.id);
    ExpectInstallation(key, 0, 6);
    ExpectStatus(key.id, 1);
    const std::string output = Run();
    if (key.ciWord == nullptr) {
        EXPECT_NE(output.find(std::string("=========checkKeyFile ") + key.word + " ret:6=========\n"),
                  std::string::npos)
            << output;
    } else {
        EXPECT_TRUE(HasFail(output, "ZelKeyUpgradeThread")) << output;
    }
    EXPECT_TRUE(HasLine(output, " ZelKeyUpgradeThread ", " fail!!!\n")) << output;
    EXPECT_FALSE(m_bCurrentKeyFinish);
    ExpectIdle(key.id);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, KeyInstallation,
    ::testing::Values(
        KeyCase{4737, "HDCP1", "/tmp/tmpkey/HDCP1/", "/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin",
                "/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin", 5, "rm -rf /tmp/tmpkey/HDCP1/", zel::KeyFile::Hdcp1, nullptr},
        KeyCase{4739, "HDCP2", "/tmp/tmpkey/HDCP2/", "/tmp/tmpkey/HDCP2/ZelHDCP2Key.bin",
                "/tmp/tmpkey/HDCP2/ZelHDCP2Key.bin", 1, "rm -rf /tmp/tmpkey/HDCP2/", zel::KeyFile::Hdcp2, nullptr},
        KeyCase{4741, "CIPLUS", "/tmp/tmpkey/CIPLUS/", "/tmp/tmpkey/CIPLUS/CIPLUSMTK9602QX00000001.bin",
                "/tmp/tmpkey/CIPLUS/CIPLUSMTK9602QX00000001.bin", 3, "rm -rf /tmp/tmpkey/CIPLUS/",
                zel::KeyFile::CiPlus, "NON_ECP"},
        KeyCase{4769, "ESN_ULPK_MAC", "/tmp/tmpkey/ESN_ULPK_MAC/", "/tmp/tmpkey/ESN_ULPK_MAC/ESN_ULPK_MAC_123.bin",
                "/tmp/tmpkey/WIDEVINE/KeyBox01.bin", 2, "rm -rf /tmp/tmpkey/ESN_ULPK_MAC/",
                zel::KeyFile::EsnUlpkMac, nullptr},
        KeyCase{4770, "WIDEVINE", "/tmp/tmpkey/WIDEVINE/", "/tmp/tmpkey/WIDEVINE/KeyBox01.bin",
                "/tmp/tmpkey/WIDEVINE/KeyBox01.bin", 2, "rm -rf /tmp/tmpkey/WIDEVINE/", zel::KeyFile::Widevine,
                nullptr},
        KeyCase{4787, "NETFLIX", "/tmp/tmpkey/NETFLIX/", "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin",
                "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin", 0, "rm -rf /tmp/tmpkey/NETFLIX/", zel::KeyFile::Netflix,
                nullptr},
        KeyCase{4793, "CIPLUSECP", "/tmp/tmpkey/CIPLUSECP/",
                "/tmp/tmpkey/CIPLUSECP/ECPCIPLUSMTK96020000QX00000002.bin",
                "/tmp/tmpkey/CIPLUSECP/ECPCIPLUSMTK96020000QX00000002.bin", 4, "rm -rf /tmp/tmpkey/CIPLUSECP/",
                zel::KeyFile::CiPlusEcp, "ECP"}),
    [](const ::testing::TestParamInfo<KeyCase>& row) { return std::string(row.param.word); });

TEST_F(KeyWorker, ARefusedCiPlusKeyIsNotHandedToTheLibrary) {
    Start(4741);
    ExpectStaging("/tmp/tmpkey/CIPLUS/", "/tmp/tmpkey/CIPLUS/CIPLUSMTK9602QX00000001.bin");
    ExpectAction("tovix.sl2.common.intf.action.encrypt.key",
                 "0:NON_ECP, 1:/tmp/tmpkey/CIPLUS/CIPLUSMTK9602QX00000001.bin", 3);
    ExpectAction("tovix.sl2.common.intf.action.check.ciplus.key", "0:NON_ECP", 0);
    script.Expect("popen rm -rf /tmp/tmpkey/CIPLUS/");
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    ExpectStatus(4741, 0);
    const std::string output = Run();
    EXPECT_EQ(Count(output, " ZelKeyUpgradeThread "), 1) << output;
}

class ConfigWorker : public KeyWorker {
  protected:
    // A configuration of one line, where the shell has moved it.
    void ExpectConfiguration(int country, int stored) {
        ExpectAssembly();
        script.Expect("popen rm -rf /tmp/tmpkey/CONFIG/");
        script.Expect("popen mkdir -p /tmp/tmpkey/CONFIG/");
        script.Expect("popen mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/CONFIG/config.ini").Then([this, country] {
            script.PutFile("/tmp/tmpkey/CONFIG/config.ini", std::to_string(country));
        });
        script.Expect("sync");
        script.Expect("meta.write 1 " + std::to_string(country)).Returns(m_writeStatus);
        script.ExpectSet("tovix.sl2.i32.qorfactory.country", country);
        script.Expect("flash.set db_table=0");
        script.Expect("sync");
        script.Expect("meta.read 1").Values({stored});
        for (const char* const rest : {"meta.read 2", "meta.read 4"}) {
            script.Expect(rest).Values({0});
        }
        script.Expect("flash.get brand");
        for (const char* const rest : {"meta.read 3", "meta.read 0"}) {
            script.Expect(rest).Values({0});
        }
        script.Expect("popen rm -rf /tmp/tmpkey/CONFIG/config.ini");
        script.Expect("rmdir /tmp/tmpkey");
        script.Expect("sync");
    }
    int m_writeStatus = 0;
};

TEST_F(ConfigWorker, SuccessIsAnsweredWithTheChecksum) {
    Start(kConfig);
    ExpectConfiguration(3, 3);
    const std::uint32_t crc = ContentCrc();
    ExpectResult(kConfig, BigEndian(crc));
    Run();
    ExpectChecksum(zel::KeyFile::Config, crc);
    EXPECT_FALSE(m_bCurrentKeyFinish);
    ExpectIdle(kConfig);
}

TEST_F(ConfigWorker, SuccessLeavesTheFinishedMarkAsItIs) {
    m_bCurrentKeyFinish = true;
    Start(kConfig);
    ExpectConfiguration(3, 3);
    const std::uint32_t crc = ContentCrc();
    ExpectResult(kConfig, BigEndian(crc));
    Run();
    EXPECT_TRUE(m_bCurrentKeyFinish);
}

TEST_F(ConfigWorker, AFailedCheckFails) {
    Start(kConfig);
    ExpectConfiguration(3, 4);
    ExpectStatus(kConfig, 1);
    const std::string output = Run();
    EXPECT_TRUE(HasFail(output, "ZelKeyUpgradeThread")) << output;
    EXPECT_TRUE(HasLine(output, " ZelKeyUpgradeThread ", " fail!!!\n")) << output;
    ExpectIdle(kConfig);
}

TEST_F(ConfigWorker, AFailedWriteFailsEvenWhenTheCheckAgrees) {
    Start(kConfig);
    m_writeStatus = 1;
    ExpectConfiguration(3, 3);
    ExpectStatus(kConfig, 1);
    EXPECT_TRUE(HasFail(Run(), "ZelKeyUpgradeThread"));
}

TEST_F(KeyWorker, AnUnknownIdFails) {
    Start(0x1276);
    ExpectAssembly();
    script.Expect("sync");
    ExpectStatus(0x1276, 1);
    const std::string output = Run();
    EXPECT_TRUE(HasLine(output, " ZelKeyUpgradeThread ", " fail!!!\n")) << output;
    for (const zel::KeyFileInfo& info : zel::kKeyFiles) {
        ExpectChecksum(info.file, 0);
    }
    ExpectIdle(0x1276);
}

TEST_F(KeyWorker, AFrameThatArrivesWhileAWorkerIsUnderWayOnlyTakesThePlaceOfItsFrame) {
    Start(kHdcp1);
    EXPECT_EQ(m_manager->StartKeyUpgrade(Received(0x1276, "x", 0, 1)), 0);
    EXPECT_EQ(script.PendingThreads(), 1U) << "no second thread";
    ExpectAssembly();
    script.Expect("sync");
    ExpectStatus(0x1276, 1);
    Run();
    ExpectIdle(kHdcp1);
}

// A chunk that comes in while the worker is at work: a worker's own file is refused, another one waits.
class DuringInstallation : public KeyWorker {
  protected:
    void ExpectNetflix() {
        ExpectStaging("/tmp/tmpkey/NETFLIX/", "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin");
        script.Expect("keys.write 0 [/tmp/tmpkey/NETFLIX/NETFLIX_123.bin]");
        script.Expect("keys.check 0");
        script.Expect("popen rm -rf /tmp/tmpkey/NETFLIX/");
        script.Expect("rmdir /tmp/tmpkey");
        script.Expect("sync");
        ExpectStatus(4787, 0);
    }
};

TEST_F(DuringInstallation, AnotherFileWaitsUntilTheWorkerHasAnswered) {
    UartManager::_bExitUartDebug = 0;
    Start(4787);
    script.Expect("delay 10000");
    script.Expect("delay 10000").Then([this] { script.RunThread(); });
    ExpectNetflix();
    ExpectReset();
    ExpectChunk(0);
    script.Expect("start-thread");
    EXPECT_EQ(Chunk(kHdcp1, 0, 1, kContent), 1);
    script.Verify();
    ExpectStaging("/tmp/tmpkey/HDCP1/", "/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin");
    script.Expect("keys.write 5 [/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin]");
    script.Expect("keys.check 5");
    script.Expect("popen rm -rf /tmp/tmpkey/HDCP1/");
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    ExpectStatus(kHdcp1, 0);
    Run();
}

TEST_F(DuringInstallation, ALinkThatIsToStopDoesNotWaitForTheWorker) {
    UartManager::_bExitUartDebug = 0;
    Start(4787);
    script.Expect("delay 10000").Then([] { UartManager::_bExitUartDebug = 1; });
    EXPECT_EQ(Chunk(kHdcp1, 0, 1, kContent), 1);
    script.Verify();
    ExpectNetflix();
    Run();
}

TEST_F(DuringInstallation, TheIdIsKeptAndTheMarkUnsetUntilTheAnswerIsOut) {
    Start(4787);
    ExpectStaging("/tmp/tmpkey/NETFLIX/", "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin");
    const auto refused = [this] {
        EXPECT_FALSE(m_bCurrentKeyFinish);
        EXPECT_EQ(Chunk(4787, 1, 2), 1);
    };
    script.Expect("keys.write 0 [/tmp/tmpkey/NETFLIX/NETFLIX_123.bin]").Then(refused);
    script.Expect("delay 10000");
    script.Expect("keys.check 0");
    script.Expect("popen rm -rf /tmp/tmpkey/NETFLIX/");
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    // What the line sends upon the answer finds the transfer not cleared yet.
    script.Expect("serial.write " + Hex(WireFrameOf(0x10, 4787, {0}, 0, 1))).Then(refused);
    script.Expect("delay 10000");
    Run();
    EXPECT_TRUE(m_bCurrentKeyFinish);
}

TEST_F(KeyWorker, AChecksumOfZeroIsLoggedAndTheFileInstalled) {
    const KeyCase key{4739,
                      "HDCP2",
                      "/tmp/tmpkey/HDCP2/",
                      "/tmp/tmpkey/HDCP2/ZelHDCP2Key.bin",
                      "/tmp/tmpkey/HDCP2/ZelHDCP2Key.bin",
                      1,
                      "rm -rf /tmp/tmpkey/HDCP2/",
                      zel::KeyFile::Hdcp2,
                      nullptr};
    Start(key.id);
    ExpectInstallation(key, 0, 0);
    ExpectStatus(key.id, 0);
    Run();
    for (const bool there : {true, false}) {
        Start(key.id);
        if (there) {
            script.PutFile(kAssembly, "\x9D\x0A\xD9\x6D");
        } else {
            script.RemoveFile(kAssembly);
        }
        ExpectInstallation(key, 0, 0);
        ExpectStatus(key.id, 0);
        const std::string output = Run();
        EXPECT_TRUE(HasLine(output, " ZelKeyUpgradeThread ", " 32 bit crc fail!!!\n")) << output;
        ExpectChecksum(key.slot, ContentCrc());  // that of the former file
    }
}

TEST_F(KeyWorker, ShellsThatDoNotStartAreLoggedAndTheInstallationGoesOn) {
    Start(4787);
    for (const char* const command :
         {"popen rm /tmp/tmpkey/tmp_*.bin", "sync", "popen rm -rf /tmp/tmpkey/NETFLIX/",
          "popen mkdir -p /tmp/tmpkey/NETFLIX/",
          "popen mv /tmp/tmpkey/tmp.bin /tmp/tmpkey/NETFLIX/NETFLIX_123.bin", "sync"}) {
        script.Expect(command).Returns(-1);
    }
    script.Expect("keys.write 0 [/tmp/tmpkey/NETFLIX/NETFLIX_123.bin]");
    script.Expect("keys.check 0");
    script.Expect("popen rm -rf /tmp/tmpkey/NETFLIX/").Returns(-1);
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    ExpectStatus(4787, 0);
    const std::string output = Run();
    EXPECT_EQ(Count(output, " fail!!!\n"), 5) << output;
    EXPECT_TRUE(HasLine(output, " ZelKeyUpgradeThread ", " fail!!!\n"));
}

// Frames that came in meanwhile are dropped at the start, before a CI+ check and before a success is answered.
class PendingFrames : public KeyWorker {
  protected:
    void SetUp() override {
        KeyWorker::SetUp();
        m_manager->m_bConnected = 1;
    }
    // Two frames come in; the first is ignored by its kind, the second is the connect command and waits.
    void Arrive() {
        Bytes burst = WireFrameOf(0, 0x1276, {});
        const Bytes second = WireFrameOf(0, 0x1273, {});
        burst.insert(burst.end(), second.begin(), second.end());
        m_manager->QueueRawBlock(burst);
        Pass();
    }
    // Would answer the connect command, which nobody expects.
    void Pass() {
        std::uint32_t readyCounter = 0;
        m_manager->RunCommandPass(readyCounter);
    }
};

TEST_F(PendingFrames, AreDroppedAtTheStart) {
    Start(0x1276);
    Arrive();
    ExpectAssembly();
    script.Expect("sync").Then([this] { Pass(); });
    ExpectStatus(0x1276, 1);
    Run();
}

TEST_F(PendingFrames, AreDroppedBeforeACiPlusCheck) {
    Start(4793);
    const std::string staged = "/tmp/tmpkey/CIPLUSECP/ECPCIPLUSMTK96020000QX00000002.bin";
    ExpectStaging("/tmp/tmpkey/CIPLUSECP/", staged);
    ExpectAction("tovix.sl2.common.intf.action.encrypt.key", "0:ECP, 1:" + staged, 0);
    script.Expect("keys.write 4 [" + staged + "]").Then([this] { Arrive(); });
    script.Expect("proxy").Then([this] { Pass(); });
    script.Expect("interface tovix.lm.interfaces.tvapi.RootInterface").Returns(1);
    script.Expect("popen rm -rf /tmp/tmpkey/CIPLUSECP/");
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    ExpectStatus(4793, 1);
    Run();
}

TEST_F(PendingFrames, AreDroppedBeforeASuccessIsAnswered) {
    Start(4787);
    ExpectStaging("/tmp/tmpkey/NETFLIX/", "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin");
    script.Expect("keys.write 0 [/tmp/tmpkey/NETFLIX/NETFLIX_123.bin]");
    script.Expect("keys.check 0").Then([this] { Arrive(); });
    script.Expect("popen rm -rf /tmp/tmpkey/NETFLIX/");
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    ExpectStatus(4787, 0);
    Run();
    Pass();
}

TEST_F(PendingFrames, StayWhenAFailureIsAnswered) {
    Start(4787);
    ExpectStaging("/tmp/tmpkey/NETFLIX/", "/tmp/tmpkey/NETFLIX/NETFLIX_123.bin");
    script.Expect("keys.write 0 [/tmp/tmpkey/NETFLIX/NETFLIX_123.bin]");
    script.Expect("keys.check 0").Returns(1).Then([this] { Arrive(); });
    script.Expect("popen rm -rf /tmp/tmpkey/NETFLIX/");
    script.Expect("rmdir /tmp/tmpkey");
    script.Expect("sync");
    ExpectStatus(4787, 1);
    Run();
    ExpectStatus(0x1273, 0);
    Pass();
}

TEST_F(KeyWorker, AWholeTransferFromChunksToAnswerAndTheNext) {
    for (int round = 0; round < 2; ++round) {
        ExpectReset();
        ExpectChunk(0);
        Chunk(kHdcp1, 0, 2, "key ");
        ExpectChunk(1);
        script.Expect("start-thread");
        Chunk(kHdcp1, 1, 2, "bytes");
        ExpectStaging("/tmp/tmpkey/HDCP1/", "/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin");
        script.Expect("keys.write 5 [/tmp/tmpkey/HDCP1/ZelHDCP1Key.bin]");
        script.Expect("keys.check 5");
        script.Expect("popen rm -rf /tmp/tmpkey/HDCP1/");
        script.Expect("rmdir /tmp/tmpkey");
        script.Expect("sync");
        ExpectStatus(kHdcp1, 0);
        Run();
        if (round == 0) {
            ExpectChecksum(zel::KeyFile::Hdcp1, ContentCrc());
        }
        script.RemoveFile(kAssembly);
        m_bCurrentKeyFinish = false;  // as the query of the checksum does
    }
}

}  // namespace
