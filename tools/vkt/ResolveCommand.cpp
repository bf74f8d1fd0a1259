// vkt resolve: an embedding layer in small. It owns the time budget and hears every problem; the manager does
// the rest.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <map>
#include <mutex>

#include "AdReport.h"
#include "AdText.h"
#include "Commands.h"
#include "Source.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"

namespace {

// The time for everything, which starts when this is made. Any thread.
class Budget {
  public:
    explicit Budget(double seconds) : seconds_(seconds) {}

    [[nodiscard]] VKTTimeInterval timeLeft() const {
        return seconds_ - VKTTimeInterval(std::chrono::steady_clock::now() - start_);
    }
    [[nodiscard]] std::string text() const { return vkt_numberDescription(seconds_.count()) + " s"; }

  private:
    VKTTimeInterval seconds_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// The manager gives each wrapper its own time, however many there are; no request may outlast the budget.
class BudgetProvider : public VKTURLSessionProviderProtocol {
  public:
    BudgetProvider(std::shared_ptr<VKTURLSessionProviderProtocol> provider, Budget budget)
        : provider_(std::move(provider)), budget_(budget) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) override {
        VKTURLRequest limited = request;
        limited.timeoutInterval = std::min(limited.timeoutInterval, budget_.timeLeft());
        return provider_->dataRequest(limited, std::move(completionHandler));
    }

  private:
    const std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    const Budget budget_;
};

struct PlayableAd : VKTConsumableVideoAd {
    explicit PlayableAd(std::shared_ptr<VKTVASTAd> vastAd) : ad(std::move(vastAd)) {}
    std::shared_ptr<VKTVASTAd> ad;
};

class Adapter : public VKTVASTAdAdapterProtocol {
  public:
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        return std::make_shared<PlayableAd>(ad);
    }
};

class Listener : public VKTVASTManagerDelegate {
  public:
    explicit Listener(std::map<std::string, std::string> macros) : macros_(std::move(macros)) {}

    void vastManagerDidFailWithError(const std::optional<VKTError>& error) override { failure_ = error; }

    void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        std::optional<std::string> detail;
        if (isParsingError(error)) detail = parsingProblem(VASTResponse);
        const std::lock_guard lock(mutex_);
        errors_.push_back({error, errorURLs, VASTResponse.has_value(), std::move(detail)});
    }

    std::optional<std::map<std::string, std::string>> vastManagerRequestsVASTMacros(
        VKTVASTManager& /*manager*/) override {
        return macros_;
    }

    std::vector<ReportedError> errors() {
        const std::lock_guard lock(mutex_);
        return errors_;
    }
    [[nodiscard]] const std::optional<VKTError>& failure() const { return failure_; }

  private:
    static bool isParsingError(const VKTVASTError& error) {
        return error == VKTVASTError::XML_PARSING_ERROR() ||
               error == VKTVASTError::XML_PARSING_ERROR_WRAPPER();
    }

    // What the XML reader has against the document. An ad without content is reported by the same error; its
    // document may hold very many of them, and each would cost another reading.
    std::optional<std::string> parsingProblem(const std::optional<std::string>& document) {
        if (!document) return "The document is not UTF-8 text.";
        if (readings_++ >= readingLimit) return std::nullopt;
        auto parser = VKTXMLDictionaryParser::sharedInstance().copy();
        parser.vkt_dictionaryWithString(*document);
        const auto& problem = parser.parsingError();
        if (!problem) return std::nullopt;
        return "The XML reader says: " + problem->localizedDescription().value_or("") + ".";
    }

    static constexpr int readingLimit = 16;

    const std::map<std::string, std::string> macros_;
    std::atomic<int> readings_ = 0;
    std::optional<VKTError> failure_;
    std::mutex mutex_;
    std::vector<ReportedError> errors_;
};

// The default macros, and the user's over them.
std::map<std::string, std::string> macrosOf(const ResolveOptions& options) {
    auto macros = VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier(
        "com.korvonet.vkt", "Korvonet", VKTFrameworkVersionString, {});
    for (const std::string& macro : options.macros) {
        const std::size_t equals = macro.find('=');
        macros[macro.substr(0, equals)] = macro.substr(equals + 1);
    }
    return macros;
}

struct Resolution {
    std::vector<std::shared_ptr<VKTVASTAd>> ads;
    std::optional<VKTError> end;
    bool hasRunOutOfTime = false;
};

// Asks for ads until there are no more. The first `fail` ads are reported as failed, which asks for a
// passback; when there is none, the next main ad has its turn.
Resolution resolveAll(VKTVASTManager& manager, int fail, const Budget& budget) {
    Resolution resolution;
    bool hasFailed = false;
    while (true) {
        const VKTVASTManagerResponse response = manager.nextAdWithTimeout(budget.timeLeft(), hasFailed);
        if (response.ad) {
            resolution.ads.push_back(static_cast<const PlayableAd&>(*response.ad).ad);
            hasFailed = resolution.ads.size() <= static_cast<std::size_t>(fail);
        } else if (hasFailed && response.error && response.error->code() != VKTVASTManagerErrorTimeout) {
            hasFailed = false;
        } else {
            resolution.end = response.error;
            return resolution;
        }
    }
}

std::string unreadableMessage(const std::string& source, const std::string& reason) {
    return "cannot read " + source + ": " + reason;
}

VKTValue versionOf(const VKTVASTModel* model) {
    if (model == nullptr) return {};
    return model->version();
}

void printReport(const ResolveOptions& options, const VKTVASTModel* model, const Resolution& resolution,
                 const std::vector<ReportedError>& errors, const std::vector<RequestRecord>& requests) {
    VKTArray ads;
    for (const auto& ad : resolution.ads)
        ads.emplace_back(reportOfAd(*ad, options.networkAccessType));
    printJSON(VKTDictionary{{"source", options.source},
                            {"version", versionOf(model)},
                            {"ads", std::move(ads)},
                            {"errors", reportOfErrors(errors)},
                            {"requests", reportOfRequests(requests)},
                            {"end", reportOfError(resolution.end)}});
}

void printText(const ResolveOptions& options, const VKTVASTModel* model, const Resolution& resolution,
               const std::vector<ReportedError>& errors, const std::vector<RequestRecord>& requests) {
    std::cout << options.source << (model != nullptr ? ": VAST " + model->version() : "") << "\n\n";
    std::cout << countOf(resolution.ads.size(), "playable ad") << '\n';
    std::size_t number = 0;
    for (const auto& ad : resolution.ads) {
        std::cout << '\n' << ++number << ". " << textOfAd(*ad, options.networkAccessType);
    }
    if (model != nullptr && !model->errorPixels().empty()) {
        std::cout << "\nThe answer holds no ad. Error pixels to call:\n" << linesOfURLs(model->errorPixels());
    }
    std::cout << '\n' << countOf(requests.size(), "request") << '\n' << textOfRequests(requests);
    std::cout << countOf(errors.size(), "problem") << (errors.empty() ? "" : " (told above)") << '\n';
    if (resolution.end) std::cout << "end: " << resolution.end->localizedDescription().value_or("") << '\n';
}

// The exit status, after one last line for everything that went wrong as a whole.
ExitStatus conclude(const ResolveOptions& options, const VKTVASTModel* model, const Resolution& resolution,
                    const std::vector<RequestRecord>& requests, const Budget& budget) {
    const bool isUnread = model == nullptr && !requests.empty() && requests.front().error;
    if (isUnread) {
        const auto reason = requests.front().error->localizedDescription().value_or("the transfer failed");
        printError(unreadableMessage(options.source, reason));
        return ExitSourceUnread;
    }
    if (resolution.hasRunOutOfTime) {
        printError("the time budget of " + budget.text() + " ran out");
    } else if (model != nullptr && model->ads().empty()) {
        printError("the answer holds no ad");
    } else if (resolution.ads.empty()) {
        printError("no ad is playable");
    }
    return resolution.ads.empty() ? ExitNonePlayable : ExitPlayable;
}

}  // namespace

int runResolve(const ResolveOptions& options) {
    const Source source = openSource(options.source);
    if (!source.problem.empty()) {
        printError(unreadableMessage(options.source, source.problem));
        return ExitSourceUnread;
    }

    const Budget budget(options.timeout);
    const auto provider = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance());
    const auto listener = std::make_shared<Listener>(macrosOf(options));
    const auto adapter = std::make_shared<Adapter>();
    VKTVASTManagerConfig config;
    config.requestTimeout = VKTTimeInterval(options.requestTimeout);
    config.maximumWrappers = options.maxWrappers;
    config.handleWrappersAdpods = options.handleWrapperAdpods;
    config.strictWrapperFirstLevelImpressionValidation = options.strictFirstImpression;
    const auto manager = VKTVASTManager::initWithDelegate(
        listener, adapter,
        VKTURLSession::initWithSessionProvider(std::make_shared<BudgetProvider>(provider, budget)), config);

    manager->createAdsStoreWithXML(source.data, source.url, budget.timeLeft());
    const VKTVASTModel* model = manager->rootVASTModel().get();
    Resolution resolution;
    resolution.end = listener->failure();
    if (model != nullptr) resolution = resolveAll(*manager, options.fail, budget);
    resolution.hasRunOutOfTime = budget.timeLeft() <= VKTTimeInterval::zero();

    const auto requests = provider->records();
    const auto errors = listener->errors();
    for (const std::string& line : linesOfErrors(errors))
        printError(line);
    if (options.JSON) {
        printReport(options, model, resolution, errors, requests);
    } else {
        printText(options, model, resolution, errors, requests);
    }

    return conclude(options, model, resolution, requests, budget);
}
