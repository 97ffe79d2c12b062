// The application manager's way in: command lines on the real standard input, the application's output on the real
// standard output and error, reports as framed lines.
//
// AmClientInit puts pipes in the place of the process's standard streams. The command reader turns the manager's
// lines into calls of the record's callbacks, on its own thread; the output relay copies what the application
// prints to the real streams while the log-relay switch is on. A manager that does not read holds nobody up: up to
// 1 MiB per stream waits for it in memory, what goes beyond is lost.
//
// The room calls the system itself instead of through a seam: what it works on are the descriptors 0, 1 and 2 of
// the process that it is in, and nothing could stand for them. Its tests drive it in a process of its own.
#ifndef ZELFAC_AMCLIENT_AMCLIENT_H
#define ZELFAC_AMCLIENT_AMCLIENT_H

#include <atomic>
#include <cstddef>
#include <cstdint>

// Called with the acknowledgement field, the value and the name, each null when there is none; valid during the
// call. Runs on the command reader.
using AmCallback = void (*)(const char* acknowledgement, const char* value, const char* name);

constexpr std::size_t kAmNameSize = 17;  // 16 characters and the zero

// What the application wants to be told, and how it is called. Empty slots are skipped.
struct t_am_client {
    AmCallback resume = nullptr;
    AmCallback pause = nullptr;
    AmCallback stop = nullptr;
    AmCallback shutdown = nullptr;
    AmCallback suspend = nullptr;
    AmCallback wakeup = nullptr;
    AmCallback command = nullptr;  // every name that is nobody else's
    AmCallback background = nullptr;
    AmCallback foreground = nullptr;
    char name[kAmNameSize] = {};
    std::atomic<std::int32_t> logRelay{0};  // 1 the application's output is relayed, 0 it is swallowed
    AmCallback deviceUiChange = nullptr;
};

extern t_am_client g_am_client;

constexpr std::int32_t kAmSent = 0;
constexpr std::int32_t kAmStopping = 1;
constexpr std::int32_t kAmInitFailed = 2;
constexpr std::int32_t kAmFailed = 3;

// Takes the standard streams over and starts both threads. `client` is kept, not copied. 0, or 2 after a message;
// the streams are then the process's own again. Once per process; main thread.
std::int32_t AmClientInit(t_am_client* client);

// Writes one framed line to the manager; it waits in memory when the manager does not read. 0 sent, 1 the client
// is stopping, 3 failure (no payload, no room, not started). `command` may be null. Any thread.
std::int32_t AmClientSend(const char* command, const char* payload);

// Reports to the manager, by AmClientSend and with its results. `message` may be null. Any thread.
std::int32_t AmClientReportResumed(const char* command, const char* text);
std::int32_t AmClientReportPaused(const char* command, const char* text);
std::int32_t AmClientReportFailed(const char* command, const char* text, std::int32_t code, const char* message);

// Stops both threads; the streams stay taken over. 0, or 3 when called on the command reader itself: then the
// threads end at their next wake-up.
std::int32_t AmClientShutdown();

// Flushes standard output and waits until the real streams have taken what was printed so far, at most 2 s. Runs
// by itself when the process exits; nothing when the relay does not run. Any thread but the relay.
void AmClientDrain();

// Calls the record's callback for `name`, or turns the log-relay switch. `value` and `acknowledgement` may be
// null.
void AmClientDispatch(const char* name, const char* value, const char* acknowledgement);

// What start-up calls for a client named "hello1…" or "hello2…", to try the way to the manager: one reports the
// client as resumed, the other as failed.
void AmClientTestHook1();
void AmClientTestHook2();

#endif
