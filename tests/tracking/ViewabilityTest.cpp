#include <gtest/gtest.h>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/tracking/VKTViewabilityManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h"

using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

constexpr VKTRect screen{0, 0, 1280, 720};
constexpr VKTRect square{100, 100, 100, 100};

// A window, a container and a view, and what the manager said.
class ViewabilityManager : public testing::Test, public VKTViewabilityManagerDelegate {
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

    Texts heardWithin(VKTTimeInterval interval) {
        test_.mainRunLoop->advance(interval);
        return std::exchange(heard_, {});
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame(screen);
    std::shared_ptr<VKTHeadlessView> container_ = VKTHeadlessView::initWithFrame(screen);
    std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame(square);
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as a delegate
    std::shared_ptr<VKTViewabilityManager> manager_ =
        VKTViewabilityManager::initWithView(view_, {owner_, this});
    Texts heard_;
    std::function<void()> onNextSample_;
};

TEST_F(ViewabilityManager, GeometryOfAViewInItsWindow) {
    const VKTRect null = VKTRect::null();
    const std::tuple<VKTRect, double, VKTRect> cases[] = {{square, 1, {0, 0, 100, 100}},
                                                          {{1180, 0, 200, 100}, 0.5, {0, 0, 100, 100}},
                                                          {{-30, 0, 200, 100}, 0.85, {30, 0, 170, 100}},
                                                          {{0, -75, 200, 100}, 0.25, {0, 75, 200, 25}},
                                                          {{-0.5, 0, 10, 10}, 0.95, {0, 0, 9, 10}},
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
    const std::function<void()> cases[] = {
        [&] { view_->setHidden(true); },
        [&] { view_->setAlpha(0); },
        [&] { container_->setHidden(true); },
        [&] { window_->setAlpha(0); },
        [&] { test_.application->setApplicationState(VKTApplicationStateInactive); },
        [&] { test_.application->setApplicationState(VKTApplicationStateBackground); }};
    for (const auto& hide : cases) {
        view_->setAlpha(0.01);
        window_->setAlpha(1);
        view_->setHidden(false);
        container_->setHidden(false);
        test_.application->setApplicationState(VKTApplicationStateActive);
        EXPECT_TRUE(manager_->viewabilityStatus().isViewable());
        hide();
        EXPECT_FALSE(manager_->viewabilityStatus().isViewable());
        EXPECT_EQ(manager_->viewabilityPercentage(), 1);
    }
    EXPECT_EQ(VKTViewabilityManager::parentWindowForView(*window_), nullptr) << "never the view itself";
    view_->removeFromSuperview();
    view_.reset();
    EXPECT_EQ(manager_->viewabilityStatus(), VKTViewabilityStatus()) << "the view is gone";
}

TEST_F(ViewabilityManager, ReportsTheFirstSampleAndEveryChange) {
    const auto stop = [this] { manager_->stopViewabilityTracking(); };
    const auto start = [this] { manager_->startViewabilityTracking(); };
    const auto restart = [&] { stop(), start(); };
    const Texts shown{
        "YES 1.000000",
        "VKTViewabilityStatus(viewable: YES, percentage: 1.000000, viewableRect: {{0, 0}, {100, 100}})"};
    const Texts gone{
        "NO 0.000000",
        "VKTViewabilityStatus(viewable: NO, percentage: 0.000000, viewableRect: {{inf, inf}, {0, 0}})"};
    restart();
    EXPECT_EQ(heardWithin(10s), shown);
    window_->setHidden(true);
    EXPECT_EQ(heardWithin(10s).front(), "NO 1.000000");
    view_->removeFromSuperview();
    EXPECT_EQ(heardWithin(10s), gone);
    onNextSample_ = restart;
    start();
    EXPECT_EQ(heardWithin(0.25s), gone) << "the first sample after a start";
    onNextSample_ = stop;
    EXPECT_EQ(heardWithin(10s), gone) << "also inside a callback; a stop there leaves both calls";
    start();
    onNextSample_ = [this] { manager_.reset(); };
    EXPECT_EQ(heardWithin(10s), gone) << "let go inside the callback";
}

struct Event : VKTViewabilityTrackingEvent {
    Event(std::string theName, double theArea, double theSeconds, bool isItConsumable = false)
        : name(std::move(theName)), area(theArea), seconds(theSeconds), isConsumable(isItConsumable) {}

    const std::string& eventName() const override { return name; }
    const VKTURL& eventURL() const override { return url; }
    bool isEventConsumable() const override { return isConsumable; }
    double eventArea() const override { return area; }
    double eventExpositionTime() const override { return seconds; }

    const std::string name;
    const VKTURL url = *VKTURL::URLWithString(name);
    const double area, seconds;
    const bool isConsumable;
};

// No pixel is ever delivered, so that all of them can be counted.
class ViewabilityTracking : public testing::Test, public VKTTrackingEventManagerDelegate {
  protected:
    ViewabilityTracking() {
        test_.platform.random = VKTPlatform::current().random;  // pixel IDs must differ
        VKTPlatform::setCurrent(test_.platform);                // until the scope ends
    }

    void makeManager(VKTTrackingEvents events) {
        pixels_ = VKTPixelManager::initWithPixelStore(
            VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()),
            VKTURLSession::initWithSessionProvider(
                VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
        manager_ = VKTViewabilityTrackingEventManager::initWithEventFactory(
            *VKTTrackingEventDefaultFactory::initWithEvents(std::move(events)), {}, {owner_, this}, pixels_);
        manager_->startViewabilityTracking();
    }

    void trackingEventManager(VKTTrackingEventManager&, const std::string& name, std::size_t) override {
        fired_ += name;
        if (const auto once = std::exchange(onNextEvent_, nullptr)) once();
    }

    // Names of the events told of within some ticks.
    std::string firedIn(std::size_t ticks) {
        test_.mainRunLoop->advance(VKTViewabilitySamplingInterval * static_cast<double>(ticks));
        return std::exchange(fired_, "");
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{VKTPlatform::current()};
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as a delegate
    std::shared_ptr<VKTPixelManager> pixels_;
    std::shared_ptr<VKTViewabilityTrackingEventManager> manager_;
    std::string fired_;
    std::function<void()> onNextEvent_;
};

TEST_F(ViewabilityTracking, CountsContinuousExposureOnly) {
    // The event's area; one digit for each tick, tenths of the view, and "-" when it is not viewable; whether
    // 2 s of exposure are reached with the last one, not before. The first tick only sets the time base.
    const std::tuple<double, std::string, bool> cases[] = {
        {0.5, "555555555", true},         {0.5, "4444444444444444", false}, {0.5, "99999999499999999", true},
        {0.5, "9999999949999999", false}, {0.5, "99999999-99999999", true}, {0, "---------", true},
        {0.3, "333333333", true},         {0.7, "7777777777777777", false}};  // as 32 bits 0.7 is less
    for (const auto& [area, samples, isReached] : cases) {
        makeManager({std::make_shared<Event>("v", area, 2)});
        std::string fired;
        for (const char sample : samples) {
            EXPECT_EQ(fired, "") << samples;
            manager_->viewabilityUpdatedWithViewabilityStatus(
                {sample != '-', sample == '-' ? 1 : (sample - '0') / 10.0, {}});
            fired = firedIn(1);
        }
        EXPECT_EQ(fired + firedIn(isReached ? 20 : 0), isReached ? "v" : "") << samples;
    }
}

TEST_F(ViewabilityTracking, TimeCountsBetweenTicksOfARunningManager) {
    makeManager({std::make_shared<Event>("v", 0.5, 1.9)});
    firedIn(20);  // nothing is known yet
    manager_->viewabilityUpdated(true, 0.7);
    EXPECT_EQ(manager_->currentPercentage(), 0.7F);
    firedIn(5);
    manager_->stopViewabilityTracking();
    firedIn(20);
    manager_->startViewabilityTracking();
    EXPECT_EQ(firedIn(4), "");  // 1 s and 0.75 s
    manager_->resetViewabilityTracking();
    EXPECT_EQ(firedIn(8), "");
    test_.clock->advance(0.25s);
    EXPECT_EQ(firedIn(1), "v") << "a late tick counts by the clock";
}

TEST_F(ViewabilityTracking, DelegateIsObeyedInsideItsCallback) {
    const auto track = [this] { manager_->trackEvent("a", {}); };
    const auto reenter = [this] { manager_->fireOrPostponeViewabilityPixels(1, true); };
    const auto stop = [this] { manager_->stopViewabilityTracking(); };
    const auto reset = [this] { manager_->resetViewabilityTracking(); };
    const auto renew = [this] { manager_->initializeViewabilityTrackingEventTable(); };
    const auto letGo = [this] { manager_.reset(); };
    // What happens when "c" fires, whether each event is consumed as it fires, and the events told of on that
    // tick and on the next eight.
    const std::tuple<std::function<void()>, bool, std::string, std::string> cases[] = {
        {nullptr, false, "cba", ""}, {reenter, false, "cba", ""}, {stop, false, "cba", ""},
        {reset, false, "c", "ba"},   {letGo, false, "cba", ""},   {track, true, "cab", ""},
        {renew, true, "c", "ba"}};
    for (const auto& [action, isConsumed, atOnce, later] : cases) {
        VKTTrackingEvents events;
        for (const char* name : {"a", "b", "c"})
            events.push_back(std::make_shared<Event>(name, 0.5, 1, isConsumed));
        makeManager(std::move(events));
        manager_->viewabilityUpdated(true, 1);
        onNextEvent_ = action;
        EXPECT_EQ(firedIn(4), "");
        EXPECT_EQ(firedIn(1), atOnce);
        EXPECT_EQ(firedIn(8), later);
        EXPECT_EQ(pixels_->allPixels().size(), 3U) << "no pixel twice";
    }
}

}  // namespace
