#include "report/DocumentSections.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/Text.h"
#include "inspection/Inspection.h"
#include "inspection/SourceMap.h"
#include "report/AdCard.h"
#include "report/AdReport.h"
#include "report/AdText.h"

namespace {

// Of a text that is shown as a whole.
constexpr std::size_t shownSourceSize = std::size_t{256} * 1024;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// Bytes of a line around what is marked in it. Many documents stand in one line.
constexpr std::size_t excerptMargin = 160;
constexpr std::size_t markedSize = 640;

// The next character at or after the byte.
std::size_t endOf(std::string_view text, std::size_t byte) {
    const auto isInside = [&](std::size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
    };
    while (byte < text.size() && isInside(byte))
        ++byte;
    return std::min(byte, text.size());
}

// Where what is shown before a byte begins.
std::size_t startOf(std::string_view text, std::size_t byte) {
    return std::min(endOf(text, byte - std::min(byte, excerptMargin)), byte);
}

std::string textOfMilliseconds(double milliseconds) {
    std::ostringstream text;
    text.precision(milliseconds < 10 ? 1 : 0);
    text << std::fixed << milliseconds << " ms";
    return text.str();
}

HTML classed(const char* name, const char* className, const HTML& content) {
    return HTML::element(name, {{"class", className}}, content);
}

std::string factsOf(const MetDocument& document) {
    std::vector<std::string> facts;
    if (document.version) facts.push_back("VAST " + *document.version);
    if (document.request) {
        const RequestRecord& request = *document.request;
        if (request.statusCode) facts.push_back("HTTP " + std::to_string(*request.statusCode));
        facts.push_back(textOfMilliseconds(request.milliseconds));
    }
    if (document.version)
        facts.push_back(countOf(document.ads, "ad") + ", " + std::to_string(document.adsTaken) + " taken");
    const std::size_t lost = document.dropped.count();
    if (lost > 0) facts.push_back(countOf(lost, "element") + " dropped");
    return vkt_joined(facts, ", ");
}

std::string fragmentOf(const std::string& id, std::size_t line) {
    return id + "-line-" + std::to_string(line);
}

// As XML counts them: a line ends with a carriage return, a line feed, or both.
constexpr std::string_view lineEnds = "\r\n";

// Takes the first line off the text; the last one leaves nothing.
std::string_view takeLine(std::optional<std::string_view>& text) {
    const std::string_view line = text->substr(0, text->find_first_of(lineEnds));
    text->remove_prefix(line.size());
    if (text->empty()) {
        text.reset();
    } else {
        text->remove_prefix(text->starts_with(lineEnds) ? 2 : 1);
    }
    return line;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::optional<std::string_view> rest = text; rest;)
        lines.push_back(takeLine(rest));
    return lines;
}

// The line of a place with the place marked; of a long one what is around it. No more of the text is looked
// at.
HTML excerptAt(const SourcePlace& place, std::string_view text) {
    const std::size_t begin = startOf(text, place.offset);
    std::string_view before = text.substr(begin, place.offset - begin);
    const std::size_t lineEnd = before.find_last_of(lineEnds);
    const bool isCut = lineEnd == std::string_view::npos && begin > 0 &&
                       lineEnds.find(text[begin - 1]) == std::string_view::npos;
    if (lineEnd != std::string_view::npos) before.remove_prefix(lineEnd + 1);
    if (!isCut) before.remove_prefix(std::min(before.find_first_not_of(" \t"), before.size()));
    const std::size_t tagEnd = endOf(text, place.offset + std::min(place.length, markedSize));
    const std::string_view after = text.substr(tagEnd, endOf(text, tagEnd + excerptMargin) - tagEnd);
    return HTML(isCut ? "…" : "") + before +
           HTML::element("mark", text.substr(place.offset, tagEnd - place.offset)) +
           after.substr(0, after.find_first_of(lineEnds));
}

HTML shownLines(const std::vector<std::string_view>& lines, const std::set<std::size_t>& marked,
                const std::string& id) {
    HTML items;
    for (std::size_t line = 1; line <= lines.size(); ++line) {
        const HTML text = HTML::element("code", lines[line - 1]);
        items += HTML::element("li", {{"id", fragmentOf(id, line)}},
                               marked.contains(line) ? HTML::element("mark", text) : text);
    }
    return HTML::element("ol", {{"class", "source"}}, items);
}

/// The remarks of one document, beside its text when that can be shown.
class RemarkList {
  public:
    RemarkList(const VKTData& text, std::string id, const std::vector<std::string>& paths)
        : text_(isShowable(text) ? std::string_view(*text) : std::string_view()),
          id_(std::move(id)),
          map_(text_, paths) {}

    void add(const Remark& remark, const char* kind) {
        HTML item = HTML::element("span", {{"class", std::string("badge ") + kind}}, kind);
        item += " ";
        item += HTML::element("code", remark.path);
        item += " " + shortened(remark.reason);
        if (const SourcePlace* place = map_.placeOf(remark.path)) {
            marked_.insert(place->line);
            const std::string words = "line " + std::to_string(place->line);
            item += " (";
            item += isShown() ? HTML::element("a", {{"href", "#" + fragmentOf(id_, place->line)}}, words)
                              : HTML(words);
            item += ")";
            item += HTML::element("pre", excerptAt(*place, text_));
        }
        items_ += HTML::element("li", item);
    }
    void addCount(std::size_t count) {
        if (count > 0) items_ += HTML::element("li", "and " + std::to_string(count) + " more");
    }
    void mark(std::size_t line) { marked_.insert(line); }

    [[nodiscard]] std::string_view text() const { return text_; }

    [[nodiscard]] HTML shown() const {
        HTML html = items_.empty() ? HTML() : classed("ul", "remarks", items_);
        if (!isShown() || text_.empty()) return html;
        const auto lines = linesOf(text_);
        return html + HTML::element("details",
                                    HTML::element("summary", "Source, " + countOf(lines.size(), "line")),
                                    shownLines(lines, marked_, id_));
    }

  private:
    // Not one of two bytes a character.
    static bool isShowable(const VKTData& text) {
        return text && text->find('\0') > 1 && !text->starts_with("\xFE\xFF") &&
               !text->starts_with("\xFF\xFE");
    }

    [[nodiscard]] bool isShown() const { return text_.size() <= shownSourceSize; }

    const std::string_view text_;
    const std::string id_;
    const SourceMap map_;
    std::set<std::size_t> marked_;
    HTML items_;
};

RemarkList remarkList(const Remarks& dropped, const Remarks& needingAttention, const VKTData& text,
                      const std::string& id) {
    std::vector<std::string> paths;
    const auto each = [](const Remarks& remarks, auto use) {
        for (std::size_t i = 0; i < std::min(remarks.kept.size(), pageListLimit); ++i)
            use(remarks.kept[i]);
    };
    for (const Remarks* remarks : {&dropped, &needingAttention})
        each(*remarks, [&paths](const Remark& remark) { paths.push_back(remark.path); });
    RemarkList list(text, id, paths);
    for (const auto& [remarks, kind] :
         {std::pair(&needingAttention, "look"), std::pair(&dropped, "dropped")}) {
        each(*remarks, [&list, kind = kind](const Remark& remark) { list.add(remark, kind); });
        list.addCount(remarks->count() - std::min(remarks->kept.size(), pageListLimit));
    }
    return list;
}

// An ad leads to no other here: it is told what it is and why nothing came of it.
HTML adsOf(const MetDocument& document) {
    Source source;
    source.data = *document.text;
    const Inspection inspection = inspect(source);
    return listOf(inspection.ads(), [](const auto& ad) {
        return HTML(headingOf(*ad)) + (ad->isValid() ? ": valid" : ": not valid: " + ad->invalidReason()) +
               contentsOfAd(*ad, VKTDefaultNetworkAccessType);
    });
}

// The byte of a character, both from 0.
std::size_t byteOf(std::string_view text, std::size_t character) {
    std::size_t byte = 0;
    for (; character > 0 && byte < text.size(); --character)
        byte = endOf(text, byte + 1);
    return byte;
}

HTML faultOf(const MetDocument& document, RemarkList& list) {
    if (!document.faultLine || list.text().empty()) return {};
    const auto number = static_cast<std::size_t>(*document.faultLine);
    list.mark(number);
    std::optional<std::string_view> rest = list.text();
    if (rest->starts_with(byteOrderMark)) rest->remove_prefix(byteOrderMark.size());
    std::string_view line;
    for (std::size_t i = 0; i < number && rest; ++i)
        line = takeLine(rest);
    const auto column = static_cast<std::size_t>(std::max<std::int64_t>(document.faultColumn.value_or(1), 1));
    const std::size_t place = byteOf(line, column - 1);
    const std::size_t begin = startOf(line, place);
    return HTML::element(
        "pre", std::to_string(number) + ": ", line.substr(begin, place - begin),
        HTML::element("mark", line.substr(place, endOf(line, place + excerptMargin) - place)));
}

}  // namespace

HTML itemOfDocument(const MetDocument& document, std::size_t place, const std::string& source,
                    const HTML& below) {
    const bool isGood = document.problem.empty();
    HTML html = classed("span", isGood ? "badge good" : "badge bad", isGood ? "leads on" : "no ad");
    html += " ";
    html += document.url ? linkTo(*document.url) : HTML(nameOfDocument(document, source));
    html += " ";
    html += classed("span", "facts", factsOf(document));
    HTML item = HTML::element("p", html);
    if (!isGood) item += classed("p", "reason", shortened(document.problem));
    const std::string number = std::to_string(place);
    return HTML::element("li", {{"id", "document-" + number}}, item,
                         HTML::element("ul", {{"id", "below-" + number}}, below));
}

HTML treeOfDocuments(const std::vector<MetDocument>& documents, const std::string& source) {
    std::vector<std::vector<std::size_t>> children(documents.size());
    std::vector<std::size_t> roots;
    for (std::size_t place = 0; place < documents.size(); ++place)
        (documents[place].parent ? children[*documents[place].parent] : roots).push_back(place);
    // A document comes after the one that led to it.
    std::vector<HTML> items(documents.size());
    for (std::size_t place = documents.size(); place-- > 0;) {
        HTML below;
        for (const std::size_t child : children[place])
            below += std::exchange(items[child], {});
        items[place] = itemOfDocument(documents[place], place, source, below);
    }
    HTML tree;
    for (const std::size_t root : roots)
        tree += items[root];
    return tree;
}

HTML sectionOfDocument(const MetDocument& document, std::size_t place, const std::string& source) {
    const bool isSilent =
        document.problem.empty() && document.dropped.count() == 0 && document.needingAttention.count() == 0;
    if (isSilent || (!document.text && document.dropped.count() == 0)) return {};
    HTML html = HTML::element("h3", nameOfDocument(document, source));
    const std::string id = "source-" + std::to_string(place);
    RemarkList list = remarkList(document.dropped, document.needingAttention, document.text, id);
    html += faultOf(document, list);
    html += list.shown();
    if (!document.problem.empty() && document.text) html += adsOf(document);
    return HTML::element("section", {{"id", id}}, html);
}

HTML sectionsOfDocuments(const std::vector<MetDocument>& documents, const std::string& source) {
    HTML sections;
    for (std::size_t place = 0; place < documents.size(); ++place)
        sections += sectionOfDocument(documents[place], place, source);
    return sections;
}

HTML listOfErrors(const std::vector<ReportedError>& errors) {
    std::vector<const ReportedError*> distinct;
    std::map<std::string, std::size_t> counts;
    for (const ReportedError& error : errors) {
        if (counts[lineOfError(error)]++ == 0) distinct.push_back(&error);
    }
    return listOf(distinct, [&counts](const ReportedError* reported) {
        const VKTVASTError& error = reported->error;
        const bool hasCode = error.VASTCode() != -1;
        HTML html =
            classed("span", hasCode ? "badge bad" : "badge",
                    hasCode ? "VAST " + std::to_string(error.VASTCode()) : std::to_string(error.korvoCode()));
        html += " " + error.errorDescription().value_or("");
        if (reported->detail) html += " " + *reported->detail;
        html += " ";
        html += HTML::element("code", error.errorName());
        if (const std::size_t count = counts[lineOfError(*reported)]; count > 1)
            html += " (" + std::to_string(count) + " times)";
        if (!hasCode)
            return html + classed("p", "facts", "It has no VAST code, so no error pixel is called.");
        if (reported->errorURLs.empty())
            return html + classed("p", "facts", "There is no error pixel to call.");
        return html + HTML::element("details",
                                    HTML::element("summary", "Error pixels: " +
                                                                 std::to_string(reported->errorURLs.size())),
                                    listOf(reported->errorURLs, [](const VKTVASTURL& url) {
                                        return HTML::element("code", shortened(url.url().absoluteString()));
                                    }));
    });
}
