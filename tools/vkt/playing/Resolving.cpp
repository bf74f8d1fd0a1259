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
                                                   const std::vector<VKTVASTDocumentOutcome>& documents) {
    std::map<std::string, std::deque<const VKTVASTDocumentOutcome*>> documentsOfURL;
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
    explicit Listener(std::string source) : source_(std::move(source)) {}

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
        documents_.push_back(outcome);
    }

    void giveTo(Resolution& resolution) const {
        const std::lock_guard lock(mutex_);
        resolution.errors = errors_;
        resolution.documents = documents_;
    }

  private:
    [[nodiscard]] std::string placeOf(const VKTVASTDocumentOutcome& outcome) const {
        const std::string place = "In " + nameOfDocument(outcome, source_);
        if (outcome.problem.empty()) return place + ".";
        return place + ", which leads to no ad: " + shortened(outcome.problem) + ".";
    }

    const std::string source_;
    mutable std::mutex mutex_;
    std::vector<ReportedError> errors_;
    std::vector<VKTVASTDocumentOutcome> documents_;
    std::map<std::thread::id, std::vector<std::size_t>> underWay_;  // errors of the document on each thread
};

Resolving::Resolving(const ResolveOptions& options)
    : listener_(std::make_shared<Listener>(options.source)),
      provider_(std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance())),
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

Resolution resolveSource(const ResolveOptions& options, const Source& source) {
    const Resolving resolving(options);
    const auto resolver = VKTAdBreakResolver::initWithOptions(resolving.options(), resolving.services(),
                                                              resolving.options().resolvingDelegate);
    resolver->readWithXML(source.data, source.url);
    while (resolver->nextAd()) {
    }
    return resolving.resolutionOf(resolver->resolution());
}

ReportedError problemOfAd(const VKTAdBreakAd& ad) {
    const std::string name = ad.ad->adID() ? "Ad " + *ad.ad->adID() : "An ad without id";
    return {*ad.failure, ad.ad->errorPixels(), false,
            std::make_shared<const std::string>(name + ": " + ad.problem + ".")};
}

std::string nameOfDocument(const VKTVASTDocumentOutcome& document, const std::string& source) {
    if (document.url) return shortened(document.url->absoluteString());
    if (document.wrapperDepth > 0) return "wrapper " + document.wrapperAdID.value_or("without id");
    return source == "-" ? "the standard input" : source;
}
