#include "VKTCoreKit/vast/VKTVASTParser.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

using Response = VKTVASTParserResponse;
using Outcome = VKTVASTDocumentOutcome;

// The document's text for the error handler, decoded at the first problem: most documents have none.
class DocumentText {
  public:
    explicit DocumentText(std::string_view data) : data_(data) {}

    const std::optional<std::string>& text() {
        if (!isDecoded_ && vkt_isValidUTF8(data_)) text_ = std::string(data_);
        isDecoded_ = true;
        return text_;
    }

  private:
    std::string_view data_;
    bool isDecoded_ = false;
    std::optional<std::string> text_;
};

bool hasOtherRoot(const Outcome& outcome) {
    return outcome.root && outcome.root != "VAST";
}

// A root of another name is why everything else is missing, too.
std::string problemUnlessRootDiffers(const Outcome& outcome, std::string problem) {
    return hasOtherRoot(outcome) ? "the root is " + *outcome.root + ", not VAST" : std::move(problem);
}

std::string problemOfFault(const Outcome& outcome, std::string_view data,
                           const std::optional<VKTError>& fault, bool isUTF8) {
    if (vkt_trimmed(data).empty()) return "it is empty";
    return (hasOtherRoot(outcome) ? problemUnlessRootDiffers(outcome, {}) + ", and " : "") +
           "its XML cannot be read: " +
           (fault ? fault->localizedDescription() : std::nullopt).value_or("it has no element") +
           (isUTF8 ? "" : " (it is not UTF-8 text)");
}

void setFaultPlace(Outcome& outcome, const std::optional<VKTError>& fault) {
    const auto numberOf = [&](const char* key) -> std::optional<std::int64_t> {
        const auto* number = fault ? fault->userInfoValue<std::int64_t>(key) : nullptr;
        return number == nullptr ? std::nullopt : std::optional(*number);
    };
    outcome.faultLine = numberOf(VKTXMLErrorLineKey);
    outcome.faultColumn = numberOf(VKTXMLErrorColumnKey);
}

std::string problemOfMissingAds(const Outcome& outcome, bool hasAdElement) {
    return hasAdElement ? "none of its Ad elements has an InLine or a Wrapper that can be read"
                        : problemUnlessRootDiffers(outcome, "it holds no ad");
}

// Empty when one of the ads, of which there is one at least, is valid.
std::string problemOfAds(const VKTVASTModel::Ads& ads) {
    if (std::any_of(ads.begin(), ads.end(), [](const auto& ad) { return ad->isValid(); })) return {};
    std::string reason = ads.front()->invalidReason();
    if (ads.size() == 1) return reason;
    return "none of its " + std::to_string(ads.size()) + " ads is valid; of the first: " + reason;
}

}  // namespace

Response VKTVASTParser::parseXMLAndGenerateVASTObjectModel(std::optional<std::string_view> data,
                                                           bool isWrapper,
                                                           const VKTVASTDocumentErrorHandler& errorHandler,
                                                           VKTVASTReadingListener* listener) {
    Outcome outcome;
    if (!data) {
        errorHandler(VKTVASTError::VAST_VPAID_ERROR_FETCH(), {}, std::nullopt);
        outcome.problem = "there is no document";
        return Response::initWithModel(
            nullptr,
            VKTUtils::errorWithDomain(VKTVASTErrorDomain, VKTVASTErrorCodeUnexpectedResponse,
                                      "Unexpected response."),
            std::move(outcome));
    }

    DocumentText document(*data);
    auto parser = VKTXMLDictionaryParser::sharedInstance().copy();
    parser.markStrippedNodes = listener != nullptr;
    auto dictionary = parser.vkt_dictionaryWithData(*data);
    if (!parser.rootName().empty()) outcome.root = parser.rootName();
    if (!dictionary) {
        const auto malformed =
            isWrapper ? VKTVASTError::XML_PARSING_ERROR_WRAPPER() : VKTVASTError::XML_PARSING_ERROR();
        setFaultPlace(outcome, parser.parsingError());
        outcome.problem = problemOfFault(outcome, *data, parser.parsingError(), document.text().has_value());
        errorHandler(malformed, {}, document.text());
        return Response::initWithModel(nullptr, malformed.error(), std::move(outcome));
    }

    const VKTArray* adElements = VKTXMLDictionaryUtils::findArrayForKey("Ad", *dictionary);
    const bool hasAdElement = adElements != nullptr && !adElements->empty();
    bool hasReported = false;
    const auto report = [&](const VKTVASTError& problem, const std::vector<VKTVASTURL>& pixels) {
        hasReported = true;
        errorHandler(problem, pixels, document.text());
    };
    std::optional<VKTError> error;
    auto model = VKTVASTModel::initWithDictionary(std::move(*dictionary), &error, report, listener);
    if (!model) {
        outcome.problem = problemUnlessRootDiffers(outcome, "it has no version attribute");
        return Response::initWithModel(nullptr, std::move(error), std::move(outcome));
    }
    outcome.version = model->version();
    outcome.ads = model->ads().size();

    if (!model->versionIsSupported()) {
        const auto unsupported = isWrapper ? VKTVASTError::VAST_VERSION_ERROR_NOT_SUPPORTED_WRAPPER()
                                           : VKTVASTError::VAST_VERSION_ERROR_NOT_SUPPORTED();
        outcome.problem = problemUnlessRootDiffers(outcome, "VAST " + *outcome.version + " is not supported");
        if (!hasReported) report(unsupported, model->errorPixels());
        return Response::initWithModel(nullptr, unsupported.error(), std::move(outcome));
    }
    if (model->ads().empty()) {
        outcome.problem = problemOfMissingAds(outcome, hasAdElement);
        if (isWrapper && !hasReported) {
            report(VKTVASTError::VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE(), model->errorPixels());
        }
        return Response::initWithModel(
            std::move(model), VKTVASTError::VAST_VALIDATION_ERROR_MISSING_INLINE_AND_WRAPPER().error(),
            std::move(outcome));
    }
    outcome.problem = problemOfAds(model->ads());
    return Response::initWithModel(std::move(model), std::nullopt, std::move(outcome));
}
