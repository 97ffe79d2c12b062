#include "simset/view/View.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "simset/base/Errors.h"
#include "simset/base/Numbers.h"
#include "simset/view/Page.h"

namespace simset {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;

constexpr auto kIdle = 60s;      // a connection without a request ends
constexpr auto kPatience = 10s;  // for the rest of a request that has begun
constexpr auto kAwait = 250ms;   // how often a stream looks whether anybody reads it
constexpr auto kFarewell = 500ms;
constexpr auto kSignOfLife = 15s;
constexpr auto kPictureAge = 400ms;  // a younger picture serves other pages as well
constexpr int kBacklog = 64;
constexpr std::size_t kRowsAtOnce = 1000;
constexpr std::size_t kVerbsAtOnce = 64;

union Address {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
    sockaddr_storage storage;
};

// Listens at `address`, whose port it sets to the one that it got.
Descriptor ListenOn(ViewAddress& address) {
    Address name{};
    const bool isV6 = ::inet_pton(AF_INET6, address.host.c_str(), &name.v6.sin6_addr) == 1;
    socklen_t length = isV6 ? sizeof name.v6 : sizeof name.v4;
    name.storage.ss_family = isV6 ? AF_INET6 : AF_INET;
    if (isV6) {
        name.v6.sin6_port = htons(address.port);
    } else {
        ::inet_pton(AF_INET, address.host.c_str(), &name.v4.sin_addr);
        name.v4.sin_port = htons(address.port);
    }
    Descriptor socket(::socket(name.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    // Connections of the run before, which the kernel still remembers, do not stand in the way.
    if (!socket || ::setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        ::bind(socket.Get(), &name.any, length) != 0 || ::listen(socket.Get(), kBacklog) != 0 ||
        ::getsockname(socket.Get(), &name.any, &length) != 0) {
        throw SystemError(address.Text());
    }
    address.port = ntohs(isV6 ? name.v6.sin6_port : name.v4.sin_port);
    return socket;
}

std::string Dump(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

HttpAnswer Plain(int status, const std::string& text) {
    HttpAnswer answer;
    answer.status = status;
    answer.body = text + "\n";
    return answer;
}

bool HasLeft(int socket) {
    pollfd poll{socket, POLLRDHUP, 0};
    return ::poll(&poll, 1, 0) != 0;
}

bool Send(int socket, const std::string& text) {
    return SendAll(socket, text.data(), text.size());
}

// Verbs that write files of the PC or wait for long: the page has its own ways for these.
bool IsForThePage(const Words& words) {
    const bool writesFiles =
        words[0] == "screenshot" || (words[0] == "usb" && words.size() > 1 && words[1] == "read");
    const bool waits = words[0] == "wait" || std::find(words.begin(), words.end(), "--follow") != words.end();
    return !writesFiles && !waits;
}

bool SendRows(int socket, const std::vector<TraceRow>& rows) {
    for (std::size_t at = 0; at < rows.size(); at += kRowsAtOnce) {
        const std::size_t end = std::min(at + kRowsAtOnce, rows.size());
        std::string event = "event: rows\nid: " + std::to_string(rows[end - 1].seq) + "\n";
        for (std::size_t i = at; i < end; ++i) {
            event += "data: " + rows[i].line + "\n";
        }
        if (!Send(socket, event + "\n")) {
            return false;
        }
    }
    return true;
}

const PageFile* FileAt(const std::string& path) {
    const std::vector<PageFile>& files = PageFiles();
    const auto found =
        std::find_if(files.begin(), files.end(), [&path](const PageFile& file) { return file.path == path; });
    return found == files.end() ? nullptr : &*found;
}

// Where the page is to be found, for people: a browser cannot open "any address".
std::string UrlOf(ViewAddress address, const std::string& token) {
    if (address.host == "0.0.0.0") {
        address.host = "127.0.0.1";
    } else if (address.host == "::") {
        address.host = "::1";
    }
    return "http://" + address.Text() + "/" + (token.empty() ? "" : "?token=" + token);
}

}  // namespace

View::View(const ViewOptions& options, Parts parts)
    : m_parts(std::move(parts)),
      m_gate(options.token),
      m_server(
          [this, &options] {
              ViewAddress address = options.address;
              Descriptor listener = ListenOn(address);
              m_url = UrlOf(address, options.token);
              return listener;
          }(),
          [this](int socket) { Serve(socket); }) {}

View::~View() {
    m_ending = true;
    {
        std::unique_lock lock(m_streamMutex);
        m_streamEnded.wait_for(lock, kFarewell, [this] { return m_streams == 0; });
    }
    m_server.Stop(SHUT_RDWR);
}

void View::Serve(int socket) {
    HttpReader reader(socket);
    HttpRequest request;
    for (;;) {
        switch (reader.Next(request, kIdle, kPatience)) {
            case HttpReader::Outcome::Request:
                try {
                    if (!Answer(socket, request)) {
                        return;
                    }
                } catch (const std::exception&) {
                    return;  // no memory for an answer
                }
                break;
            case HttpReader::Outcome::TooLarge:
            case HttpReader::Outcome::Malformed:
                Send(socket, HttpHead(Plain(400, ""), 0, false));
                return;
            case HttpReader::Outcome::Ended:
                return;
        }
    }
}

bool View::Answer(int socket, const HttpRequest& request) {
    const bool isFile = FileAt(request.path) != nullptr;
    std::optional<HttpAnswer> answer = m_gate.Refusal(request, !isFile);
    if (!answer && request.path == "/events" && request.method == "GET") {
        Stream(socket, request);
        return false;
    }
    if (!answer) {
        answer = Route(request);
    }
    const bool goOn = request.keepAlive && !m_ending;
    std::string bytes = HttpHead(*answer, answer->body.size(), goOn);
    if (request.method != "HEAD") {
        bytes += answer->body;
    }
    return Send(socket, bytes) && goOn;
}

HttpAnswer View::Route(const HttpRequest& request) {
    const bool reads = request.method == "GET" || request.method == "HEAD";
    if (const PageFile* const file = FileAt(request.path)) {
        if (!reads) {
            return Plain(405, "Only GET.");
        }
        return {200, std::string(file->type), std::string(file->content), {}};
    }
    if (request.path == "/panel.png") {
        return reads ? Panel(request) : Plain(405, "Only GET.");
    }
    if (request.path == "/ctl") {
        return request.method == "POST" ? CarryOut(request.body) : Plain(405, "Only POST.");
    }
    if (request.path == "/events") {
        return Plain(405, "Only GET.");
    }
    return Plain(404, "There is nothing here.");
}

void View::Stream(int socket, const HttpRequest& request) {
    // A browser that connects again says itself where it was.
    const std::string again = request.Header("last-event-id");
    std::uint64_t since = ParseNumber<std::uint64_t>(again.empty() ? request.Query("since") : again).value_or(0);
    const std::uint64_t last = m_parts.trace.Last();
    if (since > last) {
        since = 0;  // of another set's trace
    }
    const json hello{{"state", m_parts.state}, {"last", last}, {"since", since}};
    HttpAnswer head;
    head.type = "text/event-stream";
    if (!Send(socket, HttpHead(head, std::nullopt, false) + "event: hello\ndata: " + Dump(hello) + "\n\n")) {
        return;
    }
    {
        const std::lock_guard lock(m_streamMutex);
        ++m_streams;
    }
    SendTrace(socket, since);
    const std::lock_guard lock(m_streamMutex);
    --m_streams;
    m_streamEnded.notify_all();
}

void View::SendTrace(int socket, std::uint64_t since) {
    for (Clock::time_point said = Clock::now();;) {
        const bool closed = m_ending || m_parts.trace.Closed();
        const std::vector<TraceRow> rows = m_parts.trace.Await(since, kAwait);
        if (!rows.empty()) {
            if (!SendRows(socket, rows)) {
                return;
            }
            since = rows.back().seq;
            said = Clock::now();
        } else if (closed) {
            Send(socket, "event: ended\ndata: \n\n");
            return;
        } else if (HasLeft(socket)) {
            return;
        } else if (Clock::now() - said > kSignOfLife) {
            if (!Send(socket, ":\n\n")) {
                return;
            }
            said = Clock::now();
        }
    }
}

HttpAnswer View::CarryOut(const std::string& body) const {
    std::vector<Words> verbs;
    try {
        json::parse(body).get_to(verbs);
    } catch (const json::exception&) {
        return Plain(400, "Wanted: a list of verbs, each a list of words.");
    }
    if (verbs.size() > kVerbsAtOnce) {
        return Plain(400, "Too many verbs at once.");
    }
    json answers = json::array();
    for (const Words& words : verbs) {
        try {
            if (words.empty() || !IsForThePage(words)) {
                throw ControlError("not from the page: use simset ctl");
            }
            answers.push_back({{"ok", true}, {"out", m_parts.control(words)}});
        } catch (const std::exception& error) {
            answers.push_back({{"ok", false}, {"error", error.what()}});
        }
    }
    return {200, "application/json", Dump(answers), {}};
}

HttpAnswer View::Panel(const HttpRequest& request) {
    const std::lock_guard lock(m_pictureMutex);
    if (m_pictureTag.empty() || Clock::now() - m_pictureTime > kPictureAge) {
        try {
            const Screenshot screenshot = m_parts.screenshot();
            const std::string tag = '"' + std::to_string(screenshot.Digest()) + '"';
            if (tag != m_pictureTag) {
                m_picture = screenshot.Png();
                m_pictureTag = tag;
            }
            m_pictureTime = Clock::now();
        } catch (const std::exception& error) {
            m_pictureTag.clear();
            return Plain(404, error.what());
        }
    }
    HttpAnswer answer{200, "image/png", m_picture, {{"ETag", m_pictureTag}}};
    if (request.Header("if-none-match") == m_pictureTag) {
        answer.status = 304;
        answer.body.clear();
    }
    return answer;
}

}  // namespace simset
