#include "VKTCoreKit/core/VKTTimer.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

std::shared_ptr<VKTTimerTarget> VKTTimerTarget::initWithCompletionHandler(
    std::function<void()> completionHandler) {
    return std::shared_ptr<VKTTimerTarget>(new VKTTimerTarget(std::move(completionHandler)));
}

void VKTTimerTarget::timerFired() const {
    if (!invalidated_ && completionHandler_) completionHandler_();
}

std::shared_ptr<VKTTimer> VKTTimer::initWithInterval(VKTTimerInterval interval,
                                                     const std::shared_ptr<VKTTimerDelegate>& delegate) {
    return std::shared_ptr<VKTTimer>(new VKTTimer(interval, delegate));
}

VKTTimer::VKTTimer(VKTTimerInterval interval, const std::shared_ptr<VKTTimerDelegate>& delegate)
    : ID_(VKTRandom::randomUnsignedInt()), interval_(interval), delegate_(delegate) {}

VKTTimer::~VKTTimer() {
    if (status_ != VKTTimerStatusRunning) return;
    VKTLog::sharedInstance()->logDebugWithFormat(
        "Warning: VKTTimer instance %@ld is being deallocated while running!", ID_);
    stop();
}

void VKTTimer::start() {
    if (!timerCanBeStarted()) return;
    timerTarget_ = VKTTimerTarget::initWithCompletionHandler([weakTimer = weak_from_this()] {
        if (const auto timer = weakTimer.lock()) timer->tick();
    });
    timerCount_ = 0;
    status_ = VKTTimerStatusRunning;
    scheduleTimerWithInterval(interval_, timerTarget_);
}

void VKTTimer::stop() {
    if (timerTarget_) timerTarget_->invalidate();
    timerTarget_.reset();
    timer_.reset();
    status_ = VKTTimerStatusStopped;
    // A copy: the handler may replace itself, or let go of the timer.
    if (const auto stopHandler = stopHandler_)
        vkt_callGuarded("VKTTimer's stop handler", [&] { stopHandler(*this); });
}

void VKTTimer::scheduleTimerWithInterval(const VKTTimerInterval& interval,
                                         std::shared_ptr<VKTTimerTarget> target) {
    timer_ = VKTPlatform::current().mainRunLoop->schedule(
        interval.time, [target = std::move(target)] { target->timerFired(); });
    ++timerCount_;
}

void VKTTimer::tick() {
    const auto target = timerTarget_;
    if (const auto delegate = delegate_.lock())
        vkt_callGuarded("VKTTimerDelegate's timerFired", [&] { delegate->timerFired(*this); });
    // The delegate has stopped the timer, and may have started it again.
    if (target->invalidated()) return;
    if (hasTicksLeft()) {
        scheduleTimerWithInterval(interval_, target);
    } else {
        status_ = VKTTimerStatusFinished;
    }
}

bool VKTTimer::hasTicksLeft() const {
    return interval_.type == VKTTimerTypeInfiniteRepetitions ||
           (interval_.type == VKTTimerTypeFiniteRepetitions && timerCount_ < interval_.count);
}
