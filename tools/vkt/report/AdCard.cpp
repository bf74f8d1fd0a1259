#include "report/AdCard.h"

#include <map>
#include <vector>

#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "ground/Text.h"
#include "report/AdText.h"

namespace {

HTML details(const std::string& summary, const HTML& content, bool isOpen = false) {
    if (content.empty()) return {};
    const HTML body = HTML::element("summary", summary) + content;
    return isOpen ? HTML::element("details", {{"open", ""}}, body) : HTML::element("details", body);
}

HTML badge(const char* kind, const std::string& text) {
    return HTML::element("span", {{"class", std::string("badge ") + kind}}, text);
}

HTML code(const std::string& text) {
    return HTML::element("code", shortened(text));
}

std::string sizeOf(float width, float height) {
    if (width <= 0 && height <= 0) return "";
    return " " + vkt_numberDescription(width) + " x " + vkt_numberDescription(height);
}

// ---- media files ----

HTML rowOfFile(const char* kind, const char* verdict, const VKTVASTMediaFile& file,
               const std::string& reason) {
    HTML what = textOfMediaFile(file);
    if (file.codec) what += ", codec " + *file.codec;
    if (file.delivery) what += ", " + *file.delivery;
    if (file.apiFramework) what += ", for " + *file.apiFramework;
    what += HTML::openingTag("br", {}) + (file.url ? linkTo(file.url->url()) : HTML("without a URL"));
    return HTML::element("tr", HTML::element("td", badge(kind, verdict)),
                         HTML::element("td", what, HTML::element("p", {{"class", "reason"}}, reason)));
}

HTML filesOf(const VKTVASTCreativeLinear& creative, std::uint32_t networkAccessType) {
    const auto selector = VKTVASTMediaFileSelector::initWithMinBitrate(
        0, VKTVASTDefaultMaximumBitrate, creative.mediaFiles(), networkAccessType);
    const auto verdicts = selector.verdicts();
    const auto& refused = creative.refusedMediaFiles();
    HTML rows;
    std::size_t chosen = 0;
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        const bool isChosen = verdicts[i].isChosen();
        chosen += isChosen ? 1 : 0;
        rows += rowOfFile(isChosen ? "good" : "", isChosen ? "chosen" : "kept", *selector.media()[i],
                          verdicts[i].reason);
    }
    for (const auto& file : refused)
        rows += rowOfFile("bad", "refused", *file, file->refusal());
    return details("Media files: " + std::to_string(chosen) + " chosen, " +
                       std::to_string(verdicts.size() - chosen) + " kept, " + std::to_string(refused.size()) +
                       " refused",
                   rows.empty() ? rows : HTML::element("table", HTML::element("tbody", rows)), true);
}

// ---- pixels ----

/// URLs by the name of what they are called for, in the order of the first of each.
class Pixels {
  public:
    void add(const std::string& name, const std::string& url) {
        auto& list = urls_[name];
        if (list.empty()) names_.push_back(name);
        list.push_back(url);
        ++count_;
    }
    void add(const std::string& name, const std::vector<VKTVASTURL>& urls) {
        for (const VKTVASTURL& url : urls)
            add(name, url.url().absoluteString());
    }
    void add(const VKTVASTCreative& creative) {
        for (const auto& event : creative.trackingEvents()) {
            add(event->offset() ? event->name() + " at " + *event->offset() : event->name(),
                event->url().absoluteString());
        }
        add("click", creative.clickTracking());
    }

    /// Not links: opening one of these would be counted.
    [[nodiscard]] HTML shown() const {
        HTML list;
        for (const std::string& name : names_) {
            list += HTML::element("dt", name);
            list +=
                HTML::element("dd", listOf(urls_.at(name), [](const std::string& url) { return code(url); }));
        }
        return details("Pixels: " + countOf(count_, "URL") + " for " + countOf(names_.size(), "event"),
                       list.empty() ? list : HTML::element("dl", list));
    }

  private:
    std::vector<std::string> names_;
    std::map<std::string, std::vector<std::string>> urls_;
    std::size_t count_ = 0;
};

// ---- creatives ----

bool isPicture(const VKTVASTCreativeResource& creative) {
    return creative.staticResource() && VKTURLUtils::URLHasHTTPScheme(creative.staticResource()->url()) &&
           vkt_lowercased(creative.staticResourceType().value_or("")).starts_with("image/");
}

// The inspector's page draws what is marked so; nothing is loaded by who opens a report.
HTML resourceOf(const VKTVASTCreativeResource& creative) {
    HTML html;
    if (const auto& resource = creative.staticResource()) {
        const std::string url = resource->url().absoluteString();
        html += linkTo(resource->url());
        html += ", " + creative.staticResourceType().value_or("of unknown type");
        if (isPicture(creative)) html += HTML::element("span", {{"data-picture", url}});
    }
    if (creative.iFrameResource()) html += HTML(" a page: ") + linkTo(creative.iFrameResource()->url());
    if (creative.htmlResource()) html += " a snippet of HTML";
    if (creative.clickThrough()) html += HTML("; a click leads to ") + linkTo(creative.clickThrough()->url());
    return html;
}

HTML creative(const std::string& name, const VKTVASTCreativeResource& creative) {
    Pixels pixels;
    pixels.add(creative);
    return HTML(name + ": ") + resourceOf(creative) + pixels.shown();
}

template <typename Creatives, typename ItemOf>
HTML creatives(const std::string& noun, const Creatives& creatives, ItemOf item) {
    if (creatives.empty() || creatives.front()->isHolder()) return {};
    return details(countOf(creatives.size(), noun), listOf(creatives, item));
}

HTML linearOf(const VKTVASTCreativeLinear& creative, bool isWrapper, std::uint32_t networkAccessType) {
    HTML html;
    if (!isWrapper) {
        std::string facts = "Linear, " + creative.duration().value_or("of unknown duration");
        if (creative.skipOffset()) facts += ", skippable after " + *creative.skipOffset();
        for (const auto& id : creative.universalAdIds())
            facts += ", universal ad id " + id.value + " (" + id.registry + ")";
        html += HTML::element("p", facts);
        html += filesOf(creative, networkAccessType);
    }
    if (creative.clickThrough()) {
        html += HTML::element("p", "A click leads to ", linkTo(creative.clickThrough()->url()));
    }
    if (creative.adParameters())
        html += details("Parameters", HTML::element("pre", *creative.adParameters()));
    return html + creatives("icon", creative.icons(), [](const auto& icon) {
               return ::creative(
                   icon->program().value_or("without program") + sizeOf(icon->width(), icon->height()),
                   *icon);
           });
}

HTML verificationsOf(const VKTVASTAd& ad) {
    return details(countOf(ad.adVerifications().size(), "verification"),
                   listOf(ad.adVerifications(), [](const VKTVASTAdVerification& verification) {
                       HTML html = "by " + verification.vendor.value_or("an unknown vendor");
                       html +=
                           listOf(verification.resources, [](const VKTVASTAdVerificationResource& resource) {
                               return HTML(resource.executableType ? "program " : "script ") +
                                      (resource.url ? linkTo(*resource.url) : HTML("without a URL")) +
                                      (resource.apiFramework ? ", for " + *resource.apiFramework : "");
                           });
                       if (verification.verificationParameters)
                           html += HTML("parameters ") + code(*verification.verificationParameters);
                       Pixels pixels;
                       for (const auto& event : verification.trackingEvents)
                           pixels.add(event->eventName(), event->eventURL().absoluteString());
                       return html + pixels.shown();
                   }));
}

HTML extensionOf(const VKTVASTAd& ad, Pixels& pixels) {
    const auto& extension = ad.extensions();
    if (!extension) return {};
    HTML list;
    const auto add = [&list](const std::string& name, const std::optional<std::string>& value) {
        if (value) list += HTML::element("dt", name) + HTML::element("dd", code(*value));
    };
    add("skip offset", extension->skipOffset);
    add("sort rank", extension->sortRank);
    add("custom script", extension->customScript);
    for (const auto& field : vkt_extensionNumberMacros()) {
        const auto& number = (*extension).*field.member;
        if (number) add(field.name, VKTValue(*number).description());
    }
    for (const auto* fields : {&vkt_extensionTextMacros(), &vkt_extensionRTBMacros()}) {
        for (const auto& field : *fields)
            add(field.name, (*extension).*field.member);
    }
    for (const auto& metric : extension->metrics)
        pixels.add("metric " + metric->name(), metric->url().absoluteString());
    return details("Extensions", list.empty() ? list : HTML::element("dl", list));
}

}  // namespace

HTML linkTo(const VKTURL& url) {
    const std::string& text = url.absoluteString();
    if (!VKTURLUtils::URLHasHTTPScheme(url)) return code(text);
    return HTML::element("a", {{"href", text}, {"rel", "noreferrer noopener"}, {"target", "_blank"}},
                         shortened(text));
}

HTML contentsOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType) {
    HTML html;
    Pixels pixels;
    pixels.add("impression", ad.impressions());
    pixels.add("error", ad.errorPixels());
    for (const auto& creative : ad.linearCreatives()) {
        html += creative->isHolder() ? HTML() : linearOf(*creative, ad.isWrapper(), networkAccessType);
        pixels.add(*creative);
    }
    for (const auto& creative : ad.refusedLinearCreatives()) {
        html += HTML::element("p", "Linear, dropped: ", creative->mediaFilesProblem());
        html += filesOf(*creative, networkAccessType);
    }
    for (const auto& event : ad.viewabilityEvents())
        pixels.add(event->eventName(), event->eventURL().absoluteString());
    html += creatives("non-linear creative", ad.nonLinearCreatives(), [](const auto& each) {
        return creative(each->id().value_or("without id") + sizeOf(each->width(), each->height()), *each);
    });
    html += creatives("companion", ad.companionCreatives(), [](const auto& each) {
        return creative(each->id().value_or("without id") + sizeOf(each->width(), each->height()), *each);
    });
    html += verificationsOf(ad);
    html += extensionOf(ad, pixels);
    return html + pixels.shown();
}

HTML cardOfAd(const VKTAdBreakAd& ad, std::size_t number, std::uint32_t networkAccessType, const HTML& more) {
    const std::string place = std::to_string(number);
    HTML verdict;
    if (ad.isPlayable()) {
        verdict = HTML::element("p", badge("good", "plays"), " ", linkTo(ad.mediaFile->url->url()), " (",
                                textOfMediaFile(*ad.mediaFile), ")");
    } else {
        verdict = HTML::element("p", badge("bad", "cannot be played"), " ", ad.problem);
    }
    return HTML::element("article", {{"id", "ad-" + place}, {"class", "ad"}},
                         HTML::element("h3", place + ". " + headingOf(*ad.ad)), verdict, more,
                         contentsOfAd(*ad.ad, networkAccessType));
}
