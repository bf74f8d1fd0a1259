#include "report/AdText.h"

#include <iomanip>
#include <map>
#include <sstream>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/MediaFileChoice.h"
#include "ground/Text.h"

namespace {

const char* const indent = "   ";

// "3 impressions, 2 error pixels": only what is there.
class Counts {
  public:
    void add(std::size_t count, const std::string& noun) {
        if (count > 0) pieces_.push_back(countOf(count, noun));
    }
    [[nodiscard]] bool empty() const { return pieces_.empty(); }
    [[nodiscard]] std::string text() const { return vkt_joined(pieces_, ", "); }

  private:
    std::vector<std::string> pieces_;
};

using Lines = std::vector<std::string>;

template <typename Creatives>
std::size_t creativesIn(const Creatives& creatives) {
    return creatives.empty() || creatives.front()->isHolder() ? 0 : creatives.size();
}

void appendLinear(Lines& lines, const VKTVASTCreativeLinear& creative, std::uint32_t networkAccessType) {
    std::string heading = "linear, " + creative.duration().value_or("of unknown duration");
    if (creative.skipOffset()) heading += ", skippable after " + *creative.skipOffset();
    lines.push_back(indent + heading);
    const auto add = [&lines](const char* label, const std::string& text) {
        lines.push_back(indent + std::string("  ") + label + text);
    };
    if (const auto file = chosenMediaFile(creative, networkAccessType)) {
        add("plays     ", file->url->url().absoluteString());
        const std::size_t count = creative.mediaFiles().size();
        add("          ",
            textOfMediaFile(*file) + (count > 1 ? "; chosen of " + std::to_string(count) : std::string()));
    } else {
        add("plays     ", "nothing: it has no media file");
    }
    if (!creative.trackingEvents().empty()) add("tracking  ", textOfTracking(creative));
    if (creative.clickThrough()) add("click     ", creative.clickThrough()->url().absoluteString());
    Counts counts;
    counts.add(creative.clickTracking().size(), "click tracker");
    counts.add(creative.icons().size(), "icon");
    counts.add(creative.universalAdIds().size(), "universal ad id");
    if (!counts.empty()) add("with      ", counts.text());
}

}  // namespace

std::string headingOf(const VKTVASTAd& ad) {
    std::ostringstream out;
    out << "ad " << ad.adID().value_or("without id");
    if (ad.adTitle()) out << ", \"" << *ad.adTitle() << '"';
    if (ad.adSystem()) out << " from " << *ad.adSystem();
    if (ad.hasSequence()) out << ", sequence " << *ad.adSequence();
    if (ad.wrapperDepth() > 0) {
        out << ", behind " << countOf(static_cast<std::size_t>(ad.wrapperDepth()), "wrapper");
    }
    return out.str();
}

std::vector<std::string> linesOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType) {
    Lines lines{headingOf(ad)};
    for (const auto& creative : ad.linearCreatives()) {
        if (!creative->isHolder()) appendLinear(lines, *creative, networkAccessType);
    }
    Counts counts;
    counts.add(creativesIn(ad.nonLinearCreatives()), "non-linear creative");
    counts.add(creativesIn(ad.companionCreatives()), "companion");
    counts.add(ad.impressions().size(), "impression");
    counts.add(ad.errorPixels().size(), "error pixel");
    counts.add(ad.viewabilityEvents().size(), "viewability event");
    counts.add(ad.adVerifications().size(), "verification");
    if (!counts.empty()) lines.push_back(indent + counts.text());
    return lines;
}

std::string textOfTracking(const VKTVASTCreative& creative) {
    std::vector<std::string> names;  // in the order of their first event
    std::map<std::string, std::size_t> counts;
    for (const auto& event : creative.trackingEvents()) {
        if (counts[event->name()]++ == 0) names.push_back(event->name());
    }
    std::vector<std::string> pieces;
    for (const std::string& name : names) {
        const std::size_t count = counts[name];
        pieces.push_back(count == 1 ? name : name + " x" + std::to_string(count));
    }
    return vkt_joined(pieces, ", ");
}

std::string textOfMediaFile(const VKTVASTMediaFile& file) {
    std::string text = file.type.value_or("no type");
    if (file.width >= 0 && file.height >= 0) {
        text += ", " + vkt_numberDescription(file.width) + " x " + vkt_numberDescription(file.height);
    }
    text += file.bitrate >= 0 ? ", " + vkt_numberDescription(file.bitrate) + " kbit/s" : ", bitrate unknown";
    return text;
}

std::vector<std::string> linesOfURLs(const std::vector<VKTVASTURL>& urls) {
    Lines lines;
    for (const VKTVASTURL& url : urls)
        lines.push_back(indent + url.url().absoluteString());
    return lines;
}

std::vector<std::string> linesOfRequests(const std::vector<RequestRecord>& requests) {
    Lines lines;
    for (const RequestRecord& request : requests) {
        std::ostringstream line;
        line << indent << std::setw(5)
             << (request.error ? request.error->code() : request.statusCode.value_or(0)) << std::setw(9)
             << std::fixed << std::setprecision(1) << request.milliseconds << " ms  " << request.url;
        lines.push_back(line.str());
        if (request.error) {
            lines.push_back(indent + std::string(19, ' ') +
                            request.error->localizedDescription().value_or(""));
        }
    }
    return lines;
}
