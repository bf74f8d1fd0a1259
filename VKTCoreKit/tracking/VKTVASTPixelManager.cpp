#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"

#include <string>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTURLUtils.h"

namespace {

constexpr std::int64_t noVASTCode = -1;

}

std::shared_ptr<VKTVASTPixelManager> VKTVASTPixelManager::initWithPixelManager(
    std::shared_ptr<VKTPixelManager> pixelManager) {
    return std::shared_ptr<VKTVASTPixelManager>(new VKTVASTPixelManager(std::move(pixelManager)));
}

void VKTVASTPixelManager::callVASTErrorPixels(const std::vector<VKTVASTURL>& errorPixels,
                                              std::int64_t withErrorCode) const {
    if (withErrorCode == noVASTCode) {
        return VKTLog::sharedInstance()->logDebugWithFormat(
            "Error pixels cannot be called for error code: %ld", withErrorCode);
    }
    if (errorPixels.empty()) {
        return VKTLog::sharedInstance()->logDebugWithFormat("No error pixels to call for error code: %ld",
                                                            withErrorCode);
    }
    for (const VKTVASTURL& errorPixel : errorPixels) {
        pixelManager_->addPixel(VKTPixel::initWithUrl(VKTURLUtils::replaceMacro(
            "ERRORCODE", errorPixel.url(), std::to_string(withErrorCode), /*addBrackets=*/true)));
    }
    pixelManager_->callPixels();
}
