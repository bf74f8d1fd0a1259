// Wrappers folded into the ads they lead to, beside one copy of the texts that the ads then have.
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Documents.h"
#include "Pairs.h"
#include "VKTCoreKit/vast/VKTVASTParser.h"

namespace {

constexpr std::size_t wrapperCount = 5;
constexpr std::size_t trackersPerWrapper = 30;
constexpr std::size_t adCount = 10;

using Ads = VKTVASTModel::Ads;
using Clock = std::chrono::steady_clock;

Ads adsOf(const std::string& document) {
    const auto response = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(document);
    if (!response.model || response.model->ads().empty()) fail("the document holds no ad");
    return response.model->ads();
}

// Seconds from the first merge to the last ad that is handed over; reading is not counted.
double mergeChain(const std::string& wrapper, const std::string& pod) {
    Ads chain;
    for (std::size_t i = 0; i < wrapperCount; ++i)
        chain.push_back(adsOf(wrapper).front());
    const Ads ads = adsOf(pod);
    VKTVASTMergeBudget budget;
    const auto begin = Clock::now();
    for (std::size_t i = 1; i < chain.size(); ++i)
        chain[i]->merge(*chain[i - 1], budget);
    for (const auto& ad : ads)
        ad->merge(*chain.back(), budget);
    for (const auto& ad : ads)
        ad->prepareForDelivery(budget);
    const std::chrono::duration<double> seconds = Clock::now() - begin;
    const std::size_t merged = ads.back()->linearCreatives().front()->trackingEvents().size();
    if (merged < wrapperCount * trackersPerWrapper) fail("a tracker is lost");
    return seconds.count();
}

// Seconds for a copy of each URL that the wrappers give to the ads.
double copyURLs(const std::vector<std::string>& urls) {
    const auto begin = Clock::now();
    std::vector<std::string> copies(urls);
    benchmark::DoNotOptimize(copies.data());
    const std::chrono::duration<double> seconds = Clock::now() - begin;
    return seconds.count();
}

std::vector<std::string> urlsGivenBy(const std::string& wrapper) {
    std::vector<std::string> urls;
    const auto ad = adsOf(wrapper).front();
    for (std::size_t i = 0; i < adCount * wrapperCount; ++i) {
        for (const auto& event : ad->linearCreatives().front()->trackingEvents())
            urls.push_back(event->url().absoluteString());
    }
    return urls;
}

}  // namespace

void addMergeBenchmarks() {
    const auto wrapper = std::make_shared<const std::string>(trackingWrapperDocument(trackersPerWrapper));
    const auto pod = std::make_shared<const std::string>(smallPodDocument(adCount));
    const auto urls = std::make_shared<const std::vector<std::string>>(urlsGivenBy(*wrapper));
    addTimedPair(
        "merge_chain", [wrapper, pod] { return mergeChain(*wrapper, *pod); },
        [urls] { return copyURLs(*urls); });
}
