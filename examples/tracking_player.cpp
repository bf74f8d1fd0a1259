// From a VAST URL to the pixels of one showing: what a player adds to embedding_player.cpp. A simulated
// position stands for the decoder's.
#include <VKTCoreKit/core/VKTTimeUtils.h>
#include <VKTCoreKit/tracking/VKTVASTPixelManager.h>
#include <VKTCoreKit/tracking/VKTVideoTrackingEventManager.h>
#include <VKTCoreKit/vast/VKTVASTManager.h>

#include <future>
#include <iostream>

struct PlayableAd : VKTConsumableVideoAd {
    std::shared_ptr<VKTVASTAd> ad;
};

struct Player : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol, VKTTrackingEventManagerDelegate {
    std::shared_ptr<VKTPixelManager> pixels = VKTPixelManager::sharedInstance();
    VKTReplacements macros = VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier(
        "com.example.player", std::nullopt, std::nullopt, {});
    // Impressions, click trackers and error pixels are plain lists of URLs, outside the tracking events.
    std::shared_ptr<VKTVASTPixelManager> vastPixels =
        VKTVASTPixelManager::initWithPixelManager(pixels, macros);

    void vastManagerDidEncounterError(VKTVASTManager&, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>&) override {
        vastPixels->callVASTErrorPixels(errorURLs, error.VASTCode());
    }
    std::optional<VKTReplacements> vastManagerRequestsVASTMacros(VKTVASTManager&) override { return macros; }
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        auto playable = std::make_shared<PlayableAd>();
        playable->ad = ad;
        return playable;
    }
    void trackingEventManager(VKTTrackingEventManager&, const std::string& name, std::size_t count) override {
        std::cout << name << ": " << count << '\n';
    }
};

void play(const std::shared_ptr<Player>& player, const VKTVASTAd& ad, const VKTVASTCreativeLinear& creative) {
    if (!creative.mostAppropriateMediaFile()) {
        player->vastPixels->callVASTErrorPixels(
            ad.errorPixels(), VKTVASTError::VAST_LINEAR_ERROR_MEDIA_NO_VALID_FORMAT().VASTCode());
        return;
    }
    const double duration = VKTTimeUtils::timeIntervalFromVASTDuration(creative.duration().value_or(""));
    const auto tracking = VKTVideoTrackingEventManager::initWithEventFactory(
        *VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(creative.trackingEvents(), duration),
        player->macros, player, player->pixels);
    player->vastPixels->callVASTPixels(ad.impressions());
    tracking->trackVideoEvent(VKTVideoEventCreativeView, {});
    tracking->trackVideoEvent(VKTVideoEventLoaded, {});
    for (double position = 0; position <= duration; position += 0.25)
        tracking->playbackProgressedToTime(position, {});
    tracking->playbackProgressedToTime(duration, {});  // the last position need not be a whole step
    player->vastPixels->callVASTPixels(creative.clickTracking());
    tracking->trackVideoEvent(VKTVideoEventClick, {});
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const auto player = std::make_shared<Player>();
    const auto manager = VKTVASTManager::initWithDelegate(player, player, nullptr, VKTVASTManagerConfig());
    manager->createAdsStoreWithXML(std::nullopt, VKTURL::URLWithString(argv[1]), VKTTimeInterval(10));
    while (const auto next = manager->nextAdWithTimeout(VKTTimeInterval(10), false).ad) {
        const auto& ad = static_cast<const PlayableAd&>(*next).ad;
        for (const auto& creative : ad->linearCreatives())
            play(player, *ad, *creative);
    }
    std::promise<void> sent;
    player->pixels->callPixelsWithCompletionHandler([&sent] { sent.set_value(); });
    sent.get_future().wait();
    std::cout << player->pixels->allPixels().size() << " pixels left\n";
}
