// What the application's media player can play.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

/// Takes out the media files of a creative that the player cannot play; among the others
/// `VKTVASTMediaFileSelector` chooses. A passive record; any thread.
///
/// ```cpp
/// VKTMediaProfile profile;
/// profile.types = {"video/mp4"};
/// profile.codecs = {"avc1", "mp4a"};
/// profile.maximumHeight = 1080;
/// ```
///
/// A list that is empty, and a number that is not above 0, leave everything open: a profile with nothing set
/// takes out VPAID only. Texts are compared without regard to the case of ASCII letters and to white space at
/// their ends. What a document does not say of a file counts as suiting, since many leave out even what
/// matters; so do numbers of 0 or less. No rule but that of VPAID is asked about a file that is VPAID: it is
/// a script, and the media that it plays are its own choice.
struct VKT_EXPORT VKTMediaProfile {
    /// MIME types: "video/mp4". Parameters ("; codecs=…") take no part, here and in the file.
    std::vector<std::string> types = {};

    /// As in RFC 6381, in full or to a dot: "avc1" stands for "avc1.42E01E", and "mp4a.40" for "mp4a.40.2". A
    /// file that says less than the profile, "avc1" beside "avc1.42E01E", is taken. The file's are those of
    /// its attribute, or else of its type's parameter "codecs", with commas between them; each of them must
    /// be here.
    std::vector<std::string> codecs = {};

    std::vector<std::string> deliveries = {};  ///< "progressive", "streaming"
    float maximumWidth = 0;                    ///< pixels
    float maximumHeight = 0;                   ///< pixels

    /// kbit/s. A file above it is never chosen, while one above `VKTVASTDefaultMaximumBitrate`, which holds
    /// where nothing is set, is when there is none below. What a stream of several bitrates says of them
    /// (`minBitrate`, `maxBitrate`) takes no part: the player chooses among them.
    float maximumBitrate = 0;

    /// Whether the player runs scripts with the interface VPAID.
    bool allowsVPAID = false;

    /// One media file of a creative, and why it is chosen or not: half a sentence.
    struct Verdict {
        std::shared_ptr<VKTVASTMediaFile> file;
        std::string reason;
        bool isChosen = false;
    };

    /// The file to play on this kind of connection; null when none suits.
    [[nodiscard]] std::shared_ptr<VKTVASTMediaFile> mediaFileOf(
        const VKTVASTCreativeLinear& creative,
        std::uint32_t networkAccessType = VKTDefaultNetworkAccessType) const;

    /// One for each of the creative's media files, in their order. Of those that suit, the reason is the
    /// selector's; what the library cannot play at all is not among them
    /// (`VKTVASTCreativeLinear::refusedMediaFiles`).
    [[nodiscard]] std::vector<Verdict> verdictsOn(
        const VKTVASTCreativeLinear& creative,
        std::uint32_t networkAccessType = VKTDefaultNetworkAccessType) const;

    /// Why there is no file to play, half a sentence about the ad, with three different reasons at most:
    /// "none of its media files suits the player: its bitrate is above the profile's 3000 kbit/s". Empty when
    /// there is one.
    [[nodiscard]] std::string problemWith(
        const VKTVASTCreativeLinear& creative,
        std::uint32_t networkAccessType = VKTDefaultNetworkAccessType) const;

    /// Why one file does not suit, half a sentence about it: "codec "hvc1.1" is not among those of the
    /// profile". Empty when it suits. For files of `VKTVASTCreativeLinear::mediaFiles`, which the library can
    /// play.
    [[nodiscard]] std::string refusalOf(const VKTVASTMediaFile& file) const;
};
