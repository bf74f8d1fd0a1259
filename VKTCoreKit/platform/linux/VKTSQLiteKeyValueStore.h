// The key-value store over SQLite.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// A store in the file at `path`, made when missing, readable by its user alone; in memory when the path is
/// empty. Beside the file stand SQLite's own ("PATH-wal", "PATH-shm"), the empty "PATH.lock", by which
/// processes take turns at opening it, and "PATH.owner" for the owner of its tables; these two stay for good.
/// Where another process is in the way, opening and an operation wait for about a second, once.
///
/// As long as the file cannot be written, changes answer false, live in memory, and are written when it can:
/// with an operation at least a second later, at the latest when the store is destroyed. What a file holds
/// that can only be read (a read-only file system, a disk without room for SQLite's own files, a process that
/// keeps the file for itself) is read.
///
/// A file that is damaged, or no database at all, is renamed to "PATH.damaged" (".damaged.1" … when that
/// exists) and a new one is begun, now or at the operation that finds the damage; for this store and others
/// that had the file open, keys that are not in the new one are unreadable from then on. Another program's
/// database is left alone, and values live in memory. A damaged record is unreadable until it is written
/// again.
///
/// The handler, which may be null, hears of each of these, and of reading and writing that fails: once when
/// it begins to fail, not at every call. The same is logged at warning level.
///
/// What has been written survives the death of the process; a power cut may lose the last few seconds'
/// writes, but never the file. A child process after `fork` needs a store of its own: in the child, this one
/// reads nothing and takes nothing.
std::shared_ptr<VKTKeyValueStore> vkt_makeSQLiteKeyValueStore(const std::string& path,
                                                              VKTStoreProblemHandler onProblem);

/// A store in the file at `path` for a tool: see `VKTPlatform::openKeyValueStore`.
std::shared_ptr<VKTKeyValueStore> vkt_openSQLiteKeyValueStore(const std::string& path, VKTStoreUse use,
                                                              VKTStoreProblemHandler onProblem);
