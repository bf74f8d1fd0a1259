// What the application's media player can play.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"

/// A passive record: what is empty, or 0, leaves everything open. It is applied before the library's selector
/// chooses, which stays as it is. Any thread.
struct VKTMediaProfile {
    std::vector<std::string> types;       ///< MIME types, without regard to case: "video/mp4"
    std::vector<std::string> codecs;      ///< RFC 6381, or its first part: "avc1" stands for every "avc1.…"
    std::vector<std::string> deliveries;  ///< "progressive", "streaming"
    float maximumWidth = 0;               ///< pixels
    float maximumHeight = 0;              ///< pixels
    float maximumBitrate = 0;             ///< kbit/s
    bool allowsVPAID = false;

    /// One media file of a creative, and why it is chosen or not: half a sentence.
    struct Verdict {
        std::shared_ptr<VKTVASTMediaFile> file;
        std::string reason;
        bool isChosen = false;
    };

    /// The file to play on this kind of connection; null when none suits.
    [[nodiscard]] std::shared_ptr<VKTVASTMediaFile> mediaFileOf(const VKTVASTCreativeLinear& creative,
                                                                std::uint32_t networkAccessType) const;

    [[nodiscard]] std::string problemWith(const VKTVASTCreativeLinear& creative,
                                          std::uint32_t networkAccessType) const;

    /// One for each of the creative's media files, in their order.
    [[nodiscard]] std::vector<Verdict> verdictsOn(const VKTVASTCreativeLinear& creative,
                                                  std::uint32_t networkAccessType) const;
};
