// Where the stock of keys and addresses and the records of runs are kept: an SQLite file or a PostgreSQL database.
#ifndef ZELLINE_STORE_STORE_H
#define ZELLINE_STORE_STORE_H

#include <soci/soci.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace zelline {

// Whether the name of a store is that of a server, and not of a file.
bool IsServer(const std::string& name);

// The name of a store without the password that it may have.
std::string WithoutPassword(const std::string& name);

// How long a server may take before it counts as one that cannot be reached.
struct ServerPatience {
    std::chrono::seconds connection{5};  // 2 at least
    std::chrono::seconds statement{0};   // for its answer to one; 0: as long as it takes
};

// One connection to a store. One thread uses it at a time; several processes and threads may each have their own.
class Store {
  public:
    // `where` is a file, which is made when it is missing and readable by its owner alone, or "postgresql://...".
    // Brings the tables up to date. Throws Error: with Exit::Store when it cannot be reached, with Exit::Unusable
    // for a file that is no store, that others may read, or that a newer tool made.
    explicit Store(const std::string& where, const ServerPatience& patience = {});
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    ~Store();

    // Runs `work` in one transaction, which is undone when it throws. No other process sees half of it, and in a
    // file no other writes meanwhile. Throws Error with Exit::Store when the store fails; what `work` throws
    // otherwise goes on as it is.
    void Do(const std::function<void(soci::session& sql)>& work);

    // The same for what need not outlast a power cut, only the end of this process; much quicker in a file.
    void Note(const std::function<void(soci::session& sql)>& work);

    // Takes the name for as long as this object lives; false when another process or object has it.
    bool Lock(const std::string& name);

    // As it was named, without a password.
    const std::string& Name() const { return m_name; }

    bool IsServer() const { return m_isServer; }

    // What ends a SELECT of rows that are changed next, so that several stations each take others at once. Nothing
    // in a file, where a transaction has the store to itself.
    const char* Claiming() const { return m_isServer ? " FOR UPDATE SKIP LOCKED" : ""; }

    // The same for rows that others may be changing: they are waited for.
    std::string Waiting() const { return m_isServer ? " FOR UPDATE" : ""; }

  private:
    class LockFile;
    class StatementLog;
    class Watch;
    class Watched;

    void Connect(const std::string& where, const ServerPatience& patience);
    void Set(const char* pragma);
    void Undo();

    std::string m_name;
    bool m_isServer;
    std::unique_ptr<LockFile> m_locks;  // of a file
    std::unique_ptr<soci::session> m_sql;
    std::unique_ptr<Watch> m_watch;  // of a server, where its statements have a limit
};

// The time, for rows of the store: UTC with milliseconds, such as "2026-05-04T08:15:30.123Z". Such texts sort by
// time.
std::string TimeText();

}  // namespace zelline

#endif
