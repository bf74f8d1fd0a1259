// The shortest embedding of the library: from a VAST URL to the media file to play.
#include <VKTCoreKit/vast/VKTVASTManager.h>

#include <iostream>

struct PlayableAd : VKTConsumableVideoAd {
    std::shared_ptr<VKTVASTAd> ad;
};

struct Player : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol {
    void vastManagerDidEncounterError(VKTVASTManager&, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>&,
                                      const std::optional<std::string>&) override {
        std::cerr << error.description() << '\n';
    }
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        auto playable = std::make_shared<PlayableAd>();
        playable->ad = ad;
        return playable;
    }
};

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const auto player = std::make_shared<Player>();
    const auto manager = VKTVASTManager::initWithDelegate(player, player, nullptr, VKTVASTManagerConfig());
    manager->createAdsStoreWithXML(std::nullopt, VKTURL::URLWithString(argv[1]), VKTTimeInterval(10));
    while (const auto next = manager->nextAdWithTimeout(VKTTimeInterval(10), false).ad) {
        for (const auto& creative : static_cast<const PlayableAd&>(*next).ad->linearCreatives()) {
            const auto file = creative->mostAppropriateMediaFile();
            if (file) std::cout << file->url->url().absoluteString() << '\n';
        }
    }
}
