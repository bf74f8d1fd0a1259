// The long way: an ad break without VKTAdBreakPlayer, from a URL to the last pixel. docs/embedding.md says
// why each step is as it is. A simulated position, four times as fast as the clock, stands for the decoder's.
#include <VKTCoreKit/core/VKTTimeUtils.h>
#include <VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h>
#include <VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h>
#include <VKTCoreKit/platform/VKTHeadlessView.h>
#include <VKTCoreKit/platform/VKTPlatform.h>
#include <VKTCoreKit/tracking/VKTVASTPixelManager.h>
#include <VKTCoreKit/tracking/VKTVideoTrackingEventManager.h>
#include <VKTCoreKit/tracking/VKTViewabilityManager.h>
#include <VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h>
#include <VKTCoreKit/tracking/VKTViewableImpressionEvent.h>
#include <VKTCoreKit/vast/VKTVASTManager.h>

#include <algorithm>
#include <array>
#include <iostream>

namespace {

VKTReplacements newMacros() {
    return VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier("com.example.player",
                                                                            std::nullopt, std::nullopt, {});
}

struct PlayableAd : VKTConsumableVideoAd {
    std::shared_ptr<VKTVASTAd> ad;
};

// What the manager asks and tells: on the worker thread, and on passback threads, several at once.
struct BreakDelegate : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol {
    explicit BreakDelegate(std::shared_ptr<VKTPixelManager> pixelManager)
        : pixels(VKTVASTPixelManager::initWithPixelManager(std::move(pixelManager), newMacros())) {}

    void vastManagerDidEncounterError(VKTVASTManager&, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>&) override {
        pixels->callVASTErrorPixels(errorURLs, error.VASTCode());
    }
    std::optional<VKTReplacements> vastManagerRequestsVASTMacros(VKTVASTManager&) override {
        return pixels->macros();
    }
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        auto playable = std::make_shared<PlayableAd>();  // also for one that will not be played
        playable->ad = ad;
        return playable;
    }

    const std::shared_ptr<VKTVASTPixelManager> pixels;
};

// One showing of an ad: everything in it is made anew for each. Main thread.
class Showing : public VKTTrackingEventManagerDelegate,
                public VKTViewabilityManagerDelegate,
                public std::enable_shared_from_this<Showing> {
  public:
    using EndHandler = std::function<void()>;

    Showing(std::shared_ptr<VKTVASTAd> ad, std::shared_ptr<VKTVASTCreativeLinear> creative,
            std::shared_ptr<VKTPixelManager> pixelManager)
        : ad_(std::move(ad)),
          creative_(std::move(creative)),
          pixels_(VKTVASTPixelManager::initWithPixelManager(std::move(pixelManager), newMacros())) {}

    // The media player is ready, and shows the view: `mediaDuration` is what it says, in seconds.
    void start(double mediaDuration, const std::shared_ptr<VKTView>& view,
               VKTOpenMeasurementManager& measurement, EndHandler onEnd) {
        view_ = view;
        onEnd_ = std::move(onEnd);
        const double stated = VKTTimeUtils::timeIntervalFromVASTDuration(creative_->duration().value_or(""));
        duration_ = stated > 0 ? stated : mediaDuration;
        makeManagers();
        const auto scripts = measurement.scriptsFromAdVerifications(ad_->allAdVerifications());
        if (!scripts.empty()) session_ = measurement.sessionWithView(view_, true, scripts);
        if (session_) session_->start();

        // The first picture is seen.
        pixels_->callVASTPixels(ad_->impressions(), {}, "impression");
        video_->trackVideoEvent(VKTVideoEventCreativeView, {});
        video_->trackVideoEvent(VKTVideoEventLoaded, {});
        if (session_) {
            session_->loadedOccurredWithVASTProperties(
                VKTOpenMeasurementVASTProperties::initWithAutoPlay(true));
            session_->impressionOccurred();
            session_->videoEventStartOccurredWithDuration(duration_, 1);
        }
        viewability_->startViewabilityTracking();
        viewable_->startViewabilityTracking();
        reach(0);
    }

    void click() {
        video_->trackVideoEvent(VKTVideoEventClick, {});
        pixels_->callVASTPixels(creative_->clickTracking(), {}, "clickTracking");
        if (session_) session_->videoEventUserInteraction();
    }

    void trackingEventManager(VKTTrackingEventManager& manager, const std::string& name,
                              std::size_t count) override {
        if (&manager == viewable_.get()) wasViewable_ = true;
        std::cout << name << ": " << count << '\n';
    }
    void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager&,
                                                      const VKTViewabilityStatus& status) override {
        viewable_->viewabilityUpdatedWithViewabilityStatus(status);
        if (VKTViewabilityManager::parentWindowForView(*view_)) isViewabilityKnown_ = true;
    }

  private:
    void makeManagers() {
        const auto& macros = pixels_->macros();
        const auto& pixelManager = pixels_->pixelManager();
        video_ = VKTVideoTrackingEventManager::initWithEventFactory(
            *VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(creative_->trackingEvents(), duration_),
            macros, shared_from_this(), pixelManager);
        VKTTrackingEvents viewable;
        VKTTrackingEvents outcomes;
        for (const auto& event : ad_->viewabilityEvents()) {
            if (auto criterion = VKTViewableImpressionEvent::initWithEvent(event)) {
                viewable.push_back(std::move(criterion));
            } else {
                outcomes.push_back(event);
            }
        }
        viewable_ = VKTViewabilityTrackingEventManager::initWithEventFactory(
            *VKTTrackingEventDefaultFactory::initWithEvents(std::move(viewable)), macros, shared_from_this(),
            pixelManager);
        outcomes_ = VKTTrackingEventManager::initWithEventFactory(
            *VKTTrackingEventDefaultFactory::initWithEvents(std::move(outcomes)), macros, shared_from_this(),
            pixelManager);
        viewability_ = VKTViewabilityManager::initWithView(view_, shared_from_this());
    }

    void reach(double position) {
        video_->playbackProgressedToTime(position, {});
        tellQuartiles(position);
        if (position >= duration_) return end();
        timer_ = VKTPlatform::current().mainRunLoop->schedule(
            VKTTimeInterval(0.25), [this, position] { reach(std::min(position + 1, duration_)); });
    }

    void tellQuartiles(double position) {
        using Session = VKTOpenMeasurementAdSession;
        constexpr std::array quartiles{
            &Session::videoEventFirstQuartileOccurred, &Session::videoEventMidpointOccurred,
            &Session::videoEventThirdQuartileOccurred, &Session::videoEventCompleteOccurred};
        const auto reached = static_cast<std::size_t>(std::clamp(4 * position / duration_, 0.0, 4.0));
        while (session_ && quartilesTold_ < reached)
            ((*session_).*quartiles.at(quartilesTold_++))();
    }

    void end() {
        viewability_->stopViewabilityTracking();
        viewable_->stopViewabilityTracking();
        if (!isViewabilityKnown_) {
            outcomes_->trackEvent("viewundetermined", {});
        } else if (!wasViewable_) {
            outcomes_->trackEvent("notviewable", {});
        }
        if (session_) session_->finish();
        std::exchange(onEnd_, nullptr)();
    }

    const std::shared_ptr<VKTVASTAd> ad_;
    const std::shared_ptr<VKTVASTCreativeLinear> creative_;
    const std::shared_ptr<VKTVASTPixelManager> pixels_;
    std::shared_ptr<VKTView> view_;
    EndHandler onEnd_;
    double duration_ = 0;  // seconds
    std::shared_ptr<VKTOpenMeasurementAdSession> session_;
    std::shared_ptr<VKTVideoTrackingEventManager> video_;
    std::shared_ptr<VKTViewabilityTrackingEventManager> viewable_;
    std::shared_ptr<VKTTrackingEventManager> outcomes_;
    std::shared_ptr<VKTViewabilityManager> viewability_;
    std::unique_ptr<VKTRunLoopTimer> timer_;
    std::size_t quartilesTold_ = 0;
    bool isViewabilityKnown_ = false;
    bool wasViewable_ = false;
};

// The ads of a break, one after another. Main thread, but for what is posted to the worker.
class Break {
  public:
    explicit Break(const VKTURL& url) {
        window_->addSubview(view_);
        measurement_->refreshJSLibrary();
        pixelManager_->callPixels();  // those that an earlier launch has left in a file
        worker_->post([this, url] {
            manager_->createAdsStoreWithXML(std::nullopt, url, budget);
            const auto& model = manager_->rootVASTModel();
            // A document without ads may name pixels of its own.
            if (model) delegate_->pixels->callVASTErrorPixels(model->errorPixels(), noAd.VASTCode());
            loop_->post([this] { showNextAd(false); });
        });
    }

    // A download that hangs is ended; the worker, the last member, is joined first.
    ~Break() { manager_->cancelImmediately(); }

  private:
    static constexpr VKTTimeInterval budget{10};
    static inline const VKTVASTError noAd = VKTVASTError::VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE();

    void showNextAd(bool isAfterFailure) {
        worker_->post([this, isAfterFailure] {
            auto response = manager_->nextAdWithTimeout(budget, isAfterFailure);
            // There is no passback for the ad that has failed: the break goes on.
            if (!response.ad && isAfterFailure) response = manager_->nextAdWithTimeout(budget, false);
            loop_->post([this, response] { show(response); });
        });
    }

    void show(const VKTVASTManagerResponse& response) {
        if (!response.ad) return end();
        const auto& ad = static_cast<const PlayableAd&>(*response.ad).ad;
        for (const auto& creative : ad->linearCreatives()) {
            const auto file = creative->mostAppropriateMediaFile();
            if (!file) continue;
            std::cout << "ad " << ad->adID().value_or("") << " plays " << file->url->url().absoluteString()
                      << '\n';
            showing_ = std::make_shared<Showing>(ad, creative, pixelManager_);
            constexpr double mediaDuration = 15;  // this player's media are all alike
            showing_->start(mediaDuration, view_, *measurement_,
                            [this] { loop_->post([this] { showNextAd(false); }); });
            return;
        }
        fail(*ad, ad->linearCreatives().empty() ? VKTVASTError::VAST_CREATIVE_ERROR_MISMATCHED_AD_LINEARITY()
                                                : VKTVASTError::VAST_LINEAR_ERROR_MEDIA_NO_VALID_FORMAT());
    }

    // Of an ad that is not played, or not to its end.
    void fail(const VKTVASTAd& ad, const VKTVASTError& error) {
        VKTVASTPixelManager::initWithPixelManager(pixelManager_, newMacros())
            ->callVASTErrorPixels(ad.errorPixels(), error.VASTCode());
        showNextAd(true);
    }

    // Verification scripts have a second for their last words.
    void end() {
        loop_->postAfter(VKTTimeInterval(showing_ ? 1 : 0), [this] {
            pixelManager_->callPixelsWithCompletionHandler([loop = loop_] { loop->stop(); });
        });
    }

    const std::shared_ptr<VKTRunLoop> loop_ = VKTPlatform::current().mainRunLoop;
    const std::shared_ptr<VKTPixelManager> pixelManager_ = VKTPixelManager::sharedInstance();
    const std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame({0, 0, 1920, 1080});
    const std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({0, 0, 1920, 1080});
    const std::shared_ptr<VKTOpenMeasurementManagerDefaultProvider> provider_ =
        VKTOpenMeasurementManagerDefaultProvider::initWithFrameworkVersion("1.0.0", "Example player");
    const std::shared_ptr<VKTOpenMeasurementManager> measurement_ =
        VKTOpenMeasurementManager::initWithProvider(
            provider_,
            VKTOpenMeasurementJSLibrary::initWithProvider(provider_, VKTURLSession::sharedInstance()),
            nullptr, pixelManager_);
    const std::shared_ptr<BreakDelegate> delegate_ = std::make_shared<BreakDelegate>(pixelManager_);
    const std::shared_ptr<VKTVASTManager> manager_ =
        VKTVASTManager::initWithDelegate(delegate_, delegate_, nullptr, VKTVASTManagerConfig());
    std::shared_ptr<Showing> showing_;
    const std::unique_ptr<VKTSerialQueue> worker_ = VKTPlatform::current().makeSerialQueue();
};

}  // namespace

int main(int argc, char** argv) {
    const auto url = argc == 2 ? VKTURL::URLWithString(argv[1]) : std::nullopt;
    if (!url) {
        std::cerr << "usage: tracking_player URL\n";
        return 2;
    }
    const Break theBreak(*url);
    VKTPlatform::current().mainRunLoop->run();
    std::cout << VKTPixelManager::sharedInstance()->allPixels().size() << " pixels left\n";
}
