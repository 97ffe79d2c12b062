#include "provisioning/ProvisioningFixture.h"

namespace {

class UsbDiscovery : public scripted::ProvisioningTest {
  protected:
    std::int32_t Search(const std::string& subfolder, const std::string& needle) {
        std::int32_t result = 7;
        m_output = OutputOf(
            [&] { result = m_manager->ZelGetUSBUpdateFileFullPath(subfolder, needle, m_folder, m_name); });
        return result;
    }
    std::int32_t CountMarkers() {
        std::int32_t result = -1;
        m_output = OutputOf([&] { result = m_manager->ZelGetUsbMarkerCount(); });
        return result;
    }
    std::int32_t Copy(const std::string& name, const std::string& destination) {
        std::int32_t result = 7;
        m_output = OutputOf([&] { result = m_manager->ZelCopyFileFormUSB("/mnt/a", name, destination); });
        return result;
    }

    std::string m_folder = "before";
    std::string m_name = "before";
    std::string m_output;
};

TEST_F(UsbDiscovery, FindsAnEntryThatContainsTheNeedle) {
    PutSticks({"/mnt/a"});
    script.PutFile("/mnt/a/Keys/xHDCPy.bin", "k");
    EXPECT_EQ(Search("Keys", "HDCP"), 0);
    EXPECT_EQ(m_folder, "/mnt/a/Keys");
    EXPECT_EQ(m_name, "xHDCPy.bin");
    EXPECT_EQ(m_output, "");
}

TEST_F(UsbDiscovery, AnEmptySubfolderIsTheRoot) {
    PutSticks({"/mnt/a"});
    script.MakeFolder("/mnt/a/OEM_data");
    EXPECT_EQ(Search("", "OEM_data"), 0);
    EXPECT_EQ(m_folder, "/mnt/a");
    EXPECT_EQ(m_name, "OEM_data");
}

TEST_F(UsbDiscovery, AFolderWithoutSuchAnEntry) {
    PutSticks({"/mnt/a"});
    script.PutFile("/mnt/a/Keys/other", "k");
    EXPECT_EQ(Search("Keys", "HDCP"), 1);
    EXPECT_EQ(m_folder, "/mnt/a/Keys");
    EXPECT_EQ(m_name, "before");
}

TEST_F(UsbDiscovery, AStickWithoutTheFolderIsSilent) {
    PutSticks({"/mnt/a"});
    EXPECT_EQ(Search("Keys", "HDCP"), -1);
    EXPECT_EQ(m_folder, "before");
    EXPECT_EQ(m_output, "");
}

TEST_F(UsbDiscovery, NoStickAndNoTable) {
    PutSticks({});
    EXPECT_EQ(Search("Keys", "HDCP"), -1);
    EXPECT_TRUE(HasLine(m_output, " ZelGetUSBUpdateFileFullPath ", " fopen usb device fail!\n")) << m_output;
    script.RemoveFile("/proc/mounts");
    EXPECT_EQ(Search("Keys", "HDCP"), -1);
    EXPECT_TRUE(HasLine(m_output, " ZelGetUSBUpdateFileFullPath ", " fopen usb device fail!\n")) << m_output;
    EXPECT_EQ(Count(m_output, "fopen"), 1);
}

TEST_F(UsbDiscovery, TheLastStickDecides) {
    PutSticks({"/mnt/a", "/mnt/b"});
    script.PutFile("/mnt/a/Keys/HDCP1", "k");
    script.PutFile("/mnt/b/Keys/HDCP2", "k");
    EXPECT_EQ(Search("Keys", "HDCP"), 0);
    EXPECT_EQ(m_name, "HDCP2");
    script.RemoveFile("/mnt/b/Keys/HDCP2");
    EXPECT_EQ(Search("Keys", "HDCP"), 1);
    EXPECT_EQ(m_folder, "/mnt/b/Keys");
    script.RemoveFile("/mnt/b/Keys");  // nothing to search there: the first one's result stays
    EXPECT_EQ(Search("Keys", "HDCP"), 0);
    EXPECT_EQ(m_folder, "/mnt/a/Keys");
    EXPECT_EQ(m_name, "HDCP1");
}

TEST_F(UsbDiscovery, FolderPathsAreCutAt127Characters) {
    const std::string root = "/mnt/" + std::string(100, 'r');
    const std::string cut = (root + "/" + std::string(60, 's')).substr(0, 127);
    PutSticks({root});
    script.PutFile(cut + "/needle", "k");
    EXPECT_EQ(Search(std::string(60, 's'), "needle"), 0);
    EXPECT_EQ(m_folder, cut);
}

TEST_F(UsbDiscovery, LongTableLinesStayInsideTheirBuffers) {
    script.PutFile("/proc/mounts", "/dev/shm/shm_tmp/vu_" + std::string(3000, 'x') + " " + std::string(3000, 'y') +
                                       "\n/dev/shm/shm_tmp/vu_sda1 /mnt/a vfat rw 0 0");
    script.PutFile("/mnt/a/needle", "k");
    EXPECT_EQ(Search("", "needle"), 0);
    EXPECT_EQ(m_folder, "/mnt/a");
}

// Without its mount point a stick's line is none: the set's own root is not searched in its place.
TEST_F(UsbDiscovery, AnOverlongFieldDoesNotMakeTheRootAStick) {
    const std::string device = "/dev/shm/shm_tmp/vu_";
    script.PutFile("/Keys/HDCP1", "the set's own");
    script.PutFile("/mnt/HDCP1", "the set's own");
    script.PutFile("/USB.ZEL", "");
    script.PutFile("/mnt/USB.ZEL", "");
    for (const std::string& line :
         {device + std::string(300, 'x') + " /mnt/a vfat rw 0 0\n",
          device + std::string(235 - 1, 'x') + " /mnt/a vfat rw 0 0\n",  // cut behind the root's slash
          device + std::string(235 - 4, 'x') + " /mnt/a vfat rw 0 0\n",  // cut behind a folder's name
          device + "sda1 /" + std::string(300, 'x') + " vfat rw 0 0\n",
          std::string(255, 'x') + device + " / vfat rw 0 0\n"}) {  // the rest is no line of its own
        script.PutFile("/proc/mounts", line);
        EXPECT_EQ(Search("Keys", "HDCP"), -1) << line;
        EXPECT_EQ(Search("", "HDCP"), -1) << line;
        EXPECT_EQ(CountMarkers(), 0) << line;
        EXPECT_EQ(m_folder, "before");
    }
}

TEST_F(UsbDiscovery, MarkersAreCountedOncePerStick) {
    PutSticks({"/mnt/a", "/mnt/b", "/mnt/c"});
    script.PutFile("/mnt/a/USB.ZEL", "");
    script.PutFile("/mnt/a/my.USB.ZEL.2", "");
    script.PutFile("/mnt/b/usb.zel", "");
    script.PutFile("/mnt/c/xUSB.ZELx", "");
    EXPECT_EQ(CountMarkers(), 2);
    EXPECT_EQ(m_output, "");
    script.FailOpen("/mnt/c");
    EXPECT_EQ(CountMarkers(), 1);
}

TEST_F(UsbDiscovery, NoMarkersWithoutSticksOrTable) {
    PutSticks({});
    EXPECT_EQ(CountMarkers(), 0);
    EXPECT_EQ(m_output, "no usb device is found!\n");
    script.FailOpen("/proc/mounts");
    EXPECT_EQ(CountMarkers(), 0);
    EXPECT_EQ(m_output, "fopen usb device fail!\n");
}

TEST_F(UsbDiscovery, ACopyIsComparedWithItsSource) {
    script.PutFile("/mnt/a/key.bin", "content");
    script.Expect("popen busybox cp /mnt/a/key.bin /tmp/keys/ -rf").Then([this] {
        script.PutFile("/tmp/keys/key.bin", "content");
    });
    script.Expect("sync").Times(2);
    EXPECT_EQ(Copy("key.bin", "/tmp/keys/"), 0);
    EXPECT_EQ(m_output, "strFullUsbPath:/mnt/a/key.bin\nstrFullDestPath:/tmp/keys/key.bin\n");
}

TEST_F(UsbDiscovery, ADifferentCopyPrintsBothChecksums) {
    script.PutFile("/mnt/a/key.bin", "123456789");
    script.PutFile("/tmp/keys/key.bin", "12345678");
    script.Expect("popen busybox cp /mnt/a/key.bin /tmp/keys/ -rf");
    script.Expect("sync").Times(2);
    EXPECT_EQ(Copy("key.bin", "/tmp/keys/"), -1);
    EXPECT_TRUE(HasFail(m_output, "ZelCopyFileFormUSB"));
    EXPECT_NE(m_output.find("u32SrcCrc:-873187034,u32DestCrc:-1696539985\n"), std::string::npos) << m_output;
}

TEST_F(UsbDiscovery, AMissingCopyCountsAsZero) {
    script.PutFile("/mnt/a/key.bin", "123456789");
    script.Expect("popen busybox cp /mnt/a/key.bin /tmp/keys/ -rf");
    script.Expect("sync").Times(2);
    EXPECT_EQ(Copy("key.bin", "/tmp/keys/"), -1);
    EXPECT_NE(m_output.find("u32SrcCrc:-873187034,u32DestCrc:0\n"), std::string::npos) << m_output;
    EXPECT_EQ(Count(m_output, " ZelCopyFileFormUSB "), 2);
}

TEST_F(UsbDiscovery, ACopyThatCannotBeStartedFails) {
    script.Expect("popen busybox cp /mnt/a/key.bin /tmp/keys/ -rf").Returns(-1);
    EXPECT_EQ(Copy("key.bin", "/tmp/keys/"), -1);
    EXPECT_TRUE(HasFail(m_output, "ZelCopyFileFormUSB"));
}

TEST_F(UsbDiscovery, NamesReachTheShellAsOneWord) {
    script.Expect("popen busybox cp '/mnt/a/a b;$(x)'\\''' '/tmp/my keys/' -rf").Returns(-1);
    Copy("a b;$(x)'", "/tmp/my keys/");
}

}  // namespace
