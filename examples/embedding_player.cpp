// An ad break in fifty lines. The media player prints what it plays and lets the time pass.
#include <VKTCoreKit/platform/VKTHeadlessView.h>
#include <VKTCoreKit/player/VKTAdBreakPlayer.h>
#include <iostream>

struct Application : VKTMediaPlayer, VKTAdBreakPlayerDelegate {
    void load(const VKTVASTMediaFile& file, const std::shared_ptr<VKTMediaPlayerListener>& told) override {
        std::cout << "plays " << file.url->url().absoluteString() << '\n';
        listener = told;
        played = 0;
        listener->mediaIsReady();
    }
    void play() override {
        timer = loop->schedule(VKTTimeInterval(0.25), [this] { tick(); });
    }
    void tick() { (played += 0.25) < length ? play() : listener->mediaDidEnd(); }
    void pause() override { timer.reset(); }
    void stop() override { timer.reset(); }
    double position() const override { return played; }
    std::optional<double> duration() const override { return length; }
    void setVolume(double) override {}
    void adBreakPlayerDidSendPixel(VKTAdBreakPlayer&, const std::shared_ptr<VKTPixel>& pixel,
                                   const VKTPixelOutcome& outcome) override {
        std::cout << (outcome.kind == VKTPixelDelivered ? "sent " : "not sent ") << pixel->origin() << '\n';
    }
    void adBreakPlayerDidEnd(VKTAdBreakPlayer&, const VKTAdBreakEnd& end) override {
        std::cout << end.completedAds << " played, " << end.failedAds << " failed. " << end.reason << '\n';
    }
    void adBreakPlayerDidTryAllPixels(VKTAdBreakPlayer&) override { loop->stop(); }
    std::shared_ptr<VKTRunLoop> loop = VKTPlatform::current().mainRunLoop;
    std::shared_ptr<VKTMediaPlayerListener> listener;
    std::unique_ptr<VKTRunLoopTimer> timer;
    double played = 0, length = 0;  // seconds
};

int main(int argc, char** argv) {
    const auto url = argc == 4 ? VKTURL::URLWithString(argv[1]) : std::nullopt;
    if (!url) return 2;  // URL of the break, file for undelivered pixels, seconds of each media file
    const auto complain = [](const std::string& problem) { std::cerr << problem << '\n'; };
    const auto store = VKTPlatform::current().makeKeyValueStore(argv[2], complain);
    const auto services = VKTAdBreakServices::initWithPlatform(VKTPlatform::current(), store);
    const auto window = VKTHeadlessView::windowWithFrame({0, 0, 1920, 1080});
    const auto view = VKTHeadlessView::initWithFrame(window->bounds());
    window->addSubview(view);
    const auto application = std::make_shared<Application>();
    application->length = std::atof(argv[3]);
    const auto player = VKTAdBreakPlayer::initWithMediaPlayer(application, view, application, services);
    player->startWithURL(*url);
    application->loop->run();
}
