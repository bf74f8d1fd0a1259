#include "VKTCoreKit/config/VKTProdURL.h"

#include <chrono>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/privacy/VKTFrameworkInfo.h"

VKTProdURL VKTProdURL::URLWithProdURL(VKTURL prodURL) {
    return URLWithProdURL(std::move(prodURL), std::nullopt);
}

VKTProdURL VKTProdURL::URLWithProdURL(VKTURL prodURL, std::optional<VKTURL> devURL) {
    return {std::move(prodURL), std::move(devURL), true,
            VKTFrameworkInfo::sharedInstance()->frameworkBuiltInDebug()};
}

VKTURL VKTProdURL::URL() const {
    return devURL && debugFramework ? appendCacheBusterWithURL(*devURL) : prodURL;
}

VKTURL VKTProdURL::appendCacheBusterWithURL(const VKTURL& url) const {
    if (!cacheBusterEnabled) return url;
    const auto now = std::chrono::floor<std::chrono::seconds>(VKTPlatform::current().clock->now());
    const std::int64_t seconds = now.time_since_epoch().count();
    return VKTURL::URLWithString(vkt_stringWithFormat("%@?%ld", {url.absoluteString(), seconds}))
        .value_or(url);
}
