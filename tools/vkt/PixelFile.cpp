#include "PixelFile.h"

#include <sys/file.h>
#include <unistd.h>

#include <utility>

#include "Commands.h"
#include "StoreFile.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

namespace {

// Why the file cannot be used; empty when it can. Writing is asked for in any case: the database cannot be
// read without. A file that is locked stays open, and must: closing it would take away the database's own
// locks, too.
std::string problemOf(const std::string& path, PixelFileUse use) {
    std::string problem;
    const int file = openRegularFile(path, use == PixelFileToKeep, problem);
    if (file < 0) return problem;
    if (use == PixelFileToRead) {
        close(file);
        return "";
    }
    return flock(file, LOCK_EX | LOCK_NB) == 0 ? "" : "another run uses it";
}

}  // namespace

std::shared_ptr<VKTPixelStoreProviderProtocol> openPixelFile(const std::string& path, PixelFileUse use) {
    const std::string problem = problemOf(path, use);
    if (!problem.empty()) {
        printError("cannot " + std::string(use == PixelFileToRead ? "read " : "use ") + path + ": " +
                   problem);
        return nullptr;
    }
    auto store = makeFileStore(path);
    return store ? VKTPersistentPixelStoreProvider::initWithKeyValueStore(std::move(store)) : nullptr;
}
