// One ad request with a scripted network, and an embedder that notes what it hears.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"

using Texts = std::vector<std::string>;

inline std::string url(const std::string& path) {
    return "http://ads.test/" + path;
}

// Ads with an error pixel "/e-ID". `attributes` stand in the Ad element.
inline std::string ad(const std::string& id, const std::string& kind, const std::string& content,
                      const std::string& attributes) {
    return "<Ad id=\"" + id + "\" " + attributes + "><" + kind +
           "><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Error>" + url("e-" + id) + "</Error>" + content +
           "</" + kind + "></Ad>";
}
inline std::string inlineAd(const std::string& id, const std::string& attributes = "") {
    return ad(id, "InLine",
              "<Creatives><Creative><Linear><Duration>1</Duration><MediaFiles><MediaFile type='video/mp4'>"
              "http://m</MediaFile></MediaFiles></Linear></Creative></Creatives>",
              attributes);
}
inline std::string wrapper(const std::string& id, const std::string& to, const std::string& attributes = "") {
    return ad(id, "Wrapper", "<VASTAdTagURI>" + url(to) + "</VASTAdTagURI>", attributes);
}
inline std::string invalid(const std::string& id, const std::string& attributes = "") {
    return ad(id, "InLine", "", attributes);
}
inline std::string vast(const std::string& ads) {
    return "<VAST version=\"3.0\">" + ads + "</VAST>";
}

// Inline "m", and as many passback wrappers "w0", "w1" … to the paths "p0", "p1" …
inline std::string passbacks(int count) {
    std::string ads = inlineAd("m");
    for (int i = 0; i < count; ++i)
        ads += wrapper("w" + std::to_string(i), "p" + std::to_string(i));
    return ads;
}

struct Playable : VKTConsumableVideoAd {
    std::shared_ptr<VKTVASTAd> ad;
};

using Macros = std::optional<std::map<std::string, std::string>>;

// Delegate and adapter of one request. Every call is an event: its first word is "ready", "failed", an
// error's name, "start", "no", "macros", "document" or "convert"; `onEvent` may do what an embedder may do
// inside a callback.
struct Embedder : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol {
    void vastManagerIsReadyToProvideAds() override { note("ready"); }
    void vastManagerDidFailWithError(const std::optional<VKTError>& error) override {
        note("failed" + (error ? " " + std::to_string(error->code()) : ""));
    }
    void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        std::string line = error.errorName();
        for (const VKTVASTURL& pixel : errorURLs)
            line += " " + pixel.url().absoluteString().substr(url("").size());
        note(line + (VASTResponse ? " + document" : ""));
    }
    void vastManagerDidStartToResolveWrapperAd(VKTVASTManager& /*manager*/,
                                               const std::shared_ptr<VKTVASTAd>& wrapperAd) override {
        note("start " + *wrapperAd->adID());
    }
    void vastManagerDidFailToResolveWrapperAd(VKTVASTManager& /*manager*/,
                                              const std::shared_ptr<VKTVASTAd>& wrapperAd) override {
        note("no ad behind " + *wrapperAd->adID());
    }
    Macros vastManagerRequestsVASTMacros(VKTVASTManager& /*manager*/) override {
        if (onEvent) onEvent("macros");
        return macros;
    }
    std::shared_ptr<VKTVASTReadingListener> vastManagerRequestsReadingListener(
        VKTVASTManager& /*manager*/, const std::optional<VKTURL>& documentURL,
        const std::shared_ptr<VKTVASTAd>& wrapperAd) override {
        return listenerFor ? listenerFor(documentURL, wrapperAd) : nullptr;
    }
    void vastManagerDidReadDocument(VKTVASTManager& /*manager*/,
                                    const VKTVASTDocumentOutcome& outcome) override {
        {
            const VKTLock lock(mutex);
            outcomes.push_back(outcome);
        }
        if (onEvent) onEvent("document");
    }
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& vastAd) override {
        ++conversions;
        const std::string id = vastAd->adID().value_or("");
        if (onEvent) onEvent("convert " + id);
        if (refused.find(id) != std::string::npos) return nullptr;
        auto playable = std::make_shared<Playable>();
        playable->ad = vastAd;
        return playable;
    }

    void note(const std::string& line) {
        {
            const VKTLock lock(mutex);
            heard.push_back(line);
        }
        if (onEvent) onEvent(line);
    }
    Texts takeHeard() {
        const VKTLock lock(mutex);
        return std::exchange(heard, {});
    }
    std::vector<VKTVASTDocumentOutcome> takeOutcomes() {
        const VKTLock lock(mutex);
        return std::exchange(outcomes, {});
    }

    Macros macros;
    std::string refused;  // IDs of ads that it does not play
    std::function<void(const std::string& event)> onEvent;
    std::atomic<int> conversions = 0;
    VKTMutex mutex;
    Texts heard VKT_GUARDED_BY(mutex);
    std::vector<VKTVASTDocumentOutcome> outcomes VKT_GUARDED_BY(mutex);
    std::function<std::shared_ptr<VKTVASTReadingListener>(const std::optional<VKTURL>& url,
                                                          const std::shared_ptr<VKTVASTAd>& wrapperAd)>
        listenerFor;
};

class ManagerFixture : public testing::Test {
  protected:
    void serve(const std::string& path, const std::string& ads) {
        fake->setAnswer(url(path), VKTFakeHTTPAnswer::withBody(vast(ads)));
    }
    static VKTFakeHTTPAnswer adNamedAsThePathOf(const VKTURLRequest& request) {
        return VKTFakeHTTPAnswer::withBody(vast(inlineAd(pathOf(request))));
    }
    static std::string pathOf(const VKTURLRequest& request) {
        return request.url.absoluteString().substr(url("").size());
    }
    // A pool outlives the manager that borrows it: its tasks may be the last to hold that.
    static std::shared_ptr<VKTConcurrentPool> borrowed(VKTConcurrentPool* pool) {
        return {std::shared_ptr<void>(), pool};
    }
    void start(const std::string& ads, VKTConcurrentPool* pool = nullptr) {
        manager = VKTVASTManager::initWithDelegate(embedder, embedder, session, config, borrowed(pool));
        manager->createAdsStoreWithXML(vast(ads), std::nullopt, VKTTimeInterval(1));
    }
    // The ID of the ad that comes next, or "CODE description".
    std::string next(bool dueToAdFailure = false, double timeout = 1) {
        const auto response = manager->nextAdWithTimeout(VKTTimeInterval(timeout), dueToAdFailure);
        EXPECT_NE(response.ad == nullptr, !response.error);
        const auto& error = response.error;
        if (error) return std::to_string(error->code()) + " " + error->localizedDescription().value_or("");
        last = static_cast<const Playable&>(*response.ad).ad;
        return last->adID().value_or("");
    }

    const std::shared_ptr<VKTFakeHTTPSession> fake = std::make_shared<VKTFakeHTTPSession>();
    const std::shared_ptr<VKTURLSession> session =
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(fake));
    const std::shared_ptr<Embedder> embedder = std::make_shared<Embedder>();
    VKTVASTManagerConfig config;
    std::shared_ptr<VKTVASTManager> manager;
    std::shared_ptr<VKTVASTAd> last;
};

// A pool whose tasks run when the test says so; the first `atOnce` run while they are posted.
struct SteppedPool : VKTConcurrentPool {
    explicit SteppedPool(int count) : atOnce(count) {}
    void post(VKTTask task) override {
        if (atOnce-- > 0) return task();
        waiting.push_back(std::move(task));
    }
    int atOnce;
    std::vector<VKTTask> waiting;
};

// A pool for which the system has no thread.
struct ThreadlessPool : VKTConcurrentPool {
    void post(VKTTask /*task*/) override {}
    [[nodiscard]] bool tryPost(VKTTask /*task*/) override { return false; }
};

inline const std::string one = "sequence='1'";
inline const std::string two = "sequence='2'";
inline const std::string noModel = "10004 Unable to create VAST Model.";
inline const std::string noMoreAds = "10005 No more ads available.";
inline const std::string noMorePassback = "10007 No more Passback.";
