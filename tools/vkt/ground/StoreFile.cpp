#include "ground/StoreFile.h"

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "ground/Output.h"

std::shared_ptr<VKTKeyValueStore> openStoreFile(const std::string& path, VKTStoreUse use) {
    const VKTPlatform& platform = VKTPlatform::current();
    return path.empty() ? platform.makeKeyValueStore(path, printError)
                        : platform.openKeyValueStore(path, use, printError);
}

std::shared_ptr<VKTKeyValueStore> openCacheFile(const std::string& path) {
    if (auto store = openStoreFile(path, VKTStoreToChange)) return store;
    // Why it is refused has been told, and is the same for reading unless that works.
    const auto isOpen = std::make_shared<bool>(false);
    auto store =
        VKTPlatform::current().openKeyValueStore(path, VKTStoreToRead, [isOpen](const std::string& problem) {
            if (*isOpen) printError(problem);
        });
    *isOpen = true;
    return store;
}
