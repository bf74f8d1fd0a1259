// An ad break in fifty lines, with a media player that prints what it plays and lets the time pass.
#include <VKTCoreKit/player/VKTAdBreakPlayer.h>

#include <iostream>

struct ConsolePlayer : VKTMediaPlayer {
    void load(const VKTVASTMediaFile& file, const std::shared_ptr<VKTMediaPlayerListener>& to) override {
        std::cout << "plays " << file.url->url().absoluteString() << '\n';
        (listener = to)->mediaIsReady();
    }
    void play() override { start = clock->monotonicNow(); }
    void pause() override { played = position(), start.reset(); }
    void stop() override { played = 0, start.reset(); }
    void setVolume(double) override {}
    double position() const override {
        const double now = start ? played + VKTTimeInterval(clock->monotonicNow() - *start).count() : played;
        if (now >= length) listener->mediaDidEnd();
        return now;
    }
    std::shared_ptr<VKTClock> clock = VKTPlatform::current().clock;
    std::shared_ptr<VKTMediaPlayerListener> listener;
    std::optional<std::chrono::nanoseconds> start;  // of what plays, since the last pause
    double played = 0, length = 15;                 // seconds
};

struct Application : VKTAdBreakPlayerDelegate {
    void adBreakPlayerDidEndAd(VKTAdBreakPlayer&, const VKTAdBreakAd& ad, const VKTAdEnd& end) override {
        std::cout << "ad " << ad.ad->adID().value_or("") << " is over " << end.reason << '\n';
    }
    void adBreakPlayerDidSendPixel(VKTAdBreakPlayer&, const std::shared_ptr<VKTPixel>& pixel,
                                   const VKTPixelOutcome& outcome) override {
        std::cout << (outcome.kind == VKTPixelDelivered ? "sent " : "not sent ") << pixel->origin() << '\n';
    }
    void adBreakPlayerDidEnd(VKTAdBreakPlayer&, const VKTAdBreakEnd&) override {
        pixels->callPixelsWithCompletionHandler([] {
            VKTPlatform::current().mainRunLoop->post([] { VKTPlatform::current().mainRunLoop->stop(); });
        });
    }
    std::shared_ptr<VKTPixelManager> pixels;
};

int main(int argc, char** argv) {
    if (argc < 3) return std::cerr << "usage: embedding_player URL STORE [SECONDS]\n", 2;
    const auto& platform = VKTPlatform::current();
    const auto store = platform.makeKeyValueStore(argv[2], [](const auto& problem) { std::cerr << problem; });
    const auto services = VKTAdBreakServices::initWithPlatform(platform, store);
    const auto media = std::make_shared<ConsolePlayer>();
    if (argc > 3) media->length = std::stod(argv[3]);
    const auto application = std::make_shared<Application>();
    application->pixels = services.pixelManager;
    const auto player = VKTAdBreakPlayer::initWithMediaPlayer(media, nullptr, application, services);
    player->startWithURL(*VKTURL::URLWithString(argv[1]));
    platform.mainRunLoop->run();
}
