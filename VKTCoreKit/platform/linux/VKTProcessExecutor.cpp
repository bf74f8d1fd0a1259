#include "VKTCoreKit/platform/linux/VKTProcessExecutor.h"

#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/linux/VKTScriptHostProcess.h"

namespace {

// What has happened and has not been delivered yet. Any thread.
class Inbox {
  public:
    explicit Inbox(std::size_t limit) : limit_(limit) {}

    enum Outcome : std::uint8_t { first, further, tooMuch };

    Outcome add(VKTScriptHostEvent event) {
        VKTLock lock(mutex_);
        const bool isEnd = event.code && event.code != VKTScriptErrorException;
        const std::size_t size = event.text.size() + VKTScriptMessageOverhead;
        if (!isEnd && bytes_ + size > limit_) return tooMuch;
        bytes_ += size;
        events_.push_back(std::move(event));
        return events_.size() == 1 ? first : further;
    }

    std::vector<VKTScriptHostEvent> take() {
        VKTLock lock(mutex_);
        bytes_ = 0;
        return std::exchange(events_, {});
    }

  private:
    const std::size_t limit_;
    VKTMutex mutex_;
    std::vector<VKTScriptHostEvent> events_ VKT_GUARDED_BY(mutex_);
    std::size_t bytes_ VKT_GUARDED_BY(mutex_) = 0;
};

// The handlers, on the main thread. Shared with a delivery alone, in which the executor may be destroyed.
class Receiver {
  public:
    explicit Receiver(VKTScriptHandlers handlers) : handlers_(std::move(handlers)) {}

    static void deliver(const std::weak_ptr<Receiver>& waiting, Inbox& inbox) {
        const std::shared_ptr<Receiver> receiver = waiting.lock();
        if (!receiver) return;
        for (VKTScriptHostEvent& event : inbox.take()) {
            if (receiver->abandoned_) return;
            receiver->hear(event);
        }
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
            if (target && outcome == Inbox::first)
                target->post([inbox, receiver] { Receiver::deliver(receiver, *inbox); });
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
