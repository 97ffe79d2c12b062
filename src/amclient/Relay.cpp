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

enum Place : std::size_t { kOutput, kError, kWake, kRealOutput, kRealError, kPlaces };

bool HasBacklog(zel::ManagerStream& stream) {
    const AmSendLock lock;
    return stream.HasBacklog();
}

bool IsReadable(const pollfd& place) {
    return (place.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0;
}

// One read from a pipe of the application's; the end of its data closes it.
void RelayPiece(int& pipe, zel::ManagerStream& manager) {
    std::array<char, kAmReadBuffer> text{};
    const ssize_t got = read(pipe, text.data(), text.size() - 1);
    if (got > 0) {
        if (g_record->logRelay == 1) {
            const AmSendLock lock;
            manager.Write({text.data(), static_cast<std::size_t>(got)});
        }
    } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
        AmClose(pipe);
    }
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
int WaitForWork(std::array<pollfd, kPlaces>& places, int timeout) {
    t_cmdcvt_info& info = g_cmdcvt_info;
    const bool outputWaits = HasBacklog(info.realOutput);
    const bool errorWaits = HasBacklog(info.realError);
    places[kOutput] = {info.output.read, POLLIN, 0};
    places[kError] = {info.error.read, POLLIN, 0};
    places[kWake] = {info.relayWake.read, POLLIN, 0};
    places[kRealOutput] = {outputWaits ? info.savedOutput : -1, POLLOUT, 0};
    places[kRealError] = {errorWaits ? info.savedError : -1, POLLOUT, 0};
    return poll(places.data(), places.size(), timeout);
}

void RelayWhatIsReady(const std::array<pollfd, kPlaces>& places) {
    t_cmdcvt_info& info = g_cmdcvt_info;
    if (places[kWake].revents != 0) {
        EmptyWakePipe(info.relayWake.read);
    }
    if (places[kRealOutput].revents != 0) {
        FlushBacklog(info.realOutput);
    }
    if (places[kRealError].revents != 0) {
        FlushBacklog(info.realError);
    }
    if (IsReadable(places[kOutput])) {
        RelayPiece(info.output.read, info.realOutput);
    }
    if (IsReadable(places[kError])) {
        RelayPiece(info.error.read, info.realError);
    }
}

// What was printed before the stop still goes out, as long as the manager takes it. An application that prints on
// and a manager that does not read do not keep the relay from ending.
void RelayLastWords() {
    const auto end = std::chrono::steady_clock::now() + kLastWords;
    std::array<pollfd, kPlaces> places;
    while (std::chrono::steady_clock::now() < end) {
        const bool waits = HasBacklog(g_cmdcvt_info.realOutput) || HasBacklog(g_cmdcvt_info.realError);
        if (WaitForWork(places, waits ? kLastPauseMilliseconds : 0) <= 0 && !waits) {
            return;
        }
        RelayWhatIsReady(places);
    }
}

void Relay() {
    t_cmdcvt_info& info = g_cmdcvt_info;
    std::array<pollfd, kPlaces> places;
    while (g_i4_done == 0 && (info.output.read >= 0 || info.error.read >= 0)) {
        const std::uint32_t asked = info.drainAsked;
        const bool drains = asked != info.drainDone && !HasBacklog(info.realOutput) && !HasBacklog(info.realError);
        const int ready = WaitForWork(places, drains ? 0 : kForever);
        if (ready < 0 && errno != EINTR) {
            return;
        }
        if (ready == 0) {
            info.drainDone = asked;
        } else if (ready > 0) {
            RelayWhatIsReady(places);
        }
    }
    RelayLastWords();
}

}  // namespace

void* AmRelayThread(void*) {
    Relay();
    g_cmdcvt_info.relayRuns = false;
    return nullptr;
}
