#include "VKTCoreKit/vast/VKTVASTModelGenerator.h"

#include <utility>

#include "VKTCoreKit/core/VKTUtils.h"

namespace {

VKTVASTParserResponse failure(std::int64_t code, const char* description, std::string problem) {
    VKTVASTDocumentOutcome outcome;
    outcome.problem = std::move(problem);
    return VKTVASTParserResponse::initWithModel(
        nullptr, VKTUtils::errorWithDomain(VKTVASTErrorDomain, code, description), std::move(outcome));
}

std::string problemOfTransfer(const VKTError& error) {
    return "it cannot be downloaded: " +
           error.localizedDescription().value_or("error " + std::to_string(error.code()));
}

bool isSuccess(int statusCode) {
    return statusCode >= 200 && statusCode < 300;
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
    const VKTVASTDocumentErrorHandler& errorHandler, VKTVASTReadingListener* listener) const {
    if (timeout <= VKTTimeInterval::zero()) {
        return failure(VKTVASTErrorCodeTimedOut, "Connection timed out.", "there was no time left for it");
    }
    if (xmlData) return transformXMLDatasIntoVASTModel(xmlData, errorHandler, listener);
    if (url) return downloadXMLAndGenerateVASTModel(*url, timeout, errorHandler, listener);
    return failure(VKTVASTErrorCodeNoInput, "No XML Input.", "there is neither a text nor a URL");
}

VKTVASTParserResponse VKTVASTModelGenerator::downloadXMLAndGenerateVASTModel(
    const VKTURL& url, VKTTimeInterval timeout, const VKTVASTDocumentErrorHandler& errorHandler,
    VKTVASTReadingListener* listener) const {
    VKTURLRequest request;
    request.url = url;
    request.cachePolicy = VKTURLSession::DEFAULT_CACHE_POLICY;
    request.timeoutInterval = timeout;
    request.canceller = canceller_;
    const VKTURLSessionResponse answer = sessionManager_->synchronousDataRequestWithURLRequest(request);
    VKTVASTParserResponse response = readAnswer(answer, errorHandler, listener);
    VKTVASTDocumentOutcome& outcome = response.outcome;
    outcome.url = url;
    outcome.wasRequested = true;
    if (answer.response()) outcome.statusCode = answer.response()->statusCode;
    if (outcome.statusCode && !isSuccess(*outcome.statusCode) && !outcome.problem.empty()) {
        outcome.problem.insert(0, "the HTTP status is " + std::to_string(*outcome.statusCode) + ", and ");
    }
    return response;
}

VKTVASTParserResponse VKTVASTModelGenerator::readAnswer(const VKTURLSessionResponse& answer,
                                                        const VKTVASTDocumentErrorHandler& errorHandler,
                                                        VKTVASTReadingListener* listener) const {
    const auto& error = answer.error();
    if (error && error->code() == VKTURLErrorTimedOut) {
        const auto timedOut = VKTVASTError::VAST_WRAPPER_ERROR_FETCH_TIMEOUT();
        errorHandler(timedOut, {}, std::nullopt);
        VKTVASTDocumentOutcome outcome;
        outcome.problem = problemOfTransfer(*error);
        return VKTVASTParserResponse::initWithModel(nullptr, timedOut.error(), std::move(outcome));
    }
    if (answer.data() && !error) {
        return transformXMLDatasIntoVASTModel(*answer.data(), errorHandler, listener);
    }
    if (error) {
        errorHandler(VKTVASTError::VAST_WRAPPER_ERROR_FETCH(), {}, std::nullopt);
        return failure(VKTVASTErrorCodeDownloadFailed, "Unable to download XML.", problemOfTransfer(*error));
    }
    VKTVASTParserResponse nothing;
    nothing.outcome.problem = "the session gave neither a document nor an error";
    return nothing;
}

VKTVASTParserResponse VKTVASTModelGenerator::transformXMLDatasIntoVASTModel(
    std::optional<std::string_view> data, const VKTVASTDocumentErrorHandler& errorHandler,
    VKTVASTReadingListener* listener) const {
    return VKTVASTParser::parseXMLAndGenerateVASTObjectModel(data, isWrapper_, errorHandler, listener);
}
