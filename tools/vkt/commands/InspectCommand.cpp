// vkt inspect: one document as the library reads it, without following where it leads.
#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "VKTCoreKit/vast/VKTVASTModelGenerator.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/Source.h"
#include "ground/Text.h"
#include "inspection/Inspection.h"
#include "report/AdReport.h"
#include "report/AdText.h"

namespace {

struct InspectOptions {
    std::string source;  ///< a file, "-" or a URL
    bool JSON = false;
};

constexpr VKTTimeInterval downloadTimeout{30};

// Keeps the last body that another provider brings: the generator gives a model only. Any thread.
class BodyKeeper : public VKTURLSessionProviderProtocol {
  public:
    explicit BodyKeeper(std::shared_ptr<VKTURLSessionProviderProtocol> provider)
        : provider_(std::move(provider)), body_(std::make_shared<Body>()) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) override {
        return provider_->dataRequest(request, [body = body_, handler = std::move(completionHandler)](
                                                   const VKTURLSessionResponse& response,
                                                   const std::shared_ptr<VKTURLSessionTask>& task) {
            {
                const std::lock_guard lock(body->mutex);
                body->data = response.data();
            }
            if (handler) handler(response, task);
        });
    }

    [[nodiscard]] VKTData data() const {
        const std::lock_guard lock(body_->mutex);
        return body_->data;
    }

  private:
    struct Body {
        std::mutex mutex;
        VKTData data;
    };

    std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    std::shared_ptr<Body> body_;  // shared with requests under way
};

using Indices = std::vector<std::size_t>;

struct Report {
    VKTVASTParserResponse response;
    VKTVASTModel::Ads ads;
    Indices mainAds;  // indices into `ads`
    Indices passbackAds;
    Inspection inspection;
    std::vector<ReportedError> errors;
    std::vector<RequestRecord> requests;
};

Report readDocument(const Source& source) {
    Report report;
    const auto recorder = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance());
    const auto keeper = std::make_shared<BodyKeeper>(recorder);
    const auto generator =
        VKTVASTModelGenerator::initWithSessionManager(VKTURLSession::initWithSessionProvider(keeper));
    report.response = generator.generateVASTModelFromXML(
        source.data, source.url, downloadTimeout,
        [&](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& document) {
            report.errors.push_back({error, pixels, document.has_value()});
        });
    report.requests = recorder->records();

    const VKTData body = keeper->data();
    const VKTVASTModel* model = report.response.model.get();
    if (source.data) {
        report.inspection = inspectDocument(*source.data, model);
    } else if (body) {
        report.inspection = inspectDocument(*body, model);
    }
    if (model == nullptr) return report;

    report.ads = model->ads();
    std::unordered_map<const VKTVASTAd*, std::size_t> places;
    for (const auto& ad : report.ads)
        places.emplace(ad.get(), places.size());
    const auto indicesOf = [&](const VKTVASTModel::Ads& ads) {
        Indices indices;
        for (const auto& ad : ads)
            indices.push_back(places.at(ad.get()));
        return indices;
    };
    report.mainAds = indicesOf(model->mainAds());
    report.passbackAds = indicesOf(model->passbackAds());
    return report;
}

const char* kindOf(const VKTVASTAd& ad) {
    return ad.isWrapper() ? "wrapper" : "inline";
}

// JSON.

VKTArray reportOfIndices(const Indices& indices) {
    VKTArray array;
    for (const std::size_t index : indices)
        array.emplace_back(static_cast<std::int64_t>(index));
    return array;
}

JSONReport reportOfInspection(const std::string& source, const Report& report) {
    const VKTVASTModel* model = report.response.model.get();
    VKTValue version;
    if (model != nullptr) version = model->version();
    auto ads = JSONReport::listOf(report.ads, [](const auto& ad) {
        JSONReport entry = reportOfAd(*ad, VKTDefaultNetworkAccessType);
        entry.add("kind", kindOf(*ad));
        entry.add("valid", ad->isValid());
        return entry;
    });
    auto dropped = JSONReport::listOf(report.inspection.dropped, [](const DroppedElement& element) {
        return VKTDictionary{{"path", element.path}, {"reason", element.reason}};
    });
    return JSONReport::object({{"source", source},
                               {"version", std::move(version)},
                               {"ads", std::move(ads)},
                               {"mainAds", reportOfIndices(report.mainAds)},
                               {"passbackAds", reportOfIndices(report.passbackAds)},
                               {"documentErrorPixels", model == nullptr ? JSONReport(VKTArray())
                                                                        : reportOfURLs(model->errorPixels())},
                               {"dropped", std::move(dropped)},
                               {"errors", reportOfErrors(report.errors)},
                               {"requests", reportOfRequests(report.requests)},
                               {"end", reportOfError(report.response.error)}});
}

// Text for people.

void printLabelled(const char* label, const std::string& text) {
    constexpr std::size_t textColumn = 15;
    std::string line = std::string("     ") + label;
    line.resize(textColumn, ' ');
    std::cout << line << text << '\n';
}

// "3 impressions, 1 companion": only what is there.
std::string textOfCounts(const std::vector<std::pair<std::size_t, const char*>>& counts) {
    std::vector<std::string> pieces;
    for (const auto& [count, noun] : counts) {
        if (count > 0) pieces.push_back(countOf(count, noun));
    }
    return vkt_joined(pieces, ", ");
}

void printMediaFile(const InspectedMediaFile& row) {
    static constexpr std::array verdicts{"chosen", "kept", "refused"};
    printLabelled(verdicts.at(row.verdict), textOfMediaFile(row.file));
    if (row.file.url) printLabelled("", row.file.url->url().absoluteString());
    printLabelled("", row.reason);
}

void printLinear(const InspectedLinear& linear, bool isWrapper) {
    std::cout << "   linear creative";
    if (!linear.creative) {
        std::cout << ", dropped: " << linear.dropReason << '\n';
    } else if (isWrapper) {
        std::cout << ", for tracking\n";
    } else {
        std::cout << ", " << onOneLine(linear.creative->duration().value_or("of unknown duration"));
        if (linear.creative->skipOffset()) {
            std::cout << ", skippable after " << onOneLine(*linear.creative->skipOffset());
        }
        std::cout << ", " << countOf(linear.mediaFiles.size(), "media file") << '\n';
    }
    for (const InspectedMediaFile& row : linear.mediaFiles)
        printMediaFile(row);
    if (!linear.creative) return;
    const std::string tracking =
        textOfCounts({{linear.creative->trackingEvents().size(), "tracking event"},
                      {linear.creative->clickTracking().size(), "click tracker"},
                      {linear.creative->icons().size(), "icon"},
                      {linear.creative->universalAdIds().size(), "universal ad id"}});
    if (!tracking.empty()) printLabelled("with", tracking);
    if (linear.creative->clickThrough()) {
        printLabelled("click to", linear.creative->clickThrough()->url().absoluteString());
    }
}

std::string useOf(bool isMain, bool isPassback) {
    if (isMain) return isPassback ? "main ad, and passback of itself" : "main ad";
    return isPassback ? "passback" : "not used: another ad comes before it";
}

void printAd(std::size_t index, const VKTVASTAd& ad, const InspectedAd& inspected, const std::string& use) {
    std::cout << "\n[" << index << "] " << kindOf(ad) << " ad "
              << onOneLine(ad.adID().value_or("without id"));
    if (ad.adTitle()) std::cout << ", " << '"' << onOneLine(*ad.adTitle()) << '"';
    if (ad.adSystem()) std::cout << " from " << onOneLine(*ad.adSystem());
    if (ad.hasSequence()) std::cout << ", sequence " << *ad.adSequence();
    std::cout << "\n   " << use << "; " << (ad.isValid() ? "valid" : "not valid: " + inspected.invalidReason)
              << '\n';
    if (ad.isWrapper()) {
        const auto next = ad.nextActionURL();
        std::cout << "   leads to "
                  << (next ? next->absoluteString() : "nowhere: it has no usable VASTAdTagURI") << '\n';
    }
    for (const InspectedLinear& linear : inspected.linearCreatives)
        printLinear(linear, ad.isWrapper());
    const std::string counts = textOfCounts({{ad.nonLinearCreatives().size(), "non-linear creative"},
                                             {ad.companionCreatives().size(), "companion"},
                                             {ad.impressions().size(), "impression"},
                                             {ad.errorPixels().size(), "error pixel"},
                                             {ad.viewabilityEvents().size(), "viewability event"},
                                             {ad.adVerifications().size(), "verification"}});
    if (!counts.empty()) std::cout << "   " << counts << '\n';
}

std::vector<bool> marksOf(const Indices& indices, std::size_t count) {
    std::vector<bool> marks(count);
    for (const std::size_t index : indices)
        marks[index] = true;
    return marks;
}

void printHeader(const std::string& source, const Report& report) {
    std::cout << source << '\n';
    if (const VKTVASTModel* model = report.response.model.get()) {
        std::cout << "VAST " << model->version() << ", " << countOf(report.ads.size(), "ad");
        if (model->isAdPod()) {
            std::cout << ", a pod of " << model->sequencedAdsCount();
        } else if (!report.ads.empty()) {
            std::cout << ", no pod";
        }
        std::cout << '\n';
    } else {
        const auto& error = report.response.error;
        std::cout << "not read: " << (error ? error->localizedDescription().value_or("") : "no answer")
                  << '\n';
        if (!report.inspection.XMLProblem.empty()) {
            std::cout << "not well-formed XML: " << report.inspection.XMLProblem << '\n';
        }
    }
}

void printText(const std::string& source, const Report& report) {
    printHeader(source, report);
    const std::vector<bool> isMain = marksOf(report.mainAds, report.ads.size());
    const std::vector<bool> isPassback = marksOf(report.passbackAds, report.ads.size());
    for (std::size_t i = 0; i < report.ads.size(); ++i)
        printAd(i, *report.ads[i], report.inspection.ads.at(i), useOf(isMain[i], isPassback[i]));

    const VKTVASTModel* model = report.response.model.get();
    if (model != nullptr && !model->errorPixels().empty()) {
        std::cout << "\nerror pixels of the document\n";
        Output::standard().lines(linesOfURLs(model->errorPixels()));
    }
    const auto& dropped = report.inspection.dropped;
    std::cout << "\ndropped: " << (dropped.empty() ? "nothing" : countOf(dropped.size(), "element")) << '\n';
    for (const DroppedElement& element : dropped)
        std::cout << "   " << element.path << "\n      " << element.reason << '\n';
    std::cout << "\nproblems: " << (report.errors.empty() ? "none" : std::to_string(report.errors.size()))
              << '\n';
    for (const ReportedError& error : report.errors)
        std::cout << "   " << lineOfError(error) << '\n';
    if (report.requests.empty()) return;
    std::cout << "\nrequests\n";
    Output::standard().lines(linesOfRequests(report.requests));
}

int runInspect(const InspectOptions& options) {
    const Source source = openSource(options.source);
    if (!source.problem.empty()) {
        printError("cannot read " + options.source + ": " + source.problem);
        return ExitSourceUnread;
    }
    const Report report = readDocument(source);
    if (options.JSON) {
        Output::standard().JSON(reportOfInspection(options.source, report));
        for (const ReportedError& error : report.errors)
            printError(lineOfError(error));
    } else {
        printText(options.source, report);
    }
    if (source.url && !report.requests.empty() && report.requests.front().error) {
        const auto reason = report.requests.front().error->localizedDescription();
        printError("cannot read " + options.source + ": " + reason.value_or("the transfer failed"));
        return ExitSourceUnread;
    }
    const bool isAnyValid =
        std::any_of(report.ads.begin(), report.ads.end(), [](const auto& ad) { return ad->isValid(); });
    return isAnyValid ? ExitPlayable : ExitNonePlayable;
}

}  // namespace

CommandRun addInspect(CLI::App& command) {
    const auto options = std::make_shared<InspectOptions>();
    addSource(command, options->source);
    addJSON(command, options->JSON);
    return [options] { return runInspect(*options); };
}
