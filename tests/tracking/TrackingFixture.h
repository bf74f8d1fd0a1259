// Tracking managers over a pixel manager whose worker is stepped by hand and whose server takes every pixel.
#pragma once

#include <gtest/gtest.h>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/tracking/VKTTrackingEventManager.h"

using Texts = std::vector<std::string>;

inline VKTURL urlOf(std::string_view text) {
    return VKTURL::URLWithString(text).value();
}

// The message of the last line.
inline std::string loggedBy(const std::function<void()>& action) {
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    testing::internal::CaptureStdout();
    action();
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    const std::string output = testing::internal::GetCapturedStdout();
    return output.substr(output.rfind("] ") + 1);
}

class TrackingFixture : public testing::Test,
                        public VKTTrackingEventManagerDelegate,
                        public VKTPixelStoreProvider {
  protected:
    TrackingFixture() {
        test_.platform.random = VKTPlatform::current().random;  // pixel IDs must differ
        test_.platform.makeSerialQueue = [this] {
            auto queue = std::make_unique<VKTManualSerialQueue>();
            queue_ = queue.get();
            return queue;
        };
        scope_.emplace(test_.platform);
        pixelManager = VKTPixelManager::initWithPixelStore(
            VKTPixelStore::initWithProvider({owner_, this}),
            VKTURLSession::initWithSessionProvider(
                VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
        test_.HTTPSession->setHandler([this](const VKTURLRequest& request) {
            requested_.push_back(request.url.absoluteString());
            return VKTFakeHTTPAnswer::withStatus(200);
        });
    }

    void trackingEventManager(VKTTrackingEventManager& manager, const std::string& name,
                              std::size_t count) override {
        heard.push_back(name + " " + std::to_string(count));
        if (onEvent) onEvent(manager);
    }

    void trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& /*manager*/,
                                                     const std::string& name,
                                                     const VKTPixels& pixels) override {
        heardPixels.push_back(name + " after " + std::to_string(heard.size()));
        for (const auto& pixel : pixels)
            heardPixels.back() += " " + pixel->origin() + "=" + pixel->url().absoluteString();
    }

    bool savePixels(const VKTPixels& /*pixels*/) override {
        if (onSave) onSave();
        return ++saves > 0;
    }

    static std::shared_ptr<VKTVASTTrackingEvent> event(std::string name, std::string_view url,
                                                       double seconds = -1,
                                                       std::optional<std::string> offset = std::nullopt) {
        return VKTVASTTrackingEvent::initWithName(std::move(name), std::move(offset), urlOf(url), seconds);
    }

    template <typename Manager = VKTTrackingEventManager>
    std::shared_ptr<Manager> managerOf(VKTTrackingEvents events, VKTReplacements macros = {}) {
        return Manager::initWithEventFactory(
            *VKTTrackingEventDefaultFactory::initWithEvents(std::move(events)), std::move(macros),
            {owner_, this}, pixelManager);
    }

    // Runs the passes that were asked for: their number, then the URLs that they requested.
    Texts sent() {
        requested_.assign(1, "");
        requested_[0] = std::to_string(queue_->runAll());
        return requested_;
    }

    Texts heard;        // "name count"
    Texts heardPixels;  // "name after 2 name=url name=url", which came after two of the former
    std::function<void(VKTTrackingEventManager&)> onEvent;
    std::function<void()> onSave;
    std::size_t saves = 0;
    std::shared_ptr<VKTPixelManager> pixelManager;
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as a collaborator
    VKTTestPlatform test_ = vkt_makeTestPlatform();

  private:
    VKTManualSerialQueue* queue_ = nullptr;
    Texts requested_;
    std::optional<VKTScopedPlatform> scope_;
};
