#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

using File = std::shared_ptr<VKTVASTMediaFile>;
using Media = VKTVASTMediaFileSelector::Media;

constexpr std::array ruleWords{
#define VKT_MEDIA_FILE_RULE(name, words) std::string_view(words),
#include "VKTCoreKit/vast/VKTVASTMediaFileRules.inc"
#undef VKT_MEDIA_FILE_RULE
};

float sizeOf(const VKTVASTMediaFile& file) {
    return file.width * file.height;
}

bool hasUnknownSide(const VKTVASTMediaFile& file) {
    return file.width == -1 || file.height == -1;
}

// The choice among some media, which must outlive it, and what became of each file.
class Selection {
  public:
    Selection(const Media& media, float maxBitrate, bool isLow) : maxBitrate_(maxBitrate), isLow_(isLow) {
        for (const File& file : media)
            sorted_.push_back(&file);
        std::stable_sort(sorted_.begin(), sorted_.end(), [](const File* left, const File* right) {
            return (*left)->bitrate > (*right)->bitrate;
        });
        if (isLow ? chooseLowestBitrate() : chooseHighestBitrate()) return;
        chooseByPicture();
    }

    /// Highest bitrate first, those of the same bitrate in the order of the media.
    [[nodiscard]] const std::vector<const File*>& sorted() const { return sorted_; }
    [[nodiscard]] const File* chosen() const { return chosen_; }

    [[nodiscard]] VKTVASTMediaFileVerdict verdictAt(std::size_t place) const {
        const auto rule = sorted_[place] == chosen_ ? rule_ : ruleOfKept(place);
        return {rule, wordsOf(rule) + noteOn(rule, **sorted_[place])};
    }

  private:
    bool choose(const File* file, VKTVASTMediaFileRule rule) {
        chosen_ = file;
        rule_ = rule;
        return true;
    }

    [[nodiscard]] bool isKnown(float bitrate) const { return isLow_ ? bitrate > -1 : bitrate >= 0; }

    [[nodiscard]] bool isBetter(float size, float otherSize) const {
        return isLow_ ? size < otherSize : size > otherSize;
    }

    bool chooseLowestBitrate() {
        const auto found = std::find_if(sorted_.rbegin(), sorted_.rend(),
                                        [this](const File* file) { return isKnown((*file)->bitrate); });
        return found != sorted_.rend() && choose(*found, VKTVASTMediaFileLowestBitrate);
    }

    bool chooseHighestBitrate() {
        for (const File* file : sorted_) {
            const float bitrate = (*file)->bitrate;
            if (!isKnown(bitrate)) continue;
            if (bitrate <= maxBitrate_) return choose(file, VKTVASTMediaFileHighestAllowedBitrate);
            choose(file, VKTVASTMediaFileLowestBitrateOverLimit);
        }
        return chosen_ != nullptr;
    }

    void chooseByPicture() {
        // A size of -1 (one side unknown, the other 1) counts as nothing chosen yet.
        float best = -1;
        bool hasBetterBefore = false;
        for (std::size_t i = 0; i < sorted_.size(); ++i) {
            const float size = sizeOf(**sorted_[i]);
            if (best == -1) start_ = i;
            if (best != -1 && !isBetter(size, best)) continue;
            best = size;
            choose(sorted_[i], VKTVASTMediaFileBestPicture);
        }
        for (std::size_t i = 0; i < start_; ++i)
            hasBetterBefore = hasBetterBefore || isBetter(sizeOf(**sorted_[i]), best);
        if (hasBetterBefore) rule_ = VKTVASTMediaFileBestPictureOfTheRest;
    }

    [[nodiscard]] VKTVASTMediaFileRule ruleOfKept(std::size_t place) const {
        const VKTVASTMediaFile& file = **sorted_[place];
        const VKTVASTMediaFile& chosen = **chosen_;
        if (rule_ >= VKTVASTMediaFileBestPicture) return ruleOfPicture(place);
        if (!isKnown(file.bitrate)) return VKTVASTMediaFileBitrateUnknown;
        if (rule_ == VKTVASTMediaFileHighestAllowedBitrate) {
            if (file.bitrate > maxBitrate_) return VKTVASTMediaFileBitrateOverLimit;
            return file.bitrate < chosen.bitrate ? VKTVASTMediaFileBitrateLower
                                                 : VKTVASTMediaFileSameBitrateBefore;
        }
        if (file.bitrate == chosen.bitrate) return VKTVASTMediaFileSameBitrateAfter;
        return rule_ == VKTVASTMediaFileLowestBitrate ? VKTVASTMediaFileBitrateHigher
                                                      : VKTVASTMediaFileBitrateFurtherOverLimit;
    }

    [[nodiscard]] VKTVASTMediaFileRule ruleOfPicture(std::size_t place) const {
        const float size = sizeOf(**sorted_[place]);
        const float chosenSize = sizeOf(**chosen_);
        if (isBetter(chosenSize, size)) return VKTVASTMediaFilePictureWorse;
        const bool isComparable = isBetter(size, chosenSize) || size == chosenSize;
        if (!isComparable) return VKTVASTMediaFilePicturesDoNotCompare;
        if (place < start_)
            return size == -1 ? VKTVASTMediaFilePictureCountsAsNone : VKTVASTMediaFilePictureLostToNone;
        return (*chosen_)->bitrate > (*sorted_[place])->bitrate ? VKTVASTMediaFileSamePictureHigherBitrate
                                                                : VKTVASTMediaFileSamePictureBefore;
    }

    [[nodiscard]] std::string wordsOf(VKTVASTMediaFileRule rule) const {
        std::string words(ruleWords.at(static_cast<std::size_t>(rule)));
        for (const auto& [name, text] :
             {std::pair("{maximum}", vkt_numberDescription(maxBitrate_) + " kbit/s"),
              {"{best}", isLow_ ? "smallest" : "largest"},
              {"{better}", isLow_ ? "smaller" : "larger"}})
            words = vkt_replacingOccurrences(words, name, text);
        return words;
    }

    // What a comparison of pictures has made of sides that it does not know.
    [[nodiscard]] std::string noteOn(VKTVASTMediaFileRule rule, const VKTVASTMediaFile& file) const {
        const bool isCompared = rule == VKTVASTMediaFilePictureWorse ||
                                rule == VKTVASTMediaFileSamePictureBefore ||
                                rule == VKTVASTMediaFileSamePictureHigherBitrate;
        const bool isGuessed = isCompared && (hasUnknownSide(file) || hasUnknownSide(**chosen_));
        return isGuessed ? " (an unknown side counts as -1)" : "";
    }

    float maxBitrate_;
    bool isLow_;
    std::vector<const File*> sorted_;
    const File* chosen_ = nullptr;
    VKTVASTMediaFileRule rule_ = VKTVASTMediaFileBestPicture;
    std::size_t start_ = 0;  // of the pictures: the last place where nothing was chosen yet
};

}  // namespace

VKTVASTMediaFileSelector VKTVASTMediaFileSelector::initWithMinBitrate(float minBitrate, float maxBitrate,
                                                                      Media media,
                                                                      std::uint32_t networkAccessType) {
    VKTVASTMediaFileSelector selector;
    selector.minBitrate_ = minBitrate;
    selector.maxBitrate_ = maxBitrate;
    selector.media_ = std::move(media);
    std::erase(selector.media_, nullptr);
    selector.networkAccessType_ = networkAccessType;
    return selector;
}

std::shared_ptr<VKTVASTMediaFile> VKTVASTMediaFileSelector::mediaFile() const {
    const File* chosen =
        Selection(media_, maxBitrate_, isConsideredLowNetworkConnection(networkAccessType_)).chosen();
    return chosen == nullptr ? nullptr : *chosen;
}

std::vector<VKTVASTMediaFileVerdict> VKTVASTMediaFileSelector::verdicts() const {
    const Selection selection(media_, maxBitrate_, isConsideredLowNetworkConnection(networkAccessType_));
    std::vector<VKTVASTMediaFileVerdict> verdicts(media_.size());
    for (std::size_t place = 0; place < media_.size(); ++place)
        verdicts[static_cast<std::size_t>(selection.sorted()[place] - media_.data())] =
            selection.verdictAt(place);
    return verdicts;
}

bool VKTVASTMediaFileSelector::isConsideredLowNetworkConnection(std::uint32_t networkAccessType) {
    return networkAccessType < 4 || networkAccessType > 6;
}
