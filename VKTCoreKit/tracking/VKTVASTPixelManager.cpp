#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTURLUtils.h"

namespace {

constexpr std::int64_t noVASTCode = -1;
constexpr const char* errorOrigin = "error";

}  // namespace

std::shared_ptr<VKTVASTPixelManager> VKTVASTPixelManager::initWithPixelManager(
    std::shared_ptr<VKTPixelManager> pixelManager, VKTReplacements macros) {
    return std::shared_ptr<VKTVASTPixelManager>(
        new VKTVASTPixelManager(std::move(pixelManager), std::move(macros)));
}

VKTPixels VKTVASTPixelManager::callVASTPixels(const std::vector<VKTVASTURL>& pixels,
                                              const VKTReplacements& additionalMacros,
                                              const std::string& origin) const {
    const auto self = weak_from_this().lock();  // the pixel manager's observer may let go of it
    VKTPixels called;
    called.reserve(pixels.size());
    for (const VKTVASTURL& pixel : pixels)
        called.push_back(VKTPixel::initWithUrl(filledURL(pixel, additionalMacros, origin), origin));
    if (!called.empty()) call(called);
    return called;
}

VKTPixels VKTVASTPixelManager::callVASTErrorPixels(const std::vector<VKTVASTURL>& errorPixels,
                                                   std::int64_t withErrorCode) const {
    const auto self = weak_from_this().lock();  // the pixel manager's observer may let go of it
    if (withErrorCode == noVASTCode) {
        VKTLog::sharedInstance()->logDebugWithFormat("Error pixels cannot be called for error code: %ld",
                                                     withErrorCode);
        for (const VKTVASTURL& errorPixel : errorPixels)
            pixelManager_->tellObserver({errorPixel.url(), errorOrigin, VKTEventURLWithoutCode});
        return {};
    }
    if (errorPixels.empty()) {
        VKTLog::sharedInstance()->logDebugWithFormat("No error pixels to call for error code: %ld",
                                                     withErrorCode);
        return {};
    }
    VKTPixels called;
    called.reserve(errorPixels.size());
    for (const VKTVASTURL& errorPixel : errorPixels) {
        called.push_back(VKTPixel::initWithUrl(
            VKTURLUtils::replaceMacro("ERRORCODE", filledURL(errorPixel, {}, errorOrigin),
                                      std::to_string(withErrorCode), /*addBrackets=*/true),
            errorOrigin));
    }
    call(called);
    return called;
}

VKTURL VKTVASTPixelManager::filledURL(const VKTVASTURL& pixel, const VKTReplacements& additionalMacros,
                                      const std::string& origin) const {
    const auto text = vkt_textByReplacingMacros(pixel.url(), macros_, additionalMacros);
    auto filled = vkt_filledEventURL(pixel.url(), "macros", text);
    if (filled.problem) pixelManager_->tellObserver({pixel.url(), origin, *filled.problem, true});
    return std::move(filled.url);
}

void VKTVASTPixelManager::call(const VKTPixels& pixels) const {
    pixelManager_->addPixels(pixels);
    pixelManager_->callPixels();
}
