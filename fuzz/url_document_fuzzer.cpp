#include "Fuzzing.h"
#include "VKTCoreKit/foundation/VKTURL.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto url = VKTURL::URLWithDocumentText(inputText(data, size));
    if (!url) return 0;

    const auto strict = VKTURL::URLWithString(url->absoluteString());
    require(strict == url, "a URL of a document passes the strict parser");
    require(VKTURL::URLWithDocumentText(url->absoluteString()) == url, "encoding happens once");
    return 0;
}
