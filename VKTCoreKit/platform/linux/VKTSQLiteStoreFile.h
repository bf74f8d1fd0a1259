// What a store does with its file besides reading and writing it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

/// Stays right when the working folder changes, and is none of SQLite's special names.
std::string vkt_absolutePath(const std::string& path);

/// Which file a path leads to.
using VKTFileIdentity = std::pair<dev_t, ino_t>;

std::optional<VKTFileIdentity> vkt_identityOfFile(const std::string& path);

/// How a database stands on the disk: as long as it is the same, nobody has changed it.
struct VKTDatabaseState {
    VKTFileIdentity identity;
    off_t size = 0;
    std::int64_t changed = 0;  ///< nanoseconds
    off_t logSize = 0;         ///< of the write-ahead log; 0 when there is none

    friend bool operator==(const VKTDatabaseState&, const VKTDatabaseState&) = default;
};

/// Of sizes 0 when there is no file; nothing when that cannot be told.
std::optional<VKTDatabaseState> vkt_stateOfDatabase(const std::string& path);

/// Whether there is something else than a file: a folder, a pipe, a device.
bool vkt_isNoFile(const std::string& path);

/// Whether the write-ahead log of a database gives it this application ID. It is read without SQLite, which
/// would write the log into the database.
bool vkt_hasApplicationIDInLog(const std::string& path, std::uint32_t applicationID);

/// Makes an empty file that only its user may read, unless there is one.
void vkt_makePrivateFile(const std::string& path);

/// Takes the rights of everybody but its user from a store's file and SQLite's own: an earlier version of the
/// library left them there.
void vkt_makeStorePrivate(const std::string& path);

/// Renames a store's file, with its log, to "PATH.damaged" (".damaged.1" … when that exists). The new path;
/// nothing when that fails.
std::optional<std::string> vkt_setAsideStore(const std::string& path);

/// Whether the file is one of those that were renamed so.
bool vkt_isSetAside(const std::string& path, const VKTFileIdentity& identity);

/// Held while a store's file is opened, made or set aside: by one process, and one thread of it, at a time.
class VKTStoreOpeningLock {
  public:
    /// Waits so long for another process. Whoever holds it may have been stopped by the system: then it is
    /// done without.
    VKTStoreOpeningLock(const std::string& path, int milliseconds);
    ~VKTStoreOpeningLock();
    VKTStoreOpeningLock(const VKTStoreOpeningLock&) = delete;
    VKTStoreOpeningLock& operator=(const VKTStoreOpeningLock&) = delete;

  private:
    const int file_;  // below 0 where no file can be made, and so none renamed
};

/// Says that something in a store's file belongs to one owner: this object. It ends with the object, or with
/// the process, however that ends; a forked child does not inherit it.
class VKTStoreOwnership {
  public:
    VKTStoreOwnership() = default;
    ~VKTStoreOwnership();
    VKTStoreOwnership(const VKTStoreOwnership&) = delete;
    VKTStoreOwnership& operator=(const VKTStoreOwnership&) = delete;

    /// Empty when this is the owner now; else a clause that tells who is. Where no file can be made for it
    /// (a read-only file system) nobody can change anything, and this is the owner until `confirm`.
    std::string take(const std::string& path);

    /// Before each change: makes the file that could not be made before. False when somebody else owns it
    /// now.
    [[nodiscard]] bool confirm();

  private:
    std::string lockFile(const std::string& lockPath);

    std::string path_;  // of the lock file; empty where there is nothing to own
    int file_ = -1;     // below 0 as long as it cannot be made
};
