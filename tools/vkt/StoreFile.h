// Files that a user names for a key-value store.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// A descriptor of the file, which must be a regular one and is made when it is missing and `isMade`; the
/// caller closes it. -1, and the reason in `problem`, when it cannot be read and written.
int openRegularFile(const std::string& path, bool isMade, std::string& problem);

/// The store in the file. Null when it would be in memory only: with consent, configurations or pixels of a
/// file that was not read, the rest would be misleading. Problems, later ones too, are error lines.
std::shared_ptr<VKTKeyValueStore> makeFileStore(const std::string& path);

/// The store in the file, made when it is missing; in memory for an empty path. Null, with an error line,
/// when the file cannot be used. Later problems are error lines, too. Several processes may use one file.
std::shared_ptr<VKTKeyValueStore> openStoreFile(const std::string& path);
