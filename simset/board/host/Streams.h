// The application's standard streams, as its manager has them.
#ifndef SIMSET_HOST_STREAMS_H
#define SIMSET_HOST_STREAMS_H

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "simset/base/WakeUp.h"

namespace simset {

// The application manager's ends of the application's standard streams: what comes out is appended to two files
// as it comes, what goes in is written by Write.
class Streams {
  public:
    // `folder` is the descriptor of the folder of "app.out" and "app.err", `fresh` whether the two files begin
    // anew. Throws std::system_error.
    Streams(int folder, bool fresh);

    // Waits until everything that was written has been kept; the application and its children must have ended.
    ~Streams();
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    // The application's ends: standard input, output, error
    std::array<int, 3> ApplicationEnds() const { return {m_in[0].Get(), m_out[1].Get(), m_err[1].Get()}; }

    // Closes the application's ends here, once the application has its own.
    void CloseApplicationEnds();

    // Writes to the application's standard input. Throws std::runtime_error when the application has closed it or
    // does not read for five seconds. Any thread.
    void Write(const std::string& bytes);

    // Ends the application's standard input.
    void CloseInput();

    // While true nothing is read from the application's output.
    void Pause(bool pause);

  private:
    void Read();
    bool Keep(const Descriptor& from, const Descriptor& file);

    Pipe m_in = MakePipe();
    Pipe m_out = MakePipe();
    Pipe m_err = MakePipe();
    Descriptor m_outFile;
    Descriptor m_errFile;
    WakeUp m_wake;
    std::mutex m_inputMutex;
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_warned{false};
    std::thread m_reader;
};

}  // namespace simset

#endif
