// The folder that a unit test has to itself: one class for all of them.
#ifndef TESTS_BASE_TEMPFOLDER_H
#define TESTS_BASE_TEMPFOLDER_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace tests {

// An empty folder that is gone with the object, whatever permissions the test left on it.
class TempFolder {
  public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "zelfac-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder " + name);
        }
        m_path = name;
        m_descriptor = ::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    ~TempFolder() {
        ::close(m_descriptor);
        std::error_code ignored;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path At(const std::string& name) const { return m_path / name; }

    // A descriptor of the folder, which stays the object's.
    int Get() const { return m_descriptor; }

    // Writes a file, with the folders above it, and returns its path.
    std::string Write(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(At(name).parent_path());
        std::ofstream(At(name), std::ios::binary) << content;
        return At(name).string();
    }

    // The content of a file; empty when there is none.
    std::string Read(const std::string& name) const {
        std::ifstream in(At(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

  private:
    std::filesystem::path m_path;
    int m_descriptor = -1;
};

}  // namespace tests

#endif
