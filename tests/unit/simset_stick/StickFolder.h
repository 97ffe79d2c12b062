#ifndef SIMSET_TESTS_STICK_FOLDER_H
#define SIMSET_TESTS_STICK_FOLDER_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace simset::stick::test {

/// A folder that becomes a stick; goes with the object.
class StickFolder {
  public:
    StickFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "simset-stick-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            ADD_FAILURE() << "no temporary folder";
        }
        m_path = name;
    }
    ~StickFolder() {
        std::error_code ignored;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(m_path, ignored);
    }
    StickFolder(const StickFolder&) = delete;
    StickFolder& operator=(const StickFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    void Write(const std::string& path, const std::string& content) const {
        std::filesystem::create_directories((m_path / path).parent_path());
        std::ofstream(m_path / path, std::ios::binary) << content;
    }
    void Remove(const std::string& path) const { std::filesystem::remove_all(m_path / path); }
    void Rename(const std::string& from, const std::string& to) const {
        std::filesystem::rename(m_path / from, m_path / to);
    }

  private:
    std::filesystem::path m_path;
};

}  // namespace simset::stick::test

#endif
