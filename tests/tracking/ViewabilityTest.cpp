#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/tracking/VKTViewabilityManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h"
#include "VKTCoreKit/tracking/VKTViewableImpressionEvent.h"
#include "VKTCoreKit/tracking/detail/VKTViewabilityTimer.h"
#include "tests/tracking/TrackingFixture.h"

using namespace std::chrono_literals;

namespace {

struct Event : VKTViewabilityTrackingEvent {
    Event(std::string theName, double theArea, double theSeconds)
        : name(std::move(theName)), area(theArea), seconds(theSeconds) {}

    const std::string& eventName() const override { return name; }
    const VKTURL& eventURL() const override { return url; }
    bool isEventConsumable() const override { return false; }
    double eventArea() const override { return area; }
    double eventExpositionTime() const override { return seconds; }

    const std::string name;
    const VKTURL url = urlOf("http://h/");
    const double area, seconds;
};

// The delegate of both managers writes down what it hears, and does once what a test wants.
class Viewability : public TrackingFixture, public VKTViewabilityManagerDelegate {
  protected:
    Viewability() {
        window_->addSubview(container_);
        container_->addSubview(view_);
    }

    void makeTracking(VKTTrackingEvents events) {
        tracking_ = managerOf<VKTViewabilityTrackingEventManager>(std::move(events));
        tracking_->startViewabilityTracking();
    }

    void viewabilityManagerViewableStatus(VKTViewabilityManager&, bool viewable, double share) override {
        hear((viewable ? "YES " : "NO ") + vkt_stringWithFormat("%f ", {share}));
    }
    void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager&,
                                                      const VKTViewabilityStatus& status) override {
        hear(status.description());
    }
    void trackingEventManager(VKTTrackingEventManager&, const std::string& name, std::size_t) override {
        hear(name);
    }
    void hear(const std::string& what) {
        heard_ += what;
        if (const auto once = std::exchange(doOnce_, nullptr)) once();
    }

    std::string heardIn(std::size_t ticks) {
        test_.mainRunLoop->advance(VKTViewabilitySamplingInterval * static_cast<double>(ticks));
        return std::exchange(heard_, "");
    }

    std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame({0, 0, 1280, 720});
    std::shared_ptr<VKTHeadlessView> container_ = VKTHeadlessView::initWithFrame({30, 40, 1280, 720});
    std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({100, 100, 100, 100});
    std::shared_ptr<VKTViewabilityManager> manager_ =
        VKTViewabilityManager::initWithView(view_, {owner_, this});
    std::shared_ptr<VKTViewabilityTrackingEventManager> tracking_;
    std::string heard_;
    std::function<void()> doOnce_;
};

TEST_F(Viewability, GeometryOfAViewInItsWindow) {
    const VKTRect null = VKTRect::null();
    // Where the view lies in the window.
    const std::tuple<VKTRect, double, VKTRect> cases[] = {{{100, 100, 100, 100}, 1, {0, 0, 100, 100}},
                                                          {{1180, 0, 200, 100}, 0.5, {0, 0, 100, 100}},
                                                          {{-30, 0, 200, 100}, 0.85, {30, 0, 170, 100}},
                                                          {{0, -75, 200, 100}, 0.25, {0, 75, 200, 25}},
                                                          {{-0.5, 0, 10, 10}, 0.95, {0, 0, 9, 10}},
                                                          {{1279.875, 0, 1e16, 100}, 0, null},
                                                          {{10, 10, 0, 100}, 0, null}};
    // A view is where its frame is, whatever it has scrolled; a scrolled container moves what is in it.
    container_->setBoundsOrigin({10, 30});
    view_->setBoundsOrigin({7, 9});
    for (const auto& [placed, percentage, viewableRect] : cases) {
        view_->setFrame({placed.x - 20, placed.y - 10, placed.width, placed.height});
        const VKTViewabilityStatus expected{true, percentage, viewableRect};
        EXPECT_EQ(manager_->viewabilityStatus(), expected) << manager_->viewabilityStatus().description();
        const auto status = VKTViewabilityManager::viewStatusWithView(*view_, *window_);
        EXPECT_EQ(status.unionRect, viewableRect.isNull() ? null : window_->bounds().unionWith(placed));
    }
}

TEST_F(Viewability, NothingIsSeenWhereANumberIsNotFinite) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double huge = 1e200;  // its square is infinite
    for (const double odd : {infinity, -infinity, std::nan("")}) {
        for (double VKTRect::*field : {&VKTRect::x, &VKTRect::y, &VKTRect::width, &VKTRect::height}) {
            for (const auto& view : {view_, container_, window_}) {
                const bool isSizeOfContainer =
                    view == container_ && (field == &VKTRect::width || field == &VKTRect::height);
                if (isSizeOfContainer) continue;  // it does not clip
                const VKTRect frame = view->frame();
                VKTRect oddFrame = frame;
                oddFrame.*field = odd;
                view->setFrame(oddFrame);
                const auto status = VKTViewabilityManager::viewStatusWithView(*view_, *window_);
                EXPECT_TRUE(status.percentage == 0 && status.viewableRect.isNull())
                    << vkt_stringFromRect(oddFrame) << " " << status.percentage;
                view->setFrame(frame);
            }
        }
        view_->setBoundsOrigin({odd, 0});
        EXPECT_EQ(manager_->viewabilityPercentage(), 0);
        view_->setBoundsOrigin({0, 0});
    }
    EXPECT_EQ(manager_->viewabilityPercentage(), 1);
    view_->setFrame({0, 0, huge, huge});
    EXPECT_EQ(manager_->viewabilityPercentage(), 0);
    window_->setFrame({0, 0, huge, huge});
    EXPECT_EQ(manager_->viewabilityPercentage(), 0);
}

TEST_F(Viewability, AnotherThreadEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    makeTracking({});
    VKTTimer& timer = *tracking_->timer();
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"startViewabilityTracking", [&] { manager_->startViewabilityTracking(); }},
        {"stopViewabilityTracking", [&] { manager_->stopViewabilityTracking(); }},
        {"viewabilityStatus", [&] { (void)manager_->viewabilityStatus(); }},
        {"isViewViewable", [&] { (void)manager_->isViewViewable(); }},
        {"timerFired", [&] { manager_->timerFired(timer); }},
        {"startViewabilityTracking", [&] { tracking_->startViewabilityTracking(); }},
        {"stopViewabilityTracking", [&] { tracking_->stopViewabilityTracking(); }},
        {"resetViewabilityTracking", [&] { tracking_->resetViewabilityTracking(); }},
        {"viewabilityUpdated", [&] { tracking_->viewabilityUpdated(true, 1); }},
        {"viewabilityUpdatedWithViewabilityStatus",
         [&] { tracking_->viewabilityUpdatedWithViewabilityStatus({}); }},
        {"timerFired", [&] { tracking_->timerFired(timer); }},
        {"initializeViewabilityTrackingEventTable",
         [&] { tracking_->initializeViewabilityTrackingEventTable(); }},
        {"timestampInterval", [&] { tracking_->timestampInterval(); }},
        {"fireOrPostponeViewabilityPixels", [&] { tracking_->fireOrPostponeViewabilityPixels(1, true); }},
        {"updatePixelVisibilityStatus", [&] {
             const auto event = std::make_shared<Event>("v", 1, 1);
             using Progression = VKTViewabilityTrackingEventManager::EventProgression;
             tracking_->updatePixelVisibilityStatus(Progression::initWithEvent(event), 0, 0);
         }}};
    for (const auto& [name, operation] : operations) {
        EXPECT_DEATH(std::thread(operation).join(),
                     std::string("VKTCoreKit: ") + name + " was called off the main thread");
    }
}

TEST_F(Viewability, WhatMakesAViewNotViewable) {
    const auto setState = [&](VKTApplicationState state) { test_.application->setApplicationState(state); };
    const std::function<void()> cases[] = {[&] { view_->setHidden(true); },
                                           [&] { view_->setAlpha(0); },
                                           [&] { container_->setHidden(true); },
                                           [&] { window_->setAlpha(0); },
                                           [&] { setState(VKTApplicationStateInactive); },
                                           [&] { setState(VKTApplicationStateBackground); }};
    for (const auto& hide : cases) {
        view_->setAlpha(0.01), view_->setHidden(false), container_->setHidden(false), window_->setAlpha(1);
        setState(VKTApplicationStateActive);
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

// A window of an application's own.
struct OwnWindow final : VKTView {
    VKTRect frame() const override { return {0, 0, 200, 200}; }
    VKTRect bounds() const override { return frame(); }
    bool isHidden() const override { return isHiddenNow; }
    double alpha() const override { return 1; }
    bool isWindow() const override { return true; }
    std::shared_ptr<VKTView> superview() const override { return nullptr; }
    std::vector<std::shared_ptr<VKTView>> subviews() const override { return {}; }

    bool isHiddenNow = false;
};

TEST_F(Viewability, ManagerMeasuresAHeadlessViewBelowAWindowOfTheApplication) {
    const auto window = std::make_shared<OwnWindow>();
    container_->setFrame({150, 0, 100, 100});
    view_->setFrame({0, 0, 100, 100});
    container_->setSuperview(window);
    EXPECT_EQ(VKTViewabilityManager::parentWindowForView(*view_), window);
    EXPECT_TRUE(manager_->viewabilityStatus().isViewable());
    EXPECT_EQ(manager_->viewabilityPercentage(), 0.5);
    window->isHiddenNow = true;
    EXPECT_FALSE(manager_->viewabilityStatus().isViewable());
}

TEST_F(Viewability, ManagerReportsTheFirstSampleAndEveryChange) {
    const auto stop = [this] { manager_->stopViewabilityTracking(); };
    const auto start = [this] { manager_->startViewabilityTracking(); };
    const auto restart = [&] { stop(), start(); };
    const std::string shown =
        "YES 1.000000 VKTViewabilityStatus(viewable: YES, percentage: 1.000000, "
        "viewableRect: {{0, 0}, {100, 100}})";
    const std::string gone =
        "NO 0.000000 VKTViewabilityStatus(viewable: NO, percentage: 0.000000, "
        "viewableRect: {{inf, inf}, {0, 0}})";
    restart();
    EXPECT_EQ(heardIn(40), shown);
    view_->removeFromSuperview();
    EXPECT_EQ(heardIn(40), gone);
    doOnce_ = restart;
    start();
    EXPECT_EQ(heardIn(1), gone) << "the first sample after a start";
    doOnce_ = stop;
    EXPECT_EQ(heardIn(40), gone) << "also inside a callback; a stop there leaves both calls";
    doOnce_ = [] { throw std::runtime_error("of the player"); };
    start();
    EXPECT_EQ(heardIn(40), gone) << "what is thrown leaves both calls, and they are made once";
    restart();
    doOnce_ = [this] { manager_.reset(); };
    EXPECT_EQ(heardIn(40), gone) << "let go inside the callback";
}

TEST_F(Viewability, TrackingCountsContinuousExposureOnly) {
    // The event's area; one digit for each tick, tenths of the view, "-" when it is not viewable, and "?"
    // when the share is not a number; whether 2 s of exposure are reached with the last one, not before. The
    // first tick only sets the time base.
    const std::tuple<double, std::string, bool> cases[] = {
        {0.5, "555555555", true},         {0.5, "4444444444444444", false}, {0.5, "99999999499999999", true},
        {0.5, "9999999949999999", false}, {0.5, "99999999-99999999", true}, {0, "---------", true},
        {0.3, "333333333", true},         {0.7, "7777777777777777", false},  // as 32 bits 0.7 is less
        {0, "????????????????", false}};
    for (const auto& [area, samples, isReached] : cases) {
        makeTracking({std::make_shared<Event>("v", area, 2)});
        std::string fired;
        for (const char sample : samples) {
            EXPECT_EQ(fired, "") << samples;
            const double share = sample == '-' ? 1 : sample == '?' ? std::nan("") : (sample - '0') / 10.0;
            tracking_->viewabilityUpdatedWithViewabilityStatus({sample != '-', share, {}});
            fired = heardIn(1);
        }
        EXPECT_EQ(fired + heardIn(isReached ? 20 : 0), isReached ? "v" : "") << samples;
    }
}

TEST_F(Viewability, ViewableEventsOfAnAdFireByTheCriterionForVideo) {
    const auto event = VKTVASTViewabilityEvent::viewableEventWithURL(urlOf("http://h/seen"));
    makeTracking({VKTViewableImpressionEvent::initWithEvent(event),
                  VKTViewableImpressionEvent::initWithEvent(event),
                  VKTViewableImpressionEvent::initWithEvent(event, 0.75, 1)});
    tracking_->viewabilityUpdated(true, 0.5);
    EXPECT_EQ(heardIn(8), "") << "the first tick only sets the time base";
    EXPECT_EQ(heardIn(1), "viewableviewable") << "two with one URL are two";
    tracking_->viewabilityUpdated(true, 0.75);
    EXPECT_EQ(heardIn(3), "");
    EXPECT_EQ(heardIn(1) + heardIn(20), "viewable");
    EXPECT_EQ(sent(), (Texts{"3", "http://h/seen", "http://h/seen", "http://h/seen"}));
    for (const auto& other : {VKTVASTViewabilityEvent::notViewableEventWithURL(urlOf("http://h/")),
                              VKTVASTViewabilityEvent::viewUndeterminedEventWithURL(urlOf("http://h/")),
                              std::shared_ptr<VKTVASTViewabilityEvent>()})
        EXPECT_EQ(VKTViewableImpressionEvent::initWithEvent(other), nullptr);
}

TEST_F(Viewability, TrackingCountsTimeBetweenItsTicks) {
    makeTracking({std::make_shared<Event>("v", 0.5, 1.9)});
    heardIn(20);  // nothing is known yet
    tracking_->viewabilityUpdated(true, 0.7);
    EXPECT_EQ(tracking_->currentPercentage(), 0.7F);
    heardIn(5);
    tracking_->stopViewabilityTracking();
    heardIn(20);
    tracking_->startViewabilityTracking();
    EXPECT_EQ(heardIn(4), "");  // 1 s and 0.75 s
    tracking_->resetViewabilityTracking();
    EXPECT_EQ(heardIn(8), "");
    test_.clock->advance(0.25s);
    EXPECT_EQ(heardIn(1), "v") << "a late tick counts by the clock";
}

TEST_F(Viewability, AHookThatThrowsLosesNoPixel) {
    struct Hooked : VKTViewabilityTrackingEventManager {
        Hooked(const VKTTrackingEventFactory& factory, std::shared_ptr<VKTPixelManager> pixels)
            : VKTViewabilityTrackingEventManager(factory, {}, nullptr, std::move(pixels)) {}
        VKTReplacements variablesForEvent(
            const std::shared_ptr<VKTViewabilityTrackingEvent>& /*event*/) const override {
            throw std::runtime_error("of a subclass");
        }
    };
    const auto events =
        VKTTrackingEventDefaultFactory::initWithEvents({std::make_shared<Event>("v", 0.5, 1)});
    const auto hooked = std::make_shared<Hooked>(*events, pixelManager);
    hooked->viewabilityUpdated(true, 1);
    hooked->startViewabilityTracking();
    heardIn(5);
    EXPECT_EQ(sent(), (Texts{"1", "http://h/"}));
}

TEST_F(Viewability, TrackingObeysItsDelegateInsideTheCallback) {
    const auto track = [this] { tracking_->trackEvent("a", {}); };
    const auto reenter = [this] { tracking_->fireOrPostponeViewabilityPixels(1, true); };
    const auto stop = [this] { tracking_->stopViewabilityTracking(); };
    const auto reset = [this] { tracking_->resetViewabilityTracking(); };
    const auto renew = [this] { tracking_->initializeViewabilityTrackingEventTable(); };
    const auto letGo = [this] { tracking_.reset(); };
    // What happens when "c" fires; the events told of on that tick and on the next eight.
    const std::tuple<std::function<void()>, std::string, std::string> cases[] = {
        {nullptr, "cba", ""}, {reenter, "cba", ""}, {stop, "cba", ""},  {reset, "c", "ba"},
        {letGo, "cba", ""},   {track, "caba", ""},  {renew, "c", "cba"}};
    for (const auto& [action, atOnce, later] : cases) {
        makeTracking({std::make_shared<Event>("a", 0.5, 1), std::make_shared<Event>("b", 0.5, 1),
                      std::make_shared<Event>("c", 0.5, 1)});
        tracking_->viewabilityUpdated(true, 1);
        doOnce_ = action;
        EXPECT_EQ(heardIn(4), "");
        EXPECT_EQ(heardIn(1), atOnce);
        EXPECT_EQ(heardIn(8), later);
        const Texts passesAndURLs = sent();
        EXPECT_EQ(passesAndURLs.size(), 1 + atOnce.size() + later.size());
        EXPECT_GE(std::stoul(passesAndURLs[0]), 3U) << "a pass is asked for each time";
    }
}

}  // namespace
