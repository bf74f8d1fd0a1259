#include "inspection/Inspection.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "VKTCoreKit/vast/VKTVASTModelGenerator.h"

namespace {

constexpr VKTTimeInterval downloadTimeout{30};

class Listener : public VKTVASTReadingListener {
  public:
    explicit Listener(Inspection& inspection) : inspection_(inspection) {}

    void dropped(const std::string& path, const std::string& reason) override {
        inspection_.dropped.add(path, reason);
    }
    void needsAttention(const std::string& path, const std::string& reason) override {
        inspection_.needingAttention.add(path, reason);
    }

  private:
    Inspection& inspection_;
};

VKTData textOf(const Source& source, RecordingProvider& recorder) {
    if (source.data) return std::make_shared<const std::string>(*source.data);
    const auto answer = source.url ? recorder.claim(source.url->absoluteString()) : std::nullopt;
    return answer ? answer->body : nullptr;
}

}  // namespace

VKTVASTModel::Ads Inspection::ads() const {
    return response.model ? response.model->ads() : VKTVASTModel::Ads();
}

bool Inspection::hasValidAd() const {
    const auto all = ads();
    return std::any_of(all.begin(), all.end(), [](const auto& ad) { return ad->isValid(); });
}

std::optional<std::string> Inspection::transferProblem() const {
    if (requests.empty() || !requests.front().error) return std::nullopt;
    return requests.front().error->localizedDescription().value_or("the transfer failed");
}

Inspection inspect(const Source& source, InspectionText text, std::shared_ptr<VKTHTTPCanceller> canceller) {
    Inspection inspection;
    inspection.source = source.name;
    const auto recorder = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance(),
                                                              text == InspectionWithText);
    Listener listener(inspection);
    inspection.response =
        VKTVASTModelGenerator::initWithSessionManager(VKTURLSession::initWithSessionProvider(recorder), false,
                                                      std::move(canceller))
            .generateVASTModelFromXML(
                source.data, source.url, downloadTimeout,
                [&](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& document) {
                    inspection.errors.push_back({error, pixels, document.has_value()});
                },
                &listener);
    inspection.requests = recorder->records();
    if (text == InspectionWithText) inspection.text = textOf(source, *recorder);
    if (!inspection.response.model) return inspection;

    std::unordered_map<const VKTVASTAd*, std::size_t> places;
    for (const auto& ad : inspection.response.model->ads())
        places.emplace(ad.get(), places.size());
    for (const auto& ad : inspection.response.model->mainAds())
        inspection.mainAds.push_back(places.at(ad.get()));
    for (const auto& ad : inspection.response.model->passbackAds())
        inspection.passbackAds.push_back(places.at(ad.get()));
    return inspection;
}
