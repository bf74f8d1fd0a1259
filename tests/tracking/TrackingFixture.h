// A pixel manager whose passes run when the test says so, and a delegate that writes down what it hears.
#pragma once

#include <gtest/gtest.h>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/tracking/VKTTrackingEventManager.h"

using Texts = std::vector<std::string>;

class RecordingDelegate : public VKTTrackingEventManagerDelegate {
  public:
    Texts heard;  // "name count"
    std::function<void(VKTTrackingEventManager&)> onEvent = [](auto&) {};

    void trackingEventManager(VKTTrackingEventManager& manager, const std::string& name,
                              std::size_t count) override {
        heard.push_back(name + " " + std::to_string(count));
        onEvent(manager);
    }
};

class CountingStoreProvider : public VKTPixelStoreProvider {
  public:
    std::size_t saves = 0;

    bool savePixels(const VKTPixels& /*pixels*/) override {
        ++saves;
        return true;
    }
};

class TrackingFixture : public testing::Test {
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
            VKTPixelStore::initWithProvider(provider),
            VKTURLSession::initWithSessionProvider(
                VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
        test_.HTTPSession->setHandler([](const auto&) { return VKTFakeHTTPAnswer::withStatus(200); });
    }

    static std::shared_ptr<VKTVASTTrackingEvent> event(std::string name, std::string_view url,
                                                       double seconds = -1,
                                                       std::optional<std::string> offset = std::nullopt) {
        return VKTVASTTrackingEvent::initWithName(std::move(name), std::move(offset),
                                                  VKTURL::URLWithString(url).value(), seconds);
    }

    template <typename Manager = VKTTrackingEventManager>
    std::shared_ptr<Manager> managerOf(VKTTrackingEvents events, VKTReplacements macros = {}) {
        return Manager::initWithEventFactory(
            *VKTTrackingEventDefaultFactory::initWithEvents(std::move(events)), std::move(macros), delegate,
            pixelManager);
    }

    // Runs the passes that were asked for: their number, then the URLs that they requested.
    Texts sent() {
        const std::size_t before = test_.HTTPSession->requests().size();
        Texts texts{std::to_string(queue_->runAll())};
        const auto requests = test_.HTTPSession->requests();
        for (std::size_t i = before; i < requests.size(); ++i)
            texts.push_back(requests[i].url.absoluteString());
        return texts;
    }

    std::shared_ptr<CountingStoreProvider> provider = std::make_shared<CountingStoreProvider>();
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
    std::shared_ptr<VKTPixelManager> pixelManager;

  private:
    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTManualSerialQueue* queue_ = nullptr;
    std::optional<VKTScopedPlatform> scope_;
};
