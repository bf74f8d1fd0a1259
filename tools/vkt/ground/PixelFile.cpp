#include "ground/PixelFile.h"

#include <filesystem>
#include <utility>

#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "ground/Output.h"
#include "ground/StoreFile.h"

namespace {

bool isMissing(const std::string& path) {
    std::error_code error;
    return !std::filesystem::exists(path, error) && !error;
}

}  // namespace

std::shared_ptr<VKTPixelStoreProviderProtocol> openPixelFile(const std::string& path, PixelFileUse use) {
    if (use == PixelFileToSend && isMissing(path)) {
        printError("cannot send the pixels in " + path + ": there is no such file");
        return nullptr;
    }
    auto store = openStoreFile(path, use == PixelFileToRead ? VKTStoreToRead : VKTStoreToChange);
    if (!store) return nullptr;
    std::optional<VKTError> error;
    auto provider = VKTPersistentPixelStoreProvider::initWithKeyValueStore(std::move(store), &error);
    if (error) {
        printError(error->localizedDescription().value_or("another run owns the pixels in " + path));
        return nullptr;
    }
    if (!provider->loadPixels()) {
        printError("cannot read the pixels in " + path + "; close what else uses it and try again");
        return nullptr;
    }
    return provider;
}
