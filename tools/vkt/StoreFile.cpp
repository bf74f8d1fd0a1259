#include "StoreFile.h"

#include "Commands.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

std::shared_ptr<VKTKeyValueStore> openStoreFile(const std::string& path, VKTStoreUse use) {
    const VKTPlatform& platform = VKTPlatform::current();
    return path.empty() ? platform.makeKeyValueStore(path, printError)
                        : platform.openKeyValueStore(path, use, printError);
}
