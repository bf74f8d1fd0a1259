// What the snippets of the documents take as given: the library, and what an application has at hand.
#pragma once

#include <VKTCoreKit/config/VKTRemoteConfigManager.h>
#include <VKTCoreKit/core/VKTLog.h>
#include <VKTCoreKit/core/VKTTimeUtils.h>
#include <VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h>
#include <VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h>
#include <VKTCoreKit/platform/VKTHeadlessView.h>
#include <VKTCoreKit/platform/VKTPlatform.h>
#include <VKTCoreKit/player/VKTAdBreakPlayer.h>
#include <VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h>
#include <VKTCoreKit/tracking/VKTVASTPixelManager.h>
#include <VKTCoreKit/tracking/VKTVideoTrackingEventManager.h>
#include <VKTCoreKit/tracking/VKTViewabilityManager.h>
#include <VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h>
#include <VKTCoreKit/vast/VKTVASTManager.h>

#include <functional>
#include <iostream>
#include <thread>

// An application's own loop.
struct EventLoop {
    void callLater(double seconds, std::function<void()> task);
};
extern EventLoop eventLoop;

std::shared_ptr<VKTKeyValueStore> makeFlashStore();  // of a device

extern const VKTURL url;                                       // of the VAST document
extern const std::shared_ptr<VKTVASTAd> ad;                    // the one that is played
extern const std::shared_ptr<VKTVASTCreativeLinear> creative;  // of that ad
extern const double position;                                  // seconds that have been played
extern const double mediaDuration;                             // seconds, as the media player says
extern const std::shared_ptr<VKTHeadlessView> view;            // shows the ad
extern const std::shared_ptr<VKTHeadlessView> controls;        // stand in front of it
extern const std::shared_ptr<VKTView> ownWindow;               // the application's, with views of its own
extern const std::shared_ptr<VKTTrackingEventManagerDelegate> delegate;
extern const VKTStoreProblemHandler onProblem;  // a file could not be used
extern const std::shared_ptr<VKTPixelManager> pixelManager;
extern const std::shared_ptr<VKTPixelStore> store;  // of the pixels
extern const VKTReplacements macros;                // of the showing
extern const std::shared_ptr<VKTVASTManagerDelegate>
    breakDelegate;  // the application's, as are the next three
extern const std::shared_ptr<VKTVASTAdAdapterProtocol> adapter;
extern const std::shared_ptr<VKTMediaPlayer> mediaPlayer;
extern const std::shared_ptr<VKTAdBreakPlayerDelegate> playerDelegate;
extern const std::shared_ptr<VKTViewabilityManager> sampling;  // of the view
extern const std::shared_ptr<VKTRemoteConfigManager> configManager;
extern const VKTDictionary korvo;  // of a configuration document
extern const std::string xml;      // a VAST document
extern VKTAdBreakServices services;
extern VKTPlatformOptions options;
