// How the set's client libraries reach the middleware: requests with an answer, and a channel of notifications.
#ifndef SIMSET_PLATFORM_CLIENT_H
#define SIMSET_PLATFORM_CLIENT_H

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "simset/wire/Wire.h"

namespace simset {

// Sends `request`, with the name of the calling thread, to the socket that SIMSET_SOCKET names and waits for the
// answer. Any thread may call; calls of several threads do not wait for each other. Returns the answer,
// {"status":111} when the middleware is gone or does not answer for half a minute. Never raises SIGPIPE.
nlohmann::json Ask(nlohmann::json request);

// Ask for those who want the status alone.
std::int32_t AskStatus(nlohmann::json request);

// Tells the middleware that the application broke `rule` (words-with-dashes) with `call`; `expected` says in words
// what would have been right.
void TellViolation(const char* rule, const char* call, const char* expected, nlohmann::json details);

// The bytes of a file in hexadecimal as they travel; null when it cannot be read or is larger than any key.
nlohmann::json FileInHex(const std::string& path);

// Events of the middleware for this process, delivered on threads of its own: several at once, those with the same
// "target" one after the other. Lives as long as the process: never to be destroyed.
class EventChannel {
  public:
    using Deliver = std::function<void(const nlohmann::json& event)>;

    // `ended` is called when no more events come, since the middleware is gone: by each of the threads.
    explicit EventChannel(
        Deliver deliver, std::function<void()> ended = [] {})
        : m_deliver(std::move(deliver)), m_ended(std::move(ended)) {}

    // Opens the channel unless it is open. Returns 0, with `client` set to the name under which requests refer to
    // it, or the status of the failure.
    std::int32_t Open(std::string& client);

  private:
    // What the threads of one connection share.
    struct Events {
        explicit Events(LineSocket opened) : socket(std::move(opened)) {}

        LineSocket socket;
        std::mutex reading;  // before `mutex`: who reads an event also puts it in its place
        std::mutex mutex;
        std::map<std::int64_t, std::deque<nlohmann::json>> waiting;  // by target, for each that is being told
    };

    void Run(Events& events);

    Deliver m_deliver;
    std::function<void()> m_ended;
    std::mutex m_mutex;
    std::shared_ptr<Events> m_events;  // shared with the threads that read; null before the first Open
    std::string m_client;
    std::uint64_t m_opened = 0;
};

}  // namespace simset

#endif
