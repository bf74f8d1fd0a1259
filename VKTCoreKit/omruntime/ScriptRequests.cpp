#include "VKTCoreKit/omruntime/ScriptRequests.h"

#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/Errors.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

namespace {

// Bytes: nobody reads an answer, but a connection is only used again when the whole of it has been read.
constexpr std::size_t answerLimit = std::size_t{64} * 1024;

bool hasStatus(const VKTURLSessionResponse& response, int from, int below) {
    return !response.error() && response.response() && response.response()->statusCode >= from &&
           response.response()->statusCode < below;
}

// What is wrong with an answer that was to bring a script; empty when nothing is.
std::string problemOf(const VKTURLSessionResponse& response) {
    if (response.error()) {
        return vkt_stringWithFormat("error %@ %ld (%@)",
                                    {response.error()->domain(), response.error()->code(),
                                     response.error()->localizedDescription().value_or("no description")});
    }
    if (!hasStatus(response, 200, 300))
        return vkt_stringWithFormat("status %d", {response.response() ? response.response()->statusCode : 0});
    if (!response.data() || response.data()->empty()) return "the answer is empty";
    if (response.data()->size() > ScriptSizeLimit) {
        return vkt_stringWithFormat("the answer has more than %ld bytes",
                                    {static_cast<std::uint64_t>(ScriptSizeLimit)});
    }
    return "";
}

// Whatever the answer says of itself: vendors' servers say nothing, or what is not so.
std::string textOf(const std::string& script) {
    return vkt_isValidUTF8(script) ? script : vkt_UTF8FromWindows1252(script);
}

}  // namespace

bool isRequestable(const VKTURL& URL) {
    const auto scheme = URL.scheme();
    return scheme && URL.host() &&
           (vkt_equalsIgnoringCase(*scheme, "http") || vkt_equalsIgnoringCase(*scheme, "https"));
}

bool ScriptRequests::send(VKTURL URL, Completion completion) {
    if (underWay_ == ScriptRequestLimit && waiting_.size() == ScriptRequestWaitingLimit) return false;
    waiting_.push_back({std::move(URL), std::move(completion)});
    startNext();
    return true;
}

void ScriptRequests::startNext() {
    while (underWay_ < ScriptRequestLimit && !waiting_.empty()) {
        Request next = std::move(waiting_.front());
        waiting_.pop_front();
        ++underWay_;
        VKTURLRequest request;
        request.url = std::move(next.URL);
        request.bodyKeepLimit = answerLimit;
        // The task moves on to the main loop with all it holds, so that nothing of it ends on another thread.
        session_->asynchronousDataRequestWithURLRequest(
            request, [loop = VKTPlatform::current().mainRunLoop, self = shared_from_this(),
                      completion = std::move(next.completion)](const VKTURLSessionResponse& response,
                                                               const auto& /*task*/) mutable {
                loop->post(
                    [self = std::move(self), completion = std::move(completion),
                     isSuccess = hasStatus(response, 200, 400)] { self->finish(completion, isSuccess); });
            });
    }
}

void ScriptRequests::finish(const Completion& completion, bool isSuccess) {
    --underWay_;
    startNext();
    if (completion) completion(isSuccess);
}

std::shared_ptr<VKTURLSessionTask> downloadScript(const VKTURLSession& session, const VKTURL& URL,
                                                  ScriptDownloadHandler handler) {
    VKTURLRequest request;
    request.url = URL;
    request.bodyKeepLimit = ScriptSizeLimit + 1;
    return session.asynchronousDataRequestWithURLRequest(
        request, [loop = VKTPlatform::current().mainRunLoop, URL, handler = std::move(handler)](
                     const VKTURLSessionResponse& response, const auto& /*task*/) mutable {
            const std::string problem = problemOf(response);
            std::optional<VKTError> error;
            if (!problem.empty()) {
                error = runtimeError(ErrorCodeScriptDownload, "The script " + URL.absoluteString() +
                                                                  " could not be fetched: " + problem);
            }
            std::string script = !error ? textOf(*response.data()) : "";
            loop->post([handler = std::move(handler), script = std::move(script), error = std::move(error)] {
                handler(script, error);
            });
        });
}

}  // namespace OMIDKorvonet1
