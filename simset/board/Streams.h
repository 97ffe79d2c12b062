#ifndef SIMSET_BOARD_STREAMS_H
#define SIMSET_BOARD_STREAMS_H

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "simset/board/Fd.h"

namespace simset {

/// The application manager's ends of the application's standard streams: what comes out is appended to two files
/// as it comes, what goes in is written by Write.
class Streams {
  public:
    /// @param folder descriptor of the folder of "app.out" and "app.err"
    /// @param fresh whether the two files begin anew
    /// Throws std::system_error.
    Streams(int folder, bool fresh);

    /// Waits until everything that was written has been kept; the application and its children must have ended.
    ~Streams();
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    /// @return the application's ends: standard input, output, error
    std::array<int, 3> ApplicationEnds() const { return {m_in[0].Get(), m_out[1].Get(), m_err[1].Get()}; }

    /// Closes the application's ends here, once the application has its own.
    void CloseApplicationEnds();

    /// Writes to the application's standard input. Throws std::runtime_error when the application has closed it or
    /// does not read for five seconds. Any thread.
    void Write(const std::string& bytes);

    /// Ends the application's standard input.
    void CloseInput();

    /// While true nothing is read from the application's output.
    void Pause(bool pause);

  private:
    using Pipe = std::array<Fd, 2>;
    void Read();
    bool Keep(const Fd& from, const Fd& file);

    Pipe m_in;
    Pipe m_out;
    Pipe m_err;
    Fd m_outFile;
    Fd m_errFile;
    Fd m_wake;
    std::mutex m_inputMutex;
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_warned{false};
    std::thread m_reader;
};

}  // namespace simset

#endif  // SIMSET_BOARD_STREAMS_H
