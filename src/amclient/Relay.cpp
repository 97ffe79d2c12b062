// The output relay: what the application prints, to the manager.
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>

#include "amclient/AmClientState.h"

namespace {

constexpr int kForever = -1;
constexpr std::chrono::milliseconds kLastWords{1000};
constexpr int kLastPauseMilliseconds = 100;
constexpr int kRetryMilliseconds = 100;  // before a stream that took nothing is tried again
constexpr int kPiecesAtOnce = 1000;      // more than a pipe holds

enum Place : std::size_t { Output, Error, Wake, RealOutput, RealError, Places };

bool HasBacklog(zel::ManagerStream& stream) {
    const AmSendLock lock;
    return stream.HasBacklog();
}

bool IsStalled(zel::ManagerStream& stream) {
    const AmSendLock lock;
    return stream.IsStalled();
}

bool IsReadable(const pollfd& place) {
    return (place.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0;
}

// One read from a pipe of the application's; the end of its data closes it. Whether there was something.
bool RelayPiece(int& pipe, zel::ManagerStream& manager) {
    std::array<char, kAmReadBuffer> text{};
    const ssize_t got = pipe >= 0 ? read(pipe, text.data(), text.size() - 1) : -1;
    if (got == 0) {
        AmClose(pipe);
    }
    if (got <= 0) {
        return false;
    }
    if (g_record->logRelay == 1) {
        const AmSendLock lock;
        manager.Write({text.data(), static_cast<std::size_t>(got)});
    }
    return true;
}

void FlushBacklog(zel::ManagerStream& manager) {
    const AmSendLock lock;
    manager.Flush();
}

void EmptyWakePipe(int pipe) {
    std::array<char, kAmReadBuffer> words{};
    // The result does not matter: any byte says no more than that there is something to look at.
    [[maybe_unused]] const ssize_t got = read(pipe, words.data(), words.size());
}

// Waits until there is something to do. Returns poll's result.
int WaitForWork(std::array<pollfd, Places>& places, int timeout) {
    t_cmdcvt_info& info = g_cmdcvt_info;
    const bool outputStalls = IsStalled(info.realOutput);
    const bool errorStalls = IsStalled(info.realError);
    const bool outputWaits = HasBacklog(info.realOutput) && !outputStalls;
    const bool errorWaits = HasBacklog(info.realError) && !errorStalls;
    places[Output] = {info.output.read, POLLIN, 0};
    places[Error] = {info.error.read, POLLIN, 0};
    places[Wake] = {info.relayWake.read, POLLIN, 0};
    places[RealOutput] = {outputWaits ? info.savedOutput : -1, POLLOUT, 0};
    places[RealError] = {errorWaits ? info.savedError : -1, POLLOUT, 0};
    if ((outputStalls || errorStalls) && timeout == kForever) {
        timeout = kRetryMilliseconds;
    }
    return poll(places.data(), places.size(), timeout);
}

void RelayWhatIsReady(const std::array<pollfd, Places>& places) {
    t_cmdcvt_info& info = g_cmdcvt_info;
    if (places[Wake].revents != 0) {
        EmptyWakePipe(info.relayWake.read);
    }
    if (places[RealOutput].revents != 0) {
        FlushBacklog(info.realOutput);
    }
    if (places[RealError].revents != 0) {
        FlushBacklog(info.realError);
    }
    if (IsReadable(places[Output])) {
        RelayPiece(info.output.read, info.realOutput);
    }
    if (IsReadable(places[Error])) {
        RelayPiece(info.error.read, info.realError);
    }
}

void FlushBacklogs() {
    FlushBacklog(g_cmdcvt_info.realOutput);
    FlushBacklog(g_cmdcvt_info.realError);
}

// Takes what is there without being told, from the pipes, which do not block. Whether there was something.
bool RelayWhatIsThere() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    FlushBacklogs();
    EmptyWakePipe(info.relayWake.read);
    int pieces = 0;
    while (pieces < kPiecesAtOnce && RelayPiece(info.output.read, info.realOutput)) {
        ++pieces;
    }
    while (pieces < kPiecesAtOnce && RelayPiece(info.error.read, info.realError)) {
        ++pieces;
    }
    return pieces > 0;
}

// One wait, of at most `timeout` milliseconds, and the work that it was for. Whether there was none.
bool RelayOnce(int timeout) {
    std::array<pollfd, Places> places;
    const int ready = WaitForWork(places, timeout);
    if (ready > 0) {
        RelayWhatIsReady(places);
        return false;
    }
    if (ready == 0) {
        FlushBacklogs();
        return true;
    }
    if (errno == EINTR) {
        return false;
    }
    // Short of memory, for example. Whoever prints must not wait until it has passed.
    AmPause();
    return !RelayWhatIsThere();
}

bool HasBacklog() {
    return HasBacklog(g_cmdcvt_info.realOutput) || HasBacklog(g_cmdcvt_info.realError);
}

// What was printed before the stop still goes out, as long as the manager takes it. An application that prints on
// and a manager that does not read do not keep the relay from ending.
void RelayLastWords() {
    const auto end = std::chrono::steady_clock::now() + kLastWords;
    while (std::chrono::steady_clock::now() < end) {
        const bool waits = HasBacklog();
        if (RelayOnce(waits ? kLastPauseMilliseconds : 0) && !waits) {
            return;
        }
    }
}

void Relay() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    while (g_i4_done == 0 && (info.output.read >= 0 || info.error.read >= 0)) {
        const std::uint32_t asked = info.drainAsked;
        const bool drains = asked != info.drainDone && !HasBacklog();
        if (RelayOnce(drains ? 0 : kForever) && drains) {
            info.drainDone = asked;
        }
    }
    RelayLastWords();
    // Nobody reads any more: whoever prints on gets an error and does not wait.
    AmClose(info.output.read);
    AmClose(info.error.read);
}

}  // namespace

void* AmRelayThread(void*) {
    Relay();
    g_cmdcvt_info.relayRuns = false;
    return nullptr;
}
