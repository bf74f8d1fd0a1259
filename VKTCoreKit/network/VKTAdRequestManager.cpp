#include "VKTCoreKit/network/VKTAdRequestManager.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

constexpr VKTTimeInterval defaultTimeout{10.0};
constexpr const char* bodyKey = "jsonMessage";

VKTURLSessionResponse responseWithError(std::optional<VKTError> error) {
    return VKTURLSessionResponse::initWithData(nullptr, nullptr, std::move(error));
}

std::optional<std::string> bodyWithParameters(const VKTDictionary& parameters) {
    const auto json = vkt_JSONStringWithValue(parameters);
    return json ? std::optional(std::string(bodyKey) + "=" + *json) : std::nullopt;
}

}  // namespace

std::shared_ptr<VKTAdRequestManager> VKTAdRequestManager::initWithValidator(
    std::shared_ptr<VKTAdRequestValidatorProtocol> validator) {
    return initWithUrlSession(VKTURLSession::sharedInstance(), std::move(validator));
}

std::shared_ptr<VKTAdRequestManager> VKTAdRequestManager::initWithUrlSession(
    std::shared_ptr<VKTURLSession> urlSession, std::shared_ptr<VKTAdRequestValidatorProtocol> validator) {
    return std::shared_ptr<VKTAdRequestManager>(
        new VKTAdRequestManager(std::move(urlSession), std::move(validator)));
}

void VKTAdRequestManager::asynchronousRequestWithBaseURL(
    const std::string& baseURL, const std::optional<std::string>& path, VKTHTTPMethod method,
    const VKTDictionary& headers, const VKTDictionary& getParameters,
    const std::optional<VKTDictionary>& postParameters,
    VKTAdRequestCompletionHandler completionHandler) const {
    asynchronousRequestWithBaseURL(baseURL, path, method, headers, getParameters, postParameters,
                                   defaultTimeout, std::move(completionHandler));
}

void VKTAdRequestManager::asynchronousRequestWithBaseURL(
    const std::string& baseURL, const std::optional<std::string>& path, VKTHTTPMethod method,
    const VKTDictionary& headers, const VKTDictionary& getParameters,
    const std::optional<VKTDictionary>& postParameters, VKTTimeInterval timeout,
    VKTAdRequestCompletionHandler completionHandler) const {
    if (validator_) {
        // What was not found acceptable is not sent.
        std::optional<VKTError> veto = VKTUtils::errorWithDomain(
            VKTAdRequestErrorDomain, VKTAdRequestErrorValidatorFailed, "Validator failed");
        vkt_callGuarded("the validator of ad requests", [&] {
            veto = validator_->validateAdRequestWithBaseURL(baseURL, path, headers, getParameters,
                                                            postParameters);
        });
        if (veto) return callCompletionHandler(completionHandler, responseWithError(std::move(veto)));
    }

    const auto url = VKTURLUtils::buildURLWithBaseURLString(baseURL, path, getParameters);
    if (!url) {
        return callCompletionHandler(
            completionHandler,
            responseWithError(VKTUtils::errorWithDomain(
                VKTAdRequestErrorDomain, VKTAdRequestErrorUnableToBuildURL, "Unable to build URL")));
    }

    std::optional<VKTError> error;
    const auto request = adRequestWithURL(*url, method, headers, getParameters, postParameters, timeout,
                                          completionHandler, &error);
    if (!request) return callCompletionHandler(completionHandler, responseWithError(std::move(error)));

    urlSession_->asynchronousDataRequestWithURLRequest(
        *request,
        [handler = std::move(completionHandler)](const VKTURLSessionResponse& response, const auto&) {
            callCompletionHandler(handler, response);
        });
}

std::optional<VKTURLRequest> VKTAdRequestManager::adRequestWithURL(
    const VKTURL& url, VKTHTTPMethod method, const VKTDictionary& headers, const VKTDictionary&,
    const std::optional<VKTDictionary>& POSTParameter, VKTTimeInterval timeout,
    const VKTAdRequestCompletionHandler&, std::optional<VKTError>* error) {
    VKTURLRequest request;
    request.url = url;
    request.HTTPMethod = HTTPMethodName(method);
    request.cachePolicy = VKTURLRequestReloadIgnoringLocalCacheData;
    request.timeoutInterval = timeout;
    if (method == VKTHTTPMethodPOST && POSTParameter) {
        request.HTTPBody = bodyWithParameters(*POSTParameter);
        if (!request.HTTPBody) {
            if (error != nullptr) {
                *error =
                    VKTUtils::errorWithDomain(VKTAdRequestErrorDomain, VKTAdRequestErrorInvalidPOSTParameters,
                                              "Invalid POST parameters");
            }
            return std::nullopt;
        }
    }
    for (const auto& [field, value] : headers)
        request.addValue(value.description(), field);
    std::sort(request.headers.begin(), request.headers.end());
    return request;
}

void VKTAdRequestManager::callCompletionHandler(const VKTAdRequestCompletionHandler& completionHandler,
                                                const VKTURLSessionResponse& response) {
    if (completionHandler)
        vkt_callGuarded("the completion handler of an ad request", [&] { completionHandler(response); });
}

const char* VKTAdRequestManager::HTTPMethodName(VKTHTTPMethod method) {
    return method == VKTHTTPMethodGET ? "GET" : "POST";
}
