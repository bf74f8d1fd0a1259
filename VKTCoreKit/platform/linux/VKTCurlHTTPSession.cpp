#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"

#include <atomic>
#include <utility>

#include "VKTCoreKit/platform/linux/VKTCurlTransferEngine.h"

namespace {

class CurlHTTPSession final : public VKTHTTPSession {
  public:
    explicit CurlHTTPSession(const VKTHTTPSessionOptions& options)
        : engine_(std::make_shared<VKTCurlTransferEngine>(options)),
          delivery_(std::make_shared<VKTCurlDelivery>(engine_->library(), options.deliveryThreadName)) {}

    ~CurlHTTPSession() override {
        // A forked child must not close its parent's connections, nor wait for its threads.
        if (!engine_->library().isUsable()) {
            engine_->keepForEver();
        } else {
            engine_->stop();
            delivery_->waitUntilDelivered();
        }
    }

    std::shared_ptr<VKTHTTPDataTask> dataTaskWithRequest(const VKTURLRequest& request,
                                                         VKTHTTPCompletion completion) override {
        return std::make_shared<VKTCurlTask>(request, std::move(completion), ++lastIdentifier_, engine_,
                                             delivery_);
    }

  private:
    std::shared_ptr<VKTCurlTransferEngine> engine_;
    std::shared_ptr<VKTCurlDelivery> delivery_;
    std::atomic<std::uint64_t> lastIdentifier_ = 0;
};

}  // namespace

std::shared_ptr<VKTHTTPSession> vkt_makeCurlHTTPSession(const VKTHTTPSessionOptions& options) {
    return std::make_shared<CurlHTTPSession>(options);
}
