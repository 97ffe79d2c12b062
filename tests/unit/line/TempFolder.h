// A folder that is gone after the test.
#ifndef ZELLINE_TESTS_TEMPFOLDER_H
#define ZELLINE_TESTS_TEMPFOLDER_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace zelline {

class TempFolder {
  public:
    TempFolder() {
        std::string name = testing::TempDir() + "zelline-XXXXXX";
        m_path = ::mkdtemp(name.data());
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() { std::filesystem::remove_all(m_path); }

    std::string Path(const std::string& name) const { return (m_path / name).string(); }

    std::string Put(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }

    std::string Get(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(Path(name), std::ios::binary).rdbuf();
        return text.str();
    }

  private:
    std::filesystem::path m_path;
};

}  // namespace zelline

#endif
