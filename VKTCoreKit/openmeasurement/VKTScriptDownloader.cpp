#include "VKTCoreKit/openmeasurement/VKTScriptDownloader.h"

#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

std::shared_ptr<VKTScriptDownloader> VKTScriptDownloader::initWithRequest(
    VKTURLRequest request, const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate,
    std::shared_ptr<VKTURLSession> urlSession) {
    return std::shared_ptr<VKTScriptDownloader>(new VKTScriptDownloader(
        std::move(request), std::nullopt, std::nullopt, delegate, std::move(urlSession)));
}

std::shared_ptr<VKTScriptDownloader> VKTScriptDownloader::initWithScript(
    std::string script, std::optional<VKTURL> baseURL,
    const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate, std::shared_ptr<VKTURLSession> urlSession) {
    return std::shared_ptr<VKTScriptDownloader>(new VKTScriptDownloader(
        std::nullopt, std::move(script), std::move(baseURL), delegate, std::move(urlSession)));
}

VKTScriptDownloader::VKTScriptDownloader(std::optional<VKTURLRequest> urlRequest,
                                         std::optional<std::string> script, std::optional<VKTURL> baseURL,
                                         const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate,
                                         std::shared_ptr<VKTURLSession> urlSession)
    : urlRequest_(std::move(urlRequest)),
      urlSession_(std::move(urlSession)),
      delegate_(delegate),
      script_(std::move(script)),
      baseURL_(std::move(baseURL)) {}

void VKTScriptDownloader::loadWithScriptHandler(ScriptHandler scriptHandler) {
    cancel();
    if (!urlRequest_) return applyScriptHandler(scriptHandler, script_.value_or(""), baseURL_);
    scriptHandler_ = std::move(scriptHandler);
    currentTask_ = urlSession_->asynchronousDataRequestWithURLRequest(
        *urlRequest_, [weakDownloader = weak_from_this(), generation = generation_,
                       mainRunLoop = VKTPlatform::current().mainRunLoop](
                          const VKTURLSessionResponse& response, const auto& /*task*/) {
            mainRunLoop->post([weakDownloader, generation, response] {
                if (const auto downloader = weakDownloader.lock())
                    downloader->didComplete(generation, response);
            });
        });
}

void VKTScriptDownloader::cancel() {
    ++generation_;
    scriptHandler_ = nullptr;
    if (const auto task = std::exchange(currentTask_, nullptr)) task->cancel();
}

void VKTScriptDownloader::didComplete(std::uint64_t generation, const VKTURLSessionResponse& response) {
    if (generation != generation_) return;
    deliver(response, std::exchange(scriptHandler_, nullptr));
    if (generation == generation_) currentTask_.reset();
}

void VKTScriptDownloader::deliver(const VKTURLSessionResponse& response, const ScriptHandler& scriptHandler) {
    if (response.error()) return fail(*response.error());
    const VKTData& data = response.data();
    if (!data || data->empty() || !vkt_isValidUTF8(*data)) {
        return fail(VKTUtils::errorWithDomain(VKTScriptDownloaderErrorDomain,
                                              VKTScriptDownloaderErrorInvalidScript,
                                              "The downloaded script is empty or invalid!"));
    }
    script_ = *data;
    baseURL_ = VKTURLUtils::URLByDeletingLastPathComponentAndQuery(
        response.response() ? response.response()->url : urlRequest_->url);
    applyScriptHandler(scriptHandler, *script_, baseURL_);
}

void VKTScriptDownloader::applyScriptHandler(const ScriptHandler& scriptHandler, std::string onScript,
                                             const std::optional<VKTURL>& baseURL) {
    const auto self = shared_from_this();  // the delegate may let go of it
    const std::string script = scriptHandler ? scriptHandler(onScript) : std::move(onScript);
    if (const auto listener = delegate()) listener->scriptDownloader(*this, script, baseURL);
}

void VKTScriptDownloader::fail(const VKTError& error) {
    if (const auto listener = delegate()) listener->scriptDownloader(*this, error);
}
