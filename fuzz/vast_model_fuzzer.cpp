#include "Fuzzing.h"
#include "VKTCoreKit/vast/VKTVASTParser.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto response = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(inputText(data, size));
    require(response.model || response.error, "a document gives a model or an error");
    if (!response.model) return 0;

    const auto& model = *response.model;
    const auto mainAds = model.mainAds();
    require(mainAds.empty() == model.ads().empty(), "a document with ads has a main ad");
    require(model.passbackAds().size() <= model.ads().size(), "passback ads are ads of the document");
    for (const auto& ad : model.ads()) {
        for (const auto& creative : ad->linearCreatives()) {
            require((creative->mostAppropriateMediaFile() == nullptr) == creative->mediaFiles().empty(),
                    "one of the media files is chosen");
        }
    }
    return 0;
}
