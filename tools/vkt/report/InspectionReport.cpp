#include "report/InspectionReport.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "ground/Text.h"
#include "report/AdReport.h"
#include "report/AdText.h"

namespace {

using Indices = std::vector<std::size_t>;

const char* kindOf(const VKTVASTAd& ad) {
    return ad.isWrapper() ? "wrapper" : "inline";
}

JSONReport reportOfIndices(const Indices& indices) {
    return JSONReport::listOf(indices,
                              [](std::size_t index) { return VKTValue(static_cast<std::int64_t>(index)); });
}

JSONReport reportOfRemarks(const Remarks& remarks) {
    return JSONReport::listOf(remarks.kept, [](const Remark& remark) {
        return VKTDictionary{{"path", remark.path}, {"reason", remark.reason}};
    });
}

JSONReport reportOfInspectedAd(const VKTVASTAd& ad) {
    JSONReport entry = reportOfAd(ad, VKTDefaultNetworkAccessType);
    entry.add("kind", kindOf(ad));
    const auto next = ad.nextActionURL();
    entry.add("nextActionURL", next ? VKTValue(next->absoluteString()) : VKTValue());
    entry.add("valid", ad.isValid());
    entry.add("invalidReason", ad.isValid() ? VKTValue() : VKTValue(ad.invalidReason()));
    return entry;
}

// The text for people. Lines below the heading of an ad stand at a label.
class Text {
  public:
    explicit Text(const Inspection& inspection) : inspection_(inspection), uses_(inspection) {}

    std::vector<std::string> lines() {
        header();
        const auto ads = inspection_.ads();
        for (std::size_t i = 0; i < ads.size(); ++i)
            ad(i, *ads[i]);
        const VKTVASTModel* model = inspection_.response.model.get();
        if (model != nullptr && !model->errorPixels().empty()) {
            heading("error pixels of the document");
            urls(model->errorPixels());
        }
        remarks("dropped", "element", inspection_.dropped);
        remarks("read, but look at this", "place", inspection_.needingAttention);
        const auto& errors = inspection_.errors;
        heading("problems: " + (errors.empty() ? "none" : std::to_string(errors.size())));
        for (const ReportedError& error : errors)
            add("   " + lineOfError(error));
        if (!inspection_.requests.empty()) {
            heading("requests");
            append(linesOfRequests(inspection_.requests));
        }
        return std::move(lines_);
    }

  private:
    void add(std::string line) { lines_.push_back(std::move(line)); }
    void append(const std::vector<std::string>& lines) {
        lines_.insert(lines_.end(), lines.begin(), lines.end());
    }
    void heading(const std::string& text) {
        add("");
        add(text);
    }
    void labelled(const char* label, const std::string& text) {
        constexpr std::size_t textColumn = 15;
        std::string line = std::string("     ") + label;
        line.resize(textColumn, ' ');
        add(line + text);
    }
    void urls(const std::vector<VKTVASTURL>& list) { append(linesOfURLs(list)); }

    void header() {
        add(inspection_.source);
        if (const VKTVASTModel* model = inspection_.response.model.get()) {
            std::string line = "VAST " + model->version() + ", " + countOf(model->ads().size(), "ad");
            if (model->isAdPod()) {
                line += ", a pod of " + std::to_string(model->sequencedAdsCount());
            } else if (!model->ads().empty()) {
                line += ", no pod";
            }
            return add(line);
        }
        const auto& error = inspection_.response.error;
        add("not read: " + (error ? error->localizedDescription().value_or("") : "no answer"));
        const std::string& problem = inspection_.response.outcome.problem;
        if (!problem.empty()) add("because " + problem);
    }

    void ad(std::size_t index, const VKTVASTAd& ad) {
        std::string line =
            "[" + std::to_string(index) + "] " + kindOf(ad) + " ad " + ad.adID().value_or("without id");
        if (ad.adTitle()) line += ", " + quoted(*ad.adTitle());
        if (ad.adSystem()) line += " from " + *ad.adSystem();
        if (ad.hasSequence()) line += ", sequence " + *ad.adSequence();
        heading(line);
        add("   " + uses_.of(index) + "; " + (ad.isValid() ? "valid" : "not valid: " + ad.invalidReason()));
        if (ad.isWrapper()) {
            const auto next = ad.nextActionURL();
            add("   leads to " + (next ? next->absoluteString() : "nowhere: it has no usable VASTAdTagURI"));
        }
        for (const auto& creative : ad.linearCreatives())
            linear(*creative, ad.isWrapper());
        for (const auto& creative : ad.refusedLinearCreatives()) {
            add("   linear creative" + idsOf(*creative) + ", dropped: " + creative->mediaFilesProblem());
            refusedFiles(*creative);
        }
        for (const auto& creative : ad.nonLinearCreatives()) {
            add("   non-linear creative" + idsOf(*creative) + sizeOf(creative->width(), creative->height()) +
                frameworkOf(creative->apiFramework()) + idOf(creative->id()));
            resource(*creative);
        }
        for (const auto& creative : ad.companionCreatives()) {
            add("   companion" + idsOf(*creative) + sizeOf(creative->width(), creative->height()) +
                idOf(creative->id()));
            resource(*creative);
        }
        for (const VKTVASTAdVerification& verification : ad.adVerifications())
            this->verification(verification);
        list("impressions", ad.impressions());
        list("error pixels", ad.errorPixels());
        if (ad.viewabilityEvents().empty()) return;
        add("   viewability");
        for (const auto& event : ad.viewabilityEvents())
            add("     " + event->eventName() + " " + event->eventURL().absoluteString());
    }

    void list(const std::string& name, const std::vector<VKTVASTURL>& list) {
        if (list.empty()) return;
        add("   " + name);
        for (const VKTVASTURL& url : list)
            add("     " + url.url().absoluteString());
    }

    void linear(const VKTVASTCreativeLinear& creative, bool isWrapper) {
        std::string line = "   linear creative" + idsOf(creative);
        if (isWrapper) {
            line += ", for tracking";
        } else {
            line += ", " + creative.duration().value_or("of unknown duration");
            if (creative.skipOffset()) line += ", skippable after " + *creative.skipOffset();
            line += ", " +
                    countOf(creative.mediaFiles().size() + creative.refusedMediaFiles().size(), "media file");
        }
        add(line);
        const auto selector = VKTVASTMediaFileSelector::initWithMinBitrate(0, VKTVASTDefaultMaximumBitrate,
                                                                           creative.mediaFiles());
        const auto verdicts = selector.verdicts();
        for (std::size_t i = 0; i < verdicts.size(); ++i)
            mediaFile(verdicts[i].isChosen() ? "chosen" : "kept", *selector.media()[i], verdicts[i].reason);
        refusedFiles(creative);
        tracking(creative);
        for (const VKTVASTUniversalAdId& id : creative.universalAdIds())
            labelled("id", id.value + " (" + id.registry + ")");
        for (const auto& icon : creative.icons()) {
            labelled("icon", icon->program().value_or("without program") +
                                 sizeOf(icon->width(), icon->height()) + frameworkOf(icon->apiFramework()));
            resource(*icon);
        }
    }

    void mediaFile(const char* verdict, const VKTVASTMediaFile& file, const std::string& reason) {
        labelled(verdict, textOfMediaFile(file) + frameworkOf(file.apiFramework));
        if (file.url) labelled("", file.url->url().absoluteString());
        labelled("", reason);
    }

    void refusedFiles(const VKTVASTCreativeLinear& creative) {
        for (const auto& file : creative.refusedMediaFiles())
            mediaFile("refused", *file, file->refusal());
    }

    void resource(const VKTVASTCreativeResource& creative) {
        if (creative.staticResource()) {
            labelled("image", creative.staticResource()->url().absoluteString() +
                                  (creative.staticResourceType() ? " (" + *creative.staticResourceType() + ")"
                                                                 : ", of unknown type"));
        }
        if (creative.iFrameResource()) labelled("iframe", creative.iFrameResource()->url().absoluteString());
        if (creative.htmlResource()) labelled("HTML", "a snippet");
        tracking(creative);
    }

    void tracking(const VKTVASTCreative& creative) {
        if (!creative.trackingEvents().empty()) labelled("tracking", textOfTracking(creative));
        if (creative.clickThrough()) labelled("click to", creative.clickThrough()->url().absoluteString());
        for (const VKTVASTURL& url : creative.clickTracking())
            labelled("on click", url.url().absoluteString());
    }

    void verification(const VKTVASTAdVerification& verification) {
        add("   verification by " + verification.vendor.value_or("an unknown vendor"));
        for (const auto& resource : verification.resources) {
            labelled(resource.executableType ? "program" : "script",
                     (resource.url ? resource.url->absoluteString() : "without a URL") +
                         frameworkOf(resource.apiFramework));
        }
    }

    static std::string sizeOf(float width, float height) {
        if (width <= 0 && height <= 0) return "";
        return ", " + vkt_numberDescription(width) + " x " + vkt_numberDescription(height);
    }

    static std::string frameworkOf(const std::optional<std::string>& framework) {
        if (!framework) return "";
        return vkt_equalsIgnoringCase(*framework, "VPAID")
                   ? ", a VPAID program that needs a player of its own"
                   : ", for " + *framework;
    }

    static std::string idsOf(const VKTVASTCreative& creative) {
        return (creative.creativeId() ? " " + *creative.creativeId() : "") +
               (creative.adId() ? " (ad id " + *creative.adId() + ")" : "");
    }

    static std::string idOf(const std::optional<std::string>& id) { return id ? ", id " + *id : ""; }

    void remarks(const std::string& title, const std::string& noun, const Remarks& remarks) {
        heading(title + ": " + (remarks.count() == 0 ? "nothing" : countOf(remarks.count(), noun)));
        for (const Remark& remark : remarks.kept) {
            add("   " + remark.path);
            add("      " + remark.reason);
        }
        if (remarks.untold > 0) add("   and " + std::to_string(remarks.untold) + " more");
    }

    const Inspection& inspection_;
    const AdUses uses_;
    std::vector<std::string> lines_;
};

}  // namespace

JSONReport reportOfInspection(const Inspection& inspection) {
    const VKTVASTModel* model = inspection.response.model.get();
    VKTDictionary document;
    addDocument(document, inspection.response.outcome);
    JSONReport ads{VKTArray()};
    JSONReport errorPixels{VKTArray()};
    if (model != nullptr) {
        ads = JSONReport::listOf(model->ads(), [](const auto& ad) { return reportOfInspectedAd(*ad); });
        errorPixels = reportOfURLs(model->errorPixels());
    }
    return JSONReport::object({{"source", inspection.source},
                               {"version", model == nullptr ? VKTValue() : VKTValue(model->version())},
                               {"ads", std::move(ads)},
                               {"mainAds", reportOfIndices(inspection.mainAds)},
                               {"passbackAds", reportOfIndices(inspection.passbackAds)},
                               {"documentErrorPixels", std::move(errorPixels)},
                               {"dropped", reportOfRemarks(inspection.dropped)},
                               {"errors", reportOfErrors(inspection.errors)},
                               {"requests", reportOfRequests(inspection.requests)},
                               {"end", reportOfError(inspection.response.error)},
                               {"document", std::move(document)},
                               {"droppedCount", inspection.dropped.count()},
                               {"needingAttention", reportOfRemarks(inspection.needingAttention)},
                               {"needingAttentionCount", inspection.needingAttention.count()}});
}

AdUses::AdUses(const Inspection& inspection) : isMain_(inspection.ads().size()), isPassback_(isMain_.size()) {
    for (const std::size_t place : inspection.mainAds)
        isMain_[place] = true;
    for (const std::size_t place : inspection.passbackAds)
        isPassback_[place] = true;
}

std::string AdUses::of(std::size_t place) const {
    if (isMain_[place]) return isPassback_[place] ? "main ad, and passback of itself" : "main ad";
    return isPassback_[place] ? "passback" : "not used: another ad comes before it";
}

std::vector<std::string> linesOfInspection(const Inspection& inspection) {
    return Text(inspection).lines();
}
