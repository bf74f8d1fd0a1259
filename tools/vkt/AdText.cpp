#include "AdText.h"

#include <iomanip>
#include <map>
#include <sstream>

#include "AdReport.h"
#include "VKTCoreKit/foundation/VKTText.h"

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

void appendLinear(std::ostream& out, const VKTVASTCreativeLinear& creative, std::uint32_t networkAccessType) {
    out << indent << "linear, " << onOneLine(creative.duration().value_or("of unknown duration"));
    if (creative.skipOffset()) out << ", skippable after " << onOneLine(*creative.skipOffset());
    out << '\n';
    if (const auto file = chosenMediaFile(creative, networkAccessType)) {
        out << indent << "  plays     " << file->url->url().absoluteString() << '\n';
        out << indent << "            " << textOfMediaFile(*file);
        if (creative.mediaFiles().size() > 1) out << "; chosen of " << creative.mediaFiles().size();
        out << '\n';
    } else {
        out << indent << "  plays     nothing: it has no media file\n";
    }
    if (!creative.trackingEvents().empty()) {
        out << indent << "  tracking  " << onOneLine(textOfTracking(creative)) << '\n';
    }
    if (creative.clickThrough()) {
        out << indent << "  click     " << creative.clickThrough()->url().absoluteString() << '\n';
    }
    Counts counts;
    counts.add(creative.clickTracking().size(), "click tracker");
    counts.add(creative.icons().size(), "icon");
    counts.add(creative.universalAdIds().size(), "universal ad id");
    if (!counts.empty()) out << indent << "  with      " << counts.text() << '\n';
}

}  // namespace

std::string onOneLine(std::string_view text) {
    std::string line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isTwoByteControl =
            byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (isTwoByteControl) ++i;
        const bool isControl = isTwoByteControl || byte < ' ' || byte == 0x7F;
        line += isControl ? ' ' : text[i];
    }
    return line;
}

std::string countOf(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string headingOf(const VKTVASTAd& ad) {
    std::ostringstream out;
    out << "ad " << ad.adID().value_or("without id");
    if (ad.adTitle()) out << ", \"" << *ad.adTitle() << '"';
    if (ad.adSystem()) out << " from " << *ad.adSystem();
    if (ad.hasSequence()) out << ", sequence " << *ad.adSequence();
    if (ad.wrapperDepth() > 0) {
        out << ", behind " << countOf(static_cast<std::size_t>(ad.wrapperDepth()), "wrapper");
    }
    return onOneLine(out.str());
}

std::string textOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType) {
    std::ostringstream out;
    out << headingOf(ad) << '\n';
    for (const auto& creative : ad.linearCreatives())
        appendLinear(out, *creative, networkAccessType);
    Counts counts;
    counts.add(ad.nonLinearCreatives().size(), "non-linear creative");
    counts.add(ad.companionCreatives().size(), "companion");
    counts.add(ad.impressions().size(), "impression");
    counts.add(ad.errorPixels().size(), "error pixel");
    counts.add(ad.viewabilityEvents().size(), "viewability event");
    counts.add(ad.adVerifications().size(), "verification");
    if (!counts.empty()) out << indent << counts.text() << '\n';
    return out.str();
}

std::string textOfMediaFile(const VKTVASTMediaFile& file) {
    std::string text = file.type.value_or("no type");
    if (file.width >= 0 && file.height >= 0) {
        text += ", " + vkt_numberDescription(file.width) + " x " + vkt_numberDescription(file.height);
    }
    text += file.bitrate >= 0 ? ", " + vkt_numberDescription(file.bitrate) + " kbit/s" : ", bitrate unknown";
    return onOneLine(text);
}

std::string linesOfURLs(const std::vector<VKTVASTURL>& urls) {
    std::string lines;
    for (const VKTVASTURL& url : urls)
        lines += indent + url.url().absoluteString() + "\n";
    return lines;
}

std::string textOfRequests(const std::vector<RequestRecord>& requests) {
    std::ostringstream out;
    for (const RequestRecord& request : requests) {
        out << indent << std::setw(5)
            << (request.error ? std::to_string(request.error->code())
                              : std::to_string(request.statusCode.value_or(0)))
            << std::setw(9) << std::fixed << std::setprecision(1) << request.milliseconds << " ms  "
            << request.url << '\n';
        if (request.error) {
            out << indent << "                   " << request.error->localizedDescription().value_or("")
                << '\n';
        }
    }
    return out.str();
}
