// The key-value store over SQLite.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// A store in the file at `path`, made when missing; in memory when the path is empty. Beside the file stand
/// SQLite's own ("PATH-wal", "PATH-shm") and the empty "PATH.lock", by which processes take turns at opening
/// it; that one stays for good. Where another process is in the way, opening and each operation wait for
/// about a second, then open in memory or fail.
///
/// A file that is damaged or something else than a store is renamed to "PATH.damaged" (".damaged.1" … when
/// that exists) and a new one is begun, now or at the operation that finds the damage. When the file cannot
/// be opened at all, values live in memory. The handler, which may be null, hears of each of these, and of
/// reading and writing that fails: once when it begins to fail, not at every call.
///
/// What has been written survives the death of the process; a power cut may lose the last few seconds'
/// writes, but never the file. A child process after `fork` needs a store of its own.
std::shared_ptr<VKTKeyValueStore> vkt_makeSQLiteKeyValueStore(const std::string& path,
                                                              VKTStoreProblemHandler onProblem);

/// A store in the file at `path` for a tool: see `VKTPlatform::openKeyValueStore`.
std::shared_ptr<VKTKeyValueStore> vkt_openSQLiteKeyValueStore(const std::string& path, VKTStoreUse use,
                                                              VKTStoreProblemHandler onProblem);
