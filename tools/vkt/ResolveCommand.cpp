// vkt resolve: an embedding layer in small. It owns the time budget and hears every problem; the manager does
// the rest.
#include <algorithm>
#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>

#include "AdReport.h"
#include "AdText.h"
#include "Commands.h"
#include "Source.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"

namespace {

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

    void vastManagerDidFailWithError(const VKTError& error) override { failure_ = error; }

    void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        const std::lock_guard lock(mutex_);
        errors_.push_back({error, errorURLs, VASTResponse.has_value()});
        printError(lineOfError(errors_.back()));
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
    const std::map<std::string, std::string> macros_;
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
};

// Asks for ads until there are no more. The first `fail` ads are reported as failed, which asks for a
// passback; when there is none, the next main ad has its turn.
Resolution resolveAll(VKTVASTManager& manager, int fail, const std::function<VKTTimeInterval()>& timeLeft) {
    Resolution resolution;
    bool hasFailed = false;
    while (true) {
        const VKTVASTManagerResponse response = manager.nextAdWithTimeout(timeLeft(), hasFailed);
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

}  // namespace

int runResolve(const ResolveOptions& options) {
    const Source source = openSource(options.source);
    if (!source.problem.empty()) {
        printError(unreadableMessage(options.source, source.problem));
        return ExitSourceUnread;
    }

    const auto start = std::chrono::steady_clock::now();
    const auto timeLeft = [&]() -> VKTTimeInterval {
        return VKTTimeInterval(options.timeout) - (std::chrono::steady_clock::now() - start);
    };
    const auto provider = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance());
    const auto listener = std::make_shared<Listener>(macrosOf(options));
    const auto adapter = std::make_shared<Adapter>();
    VKTVASTManagerConfig config;
    config.requestTimeout = VKTTimeInterval(std::min(options.requestTimeout, options.timeout));
    config.maximumWrappers = options.maxWrappers;
    config.handleWrappersAdpods = options.handleWrapperAdpods;
    config.strictWrapperFirstLevelImpressionValidation = options.strictFirstImpression;
    const auto manager = VKTVASTManager::initWithDelegate(
        listener, adapter, VKTURLSession::initWithSessionProvider(provider), config);

    manager->createAdsStoreWithXML(source.data, source.url, timeLeft());
    const VKTVASTModel* model = manager->rootVASTModel().get();
    Resolution resolution;
    resolution.end = listener->failure();
    if (model != nullptr) resolution = resolveAll(*manager, options.fail, timeLeft);

    const auto requests = provider->records();
    const auto errors = listener->errors();
    if (options.JSON) {
        VKTArray ads;
        for (const auto& ad : resolution.ads)
            ads.emplace_back(reportOfAd(*ad, options.networkAccessType));
        printJSON(VKTDictionary{{"source", options.source},
                                {"version", model != nullptr ? VKTValue(model->version()) : VKTValue()},
                                {"ads", std::move(ads)},
                                {"errors", reportOfErrors(errors)},
                                {"requests", reportOfRequests(requests)},
                                {"end", reportOfError(resolution.end)}});
    } else {
        printText(options, model, resolution, errors, requests);
    }

    const bool isUnread = source.url && model == nullptr && !requests.empty() && requests.front().error;
    if (isUnread) {
        const auto reason = requests.front().error->localizedDescription().value_or("the transfer failed");
        printError(unreadableMessage(options.source, reason));
        return ExitSourceUnread;
    }
    return resolution.ads.empty() ? ExitNonePlayable : ExitPlayable;
}
