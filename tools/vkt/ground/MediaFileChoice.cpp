#include "ground/MediaFileChoice.h"

#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

std::shared_ptr<VKTVASTMediaFile> chosenMediaFile(const VKTVASTCreativeLinear& creative,
                                                  std::uint32_t networkAccessType) {
    return VKTVASTMediaFileSelector::initWithMinBitrate(0, VKTVASTDefaultMaximumBitrate,
                                                        creative.mediaFiles(), networkAccessType)
        .mediaFile();
}
