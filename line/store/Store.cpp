#include "store/Store.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <soci/postgresql/soci-postgresql.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>

#include "store/Digest.h"
#include "store/Schema.h"
#include "wire/Error.h"

namespace zelline {
namespace {

constexpr int kBusySeconds = 30;  // that a transaction of another process may take
constexpr int kSilentSeconds =
    10;  // of a network that was cut: the system itself would wait for a quarter of an hour
constexpr long kMigrationLock = 0x7A656C6C;

std::string ServerConnection(const std::string& where, std::chrono::seconds time) {
    return where + (where.find('?') == std::string::npos ? '?' : '&') +
           fmt::format("connect_timeout={}&tcp_user_timeout={}&keepalives_idle={}&keepalives_interval=1",
                       time.count(), kSilentSeconds * 1000, kSilentSeconds);
}

// A file that only its owner may read; keys lie in it.
void PrepareFile(const std::string& path) {
    if (path.empty() || path.find('"') != std::string::npos) {
        Fail(Exit::Unusable, "'{}' is no name for a store", path);
    }
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        Fail(Exit::Store, "the store {} cannot be opened: {}", path, std::strerror(errno));
    }
    struct stat about {};
    ::fstat(file, &about);
    ::close(file);
    if (!S_ISREG(about.st_mode)) {
        Fail(Exit::Unusable, "the store {} is no file", path);
    }
    if ((about.st_mode & 077U) != 0) {
        Fail(Exit::Unusable, "the store {} holds keys, and others than its owner may open it: chmod 600 {}", path,
             path);
    }
}

// Errors are told where they are met; the server's library would print them, and notices, as they come as well.
void Quieten(soci::session& sql) {
    const auto* server = static_cast<soci::postgresql_session_backend*>(sql.get_backend());
    ::PQsetNoticeProcessor(
        server->conn_, [](void*, const char*) {}, nullptr);
}

std::string FirstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

}  // namespace

bool IsServer(const std::string& name) {
    return name.rfind("postgresql://", 0) == 0 || name.rfind("postgres://", 0) == 0;
}

std::string WithoutPassword(const std::string& name) {
    const auto scheme = name.find("://");
    const auto at = name.find('@');
    const auto colon = scheme == std::string::npos ? scheme : name.find(':', scheme + 3);
    return at == std::string::npos || colon > at ? name : name.substr(0, colon) + name.substr(at);
}

// Locks beside a file, one byte for each name: the system gives them back when the process ends, however it ends.
class Store::LockFile {
  public:
    explicit LockFile(const std::string& path) : m_file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        if (m_file < 0) {
            Fail(Exit::Store, "{} cannot be opened: {}", path, std::strerror(errno));
        }
    }
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;
    ~LockFile() { ::close(m_file); }

    bool Take(long at) const {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = at;
        lock.l_len = 1;
        return ::fcntl(m_file, F_OFD_SETLK, &lock) == 0;
    }

  private:
    int m_file;
};

// Closes the connection to a server that leaves a statement without its answer for too long: the library, which
// would wait for it for ever, then has an error.
class Store::Watch {
  public:
    Watch(int connection, std::chrono::seconds patience)
        : m_connection(connection), m_patience(patience), m_thread([this] { Run(); }) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        Tell([this] { m_isGone = true; });
        m_thread.join();
    }

    // A statement begins: the one before it has been answered.
    void Begin() {
        Tell([this] { m_end = std::chrono::steady_clock::now() + m_patience; });
    }
    void End() {
        Tell([this] { m_end.reset(); });
    }

  private:
    void Tell(const std::function<void()>& change) {
        const std::lock_guard lock(m_mutex);
        change();
        m_changed.notify_all();
    }
    void Run() {
        for (std::unique_lock lock(m_mutex); !m_isGone;) {
            if (!m_end) {
                m_changed.wait(lock);
            } else if (std::chrono::steady_clock::now() < *m_end) {
                m_changed.wait_until(lock, std::chrono::steady_clock::time_point(*m_end));
            } else {
                ::shutdown(m_connection, SHUT_RDWR);
                m_end.reset();
            }
        }
    }

    const int m_connection;
    const std::chrono::seconds m_patience;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<std::chrono::steady_clock::time_point> m_end;
    bool m_isGone = false;
    std::thread m_thread;
};

// Has a connection's statements watched, all of which it tells its logger of.
class Store::StatementLog : public soci::logger_impl {
  public:
    explicit StatementLog(Watch& watch) : m_watch(watch) {}

    void start_query(const std::string&) override { m_watch.Begin(); }

  private:
    logger_impl* do_clone() const override { return std::make_unique<StatementLog>(m_watch).release(); }

    Watch& m_watch;
};

// While it lives the statements of a connection are watched, if they are at all.
class Store::Watched {
  public:
    explicit Watched(Watch* watch) : m_watch(watch) {}
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    ~Watched() {
        if (m_watch != nullptr) {
            m_watch->End();
        }
    }

  private:
    Watch* m_watch;
};

Store::Store(const std::string& where, const ServerPatience& patience)
    : m_name(where), m_isServer(zelline::IsServer(where)) {
    if (m_isServer) {
        m_name = WithoutPassword(where);
    } else {
        PrepareFile(where);
    }
    try {
        Connect(where, patience);
    } catch (const soci::soci_error& error) {
        Fail(Exit::Store, "the store {} cannot be reached: {}", m_name, FirstLine(error.get_error_message()));
    }
    if (!m_isServer) {
        m_locks = std::make_unique<LockFile>(where + ".lock");
        Set("PRAGMA journal_mode=WAL");
    }
    Do([&](soci::session& sql) {
        if (m_isServer) {  // two tools may make the tables of a new database at the same time
            std::string ignored;
            sql << "SELECT CAST(pg_advisory_xact_lock(:number) AS TEXT)", soci::use(kMigrationLock),
                soci::into(ignored);
        }
        Migrate(sql);
    });
}

Store::~Store() = default;

void Store::Connect(const std::string& where, const ServerPatience& patience) {
    if (!m_isServer) {
        m_sql = std::make_unique<soci::session>(soci::sqlite3,
                                                fmt::format("db=\"{}\" timeout={}", where, kBusySeconds));
        return;
    }
    m_sql = std::make_unique<soci::session>(soci::postgresql, ServerConnection(where, patience.connection));
    if (patience.statement.count() > 0) {
        auto* const server = static_cast<soci::postgresql_session_backend*>(m_sql->get_backend());
        m_watch = std::make_unique<Watch>(::PQsocket(server->conn_), patience.statement);
        m_sql->set_logger(std::make_unique<StatementLog>(*m_watch).release());
    }
    Quieten(*m_sql);
}

// A setting that only makes a file quicker or slower: it does without it while others are at work.
void Store::Set(const char* pragma) {
    try {
        *m_sql << pragma;
    } catch (const soci::soci_error&) {  // what is wrong with the file is told with the first transaction
    }
}

void Store::Undo() {
    try {
        *m_sql << "ROLLBACK";
    } catch (const soci::soci_error&) {  // the connection is gone, and with it the transaction
    }
}

void Store::Do(const std::function<void(soci::session& sql)>& work) {
    const Watched watched(m_watch.get());
    try {
        *m_sql << (m_isServer ? "BEGIN" : "BEGIN IMMEDIATE");
        try {
            work(*m_sql);
            *m_sql << "COMMIT";
        } catch (...) {
            Undo();
            throw;
        }
    } catch (const soci::soci_error& error) {
        const std::string reason = FirstLine(error.get_error_message());
        if (reason.find("not a database") != std::string::npos) {
            Fail(Exit::Unusable, "{} is a file of another kind, and no store", m_name);
        }
        Fail(Exit::Store, "the store {} fails: {}", m_name, reason);
    }
}

void Store::Note(const std::function<void(soci::session& sql)>& work) {
    if (m_isServer) {
        Do(work);
        return;
    }
    Set("PRAGMA synchronous=NORMAL");
    try {
        Do(work);
    } catch (...) {
        Set("PRAGMA synchronous=FULL");
        throw;
    }
    Set("PRAGMA synchronous=FULL");
}

bool Store::Lock(const std::string& name) {
    constexpr std::size_t kDigits = 15;  // 60 bits
    const long number = std::stol(Sha256(name).substr(0, kDigits), nullptr, 16);
    if (!m_isServer) {
        return m_locks->Take(number);
    }
    int taken = 0;
    Do([&](soci::session& sql) {
        sql << "SELECT CASE WHEN pg_try_advisory_lock(:number) THEN 1 ELSE 0 END", soci::use(number),
            soci::into(taken);
    });
    return taken == 1;
}

std::string TimeText() {
    const auto now = std::chrono::system_clock::now();
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(static_cast<std::time_t>(ms / 1000)), ms % 1000);
}

}  // namespace zelline
