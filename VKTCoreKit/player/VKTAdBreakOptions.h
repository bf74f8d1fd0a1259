// How an ad break is resolved and played, and with what.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "VKTCoreKit/player/VKTMediaProfile.h"
#include "VKTCoreKit/tracking/VKTEventURL.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "VKTCoreKit/vast/VKTVASTManagerConfig.h"
#include "VKTCoreKit/vast/VKTVASTManagerProtocols.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

/// Error pixels that the problems of one break may call while it is resolved. Further ones are left out, with
/// a warning in the log: a document may have very many problems, each with the pixels of a whole chain.
inline constexpr std::size_t VKTAdBreakErrorPixelLimit = 65536;

/// Dropped elements of which one break tells. The last of them says that there are more.
inline constexpr std::size_t VKTAdBreakDroppedElementLimit = 1024;

/// Why the application will not have an ad.
struct VKTAdRefusal {
    VKTVASTError error;   ///< for its error pixels
    std::string problem;  ///< half a sentence: "a competitor's, beside ours"
};

/// A passive record; the defaults suit a television.
struct VKTAdBreakOptions {
    /// Goes into the [APPBUNDLE] macro, the two next into [OMIDPARTNER], the list into [APIFRAMEWORKS]
    /// (VAST 4.2, 6).
    std::string appBundleIdentifier;
    std::optional<std::string> partnerName;
    std::optional<std::string> partnerVersion;
    std::vector<int> APIFrameworks;

    /// Further macros of VAST, such as "IFA" or "REGULATIONS", by their names without brackets; they win over
    /// the library's own.
    VKTReplacements macros;

    /// Macros of the moment, such as "MEDIAPLAYHEAD": asked for on the main loop with each event that is
    /// tracked, and each time that the position is looked at. None when empty.
    std::function<VKTReplacements()> macrosOfTheMoment;

    /// Values of the application's own "${...}" variables.
    VKTReplacements variables;

    /// For all documents of the break together, from its start; and anew from each time that a passback is
    /// asked for because an ad has failed while it was played.
    VKTTimeInterval timeBudget{10};

    /// For one document, and how far wrappers are followed.
    VKTVASTManagerConfig resolving;

    /// Which media file is chosen, and so which ads are playable. Without a profile the library's selector
    /// decides alone.
    std::uint32_t networkAccessType = VKTDefaultNetworkAccessType;
    std::optional<VKTMediaProfile> mediaProfile;

    /// Asked of each ad before it is judged, on a thread of the library's: nothing to have it. None when
    /// empty.
    std::function<std::optional<VKTAdRefusal>(const VKTVASTAd& ad)> refusal;

    /// Hears everything that the VAST manager tells while the break is resolved, on the manager's threads,
    /// but is not asked for macros: for who shows each document. Null for nobody.
    std::shared_ptr<VKTVASTManagerDelegate> resolvingDelegate;

    /// From `VKTMediaPlayer::load` to `mediaIsReady`, paused or not: then the ad has failed with code 402.
    VKTTimeInterval loadTimeout{10};

    /// For media that is not paused and stands still, before its first picture or later: then the ad has
    /// failed with code 405. Media that stands still at its end is complete, after two seconds at most.
    VKTTimeInterval stallTimeout{10};

    /// Whether `skip` is refused before the document allows it.
    bool enforcesSkipOffset = true;

    /// Whether the first ad waits until all are known, for who shows "1 of 3".
    bool startsWhenResolved = false;

    /// Whether the services' measurement is used.
    bool isMeasured = true;

    /// The player's own at the start of each ad, from 0 to 1; `setVolume` changes it.
    double volume = 1;
};

/// What a break works with. Nothing may be empty but `measurement`; what is here outlives the break.
struct VKT_EXPORT VKTAdBreakServices {
    /// The loop on which everything happens that is not said to happen elsewhere.
    std::shared_ptr<VKTMainLoop> mainLoop;

    /// Measures the time budget.
    std::shared_ptr<VKTClock> clock;

    /// Downloads the documents.
    std::shared_ptr<VKTURLSession> urlSession;
    std::shared_ptr<VKTConcurrentPool> passbackPool;
    std::function<std::unique_ptr<VKTSerialQueue>()> makeSerialQueue;

    /// Keeps and sends the pixels: one for the application, not one for each break. What is not delivered
    /// when the break ends stays there.
    std::shared_ptr<VKTPixelManager> pixelManager;

    /// Null: nothing is measured. See `VKTOpenMeasurementManager`, whose script library should be ready.
    std::shared_ptr<VKTOpenMeasurementManager> measurement;

    /// Those of a platform, with a session of their own over its HTTP session, and a pixel manager over the
    /// store; a null store means that undelivered pixels end with the process. No measurement. What an
    /// earlier launch has left in the store is sent with the first pixel of a break, or at its end;
    /// `callPixels` of the pixel manager does it at once.
    static VKTAdBreakServices initWithPlatform(const VKTPlatform& platform,
                                               std::shared_ptr<VKTKeyValueStore> pixelStore = nullptr);
};
