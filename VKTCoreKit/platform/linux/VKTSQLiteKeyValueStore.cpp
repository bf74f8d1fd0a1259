#include "VKTCoreKit/platform/linux/VKTSQLiteKeyValueStore.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTProblemLog.h"
#include "VKTCoreKit/platform/linux/VKTSQLiteConnection.h"
#include "VKTCoreKit/platform/linux/VKTSQLiteStoreFile.h"

namespace {

using Clock = std::chrono::steady_clock;
using Problems = std::vector<std::string>;
using Numbers = std::vector<std::int64_t>;

// Callers may be on the main thread: while a file stays out of reach, they wait once and then hardly at all.
constexpr int busyMilliseconds = 1000;
constexpr int busyAgainMilliseconds = 20;
constexpr auto pauseBeforeNextAttempt = std::chrono::seconds(1);

std::string countOfChanges(std::size_t count) {
    return count == 1 ? "1 change" : std::to_string(count) + " changes";
}

class SQLiteStore final : public VKTKeyValueStore, public std::enable_shared_from_this<SQLiteStore> {
  public:
    /// What becomes of a file that is no store, or a damaged one.
    enum Care : std::uint8_t {
        SetsAside,   // the library's own file: it goes on with a new one
        LeavesAlone  // somebody's: it is not touched
    };

    SQLiteStore(const std::string& path, VKTStoreUse use, Care care, VKTStoreProblemHandler onProblem)
        : onProblem_(std::move(onProblem)),
          path_(path.empty() ? path : vkt_absolutePath(path)),
          use_(use),
          care_(care) {
        Problems problems;
        {
            VKTLock lock(mutex_);
            // One in memory is opened when it is first used: most processes never do that.
            if (!path_.empty()) connect(busyMilliseconds, problems);
        }
        tell(problems);
    }
    ~SQLiteStore() override { isForked() ? abandonInChild() : flushAtTheEnd(); }
    SQLiteStore(const SQLiteStore&) = delete;
    SQLiteStore& operator=(const SQLiteStore&) = delete;

    /// Whether there is anything to read.
    [[nodiscard]] bool isOpen() const {
        VKTLock lock(mutex_);
        return path_.empty() || connection_ != nullptr;
    }

    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override {
        VKTStoredValue stored = read(key, AsFarAsPossible);
        return stored.status == VKTStoredValue::Present ? std::optional(std::move(stored.value))
                                                        : std::nullopt;
    }

    [[nodiscard]] VKTStoredValue readValueForKey(std::string_view key) const override {
        return read(key, Exactly);
    }

    bool setValueForKey(const VKTValue& value, std::string_view key) override;
    [[nodiscard]] std::vector<std::string> keysWithPrefix(std::string_view prefix) const override;
    [[nodiscard]] VKTRecordTableOpening openRecordTable(std::string_view family,
                                                        std::string_view version) override;

    [[nodiscard]] bool hasLostRecords(const std::string& table) const;
    std::optional<std::vector<VKTRecord>> records(const std::string& table);
    std::optional<Numbers> change(const std::string& table, const Numbers& removed,
                                  const std::vector<std::string>& added);

  private:
    enum Direction : std::uint8_t { Reading, Writing };
    enum Exactness : std::uint8_t { Exactly, AsFarAsPossible };

    void tell(const Problems& problems) const {
        for (const std::string& problem : problems) {
            vkt_logWarning(problem);
            if (onProblem_) onProblem_(problem);
        }
    }

    // After a fork without exec, neither the connection nor the lock may be used: they are the parent's.
    [[nodiscard]] bool isForked() const { return getpid() != process_; }

    VKTStoredValue read(std::string_view key, Exactness exactness) const;
    VKTStoredValue readFromFile(std::string_view key, Exactness exactness, Problems& problems) const
        VKT_REQUIRES(mutex_);
    bool writeToFile(const VKTValue& value, const std::string& key, Problems& problems) const
        VKT_REQUIRES(mutex_);
    void flush(Problems& problems) const VKT_REQUIRES(mutex_);
    void flushWhenDue(Problems& problems) const VKT_REQUIRES(mutex_) {
        if (!unsaved_.empty() && Clock::now() >= nextAttempt_) flush(problems);
    }
    void flushAtTheEnd();

    // No lock: a thread of the parent may have held it when the child was made, where it is never released.
    void abandonInChild() VKT_THREAD_ATTRIBUTE(no_thread_safety_analysis) {
        if (connection_) connection_->abandon();
    }
    template <typename Operation>
    int perform(Direction direction, Problems& problems, const Operation& operation) const
        VKT_REQUIRES(mutex_);
    void note(Direction direction, int result, Problems& problems) const VKT_REQUIRES(mutex_);

    void refresh(Problems& problems) const VKT_REQUIRES(mutex_);
    void connect(int milliseconds, Problems& problems) const VKT_REQUIRES(mutex_);
    int openToChange(int milliseconds, Problems& problems) const VKT_REQUIRES(mutex_);
    int openWritable(int milliseconds) const VKT_REQUIRES(mutex_);
    int openNamedToRead() const VKT_REQUIRES(mutex_);
    int openToRead(int milliseconds) const VKT_REQUIRES(mutex_);
    void openSnapshot() const VKT_REQUIRES(mutex_);
    [[nodiscard]] bool canWrite() const VKT_REQUIRES(mutex_) {
        return access_ == VKTSQLiteToChange || access_ == VKTSQLiteInMemory;
    }
    void noteReplacement(Problems& problems) const VKT_REQUIRES(mutex_);
    bool replaceFile(int damage, Problems& problems) const VKT_REQUIRES(mutex_);
    void replaceDamaged(int damage, Problems& problems) const VKT_REQUIRES(mutex_);
    [[nodiscard]] bool isReplaced() const VKT_REQUIRES(mutex_) {
        return access_ == VKTSQLiteToChange && vkt_identityOfFile(path_) != identity_;
    }

    // A snapshot knows neither a foreign process's log nor what happens to the file while it is read.
    [[nodiscard]] bool isPartial() const VKT_REQUIRES(mutex_) {
        return access_ == VKTSQLiteSnapshot && (!snapshotState_ || snapshotState_->logSize > 0 ||
                                                vkt_stateOfDatabase(path_) != snapshotState_);
    }

    // Which of the files that have been at the path is open: a new one may get the identity of the old.
    using OpenFile = std::pair<int, std::optional<VKTFileIdentity>>;
    [[nodiscard]] OpenFile openFile() const VKT_REQUIRES(mutex_) {
        if (access_ != VKTSQLiteSnapshot) return {replacements_, identity_};
        return {replacements_, snapshotState_ ? std::optional(snapshotState_->identity) : std::nullopt};
    }

    struct Table {
        std::string family;
        std::optional<OpenFile> file;  // that the numbers of the records belong to
        bool isLost = false;           // with that file
    };

    const VKTStoreProblemHandler onProblem_;
    const std::string path_;  // empty for a store in memory
    const VKTStoreUse use_;
    const Care care_;
    const pid_t process_ = getpid();

    mutable VKTMutex mutex_;
    mutable std::unique_ptr<VKTSQLiteConnection> connection_ VKT_GUARDED_BY(mutex_);  // null: out of reach
    mutable VKTSQLiteAccess access_ VKT_GUARDED_BY(mutex_) = VKTSQLiteInMemory;
    mutable std::optional<VKTFileIdentity> identity_ VKT_GUARDED_BY(mutex_);        // of an open file
    mutable std::optional<VKTDatabaseState> snapshotState_ VKT_GUARDED_BY(mutex_);  // of a snapshot
    mutable int replacements_ VKT_GUARDED_BY(mutex_) = 0;        // of the file at the path, while it was open
    mutable int openResult_ VKT_GUARDED_BY(mutex_) = SQLITE_OK;  // of the last attempt
    mutable Clock::time_point nextAttempt_ VKT_GUARDED_BY(mutex_);
    mutable std::array<int, 2> lastResults_ VKT_GUARDED_BY(mutex_) = {SQLITE_DONE, SQLITE_DONE};

    // What the file has not taken yet; null for what is to be removed.
    mutable std::map<std::string, VKTValue, std::less<>> unsaved_ VKT_GUARDED_BY(mutex_);

    mutable std::set<std::string, std::less<>> damagedKeys_ VKT_GUARDED_BY(mutex_);  // that have been told
    mutable std::map<std::string, Table> tables_ VKT_GUARDED_BY(mutex_);

    // A file was set aside: nobody knows what it held, so a key that is not in the new one is no absent one.
    mutable bool hasLostFile_ VKT_GUARDED_BY(mutex_) = false;
};

// A table of a store, which it keeps.
class SQLiteTable final : public VKTRecordTable {
  public:
    SQLiteTable(std::shared_ptr<SQLiteStore> store, std::string name,
                std::unique_ptr<VKTStoreOwnership> ownership)
        : store_(std::move(store)), name_(std::move(name)), ownership_(std::move(ownership)) {}

    [[nodiscard]] std::optional<std::vector<VKTRecord>> records() const override {
        return store_->records(name_);
    }
    [[nodiscard]] bool hasLostRecords() const override { return store_->hasLostRecords(name_); }
    std::optional<Numbers> change(const Numbers& removed, const std::vector<std::string>& added) override {
        return ownership_->confirm() ? store_->change(name_, removed, added) : std::nullopt;
    }

  private:
    const std::shared_ptr<SQLiteStore> store_;
    const std::string name_;
    const std::unique_ptr<VKTStoreOwnership> ownership_;
};

// --- opening

// Sees to it that there is a connection to the file that is at the path now, if there can be one.
void SQLiteStore::refresh(Problems& problems) const {
    if (path_.empty()) {
        if (connection_) return;
        connection_ = std::make_unique<VKTSQLiteConnection>();
        connection_->open(path_, access_, 0);
        return;
    }
    if (access_ == VKTSQLiteToChange && connection_) {
        // Another process has set the file aside, or someone has removed it. Closing is safe even then:
        // SQLite leaves the files at a path alone when its database has moved away from there.
        if (!isReplaced()) return;
        noteReplacement(problems);
        connect(busyMilliseconds, problems);
        return;
    }
    if (use_ == VKTStoreToRead) return;  // what it opened is all it will see
    if (Clock::now() >= nextAttempt_) {
        connect(busyAgainMilliseconds, problems);
    } else if (connection_ && access_ == VKTSQLiteSnapshot && vkt_stateOfDatabase(path_) != snapshotState_) {
        openSnapshot();
    }
}

void SQLiteStore::connect(int milliseconds, Problems& problems) const {
    const int result = use_ == VKTStoreToRead ? openNamedToRead() : openToChange(milliseconds, problems);
    const int previous = std::exchange(openResult_, result);
    if (result == SQLITE_OK) return flush(problems);
    nextAttempt_ = Clock::now() + pauseBeforeNextAttempt;
    if (use_ == VKTStoreToChange && care_ == LeavesAlone) connection_.reset();  // it cannot do its work
    const bool isPerhapsReadable = !vkt_isDamage(result) && result != SQLITE_MISMATCH && care_ == SetsAside;
    if (!connection_ && isPerhapsReadable) openToRead(busyAgainMilliseconds);
    if (result == previous) return;
    if (care_ == LeavesAlone && !connection_) {
        problems.push_back("The store " + path_ + " cannot be " +
                           (use_ == VKTStoreToRead ? "read" : "changed") + " (" + vkt_reasonOfResult(result) +
                           ") and is left as it is");
    } else if (use_ == VKTStoreToRead) {
        problems.push_back("The store " + path_ + " cannot be read as it is now (" +
                           vkt_reasonOfResult(result) + "); close what else uses it and try again");
    } else {
        problems.push_back("The store " + path_ + " cannot be opened for changes (" +
                           vkt_reasonOfResult(result) + "); " +
                           (connection_ ? "what it holds can be read, and " : "") +
                           "changes are kept in memory until it can");
    }
}

int SQLiteStore::openToChange(int milliseconds, Problems& problems) const {
    connection_.reset();
    if (care_ == LeavesAlone) {
        if (const int fault = vkt_faultOfForeignFile(path_); fault != SQLITE_OK) return fault;
    }
    const VKTStoreOpeningLock openingLock(path_, milliseconds);
    vkt_makePrivateFile(path_);
    int result = openWritable(milliseconds);
    if (vkt_isDamage(result) && care_ == SetsAside) {
        if (!replaceFile(result, problems)) return result;
        result = openWritable(milliseconds);
    }
    if (result != SQLITE_OK) return result;
    access_ = VKTSQLiteToChange;
    identity_ = vkt_identityOfFile(path_);
    if (connection_->isReadOnly()) {
        access_ = VKTSQLiteToRead;
        return SQLITE_READONLY;
    }
    vkt_makeStorePrivate(path_);
    for (const auto& [name, table] : tables_)
        connection_->makeTable(name, table.family);
    return result;
}

// Without a connection when it fails.
int SQLiteStore::openWritable(int milliseconds) const {
    connection_ = std::make_unique<VKTSQLiteConnection>();
    const int result = connection_->open(path_, VKTSQLiteToChange, milliseconds);
    if (result != SQLITE_OK) connection_.reset();
    return result;
}

int SQLiteStore::openNamedToRead() const {
    if (const int fault = vkt_faultOfForeignFile(path_); fault != SQLITE_OK) return fault;
    return vkt_identityOfFile(path_) ? openToRead(busyMilliseconds) : SQLITE_NOTFOUND;
}

// For reading only, where the file cannot be opened otherwise: a read-only file system, a full disk without
// room for SQLite's own files, a process that keeps the file for itself. When it fails, there may still be a
// snapshot, which lacks what stands in the log.
int SQLiteStore::openToRead(int milliseconds) const {
    openSnapshot();
    if (connection_ && snapshotState_->logSize == 0) return SQLITE_OK;
    auto connection = std::make_unique<VKTSQLiteConnection>();
    const int result = connection->open(path_, VKTSQLiteToRead, milliseconds);
    if (result != SQLITE_OK) return result;
    access_ = VKTSQLiteToRead;
    identity_ = vkt_identityOfFile(path_);
    connection_ = std::move(connection);
    return SQLITE_OK;
}

void SQLiteStore::openSnapshot() const {
    access_ = VKTSQLiteSnapshot;
    snapshotState_ = vkt_stateOfDatabase(path_);
    connection_ = std::make_unique<VKTSQLiteConnection>();
    // A file that is missing or empty holds nothing, and that is certain.
    const bool isEmpty = snapshotState_ && snapshotState_->size == 0 && snapshotState_->logSize == 0;
    const VKTSQLiteAccess access = isEmpty ? VKTSQLiteInMemory : VKTSQLiteSnapshot;
    if (!snapshotState_ || connection_->open(path_, access, 0) != SQLITE_OK) connection_.reset();
}

void SQLiteStore::noteReplacement(Problems& problems) const {
    ++replacements_;
    if (hasLostFile_ || !vkt_isSetAside(path_, *identity_)) return;
    hasLostFile_ = true;
    problems.push_back("The store " + path_ +
                       " was damaged, and another process has set it aside; what is not in its new file "
                       "counts as unreadable");
}

bool SQLiteStore::replaceFile(int damage, Problems& problems) const {
    const auto aside = vkt_setAsideStore(path_);
    hasLostFile_ = hasLostFile_ || aside;
    ++replacements_;
    problems.push_back("The store " + path_ + " is unusable (" + vkt_reasonOfResult(damage) + "); " +
                       (aside ? "it is kept as " + *aside + " and a new one is begun"
                              : "it cannot be renamed, and values are kept in memory only"));
    return aside.has_value();
}

void SQLiteStore::replaceDamaged(int damage, Problems& problems) const {
    {
        const VKTStoreOpeningLock openingLock(path_, busyMilliseconds);
        // Another process may have been here first.
        const bool isDamagedFile = !isReplaced();
        connection_.reset();
        isDamagedFile ? static_cast<void>(replaceFile(damage, problems)) : noteReplacement(problems);
    }
    connect(busyMilliseconds, problems);
}

// --- operations

template <typename Operation>
int SQLiteStore::perform(Direction direction, Problems& problems, const Operation& operation) const {
    refresh(problems);
    if (!connection_) return openResult_;
    if (direction == Writing && !canWrite()) return openResult_;
    int result = operation(*connection_);
    if (vkt_isDamage(result) && canWrite() && care_ == SetsAside) {
        replaceDamaged(result, problems);
        if (!connection_ || (direction == Writing && !canWrite())) return result;
        result = operation(*connection_);
    }
    if (direction == Writing && vkt_mayNeedRoom(result)) {
        connection_->checkpoint();
        result = operation(*connection_);
    }
    note(direction, result, problems);
    return result;
}

// One message for each change of what goes wrong, not for each call.
void SQLiteStore::note(Direction direction, int result, Problems& problems) const {
    const int previous = std::exchange(lastResults_.at(direction), result);
    if (previous == result) return;
    if (access_ == VKTSQLiteToChange)
        connection_->setBusyTimeout(result == SQLITE_BUSY ? busyAgainMilliseconds : busyMilliseconds);
    if (result == SQLITE_DONE) return;
    problems.push_back("The store " + path_ + " cannot be " + (direction == Reading ? "read" : "written") +
                       ": " + vkt_reasonOfResult(result));
}

VKTStoredValue SQLiteStore::read(std::string_view key, Exactness exactness) const {
    if (isForked()) return {VKTStoredValue::Unreadable, VKTValue()};
    Problems problems;
    VKTStoredValue stored;
    {
        VKTLock lock(mutex_);
        flushWhenDue(problems);
        const auto unsaved = unsaved_.find(key);
        if (unsaved == unsaved_.end()) {
            stored = readFromFile(key, exactness, problems);
        } else if (!unsaved->second.isNull()) {
            stored = {VKTStoredValue::Present, unsaved->second};
        }
    }
    tell(problems);
    return stored;
}

VKTStoredValue SQLiteStore::readFromFile(std::string_view key, Exactness exactness,
                                         Problems& problems) const {
    VKTSQLiteRecord record;
    const int result = perform(Reading, problems,
                               [&](VKTSQLiteConnection& connection) { return connection.read(key, record); });
    if (result != SQLITE_DONE || (exactness == Exactly && isPartial()))
        return {VKTStoredValue::Unreadable, VKTValue()};
    if (record.state == VKTSQLiteRecord::Sound) return {VKTStoredValue::Present, std::move(record.value)};
    if (record.state == VKTSQLiteRecord::Damaged) {
        if (damagedKeys_.emplace(key).second)
            problems.push_back("The value under \"" + std::string(key) + "\" in the store " + path_ +
                               " is damaged; it counts as unreadable until it is written again");
        return {VKTStoredValue::Unreadable, VKTValue()};
    }
    return {hasLostFile_ ? VKTStoredValue::Unreadable : VKTStoredValue::Absent, VKTValue()};
}

bool SQLiteStore::setValueForKey(const VKTValue& value, std::string_view key) {
    if (isForked() || use_ == VKTStoreToRead) return false;
    Problems problems;
    bool isStored = false;
    {
        VKTLock lock(mutex_);
        const std::string ownKey(key);
        isStored = writeToFile(value, ownKey, problems);
        if (isStored) {
            unsaved_.erase(ownKey);
            flushWhenDue(problems);
        }
    }
    tell(problems);
    return isStored;
}

// What the file does not take stays in memory, unless nobody could ever read it back.
bool SQLiteStore::writeToFile(const VKTValue& value, const std::string& key, Problems& problems) const {
    VKTSQLiteRecord old;
    const int result = perform(Writing, problems, [&](VKTSQLiteConnection& connection) {
        const int reading = connection.read(key, old);
        return reading == SQLITE_DONE ? connection.write(key, value) : reading;
    });
    if (result == SQLITE_DONE) {
        damagedKeys_.erase(key);
        if (old.state == VKTSQLiteRecord::Damaged)
            problems.push_back("The damaged value under \"" + key + "\" in the store " + path_ +
                               " was replaced");
        return true;
    }
    if (result != SQLITE_TOOBIG) {
        unsaved_.insert_or_assign(key, value);
        if (canWrite()) nextAttempt_ = Clock::now() + pauseBeforeNextAttempt;
    }
    return false;
}

// Tries to store what is kept in memory. Where there is no room for one value there may be for the next;
// after other failures the rest waits.
void SQLiteStore::flush(Problems& problems) const {
    // Taken out first: opening the file anew, which writing may do, flushes as well.
    auto waiting = std::exchange(unsaved_, {});
    std::size_t count = 0;
    bool isWorthwhile = true;
    while (isWorthwhile && !waiting.empty()) {
        const auto change = waiting.extract(waiting.begin());
        const bool isWritten = writeToFile(change.mapped(), change.key(), problems);
        if (isWritten) ++count;
        isWorthwhile = isWritten || vkt_mayNeedRoom(lastResults_.at(Writing));
    }
    unsaved_.merge(waiting);
    if (count == 0) return;
    problems.push_back("The store " + path_ +
                       " can be written again and has taken what was kept in memory (" +
                       countOfChanges(count) + ")");
}

void SQLiteStore::flushAtTheEnd() {
    Problems problems;
    {
        VKTLock lock(mutex_);
        nextAttempt_ = {};
        flush(problems);
        if (!unsaved_.empty())
            problems.push_back("The store " + path_ +
                               " could not be written to the end; what was kept in "
                               "memory is lost (" +
                               countOfChanges(unsaved_.size()) + ")");
    }
    tell(problems);
}

std::vector<std::string> SQLiteStore::keysWithPrefix(std::string_view prefix) const {
    if (isForked()) return {};
    Problems problems;
    std::set<std::string> keys;
    {
        VKTLock lock(mutex_);
        std::vector<std::string> stored;
        const int result = perform(Reading, problems, [&](VKTSQLiteConnection& connection) {
            return connection.keysWithPrefix(prefix, stored);
        });
        if (result == SQLITE_DONE) keys.insert(stored.begin(), stored.end());
        for (const auto& [key, value] : unsaved_) {
            if (!key.starts_with(prefix)) continue;
            value.isNull() ? static_cast<void>(keys.erase(key)) : static_cast<void>(keys.insert(key));
        }
    }
    tell(problems);
    return {keys.begin(), keys.end()};
}

// --- tables

VKTRecordTableOpening SQLiteStore::openRecordTable(std::string_view family, std::string_view version) {
    if (isForked())
        return {nullptr, "The " + std::string(family) + " in the store " + path_ +
                             " belong to the parent process; a forked child has to open a store of its own"};
    auto ownership = std::make_unique<VKTStoreOwnership>();
    if (use_ == VKTStoreToChange && !path_.empty()) {
        if (const std::string owner = ownership->take(path_); !owner.empty())
            return {nullptr, "The " + std::string(family) + " in the store " + path_ +
                                 " belong to one process at a time, and " + owner};
    }
    const std::string prefix = "records " + std::string(family) + ' ';
    const std::string name = prefix + std::string(version);
    if (use_ == VKTStoreToChange) {
        Problems problems;
        {
            VKTLock lock(mutex_);
            tables_[name] = {prefix, std::nullopt};
            perform(Writing, problems,
                    [&](VKTSQLiteConnection& connection) { return connection.makeTable(name, prefix); });
        }
        tell(problems);
    }
    return {std::make_shared<SQLiteTable>(shared_from_this(), name, std::move(ownership)), ""};
}

bool SQLiteStore::hasLostRecords(const std::string& table) const {
    if (isForked()) return false;
    VKTLock lock(mutex_);
    const auto found = tables_.find(table);
    return found != tables_.end() && found->second.isLost;
}

std::optional<std::vector<VKTRecord>> SQLiteStore::records(const std::string& table) {
    if (isForked()) return std::nullopt;
    Problems problems;
    std::vector<VKTRecord> records;
    bool isRead = false;
    {
        VKTLock lock(mutex_);
        const int result = perform(Reading, problems, [&](VKTSQLiteConnection& connection) {
            const int reading = connection.records(table, records);
            // A table that nobody has made yet has no records.
            return reading == SQLITE_ERROR ? SQLITE_DONE : reading;
        });
        isRead = result == SQLITE_DONE && !isPartial();
        if (isRead) {
            tables_[table].file = openFile();
            tables_[table].isLost = false;
        }
    }
    tell(problems);
    return isRead ? std::optional(std::move(records)) : std::nullopt;
}

std::optional<Numbers> SQLiteStore::change(const std::string& table, const Numbers& removed,
                                           const std::vector<std::string>& added) {
    if (isForked() || use_ == VKTStoreToRead) return std::nullopt;
    Problems problems;
    Numbers numbers;
    bool isChanged = false;
    {
        VKTLock lock(mutex_);
        Table& own = tables_.at(table);
        const int result =
            perform(Writing, problems, [&](VKTSQLiteConnection& connection) VKT_REQUIRES(mutex_) {
                own.isLost = own.isLost || (own.file && own.file != openFile());
                if (own.isLost) return SQLITE_DONE;
                const int changing = connection.change(table, removed, added, numbers);
                if (changing != SQLITE_ERROR) return changing;
                // The file was out of reach when the table was to be made.
                const int making = connection.makeTable(table, own.family);
                return making == SQLITE_DONE ? connection.change(table, removed, added, numbers) : making;
            });
        isChanged = result == SQLITE_DONE && !own.isLost;
        if (isChanged) {
            own.file = openFile();
            flushWhenDue(problems);
        }
    }
    tell(problems);
    return isChanged ? std::optional(std::move(numbers)) : std::nullopt;
}

}  // namespace

std::shared_ptr<VKTKeyValueStore> vkt_makeSQLiteKeyValueStore(const std::string& path,
                                                              VKTStoreProblemHandler onProblem) {
    return std::make_shared<SQLiteStore>(path, VKTStoreToChange, SQLiteStore::SetsAside,
                                         std::move(onProblem));
}

std::shared_ptr<VKTKeyValueStore> vkt_openSQLiteKeyValueStore(const std::string& path, VKTStoreUse use,
                                                              VKTStoreProblemHandler onProblem) {
    auto store = std::make_shared<SQLiteStore>(path, use, SQLiteStore::LeavesAlone, std::move(onProblem));
    return store->isOpen() ? store : nullptr;
}
