#include "provisioning/usb/SecondUpdateFixture.h"

namespace {

using namespace scripted;

class Entry : public SecondUpdateTest {
  protected:
    void ExpectPreparation(int mount = 0, int status = 0) {
        for (const char* const read :
             {"meta.read 1", "meta.read 2", "meta.read 4", "flash.get brand", "meta.read 3", "meta.read 0"}) {
            script.Expect(read).Returns(status);
        }
        script.ExpectGetText("tovix.sl2.str.qorfactory.software.version", "V1");
        if (status == 0) {
            script.ExpectSet(kFlicker, 1);
        } else {
            script.ExpectModelFailure();
        }
        for (const char* const path :
             {"/zodata/critical", "/zodata/factory", "/zodata/model", "/var/local", "/var/run",
              "/vendor/tvconfig/config", "/config", "/serialdata", "/certificate"}) {
            script.Expect(std::string("remount ") + path).Returns(mount);
        }
        for (const char* const path :
             {"/zodata/critical", "/zodata/factory", "/zodata/model", "/serialdata", "/config",
              "/vendor/tvconfig/config", "/var/local", "/var/run", "/certificate"}) {
            script.Expect(std::string("system mount -o remount,rw ") + path).Returns(status);
            if (status == 0) {
                script.Expect("sync");
            }
        }
        script.Expect("system echo ForceFreerun=TRUE > /proc/utopia_mdb/xc").Returns(status);
        script.Expect("sync");
    }
    void ExpectEmptyImport() {
        script.Expect("sync");
        ExpectRebuild();
    }
    void ExpectExport(const std::string& root) {
        script.Expect("system rm -rf " + root + "/CopyRW9602CustomerFile");
        script.Expect("system mkdir -p " + root + "/CopyRW9602CustomerFile/CONFIG").Returns(kExit1);
        script.Expect("sync");
        ExpectSupervisor("12", "ret=0");
    }
    void Run() {
        m_output = OutputOf([this] { m_manager->ZelSecondUpdate(); });
    }
    bool Printed(const std::string& text) const { return m_output.find(text) != std::string::npos; }
};

TEST_F(Entry, CustomerFolderWithMarkerImports) {
    PutSticks({"/mnt/a"});
    script.PutFile("/mnt/a/RW9602CustomerFile/ZelFacTest_Eu4K", "");
    ExpectPreparation();
    ExpectEmptyImport();
    Run();
    EXPECT_TRUE(Printed(" ret1:0 ret2:1 \n")) << m_output;
    EXPECT_EQ(Count(m_output, " ZelSecondUpdate "), 0) << m_output;
    ExpectOutcome(0, "");
}

TEST_F(Entry, CustomerFolderWithoutMarkerImports) {
    PutSticks({"/mnt/a"});
    script.MakeFolder("/mnt/a/RW9602CustomerFile");
    ExpectPreparation();
    ExpectEmptyImport();
    Run();
    EXPECT_TRUE(Printed(" ret1:1 ret2:1 \n"));
}

TEST_F(Entry, OemDataAloneImports) {
    PutSticks({"/mnt/a"});
    script.MakeFolder("/mnt/a/OEM_data");
    ExpectPreparation();
    ExpectSupervisor("13", "ret=0");
    ExpectRebuild();
    ExpectLeds();
    Run();
    EXPECT_TRUE(Printed(" ret1:-1 ret2:0 \n"));
    ExpectOutcome(1, "");
}

TEST_F(Entry, AnOtherStickExports) {
    PutSticks({"/mnt/a"});
    ExpectPreparation();
    ExpectExport("/mnt/a");
    Run();
    EXPECT_TRUE(Printed(" ret1:-1 ret2:1 \n"));
    ExpectOutcome(4, "Config.bin;");
}

TEST_F(Entry, NoStickExports) {
    PutSticks({});
    ExpectPreparation();
    ExpectExport("");
    Run();
    EXPECT_TRUE(Printed(" ret1:-1 ret2:-1 \n"));
}

TEST_F(Entry, NoFailureStopsIt) {
    PutSticks({"/mnt/a"});
    script.MakeFolder("/mnt/a/RW9602CustomerFile");
    ExpectPreparation(-1, kExit1);
    ExpectEmptyImport();
    Run();
    EXPECT_EQ(Count(m_output, "mount fail, mount_res:-1\n"), 9) << m_output;
    EXPECT_TRUE(HasLine(m_output, " ZelSecondUpdate ", " mount fail, mount_res:-1\n"));
    // Print, flicker, nine shell mounts, free run; and the nine above.
    EXPECT_EQ(Count(m_output, " ZelSecondUpdate "), 3 + 9 + 9) << m_output;
}

}  // namespace
