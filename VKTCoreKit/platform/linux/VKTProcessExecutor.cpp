#include "VKTCoreKit/platform/linux/VKTProcessExecutor.h"

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/linux/VKTScriptHostProcess.h"

namespace {

// Of one delivery's task, so that a script that posts without end keeps nobody from his work.
constexpr std::chrono::milliseconds deliveryTime{1};

// What has happened and has not been delivered yet. Any thread.
class Inbox {
  public:
    explicit Inbox(std::size_t limit) : limit_(limit) {}

    enum Outcome : std::uint8_t { first, further, tooMuch };

    // `first`: a delivery has to be posted, which goes on until `next` has nothing.
    Outcome add(VKTScriptHostEvent event) {
        VKTLock lock(mutex_);
        const bool isEnd = event.code && event.code != VKTScriptErrorException;
        const std::size_t size = event.text.size() + VKTScriptMessageOverhead;
        if (!isEnd && bytes_ + size > limit_) return tooMuch;
        bytes_ += size;
        events_.push_back(std::move(event));
        return std::exchange(isDelivered_, true) ? further : first;
    }

    std::optional<VKTScriptHostEvent> next() {
        VKTLock lock(mutex_);
        if (events_.empty()) {
            isDelivered_ = false;
            return std::nullopt;
        }
        VKTScriptHostEvent event = std::move(events_.front());
        events_.pop_front();
        bytes_ -= event.text.size() + VKTScriptMessageOverhead;
        return event;
    }

  private:
    const std::size_t limit_;
    VKTMutex mutex_;
    std::deque<VKTScriptHostEvent> events_ VKT_GUARDED_BY(mutex_);
    std::size_t bytes_ VKT_GUARDED_BY(mutex_) = 0;
    bool isDelivered_ VKT_GUARDED_BY(mutex_) = false;
};

// The handlers, on the main thread. Shared with a delivery alone, in which the executor may be destroyed.
class Receiver {
  public:
    explicit Receiver(VKTScriptHandlers handlers) : handlers_(std::move(handlers)) {}

    // A piece of what is there, in a task of the loop; the next one waits for its turn behind all others.
    static void deliver(const std::shared_ptr<VKTMainLoop>& loop, const std::weak_ptr<Receiver>& waiting,
                        const std::shared_ptr<Inbox>& inbox) {
        const std::shared_ptr<Receiver> receiver = waiting.lock();
        if (!receiver) return;
        const auto end = std::chrono::steady_clock::now() + deliveryTime;
        do {
            std::optional<VKTScriptHostEvent> event = inbox->next();
            if (!event) return;
            receiver->hear(*event);
            if (receiver->abandoned_) return;
        } while (std::chrono::steady_clock::now() < end);
        post(loop, waiting, inbox);
    }

    static void post(const std::shared_ptr<VKTMainLoop>& loop, const std::weak_ptr<Receiver>& receiver,
                     const std::shared_ptr<Inbox>& inbox) {
        loop->post([weakLoop = std::weak_ptr(loop), receiver, inbox] {
            if (const auto target = weakLoop.lock()) deliver(target, receiver, inbox);
        });
    }

    void abandon() { abandoned_ = true; }

  private:
    void hear(VKTScriptHostEvent& event) const {
        if (!event.code) {
            if (handlers_.onMessage) handlers_.onMessage(std::move(event.text));
            return;
        }
        const auto& handler = event.code == VKTScriptErrorException ? handlers_.onException : handlers_.onEnd;
        if (handler) handler({VKTScriptErrorDomain, *event.code, {{VKTLocalizedDescriptionKey, event.text}}});
    }

    const VKTScriptHandlers handlers_;
    bool abandoned_ = false;
};

class ProcessExecutor final : public VKTScriptExecutor {
  public:
    ProcessExecutor(const VKTScriptOptions& options, VKTScriptHandlers handlers)
        : receiver_(std::make_shared<Receiver>(std::move(handlers))),
          process_(VKTScriptHostProcess::start(options, eventHandler(options.backlogLimit))) {}

    ~ProcessExecutor() override {
        receiver_->abandon();
        if (process_) process_->end();
    }

    void evaluate(std::string script, std::string name) override {
        if (process_) process_->send(VKTScriptFrameEvaluate, std::move(name), std::move(script));
    }

    void call(std::string function, std::string argumentJSON) override {
        if (process_) process_->send(VKTScriptFrameCall, std::move(function), std::move(argumentJSON));
    }

    [[nodiscard]] std::int64_t processIdentifier() const override {
        return process_ ? process_->identifier() : 0;
    }

  private:
    [[nodiscard]] VKTScriptHostProcess::EventHandler eventHandler(std::size_t backlogLimit) const {
        return [inbox = std::make_shared<Inbox>(backlogLimit), receiver = std::weak_ptr(receiver_),
                loop = std::weak_ptr(VKTPlatform::current().mainRunLoop)](VKTScriptHostEvent event) {
            const Inbox::Outcome outcome = inbox->add(std::move(event));
            const auto target = loop.lock();
            if (target && outcome == Inbox::first) Receiver::post(target, receiver, inbox);
            return outcome != Inbox::tooMuch;
        };
    }

    const std::shared_ptr<Receiver> receiver_;
    const std::shared_ptr<VKTScriptHostProcess> process_;  // null: there was never a world
};

}  // namespace

std::unique_ptr<VKTScriptExecutor> vkt_makeProcessExecutor(const VKTScriptOptions& options,
                                                           VKTScriptHandlers handlers) {
    return std::make_unique<ProcessExecutor>(options, std::move(handlers));
}
