#include "amclient/ClientProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace amclient {
namespace {

constexpr int kPatienceMilliseconds = 120000;

void Close(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}

}  // namespace

ClientProcess::ClientProcess(const std::function<int()>& application) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    std::array<int, 2> error{};
    EXPECT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(error.data(), O_CLOEXEC), 0);
    std::fflush(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(error[1], STDERR_FILENO);
        for (const auto& ends : {input, output, error}) {
            close(ends[0]);
            close(ends[1]);
        }
        signal(SIGPIPE, SIG_DFL);  // of a former test, or of whoever runs the tests
        std::exit(application());
    }
    signal(SIGPIPE, SIG_IGN);
    close(input[0]);
    close(output[1]);
    close(error[1]);
    m_input = input[1];
    m_output.descriptor = output[0];
    m_error.descriptor = error[0];
}

ClientProcess::~ClientProcess() {
    Close(m_input);
    Close(m_output.descriptor);
    Close(m_error.descriptor);
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
}

void ClientProcess::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(m_input, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            ADD_FAILURE() << "the client's input is closed";
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

void ClientProcess::CloseInput() {
    Close(m_input);
}

void ClientProcess::CloseOutput() {
    Close(m_output.descriptor);
}

bool ClientProcess::ReadMore(Stream& stream) {
    pollfd place{stream.descriptor, POLLIN, 0};
    if (poll(&place, 1, kPatienceMilliseconds) <= 0) {
        return false;
    }
    std::array<char, 4096> piece{};
    const ssize_t got = read(stream.descriptor, piece.data(), piece.size());
    if (got > 0) {
        stream.text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return got > 0;
}

bool ClientProcess::Sees(Stream& stream, const std::string& text) {
    while (stream.text.find(text) == std::string::npos) {
        if (!ReadMore(stream)) {
            return false;
        }
    }
    return true;
}

bool ClientProcess::SeesOutput(const std::string& text) {
    return Sees(m_output, text);
}

bool ClientProcess::SeesError(const std::string& text) {
    return Sees(m_error, text);
}

bool ClientProcess::IsRunning() {
    if (m_pid > 0 && waitpid(m_pid, &m_status, WNOHANG) == m_pid) {
        m_pid = -1;
    }
    return m_pid > 0;
}

int ClientProcess::Wait() {
    for (Stream* stream : {&m_output, &m_error}) {
        while (stream->descriptor >= 0 && ReadMore(*stream)) {
        }
    }
    for (int waited = 0; waited < kPatienceMilliseconds && IsRunning(); ++waited) {
        poll(nullptr, 0, 1);
    }
    if (m_pid > 0) {
        return -1;
    }
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : 128 + WTERMSIG(m_status);
}

}  // namespace amclient
