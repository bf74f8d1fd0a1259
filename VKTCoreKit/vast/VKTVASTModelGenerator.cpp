#include "VKTCoreKit/vast/VKTVASTModelGenerator.h"

#include "VKTCoreKit/core/VKTUtils.h"

namespace {

VKTVASTParserResponse failure(std::int64_t code, const char* description) {
    return VKTVASTParserResponse::initWithModel(
        nullptr, VKTUtils::errorWithDomain(VKTVASTErrorDomain, code, description));
}

}  // namespace

VKTVASTModelGenerator VKTVASTModelGenerator::init() {
    return initWithSessionManager(nullptr);
}

VKTVASTModelGenerator VKTVASTModelGenerator::initWithSessionManager(
    std::shared_ptr<VKTURLSession> sessionManager, bool isWrapper,
    std::shared_ptr<VKTHTTPCanceller> canceller) {
    if (!sessionManager) sessionManager = VKTURLSession::sharedInstance();
    return {std::move(sessionManager), isWrapper, std::move(canceller)};
}

VKTVASTParserResponse VKTVASTModelGenerator::generateVASTModelFromXML(
    std::optional<std::string_view> xmlData, const std::optional<VKTURL>& url, VKTTimeInterval timeout,
    const VKTVASTDocumentErrorHandler& errorHandler) const {
    if (timeout <= VKTTimeInterval::zero()) return failure(VKTVASTErrorCodeTimedOut, "Connection timed out.");
    if (xmlData) return transformXMLDatasIntoVASTModel(xmlData, errorHandler);
    if (url) return downloadXMLAndGenerateVASTModel(*url, timeout, errorHandler);
    return failure(VKTVASTErrorCodeNoInput, "No XML Input.");
}

VKTVASTParserResponse VKTVASTModelGenerator::downloadXMLAndGenerateVASTModel(
    const VKTURL& url, VKTTimeInterval timeout, const VKTVASTDocumentErrorHandler& errorHandler) const {
    VKTURLRequest request;
    request.url = url;
    request.cachePolicy = VKTURLSession::DEFAULT_CACHE_POLICY;
    request.timeoutInterval = timeout;
    request.canceller = canceller_;
    const VKTURLSessionResponse response = sessionManager_->synchronousDataRequestWithURLRequest(request);
    const auto& error = response.error();
    if (error && error->code() == VKTURLErrorTimedOut) {
        const auto timedOut = VKTVASTError::VAST_WRAPPER_ERROR_FETCH_TIMEOUT();
        errorHandler(timedOut, {}, std::nullopt);
        return VKTVASTParserResponse::initWithModel(nullptr, timedOut.error());
    }
    if (response.data() && !error) return transformXMLDatasIntoVASTModel(*response.data(), errorHandler);
    if (error) {
        errorHandler(VKTVASTError::VAST_WRAPPER_ERROR_FETCH(), {}, std::nullopt);
        return failure(VKTVASTErrorCodeDownloadFailed, "Unable to download XML.");
    }
    return {};
}

VKTVASTParserResponse VKTVASTModelGenerator::transformXMLDatasIntoVASTModel(
    std::optional<std::string_view> data, const VKTVASTDocumentErrorHandler& errorHandler) const {
    return VKTVASTParser::parseXMLAndGenerateVASTObjectModel(data, isWrapper_, errorHandler);
}
