#include "simset/platform/Client.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "simset/base/Limits.h"
#include "simset/base/Status.h"
#include "simset/server/UnixServer.h"
#include "simset/wire/Wire.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr char kSocketVariable[] = "SIMSET_SOCKET";
constexpr std::time_t kAnswerSeconds = 30;
constexpr int kNotifiers = 3;
constexpr std::size_t kThreadNameBytes = 16;

LineSocket Connect() {
    const char* const path = std::getenv(kSocketVariable);
    Descriptor fd = ConnectTo(path == nullptr ? "" : path);
    if (!fd) {
        return {};
    }
    const timeval limit{kAnswerSeconds, 0};
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    return LineSocket(std::move(fd));
}

// Connections that no request is using. A request takes one or makes one, so that none waits for another.
class Pool {
  public:
    std::unique_ptr<LineSocket> Take() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_idle.empty()) {
            return nullptr;
        }
        auto socket = std::move(m_idle.back());
        m_idle.pop_back();
        return socket;
    }

    void Give(std::unique_ptr<LineSocket> socket) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_idle.push_back(std::move(socket));
    }

  private:
    std::mutex m_mutex;
    std::vector<std::unique_ptr<LineSocket>> m_idle;
};

// Kept to the very end: threads of the application may still ask while it exits.
Pool& ThePool() {
    static Pool* const pool = new Pool;
    return *pool;
}

// Whether the other end has gone; the thread that reads may not have noticed yet.
bool HungUp(const LineSocket& socket) {
    pollfd wait{socket.Fd(), POLLRDHUP, 0};
    return ::poll(&wait, 1, 0) > 0;
}

json Gone() {
    return {{"status", kUnreachable}};
}

}  // namespace

json Ask(json request) {
    char thread[kThreadNameBytes] = {};
    ::pthread_getname_np(::pthread_self(), thread, sizeof(thread));
    request["thread"] = thread;
    // A pooled connection may be one of a middleware that has been restarted since: then the next one is tried.
    // What could not be sent whole was not carried out, so nothing happens twice.
    for (auto socket = ThePool().Take();; socket = ThePool().Take()) {
        const bool fresh = socket == nullptr;
        if (fresh) {
            socket = std::make_unique<LineSocket>(Connect());
        }
        if (!*socket || !socket->Send(request)) {
            if (fresh) {
                return Gone();
            }
            continue;
        }
        std::string line;
        if (!socket->Receive(line)) {
            return Gone();
        }
        auto reply = DecodeLine(line);
        if (!reply || !reply->is_object() || !reply->contains("status") ||
            !(*reply)["status"].is_number_integer()) {
            return Gone();
        }
        ThePool().Give(std::move(socket));
        return std::move(*reply);
    }
}

std::int32_t AskStatus(json request) {
    return Ask(std::move(request))["status"].get<std::int32_t>();
}

void TellViolation(const char* rule, const char* call, const char* expected, json details) {
    Ask({{"op", "violation"},
         {"rule", rule},
         {"call", call},
         {"expected", expected},
         {"details", std::move(details)}});
}

json FileInHex(const std::string& path) {
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "re"));
    if (!file) {
        return nullptr;
    }
    std::string bytes;
    char block[16384];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof(block), file.get())) > 0;) {
        bytes.append(block, count);
        if (bytes.size() > kLongestKeyFile) {
            return nullptr;
        }
    }
    return std::ferror(file.get()) != 0 ? json(nullptr) : json(ToHex(bytes));
}

std::int32_t EventChannel::Open(std::string& client) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_events || HungUp(m_events->socket)) {
        m_events.reset();
        auto events = std::make_shared<Events>(LineSocket(Connect()));
        LineSocket& socket = events->socket;
        const std::string name = std::to_string(::getpid()) + '.' +
                                 std::to_string(reinterpret_cast<std::uintptr_t>(this)) + '.' +
                                 std::to_string(++m_opened);
        std::string line;
        if (!socket || !socket.Send({{"op", "hello"}, {"client", name}}) || !socket.Receive(line)) {
            return kUnreachable;
        }
        const auto reply = DecodeLine(line);
        if (!reply || *reply != json{{"status", kOk}}) {
            return kUnreachable;
        }
        const timeval forever{0, 0};
        ::setsockopt(socket.Fd(), SOL_SOCKET, SO_RCVTIMEO, &forever, sizeof(forever));
        try {
            for (int i = 0; i < kNotifiers; ++i) {
                std::thread([this, events] { Run(*events); }).detach();
            }
        } catch (const std::system_error&) {
            return kUnreachable;
        }
        m_events = std::move(events);
        m_client = name;
    }
    client = m_client;
    return kOk;
}

// Whoever reads an event delivers it, unless its target is being told: then it is left to whoever does that.
void EventChannel::Run(Events& events) {
    for (;;) {
        std::int64_t target = 0;
        {
            const std::lock_guard<std::mutex> reading(events.reading);
            std::string line;
            if (!events.socket.Receive(line)) {
                m_ended();
                return;
            }
            auto event = DecodeLine(line);
            if (!event || !event->is_object()) {
                continue;
            }
            const auto given = event->find("target");
            target = given != event->end() && given->is_number_integer() ? given->get<std::int64_t>() : 0;
            const std::lock_guard<std::mutex> lock(events.mutex);
            const bool busy = events.waiting.count(target) != 0;
            events.waiting[target].push_back(std::move(*event));
            if (busy) {
                continue;
            }
        }
        for (;;) {
            json event;
            {
                const std::lock_guard<std::mutex> lock(events.mutex);
                auto& waiting = events.waiting[target];
                if (waiting.empty()) {
                    events.waiting.erase(target);
                    break;
                }
                event = std::move(waiting.front());
                waiting.pop_front();
            }
            try {
                m_deliver(event);
            } catch (const json::exception&) {
                // An event of another shape than ours is none.
            }
        }
    }
}

}  // namespace simset
