#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/tracking/VKTViewabilityManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h"

using namespace std::chrono_literals;

namespace {

constexpr VKTRect screen{0, 0, 1280, 720};
constexpr VKTRect square{100, 100, 100, 100};

class Viewability : public testing::Test {
  protected:
    Viewability() { test_.platform.random = vkt_makeDefaultPlatform().random; }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as a delegate
};

// A window, a container and a view, and what the manager said.
class ViewabilityManager : public Viewability, public VKTViewabilityManagerDelegate {
  protected:
    ViewabilityManager() {
        window_->addSubview(container_);
        container_->addSubview(view_);
    }

    void viewabilityManagerViewableStatus(VKTViewabilityManager&, bool viewable, double share) override {
        heard_.push_back((viewable ? "YES " : "NO ") + vkt_stringWithFormat("%f", {share}));
        if (const auto once = std::exchange(onNextSample_, nullptr)) once();
    }
    void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager&,
                                                      const VKTViewabilityStatus& status) override {
        heard_.push_back(status.description());
    }

    std::size_t heardAfter(VKTTimeInterval interval) {
        heard_.clear();
        test_.mainRunLoop->advance(interval);
        return heard_.size();
    }

    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame(screen);
    std::shared_ptr<VKTHeadlessView> container_ = VKTHeadlessView::initWithFrame(screen);
    std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame(square);
    std::shared_ptr<VKTViewabilityManager> manager_ = VKTViewabilityManager::initWithView(
        view_, std::shared_ptr<VKTViewabilityManagerDelegate>(owner_, this));
    std::vector<std::string> heard_;
    std::function<void()> onNextSample_;
};

TEST_F(ViewabilityManager, GeometryOfAViewInItsWindow) {
    const VKTRect null = VKTRect::null();
    const std::tuple<VKTRect, double, VKTRect> cases[] = {
        {square, 1, {0, 0, 100, 100}},
        {{1180, 0, 200, 100}, 0.5, {0, 0, 100, 100}},
        {{-30, 0, 200, 100}, 0.85, {30, 0, 170, 100}},
        {{0, -75, 200, 100}, 0.25, {0, 75, 200, 25}},
        {{-1280, -720, 2560, 1440}, 0.25, {1280, 720, 1280, 720}},
        {{-0.5, 0, 10, 10}, 0.95, {0, 0, 9, 10}},
        {{1280, 0, 100, 100}, 0, null},
        {{1279.875, 0, 1e16, 100}, 0, null},
        {{10, 10, 0, 100}, 0, null}};
    // A view is where its frame is, whatever it has scrolled; a scrolled container moves what is in it.
    container_->setFrame({-10, -20, 1280, 720});
    container_->setBoundsOrigin({-10, -20});
    view_->setBoundsOrigin({7, 9});
    for (const auto& [frame, percentage, viewableRect] : cases) {
        view_->setFrame(frame);
        const VKTViewabilityStatus expected{true, percentage, viewableRect};
        EXPECT_EQ(manager_->viewabilityStatus(), expected) << manager_->viewabilityStatus().description();
        const auto status = VKTViewabilityManager::viewStatusWithView(*view_, *window_);
        EXPECT_EQ(status.intersectionRect, viewableRect.isNull() ? null : screen.intersection(frame));
        EXPECT_EQ(status.unionRect, viewableRect.isNull() ? null : screen.unionWith(frame));
    }
}

TEST_F(ViewabilityManager, WhatMakesAViewNotViewable) {
    const auto application = test_.application;
    // What to do, what to do afterwards, and the share that stays.
    const std::tuple<std::function<void()>, std::function<void()>, double> cases[] = {
        {[&] { view_->setHidden(true); }, [&] { view_->setHidden(false); }, 1},
        {[&] { view_->setAlpha(0); }, [&] { view_->setAlpha(0.01); }, 1},
        {[&] { container_->setHidden(true); }, [&] { container_->setHidden(false); }, 1},
        {[&] { window_->setAlpha(0); }, [&] { window_->setAlpha(1); }, 1},
        {[&] { application->setApplicationState(VKTApplicationStateInactive); },
         [&] { application->setApplicationState(VKTApplicationStateActive); }, 1},
        {[&] { application->setApplicationState(VKTApplicationStateBackground); },
         [&] { application->setApplicationState(VKTApplicationStateActive); }, 1},
        {[&] { container_->removeFromSuperview(); }, [&] { window_->addSubview(container_); }, 0},
        {[&] { view_->removeFromSuperview(); }, [&] { container_->addSubview(view_); }, 0}};
    for (const auto& [hide, show, percentage] : cases) {
        EXPECT_TRUE(manager_->viewabilityStatus().isViewable());
        hide();
        EXPECT_FALSE(manager_->viewabilityStatus().isViewable());
        EXPECT_EQ(manager_->viewabilityPercentage(), percentage);
        show();
    }
    EXPECT_EQ(VKTViewabilityManager::parentWindowForView(*window_), nullptr) << "never the view itself";
    view_->removeFromSuperview();
    view_.reset();
    EXPECT_EQ(manager_->viewabilityStatus(), VKTViewabilityStatus()) << "the view is gone";
    EXPECT_FALSE(manager_->isViewViewable());
}

TEST_F(ViewabilityManager, ReportsTheFirstSampleAndEveryChange) {
    manager_->startViewabilityTracking();
    manager_->startViewabilityTracking();
    EXPECT_EQ(heardAfter(0.2s), 0U);
    EXPECT_EQ(heardAfter(10s), 2U);
    EXPECT_EQ(heard_[0], "YES 1.000000");
    EXPECT_EQ(
        heard_[1],
        "VKTViewabilityStatus(viewable: YES, percentage: 1.000000, viewableRect: {{0, 0}, {100, 100}})");
    window_->setHidden(true);
    EXPECT_EQ(heardAfter(10s), 2U);
    EXPECT_EQ(heard_[0], "NO 1.000000");
    view_->removeFromSuperview();
    EXPECT_EQ(heardAfter(10s), 2U);
    EXPECT_EQ(heard_[1],
              "VKTViewabilityStatus(viewable: NO, percentage: 0.000000, viewableRect: {{inf, inf}, {0, 0}})");
    onNextSample_ = [this] {
        manager_->stopViewabilityTracking();
        manager_->startViewabilityTracking();
    };
    container_->addSubview(view_);
    EXPECT_EQ(heardAfter(10s), 3U) << "restarted inside the callback: the next sample is a first one";
    onNextSample_ = [this] { manager_.reset(); };
    window_->setHidden(false);
    EXPECT_EQ(heardAfter(10s), 2U) << "let go inside the callback";
    EXPECT_EQ(heardAfter(10s), 0U);
}

class Event : public VKTViewabilityTrackingEvent {
  public:
    Event(std::string name, double area, double seconds, bool isConsumable)
        : name_(std::move(name)), area_(area), seconds_(seconds), isConsumable_(isConsumable) {}

    const std::string& eventName() const override { return name_; }
    const VKTURL& eventURL() const override { return url_; }
    bool isEventConsumable() const override { return isConsumable_; }
    double eventArea() const override { return area_; }
    double eventExpositionTime() const override { return seconds_; }

  private:
    const std::string name_;
    const VKTURL url_ = *VKTURL::URLWithString("http://h/pixel");
    const double area_;
    const double seconds_;
    const bool isConsumable_;
};

// Names of the events in the order of their tracking; what the test does in the next callback. No pixel is
// ever delivered, so that all of them can be counted.
class ViewabilityTracking : public Viewability, public VKTTrackingEventManagerDelegate {
  protected:
    void makeManager(const VKTTrackingEvents& events) {
        fired_.clear();
        pixels_ = VKTPixelManager::initWithPixelStore(
            VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()),
            VKTURLSession::initWithSessionProvider(
                VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
        manager_ = VKTViewabilityTrackingEventManager::initWithEventFactory(
            *VKTTrackingEventDefaultFactory::initWithEvents(events), {},
            std::shared_ptr<VKTTrackingEventManagerDelegate>(owner_, this), pixels_);
        manager_->startViewabilityTracking();
    }

    void trackingEventManager(VKTTrackingEventManager&, const std::string& name, std::size_t) override {
        fired_ += name;
        if (const auto once = std::exchange(onNextEvent_, nullptr)) once();
    }

    void tick(std::size_t count = 1) {
        test_.mainRunLoop->advance(VKTViewabilitySamplingInterval * static_cast<double>(count));
    }

    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTPixelManager> pixels_;
    std::shared_ptr<VKTViewabilityTrackingEventManager> manager_;
    std::string fired_;
    std::function<void()> onNextEvent_;
};

TEST_F(ViewabilityTracking, CountsContinuousExposureOnly) {
    // The event's area; one digit for each tick, tenths of the view, and "-" when it is not viewable; whether
    // 2 s of exposure are reached with the last one, not before. The first tick only sets the time base.
    const std::tuple<double, std::string, bool> cases[] = {
        {0.5, "555555555", true},         {0.5, "55555555", false},         {0.5, "4444444444444444", false},
        {0.5, "99999999499999999", true}, {0.5, "9999999949999999", false}, {0.5, "99999999-99999999", true},
        {0.5, "99999999-9999999", false}, {0, "---------", true},           {0.3, "333333333", true},
        {0.7, "7777777777777777", false}};  // the nearest 32-bit number is below 0.7
    for (const auto& [area, samples, isReached] : cases) {
        makeManager({std::make_shared<Event>("v", area, 2.0 - 1e-6, false)});
        for (const char sample : samples) {
            EXPECT_EQ(fired_, "") << samples;
            manager_->viewabilityUpdated(sample != '-', sample == '-' ? 1 : (sample - '0') / 10.0);
            tick();
        }
        EXPECT_EQ(fired_, isReached ? "v" : "") << samples;
        tick(20);
        EXPECT_LE(fired_.size(), 1U) << "once for each manager";
        manager_->stopViewabilityTracking();
    }
}

TEST_F(ViewabilityTracking, TimeCountsBetweenTicksOfARunningManager) {
    makeManager({std::make_shared<Event>("v", 0.5, 1.9, false)});
    tick(20);  // nothing is known yet
    manager_->viewabilityUpdatedWithViewabilityStatus({true, 1, {}});
    tick(5);
    manager_->stopViewabilityTracking();
    tick(20);
    manager_->startViewabilityTracking();
    tick(4);  // 1 s and 0.75 s
    EXPECT_EQ(fired_, "");
    manager_->resetViewabilityTracking();
    tick(8);
    EXPECT_EQ(fired_, "");
    test_.clock->advance(0.25s);  // a late tick counts by the clock
    tick();
    EXPECT_EQ(fired_, "v");
    manager_->stopViewabilityTracking();
}

TEST_F(ViewabilityTracking, DelegateIsObeyedInsideItsCallback) {
    const auto track = [this] { manager_->trackEvent("a", {}); };
    const auto reenter = [this] { manager_->fireOrPostponeViewabilityPixels(1, true); };
    const auto stop = [this] { manager_->stopViewabilityTracking(); };
    const auto reset = [this] { manager_->resetViewabilityTracking(); };
    const auto renew = [this] { manager_->initializeViewabilityTrackingEventTable(); };
    const auto letGo = [this] { manager_.reset(); };
    // What happens when "c" fires, whether each event is consumed as it fires, and the events told of on that
    // tick and after some more of them.
    const std::tuple<std::function<void()>, bool, std::string, std::string> cases[] = {
        {nullptr, false, "cba", "cba"}, {reenter, false, "cba", "cba"}, {stop, false, "cba", "cba"},
        {reset, false, "c", "cba"},     {letGo, false, "cba", "cba"},   {track, true, "cab", "cab"},
        {renew, true, "c", "cba"}};
    for (const auto& [action, isConsumed, atOnce, later] : cases) {
        VKTTrackingEvents events;
        for (const char* name : {"a", "b", "c"})
            events.push_back(std::make_shared<Event>(name, 0.5, 1, isConsumed));
        makeManager(events);
        manager_->viewabilityUpdated(true, 1);
        tick(3);
        onNextEvent_ = action;
        tick(2);
        EXPECT_EQ(fired_, atOnce);
        tick(6);
        EXPECT_EQ(fired_, later);
        EXPECT_EQ(pixels_->allPixels().size(), 3U) << "no pixel twice";
        if (manager_) manager_->stopViewabilityTracking();
    }
}

}  // namespace
