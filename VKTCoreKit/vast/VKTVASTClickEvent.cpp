#include "VKTCoreKit/vast/VKTVASTClickEvent.h"

#include <utility>

#include "VKTCoreKit/core/VKTUtils.h"

VKTVASTClickEvent VKTVASTClickEvent::initWithType(std::string type, VKTURL url) {
    return {std::move(type), std::move(url)};
}

std::optional<VKTVASTClickEvent> VKTVASTClickEvent::initWithType(std::string type,
                                                                 std::string_view urlString) {
    if (VKTUtils::stringIsEmptyOrWhiteSpace(type) || VKTUtils::stringIsEmptyOrWhiteSpace(urlString)) {
        return std::nullopt;
    }
    auto url = VKTURL::URLWithDocumentText(urlString);
    if (!url) return std::nullopt;
    return initWithType(std::move(type), std::move(*url));
}
