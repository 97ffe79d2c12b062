// What the simulated set keeps without power: one SQLite file.
#ifndef SIMSET_STATE_STATE_H
#define SIMSET_STATE_STATE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace simset {

// Named sections of named values, and blobs with their digests. Not thread-safe. Everything throws StateError with
// a line that says what to do when the file cannot be used; nothing has changed then. What was written survives
// the end of the process, however it comes.
class State {
  public:
    // Opens `file`, made when it is missing.
    explicit State(const std::filesystem::path& file);

    std::map<std::string, std::string> Load(const std::string& section);
    void Put(const std::string& section, const std::string& name, const std::string& value);
    void Erase(const std::string& section, const std::string& name);

    struct Blob {
        std::string bytes;
        std::uint32_t digest = 0;  // as it was when the blob was stored
        std::string note;          // where the bytes came from
    };
    void PutBlob(const std::string& name, const Blob& blob);
    std::optional<Blob> GetBlob(const std::string& name);
    std::map<std::string, Blob> LoadBlobs();
    void EraseBlobs();

  private:
    std::filesystem::path m_file;
    std::optional<SQLite::Database> m_database;
};

}  // namespace simset

#endif
