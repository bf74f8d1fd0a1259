// An ad break with a media player that a table describes, in time that is stepped by hand.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/player/VKTAdBreakPlayer.h"

using Texts = std::vector<std::string>;

/// How a media file behaves. Times are in seconds of media; what is not reached by then does not happen.
struct Media {
    std::optional<double> duration = 4;
    std::optional<double> durationKnownAt = 0;
    std::optional<VKTMediaFailure> failure = std::nullopt;  ///< instead of ready
    bool getsReady = true;
    bool tellsStart = true;
    int tellsEnd = 1;  ///< times
    std::optional<double> endsAt = 4;
    std::function<double(double)> position = [](double played) { return played; };
    std::function<void()> whenPlayed = nullptr;
};

/// Plays `media` in the loop's time; "lost.mp4" and the like are looked up by the last part of the URL.
class FakeMediaPlayer : public VKTMediaPlayer {
  public:
    explicit FakeMediaPlayer(const VKTTestPlatform& platform) : platform_(platform) {}

    void load(const VKTVASTMediaFile& file,
              const std::shared_ptr<VKTMediaPlayerListener>& theListener) override {
        const std::string url = file.url->url().absoluteString();
        ++loads;
        const auto found = media.find(url.substr(url.rfind('/') + 1));
        current_ = found == media.end() ? Media() : found->second;
        listener = theListener;
        played_ = 0;
        if (current_.failure) {
            listener->mediaDidFail(*current_.failure, "the test says so");
        } else if (current_.getsReady) {
            listener->mediaIsReady();
        }
    }
    void play() override {
        since_ = platform_.clock->monotonicNow();
        if (current_.whenPlayed) current_.whenPlayed();
        if (current_.tellsStart) listener->mediaDidStart();
        if (!current_.endsAt) return;
        endTimer_ = platform_.mainRunLoop->schedule(VKTTimeInterval(*current_.endsAt - played_), [this] {
            played_ = *current_.endsAt;
            since_.reset();
            for (int count = 0; count < current_.tellsEnd; ++count)
                listener->mediaDidEnd();
        });
    }
    void pause() override {
        played_ = played();
        since_.reset();
        endTimer_.reset();
    }
    void stop() override {
        pause();
        ++stops;
    }
    [[nodiscard]] double position() const override {
        EXPECT_GT(loads, stops) << "asked for the position without a file";
        return current_.position(played());
    }
    [[nodiscard]] std::optional<double> duration() const override {
        EXPECT_GT(loads, stops) << "asked for the duration without a file";
        const bool isKnown = current_.durationKnownAt && played() >= *current_.durationKnownAt;
        return isKnown ? current_.duration : std::nullopt;
    }
    void setVolume(double volume) override { volumes.push_back(volume); }

    std::map<std::string, Media> media;
    std::shared_ptr<VKTMediaPlayerListener> listener;
    std::vector<double> volumes;
    int loads = 0;
    int stops = 0;

  private:
    [[nodiscard]] double played() const {
        if (!since_) return played_;
        return played_ + VKTTimeInterval(platform_.clock->monotonicNow() - *since_).count();
    }

    const VKTTestPlatform& platform_;
    Media current_;
    double played_ = 0;
    std::optional<std::chrono::nanoseconds> since_;
    std::unique_ptr<VKTRunLoopTimer> endTimer_;
};

/// Keeps what it hears: "start a", "impression", "end a: completed" ….
class BreakDelegate : public VKTAdBreakPlayerDelegate {
  public:
    void adBreakPlayerDidResolve(VKTAdBreakPlayer& /*player*/, const VKTAdBreakResolution& found) override {
        hear("resolved", std::to_string(found.ads.size()));
    }
    void adBreakPlayerWillStartAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& ad) override {
        hear("ad", ad.ad->adID().value_or("?"));
    }
    void adBreakPlayerDidStartAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& ad) override {
        hear("started");
        EXPECT_NE(ad.ad, nullptr) << "the ad is gone inside the call that tells of it";
    }
    void adBreakPlayerSkipPossibleFrom(VKTAdBreakPlayer& /*player*/, double seconds) override {
        hear("skip from", std::to_string(std::lround(seconds)));
    }
    void adBreakPlayerDidProgress(VKTAdBreakPlayer& /*player*/, double position,
                                  std::optional<double> /*duration*/) override {
        if (onProgress) onProgress(position);
    }
    void adBreakPlayerDidEndAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& /*ad*/,
                               const VKTAdEnd& end) override {
        static const Texts kinds{"completed", "skipped", "failed", "cancelled"};
        reasons.push_back(end.reason);
        hear("end:", kinds.at(end.kind) + (end.error ? " " + std::to_string(end.error->VASTCode()) : ""));
    }
    void adBreakPlayerDidEnd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakEnd& end) override {
        static const Texts kinds{"played", "failed", "cancelled"};
        hear("break:", kinds.at(end.kind));
        breakEnd = end;
    }
    void adBreakPlayerShouldOpenURL(VKTAdBreakPlayer& /*player*/, const VKTURL& clickThrough) override {
        hear("open", clickThrough.absoluteString());
    }
    void adBreakPlayerDidTrackEvent(VKTAdBreakPlayer& /*player*/, const std::string& event,
                                    const VKTPixels& pixels) override {
        if (!pixels.empty()) hear(event);
    }
    void adBreakPlayerDidSendPixel(VKTAdBreakPlayer& /*player*/, const std::shared_ptr<VKTPixel>& pixel,
                                   const VKTPixelOutcome& outcome) override {
        const std::string status = outcome.statusCode ? std::to_string(*outcome.statusCode) : "no answer";
        sent.push_back(pixel->origin() + " " + status);
        if (onHeard) onHeard("sent");
    }
    void adBreakPlayerDidEncounterError(VKTAdBreakPlayer& /*player*/, const VKTVASTError& error) override {
        hear("problem", error.errorName());
    }
    void adBreakPlayerDidDropElement(VKTAdBreakPlayer& /*player*/, const std::string& path,
                                     const std::string& /*reason*/) override {
        hear("dropped", path);
    }

    Texts heard;
    Texts reasons;  ///< of the ads' ends
    Texts sent;     ///< "impression 200"
    VKTAdBreakEnd breakEnd;
    std::function<void(const std::string& what)> onHeard;
    std::function<void(double position)> onProgress;

  private:
    void hear(const std::string& what, const std::string& detail = "") {
        heard.push_back(detail.empty() ? what : what + " " + detail);
        if (onHeard) onHeard(what);
    }
};

class BreakFixture : public testing::Test {
  protected:
    BreakFixture() {
        test.platform.random = VKTPlatform::current().random;  // pixel IDs must differ
        test.platform.makeSerialQueue = [tasks = tasks_] { return std::make_unique<Queue>(tasks); };
        scope_.emplace(test.platform);
        test.HTTPSession->setHandler([this](const VKTURLRequest& request) {
            requested.push_back(request.url.absoluteString());
            return VKTFakeHTTPAnswer::withStatus(200);
        });
        services = VKTAdBreakServices::initWithPlatform(test.platform);
        window->addSubview(view);
    }

    void start(const std::string& xml, const VKTAdBreakOptions& options = {}) {
        player = VKTAdBreakPlayer::initWithMediaPlayer(mediaPlayer, view, delegate, services, options);
        player->startWithXML(xml);
        runQueues();
    }

    /// Everything for so long; pixels are sent as they come.
    void advance(double seconds) {
        for (double passed = 0; passed < seconds; passed += step) {
            test.mainRunLoop->advance(VKTTimeInterval(step));
            runQueues();
        }
    }

    /// What the worker and the pixel manager have to do, and what comes of it.
    void runQueues() {
        do {
            while (!tasks_->empty()) {
                const VKTTask task = std::move(tasks_->front());
                tasks_->pop_front();
                task();
            }
            test.mainRunLoop->drain();
        } while (!tasks_->empty());
    }

    VKTTestPlatform test = vkt_makeTestPlatform();
    Texts requested;
    VKTAdBreakServices services;
    const std::shared_ptr<VKTHeadlessView> window = VKTHeadlessView::windowWithFrame({0, 0, 1280, 720});
    const std::shared_ptr<VKTHeadlessView> view = VKTHeadlessView::initWithFrame({0, 0, 1280, 720});
    const std::shared_ptr<FakeMediaPlayer> mediaPlayer = std::make_shared<FakeMediaPlayer>(test);
    const std::shared_ptr<BreakDelegate> delegate = std::make_shared<BreakDelegate>();
    std::shared_ptr<VKTAdBreakPlayer> player;

  private:
    static constexpr double step = 0.25;
    using Tasks = std::deque<VKTTask>;

    class Queue : public VKTSerialQueue {
      public:
        explicit Queue(std::shared_ptr<Tasks> tasks) : tasks_(std::move(tasks)) {}
        void post(VKTTask task) override { tasks_->push_back(std::move(task)); }
        [[nodiscard]] bool isCurrentThread() const override { return true; }

      private:
        const std::shared_ptr<Tasks> tasks_;
    };

    const std::shared_ptr<Tasks> tasks_ = std::make_shared<Tasks>();
    std::optional<VKTScopedPlatform> scope_;
};

/// An ad with every event of a player, named by their pixels' paths; `linear` stands in the "Linear" element.
inline std::string adOf(const std::string& id, const std::string& file = "good.mp4",
                        const std::string& linear = "<Duration>00:00:04</Duration>",
                        const std::string& attributes = "") {
    std::string events;
    for (const char* name :
         {"creativeView", "loaded", "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "mute",
          "unmute", "pause", "resume", "skip", "fullscreen", "exitFullscreen", "playerExpand"})
        events +=
            std::string("<Tracking event=\"") + name + "\">http://p.test/" + id + "/" + name + "</Tracking>";
    return "<Ad id=\"" + id + "\" " + attributes +
           "><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Error>http://p.test/" + id +
           "/error?code=[ERRORCODE]</Error><Impression>http://p.test/" + id +
           "/impression</Impression><ViewableImpression><Viewable>http://p.test/" + id +
           "/viewable</Viewable><NotViewable>http://p.test/" + id +
           "/notViewable</NotViewable><ViewUndetermined>http://p.test/" + id +
           "/viewUndetermined</ViewUndetermined></ViewableImpression><Creatives><Creative><UniversalAdId "
           "idRegistry=\"r\">v</UniversalAdId><Linear>" +
           linear + "<TrackingEvents>" + events +
           "</TrackingEvents><VideoClicks><ClickThrough>http://shop.test/</ClickThrough><ClickTracking>"
           "http://p.test/" +
           id +
           "/click</ClickTracking></VideoClicks><MediaFiles><MediaFile type=\"video/mp4\">http://m.test/" +
           file + "</MediaFile></MediaFiles></Linear></Creative></Creatives></InLine></Ad>";
}

inline std::string skippableAd(const std::string& id) {
    std::string ad = adOf(id);
    return ad.replace(ad.find("<Linear>"), 8, "<Linear skipoffset=\"00:00:02\">");
}

/// A measured showing that keeps what it hears: "start", "loaded 2" with the skip offset, "firstQuartile" ….
class FakeMeasurementSession : public VKTOpenMeasurementAdSession {
  public:
    explicit FakeMeasurementSession(std::shared_ptr<Texts> heard) : heard_(std::move(heard)) {}

    void start() override { hear("start"); }
    void finish() override { hear("finish"); }
    [[nodiscard]] std::shared_ptr<const VKTView> mainAdView() const override { return nullptr; }
    void setMainAdView(const std::shared_ptr<const VKTView>& /*view*/) override {}
    void loadedOccurred() override { hear("loaded"); }
    void loadedOccurredWithVASTProperties(const VKTOpenMeasurementVASTProperties& properties) override {
        hear("loaded", properties.skipOffset);
    }
    void impressionOccurred() override { hear("impression"); }
    void addFriendlyObstruction(const std::shared_ptr<const VKTView>& /*view*/,
                                VKTOpenMeasurementFriendlyObstructionPurpose /*purpose*/,
                                const std::optional<std::string>& /*detailedReason*/) override {
        hear("obstruction");
    }
    void removeFriendlyObstruction(const std::shared_ptr<const VKTView>& /*view*/) override {}
    void removeAllFriendlyObstructions() override {}
    void videoEventStartOccurredWithDuration(double duration, double /*volume*/) override {
        hear("video", duration);
    }
    void videoEventFirstQuartileOccurred() override { hear("firstQuartile"); }
    void videoEventMidpointOccurred() override { hear("midpoint"); }
    void videoEventThirdQuartileOccurred() override { hear("thirdQuartile"); }
    void videoEventCompleteOccurred() override { hear("complete"); }
    void videoEventPauseOccurred() override { hear("pause"); }
    void videoEventResumeOccurred() override { hear("resume"); }
    void videoEventVolumeChangeOccurred(double volume) override { hear("volume", volume); }
    void videoEventSkipped() override { hear("skipped"); }
    void videoEventEnterFullscreen() override { hear("fullscreen"); }
    void videoEventExitFullscreen() override { hear("exitFullscreen"); }
    void videoEventUserInteraction() override { hear("click"); }

  private:
    void hear(const char* what) { heard_->emplace_back(what); }
    void hear(const char* what, double number) {
        heard_->push_back(std::string(what) + " " + std::to_string(std::lround(number)));
    }

    const std::shared_ptr<Texts> heard_;
};

class FakeMeasurement : public VKTOpenMeasurementManagerProvider {
  public:
    std::shared_ptr<VKTOpenMeasurementAdSession> sessionWithView(
        const std::shared_ptr<const VKTView>& /*view*/, const std::string& /*JSLibrary*/,
        const Scripts& /*scripts*/, bool /*isVideo*/, std::optional<VKTError>* /*error*/) override {
        return std::make_shared<FakeMeasurementSession>(heard);
    }
    void updateLastActivity() override {}
    [[nodiscard]] VKTURL JSLibraryURL() const override {
        return VKTURL::URLWithString("http://p.test/library.js").value();
    }
    [[nodiscard]] std::optional<std::string> embeddedLibraryScript() const override { return "library"; }

    const std::shared_ptr<Texts> heard = std::make_shared<Texts>();
};
