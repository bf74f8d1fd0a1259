#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace {

VKTError errorWithCode(VKTURLErrorCode code, const char* description) {
    return {VKTURLErrorDomain, code, {{VKTLocalizedDescriptionKey, std::string(description)}}};
}

}  // namespace

VKTFakeHTTPAnswer VKTFakeHTTPAnswer::withError(VKTURLErrorCode code) {
    VKTFakeHTTPAnswer answer;
    answer.error = errorWithCode(code, "scripted error");
    return answer;
}

struct VKTFakeHTTPSession::State {
    explicit State(Delivery theDelivery) : delivery(theDelivery) {}

    [[nodiscard]] VKTFakeHTTPAnswer answer(const VKTURLRequest& request);

    const Delivery delivery;
    mutable VKTMutex mutex;
    std::map<std::string, VKTFakeHTTPAnswer> answers VKT_GUARDED_BY(mutex);
    Handler handler VKT_GUARDED_BY(mutex);
    std::vector<VKTURLRequest> requests VKT_GUARDED_BY(mutex);
    std::deque<std::shared_ptr<Task>> waiting VKT_GUARDED_BY(mutex);
    std::uint64_t lastIdentifier VKT_GUARDED_BY(mutex) = 0;
};

class VKTFakeHTTPSession::Task final : public VKTHTTPDataTask, public std::enable_shared_from_this<Task> {
  public:
    Task(VKTURLRequest request, VKTHTTPCompletion completion, std::uint64_t identifier,
         std::weak_ptr<State> state)
        : request_(std::move(request)),
          completion_(std::move(completion)),
          identifier_(identifier),
          state_(std::move(state)) {}

    void resume() override {
        if (isStarted_.exchange(true)) {
            // Nobody else would end the wait of a blocking request that was cancelled before.
            if (isCancelled_ && request_.completesOnTransferThread) complete();
            return;
        }
        const auto state = state_.lock();
        if (!state) return cancelAndComplete();
        {
            VKTLock lock(state->mutex);
            state->requests.push_back(request_);
            if (state->delivery == Delivery::ByHand) state->waiting.push_back(shared_from_this());
        }
        if (state->delivery == Delivery::AtOnce) complete();
    }

    void cancel() override {
        isCancelled_ = true;
        if (isStarted_.exchange(true)) return;
        const auto state = state_.lock();
        if (!state) return cancelAndComplete();
        VKTLock lock(state->mutex);
        state->waiting.push_back(shared_from_this());
    }

    void cancelAndComplete() {
        isCancelled_ = true;
        complete();
    }

    void complete() {
        if (isCompleted_.exchange(true)) return;
        const VKTHTTPCompletion completion = std::exchange(completion_, nullptr);
        const auto state = state_.lock();
        if (isCancelled_ || !state) {
            return completion(nullptr, nullptr, errorWithCode(VKTURLErrorCancelled, "cancelled"));
        }
        const VKTFakeHTTPAnswer answer = state->answer(request_);
        if (answer.error) return completion(nullptr, nullptr, answer.error);
        if (answer.body.size() > VKTHTTPBodyLimit) {
            return completion(nullptr, nullptr,
                              errorWithCode(VKTURLErrorDataLengthExceedsMaximum, "body too large"));
        }
        completion(std::make_shared<const std::string>(answer.body, 0, request_.bodyKeepLimit),
                   std::make_shared<const VKTURLResponse>(VKTURLResponse{
                       answer.finalURL.value_or(request_.url), answer.statusCode, answer.headers}),
                   std::nullopt);
    }

    [[nodiscard]] std::uint64_t taskIdentifier() const override { return identifier_; }
    [[nodiscard]] bool isCancelled() const { return isCancelled_; }

  private:
    const VKTURLRequest request_;
    VKTHTTPCompletion completion_;
    const std::uint64_t identifier_;
    const std::weak_ptr<State> state_;
    std::atomic<bool> isStarted_ = false;
    std::atomic<bool> isCancelled_ = false;
    std::atomic<bool> isCompleted_ = false;
};

VKTFakeHTTPAnswer VKTFakeHTTPSession::State::answer(const VKTURLRequest& request) {
    Handler currentHandler;
    {
        VKTLock lock(mutex);
        const auto found = answers.find(request.url.absoluteString());
        if (found != answers.end()) return found->second;
        currentHandler = handler;
    }
    return currentHandler ? currentHandler(request)
                          : VKTFakeHTTPAnswer::withError(VKTURLErrorCannotConnectToHost);
}

VKTFakeHTTPSession::VKTFakeHTTPSession(Delivery delivery) : state_(std::make_shared<State>(delivery)) {}

VKTFakeHTTPSession::~VKTFakeHTTPSession() {
    std::deque<std::shared_ptr<Task>> waiting;
    {
        VKTLock lock(state_->mutex);
        waiting.swap(state_->waiting);
    }
    for (const auto& task : waiting)
        task->cancelAndComplete();
}

void VKTFakeHTTPSession::setAnswer(const std::string& url, VKTFakeHTTPAnswer answer) {
    VKTLock lock(state_->mutex);
    state_->answers[url] = std::move(answer);
}

void VKTFakeHTTPSession::setHandler(Handler handler) {
    VKTLock lock(state_->mutex);
    state_->handler = std::move(handler);
}

std::vector<VKTURLRequest> VKTFakeHTTPSession::requests() const {
    VKTLock lock(state_->mutex);
    return state_->requests;
}

bool VKTFakeHTTPSession::hasCancelled() const {
    VKTLock lock(state_->mutex);
    return std::any_of(state_->waiting.begin(), state_->waiting.end(),
                       [](const auto& task) { return task->isCancelled(); });
}

bool VKTFakeHTTPSession::deliverNext() {
    std::shared_ptr<Task> task;
    {
        VKTLock lock(state_->mutex);
        if (state_->waiting.empty()) return false;
        task = std::move(state_->waiting.front());
        state_->waiting.pop_front();
    }
    task->complete();
    return true;
}

std::size_t VKTFakeHTTPSession::deliverAll() {
    std::size_t count = 0;
    while (deliverNext())
        ++count;
    return count;
}

std::shared_ptr<VKTHTTPDataTask> VKTFakeHTTPSession::dataTaskWithRequest(const VKTURLRequest& request,
                                                                         VKTHTTPCompletion completion) {
    VKTLock lock(state_->mutex);
    return std::make_shared<Task>(request, std::move(completion), ++state_->lastIdentifier, state_);
}
