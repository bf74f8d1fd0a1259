#include "PixelFile.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>
#include <utility>

#include "Commands.h"
#include "StoreFile.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

namespace {

bool isMissing(const std::string& path) {
    std::error_code error;
    return !std::filesystem::exists(path, error) && !error;
}

// Until this process ends. A file that is locked stays open, and must: closing it would take away the
// database's own locks, too.
bool isOwned(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    return file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

std::shared_ptr<VKTPixelStoreProviderProtocol> openPixelFile(const std::string& path, PixelFileUse use) {
    if (use == PixelFileToSend && isMissing(path)) {
        printError("cannot send the pixels in " + path + ": there is no such file");
        return nullptr;
    }
    auto store = openStoreFile(path, use == PixelFileToRead ? VKTStoreToRead : VKTStoreToChange);
    if (!store) return nullptr;
    if (use != PixelFileToRead && !isOwned(path)) {
        printError("cannot use " + path + ": another run uses it");
        return nullptr;
    }
    const auto provider = VKTPersistentPixelStoreProvider::initWithKeyValueStore(store);
    if (store->readValueForKey(provider->pixelStoreKey()).status == VKTStoredValue::Unreadable) {
        printError("cannot read the pixels in " + path +
                   ": damaged, or locked by another program; close what else uses the file and try again, or "
                   "move it away");
        return nullptr;
    }
    return provider;
}
