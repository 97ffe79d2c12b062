// Sends a file to the set in chunks and makes sure that the set has that file and no other.
#ifndef ZELLINE_LINK_UPLOADER_H
#define ZELLINE_LINK_UPLOADER_H

#include <cstdint>
#include <optional>
#include <string>

#include "link/Files.h"
#include "link/Link.h"
#include "wire/Error.h"

namespace zelline {

// Hears how a transfer gets on. All calls come from the thread that runs the transfer.
class UploadProgress {
  public:
    UploadProgress() = default;
    UploadProgress(const UploadProgress&) = delete;
    UploadProgress& operator=(const UploadProgress&) = delete;
    virtual ~UploadProgress() = default;

    virtual void Begin(std::size_t bytes, int transfer) = 0;
    virtual void Advance(std::size_t bytesDone) = 0;  // of the file, as far as they have left
    virtual void Phase(const std::string& words) = 0;
    // Nothing has come for that long of a step that may take longer.
    virtual void Waiting(Millis) {}
    virtual void End() = 0;
};

struct UploadOptions {
    int retries = 3;     // further transfers after one that was lost or damaged
    Millis pace{0};      // pause behind each chunk; 0 sends all of them as one burst
    Millis query{3000};  // how long the set may take to answer a checksum query
    int queryRetries = 5;
    Millis install =
        DefaultTimeout(zel::command::kConfigFile);  // how long the set may work on the file once it has all of it
};

struct UploadResult {
    Exit status = Exit::NoAnswer;
    std::string words;
    std::size_t bytes = 0;
    std::size_t chunks = 0;
    std::uint32_t fileChecksum = 0;
    std::optional<std::uint32_t> setChecksum;
    int transfers = 0;
    Millis elapsed{0};
};

// One transfer is, in this order:
//
// 1. The checksum query of the type, repeated until it is answered. A set that has installed a key ignores every
//    chunk but the first of the next file until this query comes; the answer shows that it came.
// 2. One byte under another key's id with 0 for the number of chunks, three times, in front of the chunks. A set
//    that holds chunks of a broken-off transfer keeps them and would append ours to them; a chunk of another id
//    makes it throw them away, and 0 is a number that it never reaches, so that this byte is never installed.
//    Three, because a lost one would go unnoticed; the second and third change nothing.
// 3. The chunks in order, index in trailer A and number of chunks in trailer B.
// 4. The checksum query again, in the same burst. The set takes frames in order, so its answer shows that all
//    chunks have been looked at. When that leaves the file incomplete the set never answers; when the checksum
//    also stays what it was, no installation has begun and the transfer can be repeated at once. When the file is
//    complete the set drops this query and answers after the installation.
// 5. The set's answer, and then the checksum of what it has assembled, compared with the file's own. Only both
//    together count. An answer that comes before the set can have read the last chunk belongs to an earlier
//    transfer and is not taken.
class Uploader {
  public:
    // `bytes` as LoadFile returns them. Throws Error with Exit::Unusable for a file whose checksum is 0: the set
    // takes that for a checksum that could not be computed, so it could not be compared.
    Uploader(Link& link, const zel::KeyFileInfo& type, std::string bytes, const UploadOptions& options,
             UploadProgress* progress = nullptr);

    // Repeats transfers until one counts, the set refuses the file, or the tries are used up. Throws Error when
    // the set does not answer at all or the port is lost.
    UploadResult Run();

  private:
    enum class Verdict { Installed, Refused, Lost, Damaged, Unanswered };

    Verdict Transfer();
    Verdict AwaitAnswer(Millis start, std::size_t burst);
    Verdict Compare(bool success);
    std::uint32_t QueryChecksum(bool fresh);
    std::size_t SendChunks();

    Link& m_link;
    const zel::KeyFileInfo& m_type;
    std::string m_bytes;
    UploadOptions m_options;
    UploadProgress* m_progress;
    const bool m_isConfiguration;
    const std::uint16_t m_query;  // the configuration has none of its own: any key's lets the next transfer in
    std::size_t m_chunks;
    std::uint32_t m_fileChecksum;
    std::uint32_t m_before = 0;  // the set's checksum before the transfer
    std::optional<std::uint32_t> m_setChecksum;
};

}  // namespace zelline

#endif
