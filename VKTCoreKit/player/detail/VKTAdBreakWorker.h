// Resolves an ad break beside the main loop.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/vast/VKTVASTModel.h"

/// Hears on the main loop what the worker has found.
class VKTAdBreakWorkerDelegate {
  public:
    virtual ~VKTAdBreakWorkerDelegate() = default;
    virtual void workerDidEncounterError(const VKTVASTError& error,
                                         const std::vector<VKTVASTURL>& errorURLs) = 0;
    virtual void workerDidDropElement(const std::string& path, const std::string& reason) = 0;
    virtual void workerDidFindAd(const VKTAdBreakAd& ad) = 0;

    /// There are no more ads.
    virtual void workerDidEnd(const VKTAdBreakResolution& resolution) = 0;

    /// The answer to `findPassback`: the last is playable, or there is no further passback.
    virtual void workerDidFindPassbacks(const std::vector<VKTAdBreakAd>& ads) = 0;
};

/// One thread for one break: it looks for ad after ad until there are no more, and between two of them for
/// what `findPassback` has asked for. Main loop only. The delegate is held weakly.
class VKTAdBreakWorker {
  public:
    /// Null when the system gives no thread.
    static std::unique_ptr<VKTAdBreakWorker> start(std::optional<std::string> xml,
                                                   const std::optional<VKTURL>& url,
                                                   const VKTAdBreakOptions& options,
                                                   const VKTAdBreakServices& services,
                                                   const std::weak_ptr<VKTAdBreakWorkerDelegate>& delegate);

    /// Like `cancel`: it never waits for the thread, which ends by itself.
    ~VKTAdBreakWorker();
    VKTAdBreakWorker(const VKTAdBreakWorker&) = delete;
    VKTAdBreakWorker& operator=(const VKTAdBreakWorker&) = delete;

    void findPassback();
    void cancel();

  private:
    struct State;  // shared with the thread's tasks

    explicit VKTAdBreakWorker(std::shared_ptr<State> state) : state_(std::move(state)) {}

    const std::shared_ptr<State> state_;
};
