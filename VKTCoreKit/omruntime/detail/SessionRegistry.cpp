#include "VKTCoreKit/omruntime/detail/SessionRegistry.h"

#include <utility>

#include "VKTCoreKit/omruntime/detail/SessionRun.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

void SessionRegistry::add(std::shared_ptr<SessionRun> session) {
    running_.push_back(std::move(session));
    if (running_.size() > 1) return;
    VKTNotificationCentre& centre = *VKTPlatform::current().notificationCentre;
    const auto look = [this](const VKTNotification&) { tellRunning(); };
    foreground_ = centre.addObserver(VKTApplicationWillEnterForegroundNotification, look);
    background_ = centre.addObserver(VKTApplicationDidEnterBackgroundNotification, look);
    scheduleTick();
}

void SessionRegistry::finish(const std::shared_ptr<SessionRun>& session, std::chrono::nanoseconds limit) {
    std::erase(running_, session);
    if (running_.empty()) {
        foreground_.reset();
        background_.reset();
    }
    if (session->areScriptsOver()) return;
    finished_.push_back({session, limit});
    scheduleTick();
}

void SessionRegistry::scheduleTick() {
    if (timer_) return;
    timer_ = VKTPlatform::current().mainRunLoop->schedule(TickInterval, [this] { tick(); });
}

// Over copies: what the observer hears may make the embedder start or finish a session.
void SessionRegistry::tick() {
    timer_.reset();
    const auto now = VKTPlatform::current().clock->monotonicNow();
    for (const Finished& each : std::vector(finished_)) {
        if (now >= each.deadline) each.session->giveUpScripts();
    }
    std::erase_if(finished_, [](const Finished& each) { return each.session->areScriptsOver(); });
    tellRunning();
    if (!running_.empty() || !finished_.empty()) scheduleTick();
}

void SessionRegistry::tellRunning() {
    for (const auto& session : std::vector(running_))
        session->look();
}

}  // namespace OMIDKorvonet1
