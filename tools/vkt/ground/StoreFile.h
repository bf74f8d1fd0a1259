// Files that a user names for a key-value store.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// The store in the file; in memory, and free to change, for an empty path. Null, with an error line, when
/// the file cannot be used so: with consent, configurations or pixels of a file that was not read, the rest
/// would be misleading. Later problems are error lines, too. Several processes may use one file.
std::shared_ptr<VKTKeyValueStore> openStoreFile(const std::string& path, VKTStoreUse use);

/// The same to be changed; to be read where that cannot be: what is cached there is as good as ever.
std::shared_ptr<VKTKeyValueStore> openCacheFile(const std::string& path);
