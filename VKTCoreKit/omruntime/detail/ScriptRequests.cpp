#include "VKTCoreKit/omruntime/detail/ScriptRequests.h"

#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/detail/Errors.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

namespace {

// Bytes: nobody reads an answer, but a connection is only used again when the whole of it has been read.
constexpr std::size_t answerLimit = std::size_t{64} * 1024;

// Requests that a task of the main loop drops: each may have to be told to the script.
constexpr std::size_t droppedAtOnce = 64;

std::chrono::nanoseconds monotonicNow() {
    return VKTPlatform::current().clock->monotonicNow();
}

bool hasStatus(const VKTURLSessionResponse& response, int from, int below) {
    return !response.error() && response.response() && response.response()->statusCode >= from &&
           response.response()->statusCode < below;
}

// What is wrong with an answer that was to bring a script; empty when nothing is.
std::string problemOf(const VKTURLSessionResponse& response, std::size_t sizeLimit) {
    if (response.error()) {
        return vkt_stringWithFormat("error %@ %ld (%@)",
                                    {response.error()->domain(), response.error()->code(),
                                     response.error()->localizedDescription().value_or("no description")});
    }
    if (!hasStatus(response, 200, 300))
        return vkt_stringWithFormat("status %d", {response.response() ? response.response()->statusCode : 0});
    if (!response.data() || response.data()->empty()) return "the answer is empty";
    if (response.data()->size() > sizeLimit) {
        return vkt_stringWithFormat("the answer has more than %ld bytes (SDKLimits::scriptSizeLimit)",
                                    {static_cast<std::uint64_t>(sizeLimit)});
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
    const std::size_t size = URL.absoluteString().size();
    const bool mustWait = underWay_.size() >= limits_.requestLimit;
    if (mustWait && (waiting_.size() >= limits_.waitingRequestLimit ||
                     waitingBytes_ + size > limits_.waitingRequestByteLimit))
        return false;
    waitingBytes_ += size;
    waiting_.push_back({std::move(URL), std::move(completion), monotonicNow() + limits_.requestTimeLimit});
    startNext();
    return true;
}

void ScriptRequests::startNext() {
    const auto now = monotonicNow();
    std::vector<Completion> late;
    while (underWay_.size() < limits_.requestLimit && !waiting_.empty() && late.size() < droppedAtOnce) {
        Request next = std::move(waiting_.front());
        waiting_.pop_front();
        waitingBytes_ -= next.URL.absoluteString().size();
        if (next.deadline > now)
            start(std::move(next));
        else
            late.push_back(std::move(next.completion));
    }
    if (late.empty()) return;
    tellDropped(late.size(), "waited longer than SDKLimits::requestTimeLimit allows");
    for (const Completion& completion : late) {
        if (completion) completion(false);
    }
    VKTPlatform::current().mainRunLoop->post([self = shared_from_this()] { self->startNext(); });
}

void ScriptRequests::start(Request next) {
    const std::uint64_t identifier = ++lastIdentifier_;
    underWay_[identifier] = nullptr;
    VKTURLRequest request;
    request.url = std::move(next.URL);
    request.bodyKeepLimit = answerLimit;
    request.timeoutInterval = next.deadline - monotonicNow();
    // The task moves on to the main loop with all it holds, so that nothing of it ends on another thread.
    auto task = session_->asynchronousDataRequestWithURLRequest(
        request, [loop = VKTPlatform::current().mainRunLoop, self = shared_from_this(), identifier,
                  completion = std::move(next.completion)](const VKTURLSessionResponse& response,
                                                           const auto& /*task*/) mutable {
            loop->post([self = std::move(self), identifier, completion = std::move(completion),
                        isSuccess = hasStatus(response, 200, 400)] {
                self->finish(identifier, completion, isSuccess);
            });
        });
    underWay_[identifier] = std::move(task);
}

void ScriptRequests::finish(std::uint64_t identifier, const Completion& completion, bool isSuccess) {
    underWay_.erase(identifier);
    startNext();
    if (completion && !end_) completion(isSuccess);
}

void ScriptRequests::endSoon() {
    if (underWay_.empty()) return;
    end_ = VKTPlatform::current().mainRunLoop->schedule(limits_.lastRequestsLimit,
                                                        [weakSelf = weak_from_this()] {
                                                            if (const auto self = weakSelf.lock())
                                                                self->dropAll();
                                                        });
}

void ScriptRequests::dropAll() {
    hasToldDropped_ = false;
    tellDropped(underWay_.size() + waiting_.size(),
                "were left when SDKLimits::lastRequestsLimit had passed after its end");
    waiting_.clear();
    for (const auto& [identifier, task] : std::map(underWay_))
        task->cancel();
}

void ScriptRequests::tellDropped(std::size_t count, std::string_view why) {
    if (std::exchange(hasToldDropped_, true)) return;
    VKTLog::sharedInstance()->logMessage(
        vkt_onOneLine(vkt_stringWithFormat("%@: %ld requests are dropped. They %@. Does its server answer?",
                                           {script_, static_cast<std::uint64_t>(count), why})),
        VKTLogLevelWarning);
}

std::shared_ptr<VKTURLSessionTask> downloadScript(const VKTURLSession& session, const VKTURL& URL,
                                                  std::size_t sizeLimit, ScriptDownloadHandler handler) {
    VKTURLRequest request;
    request.url = URL;
    request.bodyKeepLimit = sizeLimit + 1;
    return session.asynchronousDataRequestWithURLRequest(
        request, [loop = VKTPlatform::current().mainRunLoop, URL, sizeLimit, handler = std::move(handler)](
                     const VKTURLSessionResponse& response, const auto& /*task*/) mutable {
            const std::string problem = problemOf(response, sizeLimit);
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
