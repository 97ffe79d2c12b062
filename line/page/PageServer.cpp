#include "page/PageServer.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "page/PageText.h"
#include "store/Digest.h"
#include "wire/Error.h"
#include "wire/Json.h"

namespace zelline {
namespace {

constexpr std::size_t kThreads = 40;     // one for each request at a time, and each page that is open
constexpr int kMostPages = 24;           // that are open at a time: others still get their answers
constexpr std::size_t kMostBody = 4096;  // bytes
constexpr std::size_t kNonceBytes = 16;
constexpr Millis kLook{500};  // for the end, and for a browser that has gone
constexpr std::chrono::seconds kSignOfLife{10};
constexpr Millis kLastWord{2000};  // for the pages to be told how the units ended, when the station ends

// The host of "host:port" or "[host]:port"; the port may be missing.
std::string HostNamed(const std::string& text) {
    if (!text.empty() && text.front() == '[') {
        const auto end = text.find(']');
        return end == std::string::npos ? std::string() : text.substr(1, end - 1);
    }
    return text.substr(0, text.find(':'));
}

// Only names can be made to lead elsewhere; "localhost" is the browser's own.
bool IsAddress(const std::string& host) {
    in6_addr ignored{};
    return host == "localhost" || ::inet_pton(AF_INET, host.c_str(), &ignored) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), &ignored) == 1;
}

// Takes as long for any text of the same length.
bool IsSameText(const std::string& given, const std::string& wanted) {
    unsigned difference = given.size() == wanted.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size() && i < wanted.size(); ++i) {
        difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(wanted[i]);
    }
    return difference == 0;
}

void Fill(std::string& page, const std::string& mark, const std::string& text) {
    for (auto at = page.find(mark); at != std::string::npos; at = page.find(mark, at + text.size())) {
        page.replace(at, mark.size(), text);
    }
}

void Refuse(httplib::Response& answer, int status, const char* words) {
    answer.status = status;
    answer.set_content(std::string(words) + "\n", "text/plain; charset=utf-8");
}

// The text under `key` of the body, which is an object; empty for anything else.
std::string TextIn(const httplib::Request& request, const char* key) {
    const Json object = Json::parse(request.body, nullptr, false);
    const bool has = object.is_object() && object.contains(key) && object[key].is_string();
    return has ? object[key].get<std::string>() : std::string();
}

// The number under `key`; 0, which no question has, for anything else.
std::uint64_t NumberIn(const httplib::Request& request, const char* key) {
    const Json object = Json::parse(request.body, nullptr, false);
    const bool has = object.is_object() && object.contains(key) && object[key].is_number_unsigned();
    return has ? object[key].get<std::uint64_t>() : 0;
}

}  // namespace

class PageServer::Server {
  public:
    explicit Server(Station& station) : m_station(station), m_place(station.File().page) {
        m_http.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
        m_http.set_payload_max_length(kMostBody);
        m_http.set_tcp_nodelay(true);
        // Without SO_REUSEPORT, which would let a second station share the address.
        m_http.set_socket_options([](int socket) {
            const int yes = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        m_http.set_default_headers({{"X-Content-Type-Options", "nosniff"},
                                    {"X-Frame-Options", "DENY"},
                                    {"Referrer-Policy", "no-referrer"},
                                    {"Cross-Origin-Opener-Policy", "same-origin"},
                                    {"Cross-Origin-Resource-Policy", "same-origin"},
                                    {"Cache-Control", "no-store"}});
        m_http.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& answer) {
            return IsRefused(request, answer) ? httplib::Server::HandlerResponse::Handled
                                              : httplib::Server::HandlerResponse::Unhandled;
        });
        AddRoutes();
        Listen();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() {
        m_ending = true;
        // Pages are told the last that there is, which a server that was stopped would not do any more.
        const auto end = std::chrono::steady_clock::now() + kLastWord;
        while (m_pages > 0 && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(kLastWord / 100);
        }
        m_http.stop();
        m_thread.join();
    }

    std::string Url() const {
        const bool isLong = m_place.host.find(':') != std::string::npos;
        return fmt::format("http://{}{}{}:{}/{}{}", isLong ? "[" : "", m_place.host, isLong ? "]" : "", m_port,
                           m_place.token.empty() ? "" : "?token=", m_place.token);
    }

  private:
    void Listen() {
        m_port = m_place.port;
        const bool bound = m_place.port == 0 ? (m_port = m_http.bind_to_any_port(m_place.host)) > 0
                                             : m_http.bind_to_port(m_place.host, m_place.port);
        if (!bound) {
            Fail(Exit::Unusable,
                 "the page cannot be at {}, port {}: another program has it, or this machine has no such address",
                 m_place.host, m_place.port);
        }
        m_thread = std::thread([this] { m_http.listen_after_bind(); });
        while (!m_http.is_running()) {  // what is told to stop before that goes on
            std::this_thread::yield();
        }
    }

    // Judges a request before anything else looks at it.
    bool IsRefused(const httplib::Request& request, httplib::Response& answer) const {
        const std::string host = request.get_header_value("Host");
        const std::string origin = request.get_header_value("Origin");
        const std::string site = request.get_header_value("Sec-Fetch-Site");
        const bool isPage = request.path == "/";
        const bool acts = request.method != "GET" && request.method != "HEAD";
        if (request.get_header_value_count("Host") != 1 || !IsAddress(HostNamed(host))) {
            Refuse(answer, 421, "The page is reached by its address, not by a name.");
        } else if ((!origin.empty() && origin != "http://" + host) ||
                   (!site.empty() && site != "same-origin" && site != "none" && !isPage)) {
            // A link or a bookmark to the page is the user's own doing; it reads the page and nothing else.
            Refuse(answer, 403, "Requests of other pages are refused.");
        } else if (acts && request.get_header_value("Content-Type") != "application/json") {
            Refuse(answer, 415, "What acts is sent as application/json.");
        } else if (!isPage && !m_place.token.empty() &&
                   !IsSameText(
                       acts ? request.get_header_value("X-Zelline-Token") : request.get_param_value("token"),
                       m_place.token)) {
            Refuse(answer, 403, "The token is missing or wrong: it stands in the station's file.");
        } else {
            return false;
        }
        return true;
    }

    void AddRoutes() {
        m_http.Get("/", [this](const httplib::Request&, httplib::Response& answer) { SendPage(answer); });
        m_http.Get("/events", [this](const httplib::Request&, httplib::Response& answer) { SendEvents(answer); });
        m_http.Post("/scan", [this](const httplib::Request& request, httplib::Response& answer) {
            const ScanReply reply = m_station.Scan(TextIn(request, "text"));
            const Json object = {{"reply", ReplyWord(reply.kind)}, {"slot", reply.slot}, {"unit", reply.unit}};
            answer.set_content(JsonLine(object), "application/json");
        });
        m_http.Post("/answer", [this](const httplib::Request& request, httplib::Response& answer) {
            const bool taken = m_station.AnswerQuestion(TextIn(request, "slot"), NumberIn(request, "question"),
                                                        TextIn(request, "text"));
            answer.set_content(taken ? R"({"taken":true})" : R"({"taken":false})", "application/json");
        });
        m_http.Post("/forget", [this](const httplib::Request&, httplib::Response& answer) {
            m_station.Forget();
            answer.set_content("{}", "application/json");
        });
        m_http.Post("/stop", [this](const httplib::Request& request, httplib::Response& answer) {
            const bool stopped = m_station.StopUnit(TextIn(request, "slot"));
            answer.set_content(stopped ? R"({"stopped":true})" : R"({"stopped":false})", "application/json");
        });
    }

    void SendPage(httplib::Response& answer) const {
        const std::string nonce = RandomHex(kNonceBytes);
        std::string page(PageText());
        Fill(page, "@NONCE@", nonce);
        Fill(page, "@LANGUAGE@", m_place.language.empty() ? std::string(PageLanguages()[0]) : m_place.language);
        // What a browser may do with it: run its own script and style, ask this server, and no more.
        answer.set_header("Content-Security-Policy",
                          fmt::format("default-src 'none'; script-src 'nonce-{0}'; style-src 'nonce-{0}'; img-src "
                                      "data:; connect-src 'self'; form-action 'none'; base-uri 'none'; "
                                      "frame-ancestors 'none'",
                                      nonce));
        answer.set_content(page, "text/html; charset=utf-8");
    }

    void SendEvents(httplib::Response& answer) {
        if (++m_pages > kMostPages) {
            --m_pages;
            Refuse(answer, 503, "Too many pages are open.");
            return;
        }
        struct Follower {
            std::uint64_t since = 0;
            std::chrono::steady_clock::time_point said;
        };
        const auto follower = std::make_shared<Follower>();
        answer.set_chunked_content_provider(
            "text/event-stream",
            [this, follower](std::size_t, httplib::DataSink& sink) {
                const bool last = m_ending;
                const Board::News news = m_station.Shown().Await(follower->since, last ? Millis(0) : kLook);
                const auto now = std::chrono::steady_clock::now();
                std::string text;
                for (const Json& object : news.objects) {
                    text += "data: " + JsonLine(object) + "\n\n";
                }
                if (text.empty() && now - follower->said > kSignOfLife) {
                    text = ":\n\n";
                }
                follower->since = news.last;
                if (text.empty()) {
                    return !last && sink.is_writable();
                }
                follower->said = now;
                return sink.write(text.data(), text.size()) && !last;
            },
            [this](bool) { --m_pages; });
    }

    Station& m_station;
    const PagePlace& m_place;
    httplib::Server m_http;
    int m_port = 0;
    std::atomic<bool> m_ending = false;
    std::atomic<int> m_pages = 0;
    std::thread m_thread;
};

PageServer::PageServer(Station& station) {
    const std::string& language = station.File().page.language;
    const auto& known = PageLanguages();
    if (!language.empty() && std::find(known.begin(), known.end(), language) == known.end()) {
        Fail(Exit::Unusable, "the page does not speak '{}'; there are {}", language, fmt::join(known, ", "));
    }
    m_server = std::make_unique<Server>(station);
}

PageServer::~PageServer() = default;

std::string PageServer::Url() const {
    return m_server->Url();
}

}  // namespace zelline
