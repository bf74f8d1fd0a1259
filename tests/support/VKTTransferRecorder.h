// Waits for a transfer's completion.
#pragma once

#include <condition_variable>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTHTTPSession.h"

/// What one task's completion was given, and how often it was called.
class VKTTransferRecorder {
  public:
    struct Outcome {
        VKTData data;
        std::shared_ptr<const VKTURLResponse> response;
        std::optional<VKTError> error;
        std::thread::id thread;

        [[nodiscard]] std::int64_t code() const { return error ? error->code() : 0; }
        [[nodiscard]] std::string text() const {
            return error ? error->localizedDescription().value_or("") : "";
        }
    };

    VKTHTTPCompletion completion() {
        return [state = state_](VKTData data, auto response, std::optional<VKTError> error) {
            VKTLock lock(state->mutex);
            ++state->count;
            state->outcome = {std::move(data), std::move(response), std::move(error),
                              std::this_thread::get_id()};
            state->changed.notify_all();
        };
    }

    Outcome wait() {
        VKTLock lock(state_->mutex);
        while (state_->count == 0)
            state_->changed.wait(lock);
        return state_->outcome;
    }

    int count() {
        VKTLock lock(state_->mutex);
        return state_->count;
    }

  private:
    struct State {
        VKTMutex mutex;
        std::condition_variable_any changed;
        int count = 0;
        Outcome outcome;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// A GET with a total deadline.
inline VKTURLRequest vkt_requestTo(const std::string& url, VKTTimeInterval timeout = VKTTimeInterval(10)) {
    VKTURLRequest request;
    request.url = VKTURL::URLWithString(url).value();
    request.timeoutInterval = timeout;
    return request;
}

/// The same, made and completed inside `resume`.
inline VKTURLRequest vkt_blockingRequestTo(const std::string& url,
                                           VKTTimeInterval timeout = VKTTimeInterval(10)) {
    VKTURLRequest request = vkt_requestTo(url, timeout);
    request.completesOnTransferThread = true;
    return request;
}

inline VKTTransferRecorder::Outcome vkt_fetch(VKTHTTPSession& session, const VKTURLRequest& request) {
    VKTTransferRecorder recorder;
    session.dataTaskWithRequest(request, recorder.completion())->resume();
    return recorder.wait();
}
