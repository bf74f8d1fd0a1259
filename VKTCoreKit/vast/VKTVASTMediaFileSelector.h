// Chooses the media file to play.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTMediaFile.h"

/// Kind of connection: codes 4, 5 and 6 are fast, every other one is low.
inline constexpr std::uint32_t VKTDefaultNetworkAccessType = 6;

/// The rule by which a media file is chosen, or by which another one was preferred to it. A bitrate is known
/// from 0 up on a fast connection, and above -1 on a low one. The size of a picture is the product of its
/// sides, of which an unknown one counts as -1; pictures are asked only where no bitrate is known.
enum VKTVASTMediaFileRule : int {
#define VKT_MEDIA_FILE_RULE(name, words) VKTVASTMediaFile##name,
#include "VKTCoreKit/vast/VKTVASTMediaFileRules.inc"
#undef VKT_MEDIA_FILE_RULE
};

/// Whether a media file was chosen, and by which rule.
struct VKTVASTMediaFileVerdict {
    VKTVASTMediaFileRule rule;
    std::string reason;  ///< the rule in words, a clause

    [[nodiscard]] bool isChosen() const { return rule <= VKTVASTMediaFileBestPictureOfTheRest; }
};

/// Built, asked and dropped. A value; any thread.
///
/// ```cpp
/// auto selector = VKTVASTMediaFileSelector::initWithMinBitrate(0, 4000, creative->mediaFiles());
/// if (auto file = selector.mediaFile()) std::cout << file->url->url().absoluteString() << '\n';
/// for (const auto& verdict : selector.verdicts()) std::cout << verdict.reason << '\n';
/// ```
class VKT_EXPORT VKTVASTMediaFileSelector {
  public:
    using Media = std::vector<std::shared_ptr<VKTVASTMediaFile>>;

    /// Bitrates are in kbit/s. `minBitrate` is kept but takes no part in the choice. Null files are left out.
    static VKTVASTMediaFileSelector initWithMinBitrate(
        float minBitrate, float maxBitrate, Media media,
        std::uint32_t networkAccessType = VKTDefaultNetworkAccessType);

    /// On a fast connection the highest bitrate that `maxBitrate` allows, else the lowest known one, else the
    /// largest picture; on a low one the lowest known bitrate, else the smallest picture. Null without media.
    [[nodiscard]] std::shared_ptr<VKTVASTMediaFile> mediaFile() const;

    /// One for each of `media()`, in its order: one is chosen, the one that `mediaFile()` gives.
    [[nodiscard]] std::vector<VKTVASTMediaFileVerdict> verdicts() const;

    static bool isConsideredLowNetworkConnection(std::uint32_t networkAccessType);

    [[nodiscard]] float minBitrate() const { return minBitrate_; }
    [[nodiscard]] float maxBitrate() const { return maxBitrate_; }
    [[nodiscard]] const Media& media() const { return media_; }
    [[nodiscard]] std::uint32_t networkAccessType() const { return networkAccessType_; }

  private:
    VKTVASTMediaFileSelector() = default;

    float minBitrate_ = 0;
    float maxBitrate_ = 0;
    Media media_;
    std::uint32_t networkAccessType_ = VKTDefaultNetworkAccessType;
};
