#include "VKTCoreKit/platform/VKTPlatform.h"

#include <utility>

namespace {

// Never destroyed: threads of the library may still use it while the process ends.
VKTPlatform& installedPlatform() {
    static auto* platform = new VKTPlatform(vkt_makeDefaultPlatform());
    return *platform;
}

}  // namespace

const VKTPlatform& VKTPlatform::current() {
    return installedPlatform();
}

void VKTPlatform::setCurrent(VKTPlatform platform) {
    installedPlatform() = std::move(platform);
}
