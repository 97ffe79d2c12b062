#ifndef SIMSET_BOARD_TESTS_SCRATCH_FOLDER_H
#define SIMSET_BOARD_TESTS_SCRATCH_FOLDER_H

#include <fcntl.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "simset/board/Fd.h"

namespace simset {

/// A folder of the test's own that is gone with it.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "simset-test-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
        m_folder.Reset(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    ~ScratchFolder() { std::filesystem::remove_all(m_path); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    int Get() const { return m_folder.Get(); }
    std::filesystem::path At(const std::string& name) const { return std::filesystem::path(m_path) / name; }

    void Write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(At(name).parent_path());
        std::ofstream(At(name), std::ios::binary) << text;
    }
    std::string Read(const std::string& name) const {
        std::ifstream in(At(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

  private:
    std::string m_path;
    Fd m_folder;
};

}  // namespace simset

#endif  // SIMSET_BOARD_TESTS_SCRATCH_FOLDER_H
