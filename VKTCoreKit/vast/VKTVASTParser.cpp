#include "VKTCoreKit/vast/VKTVASTParser.h"

#include <utility>

#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

using Response = VKTVASTParserResponse;

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

}  // namespace

Response VKTVASTParser::parseXMLAndGenerateVASTObjectModel(std::optional<std::string_view> data,
                                                           bool isWrapper,
                                                           const VKTVASTDocumentErrorHandler& errorHandler) {
    if (!data) {
        errorHandler(VKTVASTError::VAST_VPAID_ERROR_FETCH(), {}, std::nullopt);
        return Response::initWithModel(
            nullptr, VKTUtils::errorWithDomain(VKTVASTErrorDomain, VKTVASTErrorCodeUnexpectedResponse,
                                               "Unexpected response."));
    }

    DocumentText document(*data);
    auto dictionary = vkt_dictionaryWithXMLData(*data);
    if (!dictionary) {
        const auto malformed =
            isWrapper ? VKTVASTError::XML_PARSING_ERROR_WRAPPER() : VKTVASTError::XML_PARSING_ERROR();
        errorHandler(malformed, {}, document.text());
        return Response::initWithModel(nullptr, malformed.error());
    }

    bool hasReported = false;
    const auto report = [&](const VKTVASTError& problem, const std::vector<VKTVASTURL>& pixels) {
        hasReported = true;
        errorHandler(problem, pixels, document.text());
    };
    std::optional<VKTError> error;
    auto model = VKTVASTModel::initWithDictionary(std::move(*dictionary), &error, report);
    if (!model) return Response::initWithModel(nullptr, std::move(error));

    if (!model->versionIsSupported()) {
        const auto unsupported = isWrapper ? VKTVASTError::VAST_VERSION_ERROR_NOT_SUPPORTED_WRAPPER()
                                           : VKTVASTError::VAST_VERSION_ERROR_NOT_SUPPORTED();
        if (!hasReported) report(unsupported, model->errorPixels());
        return Response::initWithModel(nullptr, unsupported.error());
    }
    if (model->ads().empty()) {
        if (isWrapper && !hasReported) {
            report(VKTVASTError::VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE(), model->errorPixels());
        }
        return Response::initWithModel(
            std::move(model), VKTVASTError::VAST_VALIDATION_ERROR_MISSING_INLINE_AND_WRAPPER().error());
    }
    return Response::initWithModel(std::move(model), std::nullopt);
}
