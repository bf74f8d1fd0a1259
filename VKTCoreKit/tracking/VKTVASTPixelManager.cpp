#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"

#include <string>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTURLUtils.h"

namespace {

constexpr std::int64_t noVASTCode = -1;

}

std::shared_ptr<VKTVASTPixelManager> VKTVASTPixelManager::initWithPixelManager(
    std::shared_ptr<VKTPixelManager> pixelManager, VKTReplacements macros) {
    return std::shared_ptr<VKTVASTPixelManager>(
        new VKTVASTPixelManager(std::move(pixelManager), std::move(macros)));
}

void VKTVASTPixelManager::callVASTPixels(const std::vector<VKTVASTURL>& pixels,
                                         const VKTReplacements& additionalMacros) const {
    if (pixels.empty()) return;
    std::vector<VKTURL> urls;
    urls.reserve(pixels.size());
    for (const VKTVASTURL& pixel : pixels)
        urls.push_back(filledURL(pixel, additionalMacros));
    callURLs(urls);
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
    std::vector<VKTURL> urls;
    urls.reserve(errorPixels.size());
    for (const VKTVASTURL& errorPixel : errorPixels) {
        urls.push_back(VKTURLUtils::replaceMacro("ERRORCODE", filledURL(errorPixel, {}),
                                                 std::to_string(withErrorCode), /*addBrackets=*/true));
    }
    callURLs(urls);
}

VKTURL VKTVASTPixelManager::filledURL(const VKTVASTURL& pixel,
                                      const VKTReplacements& additionalMacros) const {
    auto filled = vkt_URLByReplacingMacros(pixel.url(), macros_, additionalMacros);
    if (filled) return *std::move(filled);
    vkt_logInvalidReplacement("macros", pixel.url());
    return pixel.url();
}

void VKTVASTPixelManager::callURLs(const std::vector<VKTURL>& urls) const {
    VKTPixels pixels;
    pixels.reserve(urls.size());
    for (const VKTURL& url : urls)
        pixels.push_back(VKTPixel::initWithUrl(url));
    pixelManager_->addPixels(pixels);
    pixelManager_->callPixels();
}
