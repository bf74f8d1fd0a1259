// Ad calls.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/network/VKTURLSession.h"

/// Domain of the errors made here.
inline constexpr const char* VKTAdRequestErrorDomain = "VKTAdRequestError";

enum VKTAdRequestErrorCode : std::uint8_t {
    VKTAdRequestErrorUnableToBuildURL = 100,
    VKTAdRequestErrorInvalidPOSTParameters = 101,
    VKTAdRequestErrorValidatorFailed = 102,  ///< the validator has thrown, so nothing was sent
};

enum VKTHTTPMethod : std::uint8_t {
    VKTHTTPMethodPOST = 0,
    VKTHTTPMethodGET = 1,
};

/// Says whether an ad call is acceptable. Implemented by the user of the manager; called on the thread that
/// makes the request, before anything is sent.
class VKTAdRequestValidatorProtocol {
  public:
    virtual ~VKTAdRequestValidatorProtocol() = default;

    /// An error vetoes the request and becomes its answer.
    virtual std::optional<VKTError> validateAdRequestWithBaseURL(
        const std::string& baseURL, const std::optional<std::string>& path, const VKTDictionary& headers,
        const VKTDictionary& getParameters, const std::optional<VKTDictionary>& postParameters) = 0;
};

/// Gets one answer per request that was made with a handler: on the HTTP delivery thread, or before the call
/// returns when nothing could be sent.
using VKTAdRequestCompletionHandler = std::function<void(const VKTURLSessionResponse& response)>;

/// Builds ad requests and sends them. Safe from any thread when its validator is; holds its session and its
/// validator strongly, and may be dropped while requests are under way.
///
/// ```cpp
/// auto requests = VKTAdRequestManager::initWithValidator(nullptr);
/// const VKTDictionary headers{{"Accept", "application/xml"}};
/// requests->asynchronousRequestWithBaseURL("https://ads.example.com", "vast", VKTHTTPMethodGET, headers,
///                                          {{"slot", "preroll"}}, std::nullopt,
///                                          [](const VKTURLSessionResponse& response) {
///     if (response.error()) std::cerr << response.error()->code() << '\n';
/// });
/// ```
class VKT_EXPORT VKTAdRequestManager {
  public:
    /// Without a session, over the shared one. A null validator accepts everything.
    static std::shared_ptr<VKTAdRequestManager> initWithValidator(
        std::shared_ptr<VKTAdRequestValidatorProtocol> validator);
    static std::shared_ptr<VKTAdRequestManager> initWithUrlSession(
        std::shared_ptr<VKTURLSession> urlSession, std::shared_ptr<VKTAdRequestValidatorProtocol> validator);

    [[nodiscard]] const std::shared_ptr<VKTURLSession>& urlSession() const { return urlSession_; }
    [[nodiscard]] const std::shared_ptr<VKTAdRequestValidatorProtocol>& validator() const {
        return validator_;
    }

    /// With a time-out of 10 seconds.
    void asynchronousRequestWithBaseURL(const std::string& baseURL, const std::optional<std::string>& path,
                                        VKTHTTPMethod method, const VKTDictionary& headers,
                                        const VKTDictionary& getParameters,
                                        const std::optional<VKTDictionary>& postParameters,
                                        VKTAdRequestCompletionHandler completionHandler) const;

    /// Sends a request whose URL is made by `VKTURLUtils::buildURLWithBaseURLString`. The answer is the
    /// session's, or an error alone: the validator's, 100 when no URL can be built, 101 when the POST
    /// parameters have no JSON form, 102 when the validator throws. The handler may be null.
    void asynchronousRequestWithBaseURL(const std::string& baseURL, const std::optional<std::string>& path,
                                        VKTHTTPMethod method, const VKTDictionary& headers,
                                        const VKTDictionary& getParameters,
                                        const std::optional<VKTDictionary>& postParameters,
                                        VKTTimeInterval timeout,
                                        VKTAdRequestCompletionHandler completionHandler) const;

    /// A request that passes local caches by. With method POST and POST parameters its body is "jsonMessage="
    /// and their JSON text as it is, without a Content-Type; otherwise it has no body. Headers are sent in
    /// byte order of their names, each value by its description. `GETParameters` are in the URL already.
    /// Nothing, and `error` set when it is not null, when the parameters have no JSON form; the handler is
    /// never called.
    static std::optional<VKTURLRequest> adRequestWithURL(
        const VKTURL& url, VKTHTTPMethod method, const VKTDictionary& headers,
        const VKTDictionary& GETParameters, const std::optional<VKTDictionary>& POSTParameter,
        VKTTimeInterval timeout, const VKTAdRequestCompletionHandler& completionHandler,
        std::optional<VKTError>* error);

    static void callCompletionHandler(const VKTAdRequestCompletionHandler& completionHandler,
                                      const VKTURLSessionResponse& response);

    static const char* HTTPMethodName(VKTHTTPMethod method);  ///< "GET", or "POST" for every other value

  private:
    VKTAdRequestManager(std::shared_ptr<VKTURLSession> urlSession,
                        std::shared_ptr<VKTAdRequestValidatorProtocol> validator)
        : urlSession_(std::move(urlSession)), validator_(std::move(validator)) {}

    const std::shared_ptr<VKTURLSession> urlSession_;
    const std::shared_ptr<VKTAdRequestValidatorProtocol> validator_;
};
