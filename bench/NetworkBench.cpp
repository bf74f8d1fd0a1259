// Requests through the library, beside bare libcurl on a reused connection to the same loopback server.
#include <memory>
#include <string>

#include "Documents.h"
#include "Loopback.h"
#include "Pairs.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"

namespace {

constexpr int chainLength = 6;

// The server would compress application/xml for a client that accepts it, and measure its own compressor.
constexpr const char* uncompressedType = "application/vast+xml";

std::string pathOf(int i) {
    return "/" + std::to_string(i);
}

// Five wrappers and an inline ad under /0 to /5.
void serveChain(Server& server) {
    for (int i = 0; i < chainLength; ++i) {
        const bool isLast = i + 1 == chainLength;
        server.serve(pathOf(i), isLast ? inlineDocument() : wrapperDocument(server.url(pathOf(i + 1))),
                     uncompressedType);
    }
}

struct PlayableAd : VKTConsumableVideoAd {};

struct Player : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol {
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        depth = ad->wrapperDepth();
        return std::make_shared<PlayableAd>();
    }
    std::int64_t depth = 0;
};

void resolveChain(const VKTURL& url) {
    const auto player = std::make_shared<Player>();
    const auto manager = VKTVASTManager::initWithDelegate(player, player, nullptr, VKTVASTManagerConfig());
    manager->createAdsStoreWithXML(std::nullopt, url, VKTTimeInterval(5));
    const auto response = manager->nextAdWithTimeout(VKTTimeInterval(5), false);
    if (!response.ad || player->depth != chainLength - 1) fail("the chain did not lead to its ad");
}

}  // namespace

void addNetworkBenchmarks() {
    stayOnCore(0);
    static Server server;
    static BareCurl curl;
    serveChain(server);
    const VKTURL first = *VKTURL::URLWithString(server.url(pathOf(0)));
    const VKTURL last = *VKTURL::URLWithString(server.url(pathOf(chainLength - 1)));
    addPair(
        "get_sync",
        [last] {
            const auto response = VKTURLSession::sharedInstance()->synchronousDataRequestWithURL(last);
            if (!response.data() || response.data()->empty()) fail("no answer from " + last.absoluteString());
        },
        [last] { curl.get(last.absoluteString()); });
    // What the chain costs before any of our code: the same requests, and the reader over each answer.
    addPair(
        "reader_chain_6",
        [] {
            for (int i = 0; i < chainLength; ++i)
                readEvents(curl.get(server.url(pathOf(i))));
        },
        [] {
            for (int i = 0; i < chainLength; ++i)
                curl.get(server.url(pathOf(i)));
        });
    addPair(
        "chain_6", [first] { resolveChain(first); },
        [] {
            for (int i = 0; i < chainLength; ++i)
                curl.get(server.url(pathOf(i)));
        });
}
