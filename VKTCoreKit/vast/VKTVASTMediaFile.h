// A media file of a linear creative ("MediaFile" and "InteractiveCreativeFile" elements, VAST 4.2).
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTElement.h"

/// A passive record, shared between a creative and the selector; not changed once read.
struct VKT_EXPORT VKTVASTMediaFile {
    std::optional<std::string> id;
    std::optional<std::string> delivery;
    std::optional<std::string> type;  ///< MIME type
    bool scalable = false;
    bool maintainAspectRatio = false;
    std::optional<std::string> codec;
    std::optional<std::string> apiFramework;
    float bitrate = -1;    ///< kbit/s; -1 is unknown
    float minBitrate = 0;  ///< kbit/s; 0 when absent, not -1
    float maxBitrate = 0;  ///< kbit/s; 0 when absent, not -1
    float width = -1;      ///< pixels; -1 is unknown
    float height = -1;     ///< pixels; -1 is unknown
    float fileSize = -1;   ///< bytes; -1 is unknown
    std::optional<VKTVASTURL> url;
    bool isInteractive = false;  ///< from an "InteractiveCreativeFile", which is played as VPAID only

    /// Nothing unless the result is valid.
    static std::shared_ptr<VKTVASTMediaFile> initWithDictionary(const VKTVASTElement& element);

    /// Never nothing.
    static std::shared_ptr<VKTVASTMediaFile> initUncheckedWithDictionary(const VKTVASTElement& element);

    /// Types are compared without regard to case, against closed lists.
    [[nodiscard]] bool isJavascript() const;
    [[nodiscard]] bool isVPAID() const;      ///< JavaScript whose API framework is VPAID
    [[nodiscard]] bool isSupported() const;  ///< a playable video type, or VPAID
    [[nodiscard]] bool isValid() const;      ///< supported, with a URL

    /// Whether a creative leaves the file out: it is not valid, or interactive without being VPAID.
    [[nodiscard]] bool isRefused() const { return !isValid() || (isInteractive && !isVPAID()); }

    /// Why, half a sentence: "type "video/webm" is not playable". Empty for a file that is not refused.
    [[nodiscard]] std::string refusal() const;
};
