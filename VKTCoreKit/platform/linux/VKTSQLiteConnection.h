// One open SQLite database that holds a key-value store.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTRecordTable.h"

/// By which a database says that it is a store: "VKTS".
inline constexpr std::uint32_t VKTStoreApplicationID = 0x564B5453;

/// A prepared statement, used again and again.
class VKTSQLiteStatement {
  public:
    VKTSQLiteStatement() = default;
    ~VKTSQLiteStatement() { sqlite3_finalize(statement_); }
    VKTSQLiteStatement(const VKTSQLiteStatement&) = delete;
    VKTSQLiteStatement& operator=(const VKTSQLiteStatement&) = delete;

    int prepare(sqlite3* database, const std::string& sql);
    [[nodiscard]] bool isPrepared() const { return statement_ != nullptr; }

    /// The bytes must stay until `reset`.
    int bindBytes(int index, std::string_view bytes);
    int bindInteger(int index, std::int64_t value) { return sqlite3_bind_int64(statement_, index, value); }

    int step() { return sqlite3_step(statement_); }

    /// Runs to the end, and is ready for the next time.
    int run();
    void reset();

    [[nodiscard]] std::string_view bytes(int column) const;
    [[nodiscard]] std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }

  private:
    sqlite3_stmt* statement_ = nullptr;
};

/// How a database is opened.
enum VKTSQLiteAccess : std::uint8_t {
    VKTSQLiteToChange,  ///< made when it is missing
    VKTSQLiteToRead,    ///< reads what other processes write meanwhile, by the files that they made
    VKTSQLiteSnapshot,  ///< the file alone, as it is: no lock, no log, nothing written; nobody may change it
    VKTSQLiteInMemory,
};

/// What a key holds.
struct VKTSQLiteRecord {
    enum State : std::uint8_t { Absent, Sound, Damaged };

    State state = Absent;
    VKTValue value;
};

/// Whether the file cannot be used as it is.
bool vkt_isDamage(int result);

/// A full disk, or one that says so in other words.
bool vkt_mayNeedRoom(int result);

/// A clause for people.
const char* vkt_reasonOfResult(int result);

/// Why a file that somebody has named is not to be touched, or SQLITE_OK. SQLite needs both files to tell of
/// one with a log: such a file is not looked at here, and left as it is when it proves to be no store.
int vkt_faultOfForeignFile(const std::string& path);

/// Results are SQLite's codes, SQLITE_DONE for success; of its own kind are SQLITE_MISMATCH (another
/// program's database) and SQLITE_SCHEMA (a store of another version). Used by one thread at a time.
class VKTSQLiteConnection {
  public:
    VKTSQLiteConnection() = default;

    int open(const std::string& path, VKTSQLiteAccess access, int busyMilliseconds);

    /// How long an operation waits for another process.
    void setBusyTimeout(int milliseconds) { sqlite3_busy_timeout(database_.get(), milliseconds); }

    int read(std::string_view key, VKTSQLiteRecord& record);

    /// A null value removes. SQLITE_TOOBIG for what could not be read back.
    int write(std::string_view key, const VKTValue& value);
    int keysWithPrefix(std::string_view prefix, std::vector<std::string>& keys);

    /// Makes the table unless it is there, and removes the family's others.
    int makeTable(const std::string& table, const std::string& family);
    int records(const std::string& table, std::vector<VKTRecord>& records);
    int change(const std::string& table, const std::vector<std::int64_t>& removed,
               const std::vector<std::string>& added, std::vector<std::int64_t>& numbers);

    /// Writes the log into the database and empties it: what helps where the disk is full.
    void checkpoint() { execute("PRAGMA wal_checkpoint(TRUNCATE)"); }

    /// Looks at every page.
    int check();

    /// Whether the file could only be opened to be read.
    [[nodiscard]] bool isReadOnly() const { return sqlite3_db_readonly(database_.get(), "main") == 1; }

    /// Gives the database up without closing it: it is another process's.
    void abandon() { static_cast<void>(database_.release()); }

  private:
    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    struct TableStatements {
        VKTSQLiteStatement add;
        VKTSQLiteStatement remove;
    };

    int execute(const std::string& sql);
    int prepareStore(bool isMade);
    int keepLogAtClose(bool isKept);
    int number(const char* sql, std::int64_t& value);
    int prepareForTable(const std::string& table, VKTSQLiteStatement& statement, const std::string& sql);
    int prepareTable(const std::string& table, TableStatements*& statements);
    int changeRows(TableStatements& statements, const std::vector<std::int64_t>& removed,
                   const std::vector<std::string>& added, std::vector<std::int64_t>& numbers);

    std::unique_ptr<sqlite3, Closer> database_;  // outlives its statements
    VKTSQLiteStatement read_;
    VKTSQLiteStatement write_;
    VKTSQLiteStatement remove_;
    std::map<std::string, TableStatements> tables_;
};
