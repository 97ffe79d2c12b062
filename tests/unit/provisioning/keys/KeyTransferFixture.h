// A key transfer as the shell and the line see it.
#ifndef ZELFAC_TESTS_PROVISIONING_KEYS_KEYTRANSFERFIXTURE_H
#define ZELFAC_TESTS_PROVISIONING_KEYS_KEYTRANSFERFIXTURE_H

#include <cstdio>
#include <string>

#include "provisioning/ProvisioningFixture.h"
#include "provisioning/keys/KeyTransfer.h"

namespace scripted {

inline constexpr std::uint16_t kHdcp1 = 0x1281;
inline constexpr std::uint16_t kHdcp2 = 0x1283;
inline constexpr std::uint16_t kConfig = 0x12A7;
inline constexpr char kAssembly[] = "/tmp/tmpkey/tmp.bin";

class KeyTransferTest : public scripted::ProvisioningTest {
  protected:
    void SetUp() override {
        ProvisioningTest::SetUp();
        script.MakeFolder("/tmp/tmpkey");
    }

    static std::string ChunkPath(int index) {
        char path[32];
        std::snprintf(path, sizeof path, "/tmp/tmpkey/tmp_%03d.bin", index);
        return path;
    }
    void ExpectReset() {
        script.Expect("private /tmp/tmpkey");  // not a link from here on
        script.Expect("popen rm -rf /tmp/tmpkey/");
        script.Expect("private /tmp/tmpkey");
        script.Expect("popen mkdir -p /tmp/tmpkey/");
        script.Expect("popen touch /tmp/tmpkey/tmp.bin");
        script.Expect("sync");
    }
    // The shell's part is played too: the chunk's file goes to the end of the assembly file.
    void ExpectChunk(int index) {
        script.Expect("popen touch " + ChunkPath(index));
        script.Expect("popen cat " + ChunkPath(index) + " >> " + kAssembly).Then([this, index] {
            script.PutFile(kAssembly, script.ReadFile(kAssembly) + script.ReadFile(ChunkPath(index)));
        });
    }
    // No transfer is open and no worker under way: a chunk of the file begins anew.
    void ExpectIdle(std::uint16_t id) {
        script.Verify();
        ExpectReset();
        ExpectChunk(0);
        EXPECT_EQ(Chunk(id, 0, 2), 1);
        script.Verify();
    }
    std::int32_t Chunk(std::uint16_t id, int index, int total, const std::string& data = "data") {
        return m_manager->ZelUartCmdProcessRxCmd(
            Received(id, data, static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(total)));
    }
};

}  // namespace scripted

#endif
