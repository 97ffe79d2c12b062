#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "simset/base/Errors.h"
#include "simset/board/host/Programs.h"

namespace simset {
namespace {

namespace fs = std::filesystem;

class ProgramsTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(::mkdtemp(m_folder.data()), nullptr); }
    void TearDown() override { fs::remove_all(m_folder); }

    // A program of that machine; 0: of none, a script.
    std::string Program(const std::string& name, unsigned machine) const {
        Elf32_Ehdr header{};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_machine = static_cast<Elf32_Half>(machine);
        std::string bytes(sizeof header, '\0');
        std::memcpy(bytes.data(), &header, sizeof header);
        const std::string path = m_folder + "/" + name;
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path) << (machine == 0 ? "#!/bin/sh\n" : bytes);
        ::chmod(path.c_str(), 0755);
        return path;
    }

    // What is said when these options cannot be.
    static std::string Refusal(const RunOptions& options) {
        try {
            FindPrograms(options);
        } catch (const RunError& error) {
            EXPECT_EQ(error.Status(), kExitUsage);
            return error.what();
        }
        return "";
    }

    std::string m_folder = ::testing::TempDir() + "/programs.XXXXXX";
};

TEST_F(ProgramsTest, TheProcessorStandsInTheFile) {
    EXPECT_EQ(ForeignProcessor("/proc/self/exe"), "");
    EXPECT_EQ(ForeignProcessor(Program("script", 0)), "");
    EXPECT_EQ(ForeignProcessor("/no/such/file"), "");
    EXPECT_EQ(ForeignProcessor(Program("arm", EM_ARM)), "arm");
    EXPECT_THROW(ForeignProcessor(Program("other", EM_68K)), RunError);
}

TEST_F(ProgramsTest, AnotherProcessorWantsASysrootAnEmulatorAndLibraries) {
    RunOptions options;
    options.application = Program("bin/application", EM_ARM);
    EXPECT_NE(Refusal(options).find("--sysroot DIR"), std::string::npos);
    options.sysroot = m_folder;
    options.emulator = m_folder + "/none";
    EXPECT_NE(Refusal(options).find("there is no emulator at"), std::string::npos);
    options.emulator = Program("emulator", 0);
    EXPECT_NE(Refusal(options).find("libraries"), std::string::npos);
}

TEST_F(ProgramsTest, TheEmulatorIsFoundByItself) {
    RunOptions options;
    options.application = Program("bin/application", EM_ARM);
    options.sysroot = m_folder;
    const std::string before = std::getenv("PATH");
    ::setenv("PATH", m_folder.c_str(), 1);
    EXPECT_NE(Refusal(options).find("there is no qemu-arm in PATH"), std::string::npos);
    Program("qemu-arm", 0);
    EXPECT_NE(Refusal(options).find("libraries"), std::string::npos);
    ::setenv("PATH", before.c_str(), 1);
}

TEST_F(ProgramsTest, AProgramOfThisProcessorNeedsNone) {
    RunOptions options;
    options.application = Program("bin/application", 0);
    try {
        EXPECT_EQ(FindPrograms(options).emulator, "");
    } catch (const RunError& error) {
        EXPECT_EQ(error.Status(), kExitInternal);  // a test is not where simset's own files are
    }
}

}  // namespace
}  // namespace simset
