// store_stress FILE CHANGES: keeps ten pixels pending in a file through so many changes, each an addition or
// a delivery, and says whether all of them were stored. For partitions of any size.
#include <cstdlib>
#include <iostream>
#include <string>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

namespace {

constexpr std::size_t pending = 10;

std::shared_ptr<VKTPixelStore> storeInFile(const std::string& path) {
    const auto file = VKTPlatform::current().makeKeyValueStore(
        path, [](const std::string& problem) { std::cerr << problem << '\n'; });
    return VKTPixelStore::initWithProvider(VKTPersistentPixelStoreProvider::initWithKeyValueStore(file));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: store_stress FILE CHANGES\n";
        return 2;
    }
    const long changes = std::atol(argv[2]);
    long refused = 0;
    {
        const auto store = storeInFile(argv[1]);
        for (long change = 0; change < changes; ++change) {
            const VKTPixels pixels = store->allPixels();
            if (pixels.size() > pending) {
                store->deletePixel(*pixels.front());
            } else {
                store->addPixel(VKTPixel::initWithUrl(
                    *VKTURL::URLWithString("http://tracker.example/pixel?number=" + std::to_string(change))));
            }
            if (!store->saveToDisk()) ++refused;
        }
    }
    const std::size_t kept = storeInFile(argv[1])->allPixels().size();
    std::cout << changes << " changes, " << refused << " refused, " << kept << " pixels kept\n";
    return refused == 0 && kept >= pending ? 0 : 1;
}
