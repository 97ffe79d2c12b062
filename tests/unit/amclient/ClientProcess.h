// The command client in a process of its own, with this test as its manager: the client takes the standard streams
// of its process over, which a test cannot do to itself.
#ifndef ZELFAC_TESTS_AMCLIENT_CLIENTPROCESS_H
#define ZELFAC_TESTS_AMCLIENT_CLIENTPROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

namespace amclient {

// Runs `application` in a child process whose standard streams are pipes of ours; its result is the exit status.
class ClientProcess {
  public:
    explicit ClientProcess(const std::function<int()>& application);
    ~ClientProcess();
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    void Write(std::string_view bytes);  // to its standard input
    void CloseInput();
    void CloseOutput();

    // Reads its standard output (error) until `text` has come, or 120 s have passed. True when it has come.
    bool SeesOutput(const std::string& text);
    bool SeesError(const std::string& text);
    // Everything read from it so far.
    const std::string& Output() const { return m_output.text; }
    const std::string& Error() const { return m_error.text; }

    // Whether the process has not ended yet; what it prints is not read.
    bool IsRunning();

    // Reads both streams to their end and waits for the process. Its exit status, 128 + signal when killed, -1
    // after 120 s.
    int Wait();

  private:
    struct Stream {
        int descriptor = -1;
        std::string text;
    };
    static bool ReadMore(Stream& stream);
    static bool Sees(Stream& stream, const std::string& text);

    pid_t m_pid = -1;
    int m_status = -1;  // wait status of a process that has ended
    int m_input = -1;
    Stream m_output;
    Stream m_error;
};

}  // namespace amclient

#endif
