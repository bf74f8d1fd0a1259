#include <VKTCoreKit/platform/VKTPlatform.h>
#include <VKTCoreKit/player/VKTAdBreakPlayer.h>

#include <chrono>
#include <iostream>
#include <string>

namespace {

constexpr const char* document = R"(<VAST version="3.0"><Ad id="1"><InLine>
    <AdSystem>consumer</AdSystem><AdTitle>One ad</AdTitle><Impression>http://127.0.0.1/i</Impression>
    <Creatives><Creative><Linear><Duration>00:00:10</Duration><MediaFiles>
      <MediaFile type="video/mp4" delivery="progressive" width="640" height="360">http://127.0.0.1/v.mp4</MediaFile>
    </MediaFiles></Linear></Creative></Creatives></InLine></Ad></VAST>)";

// Every medium is at its end at once.
class ShortMedia : public VKTMediaPlayer {
  public:
    void load(const VKTVASTMediaFile&, const std::shared_ptr<VKTMediaPlayerListener>& listener) override {
        listener_ = listener;
        listener->mediaIsReady();
    }
    void play() override {
        listener_->mediaDidStart();
        listener_->mediaDidEnd();
    }
    void pause() override {}
    void stop() override {}
    [[nodiscard]] double position() const override { return 10; }
    void setVolume(double) override {}

  private:
    std::shared_ptr<VKTMediaPlayerListener> listener_;
};

struct Listener : VKTAdBreakPlayerDelegate {
    void adBreakPlayerDidStartAd(VKTAdBreakPlayer&, const VKTAdBreakAd&) override { ++ads; }
    void adBreakPlayerDidEnd(VKTAdBreakPlayer&, const VKTAdBreakEnd&) override { hasEnded = true; }

    int ads = 0;
    bool hasEnded = false;
};

}  // namespace

int main() {
    const VKTPlatform& platform = VKTPlatform::current();
    const auto listener = std::make_shared<Listener>();
    const auto player = VKTAdBreakPlayer::initWithMediaPlayer(
        std::make_shared<ShortMedia>(), nullptr, listener, VKTAdBreakServices::initWithPlatform(platform));
    player->startWithXML(document);
    if (!platform.mainRunLoop->runUntil([&] { return listener->hasEnded; }, std::chrono::seconds(10)))
        return 1;
    std::cout << listener->ads << " ad" << std::endl;
}
