#include "VKTCoreKit/platform/VKTPlatform.h"

#include <set>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTProblemLog.h"

namespace {

// Never destroyed: threads of the library may still use it while the process ends.
VKTPlatform& installedPlatform() {
    static auto* platform = new VKTPlatform(vkt_makeDefaultPlatform());
    return *platform;
}

// The shared instances that keep services of the platform that they were made with. Any thread.
class Keepers {
  public:
    void add(std::string_view name) {
        const VKTLock lock(mutex_);
        names_.emplace(name);
    }

    std::string text() {
        const VKTLock lock(mutex_);
        std::string text;
        for (const std::string& name : names_)
            text += (text.empty() ? "" : ", ") + name;
        return text;
    }

  private:
    VKTMutex mutex_;
    std::set<std::string> names_ VKT_GUARDED_BY(mutex_);
};

Keepers& keepers() {
    static auto* keepers = new Keepers();
    return *keepers;
}

}  // namespace

const VKTPlatform& VKTPlatform::current() {
    return installedPlatform();
}

void VKTPlatform::setCurrent(VKTPlatform platform) {
    installedPlatform() = std::move(platform);
    const std::string tooEarly = keepers().text();
    if (tooEarly.empty()) return;
    vkt_logError("VKTPlatform::setCurrent comes too late for " + tooEarly +
                 ": made before, they keep services of the platform that was in force then. Call it before "
                 "anything else of the library is used.");
}

void VKTPlatform::noteKeptBy(std::string_view what) {
    keepers().add(what);
}
