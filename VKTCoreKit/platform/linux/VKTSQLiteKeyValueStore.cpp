#include "VKTCoreKit/platform/linux/VKTSQLiteKeyValueStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

namespace {

constexpr int applicationID = 0x564B5453;  // "VKTS"
constexpr int schemaVersion = 1;
constexpr int busyMilliseconds = 1000;  // callers may be on the main thread

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

constexpr const char* readSQL = "SELECT archive FROM archives WHERE key = ?1";
constexpr const char* writeSQL =
    "INSERT INTO archives (key, archive) VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET archive = ?2";
constexpr const char* removeSQL = "DELETE FROM archives WHERE key = ?1";

bool isDamage(int result) {
    return result == SQLITE_CORRUPT || result == SQLITE_NOTADB || result == SQLITE_SCHEMA;
}

const char* reason(int result) {
    return result == SQLITE_SCHEMA ? "a database of another kind or version" : sqlite3_errstr(result);
}

// A prepared statement, used again and again.
class Statement {
  public:
    Statement() = default;
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    int prepare(sqlite3* database, const char* sql) {
        return sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
    }

    [[nodiscard]] sqlite3_stmt* get() const { return statement_; }

    /// The bytes must stay until `reset`.
    int bindBytes(int index, std::string_view bytes) {
        // A null pointer would be bound as a null value.
        const char* start = bytes.empty() ? "" : bytes.data();
        return sqlite3_bind_blob64(statement_, index, start, bytes.size(), SQLITE_STATIC);
    }

    [[nodiscard]] std::string_view bytes(int column) const {
        const void* start = sqlite3_column_blob(statement_, column);
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
        return size == 0 ? std::string_view() : std::string_view(static_cast<const char*>(start), size);
    }

    [[nodiscard]] std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }

    void reset() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }

  private:
    sqlite3_stmt* statement_ = nullptr;
};

// One open database. Results are SQLite's codes; SQLITE_SCHEMA says that it is another program's database.
class Connection {
  public:
    /// Makes the file and its table when they are missing.
    int open(const std::string& path) {
        sqlite3* database = nullptr;
        int result =
            sqlite3_open_v2(path.c_str(), &database,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
        database_.reset(database);
        if (result == SQLITE_OK) result = sqlite3_busy_timeout(database, busyMilliseconds);
        if (result == SQLITE_OK) result = prepareTable();
        // With a write-ahead log, this keeps every commit when the process dies; a power cut may cost the
        // commits since the log was last written out, and leaves the file whole.
        if (result == SQLITE_OK) result = execute("PRAGMA synchronous = NORMAL");
        if (result == SQLITE_OK) result = read_.prepare(database, readSQL);
        if (result == SQLITE_OK) result = write_.prepare(database, writeSQL);
        if (result == SQLITE_OK) result = remove_.prepare(database, removeSQL);
        // A table that lacks, or lacks a column, is no fault of the statement.
        return result == SQLITE_ERROR ? SQLITE_SCHEMA : result;
    }

    int read(std::string_view key, std::optional<VKTValue>& value) {
        int result = read_.bindBytes(1, key);
        if (result == SQLITE_OK) result = sqlite3_step(read_.get());
        if (result == SQLITE_ROW) value = unarchived(read_.bytes(0));
        read_.reset();
        return result == SQLITE_ROW ? SQLITE_DONE : result;
    }

    int remove(std::string_view key) {
        int result = remove_.bindBytes(1, key);
        if (result == SQLITE_OK) result = sqlite3_step(remove_.get());
        remove_.reset();
        return result;
    }

    int write(std::string_view key, const VKTValue& value) {
        VKTDictionary values;
        values.set(archiveKey, value);
        const std::string archive = vkt_archiveData(archiveClassName, values);
        // What could not be read back, because it nests too deep, is not stored.
        const bool mayNest = value.asArray() != nullptr || value.asDictionary() != nullptr;
        if (mayNest && !unarchived(archive)) return SQLITE_TOOBIG;
        int result = write_.bindBytes(1, key);
        if (result == SQLITE_OK) result = write_.bindBytes(2, archive);
        if (result == SQLITE_OK) result = sqlite3_step(write_.get());
        write_.reset();
        return result;
    }

  private:
    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close(database); }
    };

    int execute(const char* sql) { return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr); }

    int prepareTable() {
        std::int64_t application = 0;
        std::int64_t version = 0;
        std::int64_t tables = 0;
        int result = number("PRAGMA application_id", application);
        if (result == SQLITE_OK) result = number("PRAGMA user_version", version);
        if (result == SQLITE_OK) result = number("SELECT count(*) FROM sqlite_master", tables);
        if (result != SQLITE_OK) return result;
        if (application == applicationID && version == schemaVersion) return SQLITE_OK;
        const bool isNew = application == 0 && version == 0 && tables == 0;
        return isNew ? execute(createSQL) : SQLITE_SCHEMA;
    }

    int number(const char* sql, std::int64_t& value) {
        Statement statement;
        int result = statement.prepare(database_.get(), sql);
        if (result == SQLITE_OK) result = sqlite3_step(statement.get());
        if (result != SQLITE_ROW) return result;
        value = statement.integer(0);
        return SQLITE_OK;
    }

    static std::optional<VKTValue> unarchived(std::string_view archive) {
        auto values = vkt_unarchivedValues(archive, archiveClassName);
        VKTValue* value = values ? values->find(archiveKey) : nullptr;
        return value == nullptr ? std::nullopt : std::optional(std::move(*value));
    }

    std::unique_ptr<sqlite3, Closer> database_;  // outlives its statements
    Statement read_;
    Statement write_;
    Statement remove_;
};

// Which file a path leads to.
using FileIdentity = std::pair<dev_t, ino_t>;

std::optional<FileIdentity> identityOfFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return FileIdentity(status.st_dev, status.st_ino);
}

// Held while a store's file is opened, made or set aside: by one process, and one thread of it, at a time.
class OpeningLock {
  public:
    explicit OpeningLock(const std::string& path)
        : file_(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        // Whoever holds it may have been stopped by the system: then it is done without.
        for (int waits = 0; file_ >= 0 && waits < busyMilliseconds && !tryLock(); ++waits)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~OpeningLock() {
        if (file_ < 0) return;
        flock(file_, LOCK_UN);  // closing alone would leave it with a child forked meanwhile
        close(file_);
    }
    OpeningLock(const OpeningLock&) = delete;
    OpeningLock& operator=(const OpeningLock&) = delete;

  private:
    [[nodiscard]] bool tryLock() const { return flock(file_, LOCK_EX | LOCK_NB) == 0; }

    const int file_;  // below 0 where no file can be made, and so none renamed
};

// Renames a store's file with its log. Nothing when that fails, else the new path.
std::optional<std::string> setAside(const std::string& path) {
    std::string aside = path + ".damaged";
    for (int number = 1; identityOfFile(aside); ++number)
        aside = path + ".damaged." + std::to_string(number);
    std::error_code error;
    std::filesystem::rename(path, aside, error);
    if (error) return std::nullopt;
    for (const char* suffix : {"-wal", "-shm"})
        std::filesystem::rename(path + suffix, aside + suffix, error);  // there may be none
    return aside;
}

class SQLiteStore final : public VKTKeyValueStore {
  public:
    SQLiteStore(const std::string& path, VKTStoreProblemHandler onProblem)
        : onProblem_(std::move(onProblem)), path_(path.empty() ? path : absolutePath(path)) {
        Problems problems;
        {
            VKTLock lock(mutex_);
            reopen(problems);
        }
        report(problems);
    }

    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override {
        std::optional<VKTValue> value;
        perform(Reading, [&](Connection& connection) { return connection.read(key, value); });
        return value;
    }

    bool setValueForKey(const VKTValue& value, std::string_view key) override {
        return perform(Writing, [&](Connection& connection) {
            return value.isNull() ? connection.remove(key) : connection.write(key, value);
        });
    }

  private:
    enum Direction : std::uint8_t { Reading, Writing };
    using Problems = std::vector<std::string>;

    // Absolute: it stays right when the working folder changes, and is none of SQLite's special names.
    static std::string absolutePath(const std::string& path) {
        std::error_code error;
        return std::filesystem::absolute(path, error).string();
    }

    void report(const Problems& problems) const {
        if (!onProblem_) return;
        for (const std::string& problem : problems)
            onProblem_(problem);
    }

    template <typename Operation>
    bool perform(Direction direction, const Operation& operation) const {
        Problems problems;
        int result = SQLITE_OK;
        {
            VKTLock lock(mutex_);
            if (isReplaced()) reopen(problems);
            result = operation(*connection_);
            if (isDamage(result)) {
                replaceDamaged(result, problems);
                result = operation(*connection_);
            }
            note(direction, result, problems);
        }
        report(problems);
        return result == SQLITE_DONE;
    }

    // Another process has set the file aside, or someone has removed it. Closing is safe even then: SQLite
    // leaves the files at a path alone when its database has moved away from there.
    [[nodiscard]] bool isReplaced() const VKT_REQUIRES(mutex_) {
        return isInFile_ && identityOfFile(path_) != identity_;
    }

    // One message for each change of what goes wrong, not for each call.
    void note(Direction direction, int result, Problems& problems) const VKT_REQUIRES(mutex_) {
        if (std::exchange(lastResults_.at(direction), result) == result || result == SQLITE_DONE) return;
        problems.push_back("The store " + path_ + " cannot be " +
                           (direction == Reading ? "read" : "written") + ": " + reason(result));
    }

    void reopen(Problems& problems) const VKT_REQUIRES(mutex_) {
        if (path_.empty()) return openInMemory();
        const OpeningLock openingLock(path_);
        open(problems);
    }

    void replaceDamaged(int damage, Problems& problems) const VKT_REQUIRES(mutex_) {
        if (!isInFile_) return openInMemory();
        const OpeningLock openingLock(path_);
        // Another process may have been here first.
        const bool isDamagedFile = !isReplaced();
        connection_.reset();
        if (isDamagedFile && !replaceFile(damage, problems)) return openInMemory();
        open(problems);
    }

    // With the opening lock held.
    void open(Problems& problems) const VKT_REQUIRES(mutex_) {
        int result = openFile();
        if (isDamage(result)) {
            connection_.reset();
            if (!replaceFile(result, problems)) return openInMemory();
            result = openFile();
        }
        if (result == SQLITE_OK) return;
        problems.push_back("The store " + path_ + " cannot be opened (" + reason(result) +
                           "); its values are kept in memory only");
        openInMemory();
    }

    int openFile() const VKT_REQUIRES(mutex_) {
        connection_ = std::make_unique<Connection>();
        const int result = connection_->open(path_);
        identity_ = identityOfFile(path_);
        isInFile_ = true;
        return result;
    }

    void openInMemory() const VKT_REQUIRES(mutex_) {
        connection_ = std::make_unique<Connection>();
        connection_->open(":memory:");
        isInFile_ = false;
    }

    bool replaceFile(int damage, Problems& problems) const {
        const auto aside = setAside(path_);
        problems.push_back("The store " + path_ + " is unusable (" + reason(damage) + "); " +
                           (aside ? "it is kept as " + *aside + " and a new one is begun"
                                  : "it cannot be renamed, and values are kept in memory only"));
        return aside.has_value();
    }

    const VKTStoreProblemHandler onProblem_;
    const std::string path_;  // empty for a store in memory
    mutable VKTMutex mutex_;
    mutable std::unique_ptr<Connection> connection_ VKT_GUARDED_BY(mutex_);
    mutable std::optional<FileIdentity> identity_ VKT_GUARDED_BY(mutex_);
    mutable bool isInFile_ VKT_GUARDED_BY(mutex_) = false;
    mutable std::array<int, 2> lastResults_ VKT_GUARDED_BY(mutex_) = {SQLITE_DONE, SQLITE_DONE};
};

}  // namespace

std::shared_ptr<VKTKeyValueStore> vkt_makeSQLiteKeyValueStore(const std::string& path,
                                                              VKTStoreProblemHandler onProblem) {
    return std::make_shared<SQLiteStore>(path, std::move(onProblem));
}

std::shared_ptr<VKTKeyValueStore> vkt_openSQLiteKeyValueStore(const std::string& path, VKTStoreUse /*use*/,
                                                              VKTStoreProblemHandler onProblem) {
    return std::make_shared<SQLiteStore>(path, std::move(onProblem));
}
