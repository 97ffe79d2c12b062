// Reports of the set's own processes to simset.
#ifndef SIMSET_PRELOAD_REPORT_H
#define SIMSET_PRELOAD_REPORT_H

#include <stddef.h>

// Plain C library calls and fixed buffers only: this code runs
// inside every program that the application starts.
namespace simset::preload {

// A request under construction: one line of JSON. What does not fit is cut, and the request stays valid JSON.
class Line {
  public:
    Line() = default;

    // Appends a piece of JSON as it stands.
    void Raw(const char* text);

    // Appends a text as a JSON string. Bytes outside ASCII are taken for Latin-1 when they are no valid UTF-8.
    void Text(const char* text);

    void Number(long value);

    const char* Data() const { return m_bytes; }
    size_t Size() const { return m_size; }

  private:
    void Put(char byte);

    static constexpr size_t kCapacity = 16384;
    static constexpr size_t kTail = 16;  // kept free for what closes the objects
    char m_bytes[kCapacity] = {};
    size_t m_size = 0;
};

// Sends the line to simset and waits for its answer, so that what follows comes after it in simset's order too.
// Returns the status of the answer; 0, with nothing done, when no simset is there. Keeps errno.
int Report(Line& line);

// Whether this process is the application, and no program that it started.
bool InApplication();

// Whether the descriptor is the set's serial port.
bool IsPort(int fd);

// Appends the calling thread's name as a member, with a comma behind it.
void AddThread(Line& line);

}  // namespace simset::preload

#endif
