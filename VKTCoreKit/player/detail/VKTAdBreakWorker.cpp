#include "VKTCoreKit/player/detail/VKTAdBreakWorker.h"

#include <atomic>
#include <utility>

#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/player/VKTAdBreakResolver.h"

namespace {

// Takes calls to the main loop, in their order. Any thread.
class Messenger {
  public:
    Messenger(std::shared_ptr<VKTMainLoop> mainLoop, std::weak_ptr<VKTAdBreakWorkerDelegate> delegate)
        : mainLoop_(std::move(mainLoop)), delegate_(std::move(delegate)) {}

    template <typename... Parameters, typename... Arguments>
    void tell(void (VKTAdBreakWorkerDelegate::*what)(Parameters...), Arguments... arguments) const {
        mainLoop_->post([weak = delegate_, what, arguments...] {
            if (const auto delegate = weak.lock()) ((*delegate).*what)(arguments...);
        });
    }

  private:
    const std::shared_ptr<VKTMainLoop> mainLoop_;
    const std::weak_ptr<VKTAdBreakWorkerDelegate> delegate_;
};

// What documents lose: for the break, up to the limit, and for another listener.
class DropListener : public VKTVASTReadingListener {
  public:
    DropListener(const Messenger& messenger, std::shared_ptr<std::atomic<std::size_t>> count,
                 std::shared_ptr<VKTVASTReadingListener> other)
        : messenger_(messenger), count_(std::move(count)), other_(std::move(other)) {}

    void dropped(const std::string& path, const std::string& reason) override {
        const std::size_t before = (*count_)++;
        if (before + 1 < VKTAdBreakDroppedElementLimit) {
            messenger_.tell(&VKTAdBreakWorkerDelegate::workerDidDropElement, path, reason);
        } else if (before + 1 == VKTAdBreakDroppedElementLimit) {
            messenger_.tell(&VKTAdBreakWorkerDelegate::workerDidDropElement, path,
                            reason + "; further elements that are dropped are not told");
        }
        if (other_) other_->dropped(path, reason);
    }
    void needsAttention(const std::string& path, const std::string& reason) override {
        if (other_) other_->needsAttention(path, reason);
    }

  private:
    const Messenger messenger_;
    const std::shared_ptr<std::atomic<std::size_t>> count_;
    const std::shared_ptr<VKTVASTReadingListener> other_;
};

// The reports that the manager leaves to whoever owns the request.
std::optional<VKTVASTError> errorOfFirstDocument(const VKTError& error) {
    if (error.domain() != VKTURLErrorDomain) return std::nullopt;
    return error.code() == VKTURLErrorTimedOut ? VKTVASTError::KORVO_VAST_ERROR_ADCALL_FETCH_TIMEOUT()
                                               : VKTVASTError::KORVO_VAST_ERROR_ADCALL_FETCH();
}

// Between the manager's threads and the main loop.
class ManagerListener : public VKTVASTManagerDelegate {
  public:
    ManagerListener(const Messenger& messenger, const std::shared_ptr<VKTVASTManagerDelegate>& other)
        : messenger_(messenger), other_(other ? other : std::make_shared<VKTVASTManagerDelegate>()) {}

    void vastManagerIsReadyToProvideAds() override {
        guarded([&] { other_->vastManagerIsReadyToProvideAds(); });
    }
    void vastManagerDidFailWithError(const std::optional<VKTError>& error) override {
        if (const auto own = error ? errorOfFirstDocument(*error) : std::nullopt) tellError(*own, {});
        guarded([&] { other_->vastManagerDidFailWithError(error); });
    }
    void vastManagerDidEncounterError(VKTVASTManager& manager, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        tellError(error, errorURLs);
        guarded([&] { other_->vastManagerDidEncounterError(manager, error, errorURLs, VASTResponse); });
    }
    void vastManagerDidStartToResolveWrapperAd(VKTVASTManager& manager,
                                               const std::shared_ptr<VKTVASTAd>& ad) override {
        guarded([&] { other_->vastManagerDidStartToResolveWrapperAd(manager, ad); });
    }
    void vastManagerDidFailToResolveWrapperAd(VKTVASTManager& manager,
                                              const std::shared_ptr<VKTVASTAd>& ad) override {
        guarded([&] { other_->vastManagerDidFailToResolveWrapperAd(manager, ad); });
    }
    std::shared_ptr<VKTVASTReadingListener> vastManagerRequestsReadingListener(
        VKTVASTManager& manager, const std::optional<VKTURL>& url,
        const std::shared_ptr<VKTVASTAd>& wrapper) override {
        std::shared_ptr<VKTVASTReadingListener> theirs;
        guarded([&] { theirs = other_->vastManagerRequestsReadingListener(manager, url, wrapper); });
        return std::make_shared<DropListener>(messenger_, droppedCount_, std::move(theirs));
    }
    void vastManagerDidReadDocument(VKTVASTManager& manager, const VKTVASTDocumentOutcome& outcome) override {
        guarded([&] { other_->vastManagerDidReadDocument(manager, outcome); });
    }

  private:
    void tellError(const VKTVASTError& error, const std::vector<VKTVASTURL>& errorURLs) const {
        messenger_.tell(&VKTAdBreakWorkerDelegate::workerDidEncounterError, error, errorURLs);
    }
    template <typename Call>
    static void guarded(const Call& call) {
        vkt_callGuarded("VKTAdBreakOptions::resolvingDelegate", call);
    }

    const Messenger messenger_;
    const std::shared_ptr<VKTVASTManagerDelegate> other_;
    const std::shared_ptr<std::atomic<std::size_t>> droppedCount_ =
        std::make_shared<std::atomic<std::size_t>>(0);
};

}  // namespace

// A task holds it, so that the queue may end on its own thread, where it waits for nobody.
struct VKTAdBreakWorker::State : std::enable_shared_from_this<State> {
    State(std::shared_ptr<VKTAdBreakResolver> theResolver, std::unique_ptr<VKTSerialQueue> theQueue,
          const Messenger& theMessenger)
        : resolver(std::move(theResolver)), messenger(theMessenger), queue(std::move(theQueue)) {}

    using Step = void (State::*)();

    // A step that throws, for want of memory say, must not leave the break waiting.
    [[nodiscard]] bool post(Step step, Step whenThrown) {
        return queue->tryPost([self = shared_from_this(), step, whenThrown] {
            const auto take = [&] { ((*self).*step)(); };
            if (!vkt_callGuarded("the worker of an ad break", take)) ((*self).*whenThrown)();
        });
    }

    void read() {
        resolver->readWithXML(xml ? std::optional<std::string_view>(*xml) : std::nullopt, url);
        xml.reset();
        findAd();
    }

    void findAd() {
        const auto ad = resolver->nextAd();
        if (!ad) return tellEnd();
        messenger.tell(&VKTAdBreakWorkerDelegate::workerDidFindAd, *ad);
        if (!post(&State::findAd, &State::tellEnd)) tellEnd();
    }

    void tellEnd() {
        const VKTAdBreakResolution& resolution = resolver->resolution();
        if (resolution.hasRunOutOfTime && resolution.model && resolution.ads.empty()) {
            messenger.tell(&VKTAdBreakWorkerDelegate::workerDidEncounterError,
                           VKTVASTError::KORVO_VAST_ERROR_TOTAL_TIMEOUT(), std::vector<VKTVASTURL>());
        }
        messenger.tell(&VKTAdBreakWorkerDelegate::workerDidEnd, resolution);
    }

    void findPassback() {
        std::vector<VKTAdBreakAd> ads;
        while (auto ad = resolver->passbackAd()) {
            ads.push_back(std::move(*ad));
            if (ads.back().isPlayable()) break;
        }
        messenger.tell(&VKTAdBreakWorkerDelegate::workerDidFindPassbacks, ads);
    }

    void tellNoPassback() {
        messenger.tell(&VKTAdBreakWorkerDelegate::workerDidFindPassbacks, std::vector<VKTAdBreakAd>());
    }

    const std::shared_ptr<VKTAdBreakResolver> resolver;
    const Messenger messenger;
    std::optional<std::string> xml;
    std::optional<VKTURL> url;
    const std::unique_ptr<VKTSerialQueue> queue;
};

std::unique_ptr<VKTAdBreakWorker> VKTAdBreakWorker::start(
    std::optional<std::string> xml, const std::optional<VKTURL>& url, const VKTAdBreakOptions& options,
    const VKTAdBreakServices& services, const std::weak_ptr<VKTAdBreakWorkerDelegate>& delegate) {
    const Messenger messenger(services.mainLoop, delegate);
    auto resolver = VKTAdBreakResolver::initWithOptions(
        options, services, std::make_shared<ManagerListener>(messenger, options.resolvingDelegate));
    const auto state = std::make_shared<State>(std::move(resolver), services.makeSerialQueue(), messenger);
    state->xml = std::move(xml);
    state->url = url;
    state->queue->setName("vkt-ad-break");
    if (!state->post(&State::read, &State::tellEnd)) return nullptr;
    return std::unique_ptr<VKTAdBreakWorker>(new VKTAdBreakWorker(state));
}

VKTAdBreakWorker::~VKTAdBreakWorker() {
    cancel();
}

void VKTAdBreakWorker::findPassback() {
    if (!state_->post(&State::findPassback, &State::tellNoPassback)) state_->tellNoPassback();
}

void VKTAdBreakWorker::cancel() {
    state_->resolver->cancel();
}
