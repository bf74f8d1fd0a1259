// A URL with a stand-in for debug builds.
#pragma once

#include <optional>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// A passive record.
struct VKT_EXPORT VKTProdURL {
    VKTURL prodURL;
    std::optional<VKTURL> devURL;
    bool cacheBusterEnabled = true;
    bool debugFramework = false;  ///< whether the framework is a debug build

    static VKTProdURL URLWithProdURL(VKTURL prodURL);
    static VKTProdURL URLWithProdURL(VKTURL prodURL, std::optional<VKTURL> devURL);

    /// In a debug build the stand-in, if there is one, with the cache buster; else the production URL.
    [[nodiscard]] VKTURL URL() const;

    /// When the cache buster is enabled, the URL's text, a question mark and the whole seconds since 1970.
    [[nodiscard]] VKTURL appendCacheBusterWithURL(const VKTURL& url) const;
};
