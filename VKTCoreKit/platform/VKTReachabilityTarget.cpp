#include "VKTCoreKit/platform/VKTReachabilityTarget.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

struct VKTReachabilityReporter::State {
    VKTMutex mutex;
    VKTReachabilityCallback callback VKT_GUARDED_BY(mutex);
    std::shared_ptr<VKTMainLoop> loop VKT_GUARDED_BY(mutex);
    std::uint64_t generation VKT_GUARDED_BY(mutex) = 0;  // of calls that are still wanted

    void setLoop(std::shared_ptr<VKTMainLoop> newLoop) {
        const VKTLock lock(mutex);
        ++generation;
        loop.swap(newLoop);
    }

    void call(std::uint64_t callGeneration, const VKTReachabilityFlags& flags) {
        VKTReachabilityCallback current;
        {
            const VKTLock lock(mutex);
            if (callGeneration == generation) current = callback;
        }
        if (current) current(flags);
    }
};

VKTReachabilityReporter::VKTReachabilityReporter() : state_(std::make_shared<State>()) {}

void VKTReachabilityReporter::setCallback(VKTReachabilityCallback callback) {
    const VKTLock lock(state_->mutex);
    state_->callback.swap(callback);
}

void VKTReachabilityReporter::start(std::shared_ptr<VKTMainLoop> loop) {
    state_->setLoop(std::move(loop));
}

void VKTReachabilityReporter::stop() {
    state_->setLoop(nullptr);
}

void VKTReachabilityReporter::report(const VKTReachabilityFlags& flags) {
    std::shared_ptr<VKTMainLoop> loop;
    std::uint64_t generation = 0;
    {
        const VKTLock lock(state_->mutex);
        loop = state_->loop;
        generation = state_->generation;
    }
    if (!loop) return;
    loop->post([weakState = std::weak_ptr(state_), generation, flags] {
        if (const auto state = weakState.lock()) state->call(generation, flags);
    });
}
