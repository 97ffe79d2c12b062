// Start and end of the command client: the streams, the threads, what they share.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "amclient/AmClientState.h"

t_am_client g_am_client;
t_cmdcvt_info g_cmdcvt_info;
t_am_client* g_record = &g_am_client;
pthread_t g_td = 0;
pthread_t g_td_in = 0;
std::atomic<std::int32_t> g_i4_done{0};
pthread_mutex_t g_sendcmd_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr int kDrainPauses = 200;  // of 10 ms

char s_outputBuffer[BUFSIZ];

char* AllocateWorkBuffer() {
    return static_cast<char*>(std::calloc(kAmWorkBuffer, 1));
}

bool AllocateBuffers() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    info.pendingLine = AllocateWorkBuffer();
    info.passThrough = AllocateWorkBuffer();
    info.value = AllocateWorkBuffer();
    return info.pendingLine != nullptr && info.passThrough != nullptr && info.value != nullptr;
}

bool CreatePipe(t_pipe& made) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    made = {ends[0], ends[1]};
    return true;
}

// A wake-up, and a line for an application that does not read, must not block their writer; nor may the relay wait
// in a read.
bool CreatePipes() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    for (t_pipe* pipe : {&info.input, &info.output, &info.error, &info.relayWake, &info.readerWake}) {
        if (!CreatePipe(*pipe)) {
            return false;
        }
    }
    for (const int end : {info.input.write, info.relayWake.write, info.readerWake.write, info.output.read,
                          info.error.read, info.relayWake.read}) {
        if (fcntl(end, F_SETFL, O_NONBLOCK) != 0) {
            return false;
        }
    }
    return true;
}

// A process that was started with a standard stream closed must not find one of our pipes there.
bool OpenStandardDescriptors() {
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        // The lowest that is free: those below are open.
        if (fcntl(standard, F_GETFD) < 0 && open("/dev/null", O_RDWR) != standard) {
            return false;
        }
    }
    return true;
}

// The real stream, for the client alone: the shells that the application starts do not see it. -1 on failure.
int Save(int standard) {
    return fcntl(standard, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// Puts `end` in the place of a standard stream.
bool Replace(int standard, int& end) {
    if (dup2(end, standard) != standard) {
        return false;
    }
    AmClose(end);
    return true;
}

// False when the streams are not all taken over.
bool TakeStreamsOver() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    std::fflush(stdout);
    info.realInput = Save(STDIN_FILENO);
    info.savedOutput = Save(STDOUT_FILENO);
    info.savedError = Save(STDERR_FILENO);
    if (info.realInput < 0 || info.savedOutput < 0 || info.savedError < 0 ||
        !Replace(STDIN_FILENO, info.input.read) || !Replace(STDOUT_FILENO, info.output.write) ||
        !Replace(STDERR_FILENO, info.error.write)) {
        return false;
    }
    info.realOutput.Attach(info.savedOutput);
    info.realError.Attach(info.savedError);
    // A pipe would be fully buffered: lines are to reach the manager when they are printed. A buffer of our own,
    // because glibc keeps the old mode's end of the buffer when it is given none.
    std::setvbuf(stdout, s_outputBuffer, _IOLBF, sizeof s_outputBuffer);
    return true;
}

void GiveStreamsBack() {
    std::fflush(stdout);
    for (const auto& [saved, standard] :
         {std::pair{g_cmdcvt_info.realInput, STDIN_FILENO}, std::pair{g_cmdcvt_info.savedOutput, STDOUT_FILENO},
          std::pair{g_cmdcvt_info.savedError, STDERR_FILENO}}) {
        if (saved >= 0) {
            dup2(saved, standard);
        }
    }
}

void Release() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    const AmSendLock lock;  // a report may be on its way
    info.realOutput.Attach(-1);
    info.realError.Attach(-1);
    for (t_pipe* pipe : {&info.input, &info.output, &info.error, &info.relayWake, &info.readerWake}) {
        AmClose(pipe->read);
        AmClose(pipe->write);
    }
    AmClose(info.realInput);
    AmClose(info.savedOutput);
    AmClose(info.savedError);
    for (char** buffer : {&info.pendingLine, &info.passThrough, &info.value}) {
        std::free(*buffer);
        *buffer = nullptr;
    }
}

// Says on the process's own standard error why there is no start. Returns the result.
std::int32_t Refuse(const char* reason) {
    Release();
    std::fputs(reason, stderr);
    return kAmInitFailed;
}

void WriteToManager(const char* text) {
    const AmSendLock lock;
    g_cmdcvt_info.realOutput.Write(text);
}

void IgnoreSignal(int) {}

// The application goes on when the manager has closed its end. A handler, because unlike an ignored signal it is
// not handed down to the shells that the application starts.
void SurviveBrokenPipes() {
    struct sigaction action {};
    action.sa_handler = IgnoreSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

bool StartRelay() {
    g_cmdcvt_info.relayRuns = true;
    if (pthread_create(&g_td, nullptr, AmRelayThread, nullptr) == 0) {
        return true;
    }
    g_cmdcvt_info.relayRuns = false;
    g_td = 0;
    return false;
}

void StopRelay() {
    AmWake(g_cmdcvt_info.relayWake);
    pthread_join(g_td, nullptr);
}

}  // namespace

std::int32_t AmClientInit(t_am_client* client) {
    if (client == nullptr) {
        return kAmInitFailed;
    }
    g_record = client;
    std::fprintf(stderr, "am client init [%s]\n", client->name);
    if (!AllocateBuffers()) {
        return Refuse("CMD_CONVERT: calloc error!!!\n\n");
    }
    if (!OpenStandardDescriptors()) {
        return Refuse("CMD_CONVERT: open error!!!\n\n");
    }
    if (!CreatePipes()) {
        return Refuse("CMD_CONVERT: create pipe error!!!\n\n");
    }
    SurviveBrokenPipes();
    if (!TakeStreamsOver()) {
        GiveStreamsBack();
        return Refuse("CMD_CONVERT: dup error!!!\n\n");
    }
    g_i4_done = 0;
    WriteToManager("am client thread start \n");
    if (!StartRelay()) {
        WriteToManager("thread start failed\n");
        GiveStreamsBack();
        Release();
        return kAmInitFailed;
    }
    if (pthread_create(&g_td_in, nullptr, AmReaderThread, nullptr) != 0) {
        WriteToManager("in thread start failed\n");
        GiveStreamsBack();
        g_i4_done = 1;
        StopRelay();
        Release();
        return kAmInitFailed;
    }
    std::atexit(AmClientDrain);
    return 0;
}

std::int32_t AmClientShutdown() {
    if (g_td == 0 || g_i4_done.exchange(1) != 0) {
        return 0;
    }
    if (AmOnReaderThread()) {
        return kAmFailed;
    }
    std::fflush(stdout);
    StopRelay();
    AmWake(g_cmdcvt_info.readerWake);
    pthread_join(g_td_in, nullptr);
    Release();
    return 0;
}

void AmClientDrain() {
    std::fflush(stdout);
    t_cmdcvt_info& info = g_cmdcvt_info;
    if (!info.relayRuns) {
        return;
    }
    const std::uint32_t asked = ++info.drainAsked;
    AmWake(info.relayWake);
    for (int left = kDrainPauses; left > 0 && info.relayRuns && info.drainDone < asked; --left) {
        AmPause();
    }
}

void AmPause() {
    constexpr timespec kPause{0, 10000000};
    nanosleep(&kPause, nullptr);
}

void AmWake(const t_pipe& wake) {
    constexpr char kQuit[] = "quit\n";
    // A full pipe wakes its reader as well.
    [[maybe_unused]] const ssize_t written = write(wake.write, kQuit, std::strlen(kQuit));
}

void AmClose(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}
