// A sending pass, from adding its pixels to its end.
#pragma once

#include <future>

#include "Pairs.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"

inline constexpr int pixelsPerPass = 1000;

inline void passOver(VKTPixelManager& manager, const VKTURL& url) {
    VKTPixels pixels;
    for (int i = 0; i < pixelsPerPass; ++i)
        pixels.push_back(VKTPixel::initWithUrl(url));
    manager.addPixels(pixels);
    std::promise<void> ended;
    manager.callPixelsWithCompletionHandler([&] { ended.set_value(); });
    ended.get_future().wait();
    if (!manager.allPixels().empty()) fail("the pass left pixels behind");
}
