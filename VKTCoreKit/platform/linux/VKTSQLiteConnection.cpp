#include "VKTCoreKit/platform/linux/VKTSQLiteConnection.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/linux/VKTSQLiteStoreFile.h"

namespace {

constexpr int schemaVersion = 1;

constexpr const char* archiveClassName = "VKTKeyValueStore";
constexpr const char* archiveKey = "value";

// Keys are stored as bytes: SQLite's own texts end at a NUL.
constexpr const char* createSQL =
    "PRAGMA journal_mode = WAL;"
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS archives (key BLOB PRIMARY KEY NOT NULL, archive BLOB NOT NULL);"
    "PRAGMA application_id = 0x564B5453;"
    "PRAGMA user_version = 1;"
    "COMMIT";

// For small flash: what is deleted is not overwritten, and the log is written into the database after 64
// pages of 4 KB, which bounds what a partition has to have free. With a write-ahead log, NORMAL keeps every
// commit when the process dies; a power cut may cost the commits since the log was last written out, and
// leaves the file whole.
constexpr const char* settingsSQL =
    "PRAGMA synchronous = NORMAL;"
    "PRAGMA secure_delete = OFF;"
    "PRAGMA wal_autocheckpoint = 64;"
    "PRAGMA journal_size_limit = 270336";

// The archive, and whether the file agrees with itself about the key: a byte that flips in the index or in
// the table would make a value disappear, or appear under another key. What the index does not find is looked
// for in the table. In one statement, so that no other process can come between.
constexpr const char* readSQL =
    "SELECT named.archive, named.key IS ?1 FROM archives AS found"
    " LEFT JOIN archives AS named ON named.rowid = found.rowid WHERE found.key = ?1 "
    "UNION ALL SELECT NULL, 0 FROM archives NOT INDEXED WHERE key = ?1";
constexpr const char* writeSQL =
    "INSERT INTO archives (key, archive) VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET archive = ?2";
constexpr const char* removeSQL = "DELETE FROM archives WHERE key = ?1";
constexpr const char* keysSQL = "SELECT key FROM archives WHERE substr(key, 1, length(?1)) = ?1 ORDER BY key";
constexpr const char* tablesSQL =
    "SELECT name FROM sqlite_master WHERE type = 'table' AND substr(CAST(name AS BLOB), 1, length(?1)) = ?1";

std::string quoted(std::string_view name) {
    return '"' + vkt_replacingOccurrences(std::string(name), "\"", "\"\"") + '"';
}

std::optional<VKTValue> unarchived(std::string_view archive) {
    auto values = vkt_unarchivedValues(archive, archiveClassName);
    VKTValue* value = values ? values->find(archiveKey) : nullptr;
    return value == nullptr ? std::nullopt : std::optional(std::move(*value));
}

// A path as SQLite's own URL takes it.
std::string readingURL(const std::string& path, VKTSQLiteAccess access) {
    std::string url = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            url += c == '%' ? "%25" : c == '?' ? "%3f" : "%23";
        } else {
            url += c;
        }
    }
    if (access == VKTSQLiteSnapshot) return url + "?immutable=1";
    // The index of the log is only read where there is one; a log that was copied without it needs a new one.
    return vkt_identityOfFile(path + "-shm") ? url + "?readonly_shm=1" : url;
}

}  // namespace

bool vkt_isDamage(int result) {
    return result == SQLITE_CORRUPT || result == SQLITE_NOTADB || result == SQLITE_SCHEMA;
}

bool vkt_mayNeedRoom(int result) {
    return result == SQLITE_FULL || result == SQLITE_IOERR;
}

const char* vkt_reasonOfResult(int result) {
    if (result == SQLITE_MISMATCH) return "it is no store, but perhaps another program's database";
    if (result == SQLITE_SCHEMA) return "it is a store of another version";
    if (result == SQLITE_NOTFOUND) return "there is no such file";
    return sqlite3_errstr(result);
}

// A file with a log is not whole without it: it is a store when the file or its log says so.
int vkt_faultOfForeignFile(const std::string& path) {
    if (vkt_isNoFile(path)) return SQLITE_NOTADB;
    const auto state = vkt_stateOfDatabase(path);
    if (!state || (state->size == 0 && state->logSize == 0)) return SQLITE_OK;
    VKTSQLiteConnection connection;
    const int result = connection.open(path, VKTSQLiteSnapshot, 0);
    if (state->logSize == 0) return result == SQLITE_OK ? connection.check() : result;
    const bool isStore = result == SQLITE_OK || vkt_hasApplicationIDInLog(path, VKTStoreApplicationID);
    return isStore ? SQLITE_OK : SQLITE_MISMATCH;
}

int VKTSQLiteStatement::prepare(sqlite3* database, const std::string& sql) {
    sqlite3_finalize(statement_);
    return sqlite3_prepare_v3(database, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
}

int VKTSQLiteStatement::bindBytes(int index, std::string_view bytes) {
    // A null pointer would be bound as a null value.
    const char* start = bytes.empty() ? "" : bytes.data();
    return sqlite3_bind_blob64(statement_, index, start, bytes.size(), SQLITE_STATIC);
}

int VKTSQLiteStatement::run() {
    int result = step();
    while (result == SQLITE_ROW)
        result = step();
    reset();
    return result;
}

void VKTSQLiteStatement::reset() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

std::string_view VKTSQLiteStatement::bytes(int column) const {
    const void* start = sqlite3_column_blob(statement_, column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return size == 0 ? std::string_view() : std::string_view(static_cast<const char*>(start), size);
}

int VKTSQLiteConnection::open(const std::string& path, VKTSQLiteAccess access, int busyMilliseconds) {
    const bool isWritable = access == VKTSQLiteToChange || access == VKTSQLiteInMemory;
    const int flags = (isWritable ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY) |
                      SQLITE_OPEN_NOMUTEX | (isWritable ? 0 : SQLITE_OPEN_URI);
    const std::string name = !isWritable                   ? readingURL(path, access)
                             : access == VKTSQLiteInMemory ? ":memory:"
                                                           : path;
    sqlite3* database = nullptr;
    int result = sqlite3_open_v2(name.c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (result == SQLITE_OK) result = sqlite3_busy_timeout(database, busyMilliseconds);
    // What may be another program's keeps its log when it is closed.
    if (result == SQLITE_OK) result = keepLogAtClose(true);
    if (result == SQLITE_OK) result = prepareStore(isWritable);
    if (result == SQLITE_OK) result = keepLogAtClose(false);
    if (result == SQLITE_OK && isWritable) result = execute(settingsSQL);
    if (result == SQLITE_OK) result = read_.prepare(database, readSQL);
    if (result == SQLITE_OK && isWritable) result = write_.prepare(database, writeSQL);
    if (result == SQLITE_OK && isWritable) result = remove_.prepare(database, removeSQL);
    // A table that lacks, or lacks a column, is no fault of the statement.
    return result == SQLITE_ERROR ? SQLITE_SCHEMA : result;
}

int VKTSQLiteConnection::prepareStore(bool isMade) {
    std::int64_t application = 0;
    std::int64_t version = 0;
    std::int64_t tables = 0;
    int result = number("PRAGMA application_id", application);
    if (result == SQLITE_OK) result = number("PRAGMA user_version", version);
    if (result == SQLITE_OK) result = number("SELECT count(*) FROM sqlite_master", tables);
    if (result != SQLITE_OK) return result;
    if (application == VKTStoreApplicationID) return version == schemaVersion ? SQLITE_OK : SQLITE_SCHEMA;
    const bool isNew = application == 0 && version == 0 && tables == 0;
    return isNew && isMade ? execute(createSQL) : SQLITE_MISMATCH;
}

int VKTSQLiteConnection::keepLogAtClose(bool isKept) {
    return sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, isKept ? 1 : 0, nullptr);
}

int VKTSQLiteConnection::number(const char* sql, std::int64_t& value) {
    VKTSQLiteStatement statement;
    int result = statement.prepare(database_.get(), sql);
    if (result == SQLITE_OK) result = statement.step();
    if (result != SQLITE_ROW) return result;
    value = statement.integer(0);
    return SQLITE_OK;
}

int VKTSQLiteConnection::execute(const std::string& sql) {
    return sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr);
}

int VKTSQLiteConnection::read(std::string_view key, VKTSQLiteRecord& record) {
    record = {};
    int result = read_.bindBytes(1, key);
    if (result == SQLITE_OK) result = read_.step();
    if (result == SQLITE_ROW && read_.integer(1) == 0) {
        result = SQLITE_CORRUPT;
    } else if (result == SQLITE_ROW) {
        auto value = unarchived(read_.bytes(0));
        record.state = value ? VKTSQLiteRecord::Sound : VKTSQLiteRecord::Damaged;
        if (value) record.value = std::move(*value);
        result = SQLITE_DONE;
    }
    read_.reset();
    return result;
}

int VKTSQLiteConnection::write(std::string_view key, const VKTValue& value) {
    if (!write_.isPrepared()) return SQLITE_READONLY;
    if (value.isNull()) {
        const int result = remove_.bindBytes(1, key);
        return result == SQLITE_OK ? remove_.run() : result;
    }
    VKTDictionary values;
    values.set(archiveKey, value);
    const std::string archive = vkt_archiveData(archiveClassName, values);
    // What could not be read back, because it nests too deep, is not stored.
    const bool mayNest = value.asArray() != nullptr || value.asDictionary() != nullptr;
    if (mayNest && !unarchived(archive)) return SQLITE_TOOBIG;
    int result = write_.bindBytes(1, key);
    if (result == SQLITE_OK) result = write_.bindBytes(2, archive);
    return result == SQLITE_OK ? write_.run() : result;
}

int VKTSQLiteConnection::keysWithPrefix(std::string_view prefix, std::vector<std::string>& keys) {
    keys.clear();
    VKTSQLiteStatement statement;
    int result = statement.prepare(database_.get(), keysSQL);
    if (result == SQLITE_OK) result = statement.bindBytes(1, prefix);
    if (result != SQLITE_OK) return result;
    while ((result = statement.step()) == SQLITE_ROW)
        keys.emplace_back(statement.bytes(0));
    return result;
}

int VKTSQLiteConnection::makeTable(const std::string& table, const std::string& family) {
    VKTSQLiteStatement statement;
    int result = statement.prepare(database_.get(), tablesSQL);
    if (result == SQLITE_OK) result = statement.bindBytes(1, family);
    if (result != SQLITE_OK) return result;
    std::vector<std::string> others;
    bool isThere = false;
    while ((result = statement.step()) == SQLITE_ROW) {
        const std::string_view name = statement.bytes(0);
        if (name == table) {
            isThere = true;
        } else {
            others.emplace_back(name);
        }
    }
    if (result != SQLITE_DONE || (isThere && others.empty())) return result;
    std::string sql = "BEGIN IMMEDIATE;";
    for (const std::string& other : others)
        sql += "DROP TABLE " + quoted(other) + ';';
    sql += "CREATE TABLE IF NOT EXISTS " + quoted(table) +
           " (number INTEGER PRIMARY KEY, record BLOB NOT NULL);COMMIT";
    result = execute(sql);
    if (result != SQLITE_OK) execute("ROLLBACK");
    return result == SQLITE_OK ? SQLITE_DONE : result;
}

int VKTSQLiteConnection::records(const std::string& table, std::vector<VKTRecord>& records) {
    records.clear();
    VKTSQLiteStatement statement;
    int result =
        prepareForTable(table, statement, "SELECT number, record FROM " + quoted(table) + " ORDER BY number");
    if (result != SQLITE_OK) return result;
    while ((result = statement.step()) == SQLITE_ROW)
        records.push_back({statement.integer(0), std::string(statement.bytes(1))});
    return result;
}

// SQLITE_ERROR when nobody has made the table yet. One that lacks its columns is damaged.
int VKTSQLiteConnection::prepareForTable(const std::string& table, VKTSQLiteStatement& statement,
                                         const std::string& sql) {
    const int result = statement.prepare(database_.get(), sql);
    if (result != SQLITE_ERROR) return result;
    VKTSQLiteStatement any;
    const int reading = any.prepare(database_.get(), "SELECT 1 FROM " + quoted(table));
    return reading == SQLITE_OK ? SQLITE_CORRUPT : reading;
}

int VKTSQLiteConnection::prepareTable(const std::string& table, TableStatements*& statements) {
    statements = &tables_[table];
    if (statements->remove.isPrepared()) return SQLITE_OK;
    const int result =
        prepareForTable(table, statements->add, "INSERT INTO " + quoted(table) + " (record) VALUES (?1)");
    if (result != SQLITE_OK) return result;
    return prepareForTable(table, statements->remove, "DELETE FROM " + quoted(table) + " WHERE number = ?1");
}

int VKTSQLiteConnection::change(const std::string& table, const std::vector<std::int64_t>& removed,
                                const std::vector<std::string>& added, std::vector<std::int64_t>& numbers) {
    numbers.clear();
    TableStatements* statements = nullptr;
    int result = prepareTable(table, statements);
    if (result != SQLITE_OK) return result;
    // One statement is a transaction by itself.
    if (removed.size() + added.size() <= 1) return changeRows(*statements, removed, added, numbers);
    result = execute("BEGIN IMMEDIATE");
    if (result != SQLITE_OK) return result;
    result = changeRows(*statements, removed, added, numbers);
    if (result == SQLITE_DONE) {
        result = execute("COMMIT");
        if (result == SQLITE_OK) return SQLITE_DONE;
    }
    execute("ROLLBACK");
    return result;
}

int VKTSQLiteConnection::changeRows(TableStatements& statements, const std::vector<std::int64_t>& removed,
                                    const std::vector<std::string>& added,
                                    std::vector<std::int64_t>& numbers) {
    int result = SQLITE_DONE;
    for (const std::int64_t number : removed) {
        result = statements.remove.bindInteger(1, number);
        if (result == SQLITE_OK) result = statements.remove.run();
        if (result != SQLITE_DONE) return result;
    }
    for (const std::string& bytes : added) {
        result = statements.add.bindBytes(1, bytes);
        if (result == SQLITE_OK) result = statements.add.run();
        if (result != SQLITE_DONE) return result;
        numbers.push_back(sqlite3_last_insert_rowid(database_.get()));
    }
    return result;
}

int VKTSQLiteConnection::check() {
    VKTSQLiteStatement statement;
    int result = statement.prepare(database_.get(), "PRAGMA quick_check(1)");
    if (result == SQLITE_OK) result = statement.step();
    if (result != SQLITE_ROW) return result;
    return statement.bytes(0) == "ok" ? SQLITE_OK : SQLITE_CORRUPT;
}
