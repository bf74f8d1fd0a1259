// HTTP without a network: answers that a test has written.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTHTTPSession.h"

/// What a request gets: a status, headers and a body, or an error.
struct VKTFakeHTTPAnswer {
    int statusCode = 200;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<VKTError> error;
    std::optional<VKTURL> finalURL;  ///< the request's own when absent

    static VKTFakeHTTPAnswer withBody(std::string body) { return {200, std::move(body), {}, {}, {}}; }
    static VKTFakeHTTPAnswer withStatus(int statusCode) { return {statusCode, "", {}, {}, {}}; }
    static VKTFakeHTTPAnswer withError(VKTURLErrorCode code);
};

/// Answers each resumed request by its URL, else by the handler, else with error -1004. Completions run in
/// `resume` itself, or wait for `deliverNext` when delivery is by hand; that of a task which is cancelled
/// before it starts always waits. Safe from any thread; completions run with no lock held. Destroying it ends
/// what waits with -999.
class VKTFakeHTTPSession final : public VKTHTTPSession {
  public:
    using Handler = std::function<VKTFakeHTTPAnswer(const VKTURLRequest&)>;

    enum class Delivery { AtOnce, ByHand };

    explicit VKTFakeHTTPSession(Delivery delivery = Delivery::AtOnce);
    ~VKTFakeHTTPSession() override;

    /// Answers every request for exactly this URL.
    void setAnswer(const std::string& url, VKTFakeHTTPAnswer answer);
    void setHandler(Handler handler);

    /// Every request that was resumed, in that order.
    [[nodiscard]] std::vector<VKTURLRequest> requests() const;

    /// True while a request that was cancelled waits for its delivery.
    [[nodiscard]] bool hasCancelled() const;

    /// Completes the request that has waited longest; false when none waits. Cancelled ones wait too.
    bool deliverNext();

    /// Completes all, also those that the completions make. Returns how many.
    std::size_t deliverAll();

    std::shared_ptr<VKTHTTPDataTask> dataTaskWithRequest(const VKTURLRequest& request,
                                                         VKTHTTPCompletion completion) override;

  private:
    class Task;
    struct State;

    std::shared_ptr<State> state_;
};
