#include "playing/Resolving.h"

#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/player/VKTAdBreakResolver.h"
#include "ground/Output.h"
#include "ground/Text.h"

namespace {

// Requests for one URL bring documents in the same order.
std::vector<DocumentRequest> requestsWithDocuments(const std::vector<RequestRecord>& records,
                                                   const std::vector<MetDocument>& documents) {
    std::map<std::string, std::deque<const MetDocument*>> documentsOfURL;
    for (const auto& document : documents) {
        if (document.wasRequested) documentsOfURL[document.url->absoluteString()].push_back(&document);
    }
    std::vector<DocumentRequest> requests;
    for (const RequestRecord& record : records) {
        requests.push_back({record, std::nullopt});
        auto& own = documentsOfURL[record.url];
        if (own.empty()) continue;
        requests.back().document = *own.front();
        own.pop_front();
    }
    return requests;
}

// The first `count` ads count as failed.
std::function<std::optional<VKTAdRefusal>(const VKTVASTAd&)> refusalOfFirst(int count) {
    return [left = count](const VKTVASTAd& /*ad*/) mutable -> std::optional<VKTAdRefusal> {
        if (left == 0) return std::nullopt;
        --left;
        return VKTAdRefusal{VKTVASTError::VAST_LINEAR_ERROR_GENERAL(), "it is reported as failed (--fail)"};
    };
}

VKTAdBreakOptions breakOptionsOf(const ResolveOptions& options) {
    VKTAdBreakOptions breakOptions;
    breakOptions.appBundleIdentifier = "com.korvonet.vkt";
    breakOptions.partnerName = "Korvonet";
    breakOptions.partnerVersion = VKTFrameworkVersionString;
    for (const std::string& macro : options.macros) {
        const std::size_t equals = macro.find('=');
        breakOptions.macros[macro.substr(0, equals)] = macro.substr(equals + 1);
    }
    breakOptions.timeBudget = VKTTimeInterval(options.timeout);
    breakOptions.resolving.requestTimeout = VKTTimeInterval(options.requestTimeout);
    breakOptions.resolving.maximumWrappers = options.maxWrappers;
    breakOptions.resolving.handleWrappersAdpods = options.handleWrapperAdpods;
    breakOptions.resolving.strictWrapperFirstLevelImpressionValidation = options.strictFirstImpression;
    breakOptions.networkAccessType = options.networkAccessType;
    if (options.fail > 0) breakOptions.refusal = refusalOfFirst(options.fail);
    return breakOptions;
}

}  // namespace

// The sentences are made once for each document, which may have very many problems.
class Resolving::Listener : public VKTVASTManagerDelegate {
  public:
    Listener(std::string source, std::shared_ptr<RecordingProvider> provider,
             std::optional<ResolvingDetail> detail)
        : source_(std::move(source)), provider_(std::move(provider)), detail_(std::move(detail)) {}

    std::shared_ptr<VKTVASTReadingListener> vastManagerRequestsReadingListener(
        VKTVASTManager& /*manager*/, const std::optional<VKTURL>& /*url*/,
        const std::shared_ptr<VKTVASTAd>& /*wrapperAd*/) override {
        if (!detail_) return nullptr;
        const auto reading = std::make_shared<Reading>();
        const std::lock_guard lock(mutex_);
        readings_[std::this_thread::get_id()] = reading;
        return reading;
    }

    void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        const std::lock_guard lock(mutex_);
        underWay_[std::this_thread::get_id()].push_back(errors_.size());
        errors_.push_back({error, errorURLs, VASTResponse.has_value()});
    }

    // The problems of a document come before it on its thread.
    void vastManagerDidReadDocument(VKTVASTManager& /*manager*/,
                                    const VKTVASTDocumentOutcome& outcome) override {
        std::shared_ptr<const std::string> sentence;
        if (outcome.wrapperDepth > 0 || !outcome.problem.empty()) {
            sentence = std::make_shared<const std::string>(placeOf(outcome));
        }
        const std::lock_guard lock(mutex_);
        for (const std::size_t error : std::exchange(underWay_[std::this_thread::get_id()], {}))
            errors_[error].detail = sentence;
        add(outcome);
        if (detail_ && detail_->onDocument) detail_->onDocument(documents_.back(), documents_.size() - 1);
    }

    void giveTo(Resolution& resolution) const {
        const std::lock_guard lock(mutex_);
        resolution.errors = errors_;
        resolution.documents = documents_;
        for (std::size_t place = 0; place < documents_.size(); ++place) {
            if (readingOf_[place]) readingOf_[place]->giveTo(resolution.documents[place]);
        }
    }

  private:
    // What is said of one document, while it is read and while its ads are merged.
    class Reading : public VKTVASTReadingListener {
      public:
        void dropped(const std::string& path, const std::string& reason) override {
            const std::lock_guard lock(mutex_);
            dropped_.add(path, reason);
        }
        void needsAttention(const std::string& path, const std::string& reason) override {
            const std::lock_guard lock(mutex_);
            needingAttention_.add(path, reason);
        }
        void giveTo(MetDocument& document) const {
            const std::lock_guard lock(mutex_);
            document.dropped = dropped_;
            document.needingAttention = needingAttention_;
        }

      private:
        mutable std::mutex mutex_;
        Remarks dropped_;
        Remarks needingAttention_;
    };

    // A wrapper is followed, or not, on the thread that has read its document, but for passbacks.
    void add(const VKTVASTDocumentOutcome& outcome) {
        MetDocument document;
        static_cast<VKTVASTDocumentOutcome&>(document) = outcome;
        if (outcome.wrapperDepth > 0) {
            const auto& own = latest_[std::this_thread::get_id()];
            const auto parent = own.find(outcome.wrapperDepth - 1);
            const auto any = latestOfAll_.find(outcome.wrapperDepth - 1);
            if (parent != own.end()) {
                document.parent = parent->second;
            } else if (any != latestOfAll_.end()) {
                document.parent = any->second;
            }
        }
        latest_[std::this_thread::get_id()][outcome.wrapperDepth] = documents_.size();
        latestOfAll_[outcome.wrapperDepth] = documents_.size();
        if (outcome.wasRequested) takeAnswer(document);
        const bool isRead = outcome.wasRequested || outcome.wrapperDepth == 0;
        readingOf_.push_back(isRead ? std::exchange(readings_[std::this_thread::get_id()], {}) : nullptr);
        if (detail_ && !outcome.wasRequested && outcome.wrapperDepth == 0)
            document.text = detail_->sourceText;
        documents_.push_back(std::move(document));
    }

    [[nodiscard]] std::string placeOf(const VKTVASTDocumentOutcome& outcome) const {
        const std::string place = "In " + nameOfDocument(outcome, source_);
        if (outcome.problem.empty()) return place + ".";
        return place + ", which leads to no ad: " + shortened(outcome.problem) + ".";
    }

    void takeAnswer(MetDocument& document) {
        const auto request = provider_->claim(document.url->absoluteString());
        if (!request) return;
        document.request = request->record;
        document.text = request->body;
    }

    using Places = std::map<std::int64_t, std::size_t>;

    const std::string source_;
    const std::shared_ptr<RecordingProvider> provider_;
    const std::optional<ResolvingDetail> detail_;
    mutable std::mutex mutex_;
    std::vector<ReportedError> errors_;
    std::vector<MetDocument> documents_;
    std::vector<std::shared_ptr<Reading>> readingOf_;               // of each document; null without detail
    std::map<std::thread::id, std::vector<std::size_t>> underWay_;  // errors of the document on each thread
    std::map<std::thread::id, std::shared_ptr<Reading>> readings_;  // of the document on each thread
    std::map<std::thread::id, Places> latest_;                      // document of each depth on each thread
    Places latestOfAll_;
};

Resolving::Resolving(const ResolveOptions& options, std::optional<ResolvingDetail> detail)
    : provider_(
          std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance(), detail.has_value())),
      listener_(std::make_shared<Listener>(options.source, provider_, std::move(detail))),
      breakOptions_(breakOptionsOf(options)),
      services_(VKTAdBreakServices::initWithPlatform(VKTPlatform::current())) {
    breakOptions_.resolvingDelegate = listener_;
    services_.urlSession = VKTURLSession::initWithSessionProvider(provider_);
}

Resolution Resolving::resolutionOf(const VKTAdBreakResolution& breakResolution) const {
    Resolution resolution{breakResolution, {}, {}, {}};
    const auto records = provider_->records();
    listener_->giveTo(resolution);
    resolution.requests = requestsWithDocuments(records, resolution.documents);
    if (resolution.isErrorPixelLimitReached) {
        printError("the problems come with more than " + std::to_string(VKTAdBreakErrorPixelLimit) +
                   " error pixels; the further ones are left out here");
    }
    return resolution;
}

Resolution resolveSource(const ResolveOptions& options, const Source& source,
                         std::optional<ResolvingDetail> detail,
                         const std::function<void(const VKTAdBreakAd& ad)>& onAd) {
    const Resolving resolving(options, std::move(detail));
    const auto resolver = VKTAdBreakResolver::initWithOptions(resolving.options(), resolving.services(),
                                                              resolving.options().resolvingDelegate);
    resolver->readWithXML(source.data, source.url);
    while (const auto ad = resolver->nextAd()) {
        if (onAd) onAd(*ad);
    }
    return resolving.resolutionOf(resolver->resolution());
}

ReportedError problemOfAd(const VKTAdBreakAd& ad) {
    const std::string name = ad.ad->adID() ? "Ad " + *ad.ad->adID() : "An ad without id";
    return {*ad.failure, ad.ad->errorPixels(), false,
            std::make_shared<const std::string>(name + ": " + ad.problem + ".")};
}

void addProblemsOfAds(Resolution& resolution) {
    for (const VKTAdBreakAd& ad : resolution.ads) {
        if (!ad.isPlayable()) resolution.errors.push_back(problemOfAd(ad));
    }
}

std::string nameOfDocument(const VKTVASTDocumentOutcome& document, const std::string& source) {
    if (document.url) return shortened(document.url->absoluteString());
    if (document.wrapperDepth > 0) return "wrapper " + document.wrapperAdID.value_or("without id");
    return source == "-" ? "the standard input" : source;
}
