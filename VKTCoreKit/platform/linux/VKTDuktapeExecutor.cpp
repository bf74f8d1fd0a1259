#include "VKTCoreKit/platform/linux/VKTDuktapeExecutor.h"

#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/linux/VKTDuktapeWorld.h"
#include "VKTCoreKit/platform/linux/VKTScriptLimits.h"

namespace {

using std::chrono::nanoseconds;
using Failure = VKTDuktapeWorld::Failure;

VKTError makeError(const Failure& failure) {
    return {VKTScriptErrorDomain, failure.code, {{VKTLocalizedDescriptionKey, failure.description}}};
}

nanoseconds processorTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

// Shared with a turn alone, which may see its executor destroyed by a handler.
class World {
  public:
    using Step = std::function<std::optional<Failure>(VKTDuktapeWorld&)>;

    World(VKTScriptOptions options, VKTScriptHandlers handlers)
        : options_(std::move(options)),
          handlers_(std::move(handlers)),
          engine_(options_.memoryLimit, options_.messageLimit,
                  [this](std::string message) { collect(std::move(message)); }) {}

    [[nodiscard]] const VKTScriptLimits& limits() const { return options_; }

    static void turn(const std::weak_ptr<World>& waiting, const VKTScriptTurnLimit& limit, const Step& step) {
        const std::shared_ptr<World> world = waiting.lock();
        if (!world || world->ended_) return;
        std::optional<Failure> failure = world->run(limit, step);
        if (world->flood_) failure = world->flood_;
        for (std::string& message : std::exchange(world->messages_, {})) {
            if (world->abandoned_) return;
            if (world->handlers_.onMessage) world->handlers_.onMessage(std::move(message));
        }
        if (failure && !world->abandoned_) world->report(*failure);
    }

    void abandon() { abandoned_ = true; }

  private:
    std::optional<Failure> run(const VKTScriptTurnLimit& limit, const Step& step) {
        const nanoseconds begin = processorTime();
        backlog_ = 0;
        std::optional<Failure> failure = step(engine_);
        const nanoseconds taken = processorTime() - begin;
        total_ += taken;
        if (failure && failure->code != VKTScriptErrorException) return failure;
        if (taken > limit.time) return Failure{VKTScriptErrorTime, vkt_turnLimitText(limit)};
        if (total_ > options_.totalLimit) return Failure{VKTScriptErrorTime, vkt_totalLimitText(options_)};
        return failure;
    }

    void collect(std::string message) {
        if (flood_) return;
        backlog_ += message.size() + VKTScriptMessageOverhead;
        if (backlog_ > options_.backlogLimit)
            flood_ = Failure{VKTScriptErrorFlood, vkt_backlogLimitText(options_)};
        else
            messages_.push_back(std::move(message));
    }

    void report(const Failure& failure) {
        ended_ = failure.code != VKTScriptErrorException;
        const auto& handler = ended_ ? handlers_.onEnd : handlers_.onException;
        if (handler) handler(makeError(failure));
    }

    const VKTScriptOptions options_;
    const VKTScriptHandlers handlers_;
    VKTDuktapeWorld engine_;
    std::vector<std::string> messages_;
    std::size_t backlog_ = 0;
    std::optional<Failure> flood_;
    nanoseconds total_{0};
    bool ended_ = false;
    bool abandoned_ = false;
};

class DuktapeExecutor final : public VKTScriptExecutor {
  public:
    DuktapeExecutor(VKTScriptOptions options, VKTScriptHandlers handlers)
        : world_(std::make_shared<World>(std::move(options), std::move(handlers))) {}

    ~DuktapeExecutor() override { world_->abandon(); }

    void evaluate(std::string script, std::string name) override {
        post(vkt_loadLimit(world_->limits()),
             [script = std::move(script), name = std::move(name)](VKTDuktapeWorld& world) {
                 return world.evaluate(script, name);
             });
    }

    void call(std::string function, std::string argumentJSON) override {
        post(vkt_callLimit(world_->limits()),
             [function = std::move(function), argument = std::move(argumentJSON)](VKTDuktapeWorld& world) {
                 return world.call(function, argument);
             });
    }

  private:
    void post(VKTScriptTurnLimit limit, World::Step step) {
        loop_->post([world = std::weak_ptr(world_), limit, step = std::move(step)] {
            World::turn(world, limit, step);
        });
    }

    const std::shared_ptr<VKTRunLoop> loop_ = VKTPlatform::current().mainRunLoop;
    const std::shared_ptr<World> world_;
};

}  // namespace

std::unique_ptr<VKTScriptExecutor> vkt_makeDuktapeExecutor(VKTScriptOptions options,
                                                           VKTScriptHandlers handlers) {
    return std::make_unique<DuktapeExecutor>(std::move(options), std::move(handlers));
}
