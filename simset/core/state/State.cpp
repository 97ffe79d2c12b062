#include "simset/core/state/State.h"

#include <sqlite3.h>

#include <utility>

#include "simset/base/Errors.h"

namespace simset {

namespace {

constexpr int kSchemaVersion = 1;
constexpr int kBusyMilliseconds = 5000;

std::string Advice(int code) {
    switch (code) {
        case SQLITE_FULL:
        case SQLITE_IOERR:
            return "free some space on that disk and try again";
        case SQLITE_READONLY:
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
            return "make the state folder and its files writable for you, or name another folder";
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
            return "the file is damaged: move it away to begin with a factory-new set";
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return "end the program that holds it open";
        default:
            return "check the state folder";
    }
}

// Runs `work` and turns the database's errors into ours.
template <typename Work>
auto Guard(const std::filesystem::path& file, Work&& work) -> decltype(work()) {
    try {
        return work();
    } catch (const SQLite::Exception& error) {
        throw StateError("the state " + file.string() + " cannot be used: " + error.what() + "; " +
                         Advice(error.getErrorCode()));
    }
}

}  // namespace

State::State(const std::filesystem::path& file) : m_file(file) {
    Guard(m_file, [this] {
        m_database.emplace(m_file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, kBusyMilliseconds);
        // The write-ahead log without a sync per change: safe against the end of the process, which is what a
        // simulated set meets, and quick enough not to show in the application's timing.
        m_database->exec("PRAGMA journal_mode=WAL");
        m_database->exec("PRAGMA synchronous=NORMAL");
        const int version = m_database->execAndGet("PRAGMA user_version").getInt();
        if (version > kSchemaVersion) {
            throw StateError("the state " + m_file.string() +
                             " was made by a newer simset: use that one, or name another folder");
        }
        if (version < kSchemaVersion) {
            SQLite::Transaction transaction(*m_database);
            m_database->exec(
                "CREATE TABLE entries(section TEXT NOT NULL, name TEXT NOT NULL, value BLOB NOT NULL, "
                "PRIMARY KEY(section, name)) WITHOUT ROWID");
            m_database->exec(
                "CREATE TABLE blobs(name TEXT PRIMARY KEY, digest INTEGER NOT NULL, note TEXT NOT NULL, "
                "bytes BLOB NOT NULL)");
            m_database->exec("PRAGMA user_version=1");
            transaction.commit();
        }
    });
}

std::map<std::string, std::string> State::Load(const std::string& section) {
    return Guard(m_file, [&] {
        std::map<std::string, std::string> values;
        SQLite::Statement query(*m_database, "SELECT name, value FROM entries WHERE section=?");
        query.bind(1, section);
        while (query.executeStep()) {
            values.emplace(query.getColumn(0).getString(), query.getColumn(1).getString());
        }
        return values;
    });
}

void State::Put(const std::string& section, const std::string& name, const std::string& value) {
    Guard(m_file, [&] {
        SQLite::Statement statement(*m_database,
                                    "INSERT OR REPLACE INTO entries(section, name, value) VALUES(?,?,?)");
        statement.bind(1, section);
        statement.bind(2, name);
        statement.bind(3, value.data(), static_cast<int>(value.size()));
        statement.exec();
    });
}

void State::Erase(const std::string& section, const std::string& name) {
    Guard(m_file, [&] {
        SQLite::Statement statement(*m_database, "DELETE FROM entries WHERE section=? AND name=?");
        statement.bind(1, section);
        statement.bind(2, name);
        statement.exec();
    });
}

void State::PutBlob(const std::string& name, const Blob& blob) {
    Guard(m_file, [&] {
        SQLite::Statement statement(*m_database,
                                    "INSERT OR REPLACE INTO blobs(name, digest, note, bytes) VALUES(?,?,?,?)");
        statement.bind(1, name);
        statement.bind(2, static_cast<std::int64_t>(blob.digest));
        statement.bind(3, blob.note);
        statement.bind(4, blob.bytes.data(), static_cast<int>(blob.bytes.size()));
        statement.exec();
    });
}

std::optional<State::Blob> State::GetBlob(const std::string& name) {
    return Guard(m_file, [&]() -> std::optional<Blob> {
        SQLite::Statement query(*m_database, "SELECT digest, note, bytes FROM blobs WHERE name=?");
        query.bind(1, name);
        if (!query.executeStep()) {
            return std::nullopt;
        }
        return Blob{query.getColumn(2).getString(), static_cast<std::uint32_t>(query.getColumn(0).getInt64()),
                    query.getColumn(1).getString()};
    });
}

std::map<std::string, State::Blob> State::LoadBlobs() {
    return Guard(m_file, [&] {
        std::map<std::string, Blob> blobs;
        SQLite::Statement query(*m_database, "SELECT name, digest, note, bytes FROM blobs");
        while (query.executeStep()) {
            blobs.emplace(
                query.getColumn(0).getString(),
                Blob{query.getColumn(3).getString(), static_cast<std::uint32_t>(query.getColumn(1).getInt64()),
                     query.getColumn(2).getString()});
        }
        return blobs;
    });
}

void State::EraseBlobs() {
    Guard(m_file, [&] { m_database->exec("DELETE FROM blobs"); });
}

}  // namespace simset
