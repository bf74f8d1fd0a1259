#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

#include <algorithm>
#include <utility>

namespace {

using File = std::shared_ptr<VKTVASTMediaFile>;
using Media = VKTVASTMediaFileSelector::Media;

File lowestBitrate(const Media& sorted) {
    const auto found =
        std::find_if(sorted.rbegin(), sorted.rend(), [](const File& file) { return file->bitrate > -1; });
    return found == sorted.rend() ? nullptr : *found;
}

File highestBitrateUpTo(float maxBitrate, const Media& sorted) {
    File candidate;
    for (const File& file : sorted) {
        if (file->bitrate < 0) continue;
        candidate = file;
        if (file->bitrate <= maxBitrate) break;
    }
    return candidate;
}

File byPictureSize(const Media& sorted, bool smallest) {
    // An area of -1 (one side unknown, the other 1) counts as nothing chosen yet.
    float bestArea = -1;
    File chosen;
    for (const File& file : sorted) {
        const float area = file->width * file->height;
        if (bestArea == -1 || (smallest ? area < bestArea : area > bestArea)) {
            bestArea = area;
            chosen = file;
        }
    }
    return chosen;
}

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
    const bool low = isConsideredLowNetworkConnection(networkAccessType_);
    Media sorted = media_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const File& left, const File& right) { return left->bitrate > right->bitrate; });
    File chosen = low ? lowestBitrate(sorted) : highestBitrateUpTo(maxBitrate_, sorted);
    return chosen ? chosen : byPictureSize(sorted, low);
}

bool VKTVASTMediaFileSelector::isConsideredLowNetworkConnection(std::uint32_t networkAccessType) {
    return networkAccessType < 4 || networkAccessType > 6;
}
