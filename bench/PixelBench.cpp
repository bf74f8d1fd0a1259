// Sending and keeping pixels.
#include <memory>
#include <string>

#include "Loopback.h"
#include "PixelPass.h"

namespace {

void addFindAndDelete(int count) {
    const VKTURL url = *VKTURL::URLWithString("http://127.0.0.1/pixel?event=start");
    const auto store = VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>());
    for (int i = 0; i < count; ++i)
        store->addPixel(VKTPixel::initWithUrl(url));
    const VKTPixels pixels = store->allPixels();
    for (const auto& pixel : pixels) {
        if (store->pixelWithID(pixel->ID()) != pixel) fail("the store does not find its pixel");
    }
    for (const auto& pixel : pixels)
        store->deletePixel(*pixel);
    if (!store->allPixels().empty()) fail("the store kept a pixel that was deleted");
}

}  // namespace

void addPixelBenchmarks() {
    stayOnCore(0);
    static Server server;
    static BareCurl curl;
    static const auto manager = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()),
        VKTURLSession::sharedInstance());
    server.serve("/pixel", std::string(43, 'x'), "image/gif");
    const VKTURL url = *VKTURL::URLWithString(server.url("/pixel"));
    addPair(
        "pixel_pass_1000", [url] { passOver(*manager, url); },
        [url] {
            for (int i = 0; i < pixelsPerPass; ++i)
                curl.get(url.absoluteString());
        });
    // Not a limit: the same with a tenth of the pixels.
    addPair(
        "store_10k", [] { addFindAndDelete(10'000); }, [] { addFindAndDelete(1'000); });
    addPair(
        "store_100k", [] { addFindAndDelete(100'000); }, [] { addFindAndDelete(10'000); });
}
