// The pages of "--report", and what the inspector's page is sent: whatever a document holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "tests/integration/LocalDemoServer.h"
#include "tests/integration/ToolRun.h"

namespace {

std::vector<std::string> matchesOf(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::vector<std::string> matches;
    for (std::sregex_iterator match(text.begin(), text.end(), regex); match != std::sregex_iterator();
         ++match)
        matches.push_back((*match)[1]);
    return matches;
}

// Texts and attributes that would be markup, were they not escaped.
constexpr const char* hostileDocument =
    "<VAST version='4.2'><Ad id='\"&gt;&lt;script&gt;1&lt;/script&gt;'><InLine>"
    "<AdSystem>&lt;img src=x onerror=2&gt;</AdSystem><AdTitle>\"'&gt;&lt;svg/onload=3&gt;</AdTitle>"
    "<Impression>javascript:4</Impression><Error>http://127.0.0.1:1/\"&gt;&lt;script&gt;5</Error>"
    "<Pricing>&lt;script&gt;</Pricing><Creatives>"
    "<Creative id='&lt;b&gt;'><UniversalAdId idRegistry='&lt;b&gt;'>&lt;b&gt;</UniversalAdId><Linear>"
    "<Duration>00:00:01</Duration><AdParameters>&lt;/pre&gt;&lt;script&gt;6</AdParameters>"
    "<TrackingEvents><Tracking event='start'>http://127.0.0.1:1/\" onclick=7</Tracking></TrackingEvents>"
    "<VideoClicks><ClickThrough>javascript:8</ClickThrough></VideoClicks><MediaFiles>"
    "<MediaFile type='video/mp4' codec='\" onclick=9'>http://127.0.0.1:1/\" onerror=10</MediaFile>"
    "<MediaFile type='&lt;script&gt;'>data:text/html,&lt;script&gt;11</MediaFile></MediaFiles>"
    "<Icons><Icon program='&lt;script&gt;'><StaticResource creativeType='image/svg+xml'>javascript:12"
    "</StaticResource></Icon></Icons></Linear></Creative>"
    "<Creative><CompanionAds><Companion id='&lt;u&gt;' width='1' height='1'><StaticResource creativeType="
    "'image/png'>http://127.0.0.1:1/\" onload=13</StaticResource></Companion></CompanionAds></Creative>"
    "</Creatives><AdVerifications><Verification vendor='&lt;script&gt;14'><JavaScriptResource>javascript:15"
    "</JavaScriptResource><VerificationParameters>&lt;/code&gt;&lt;script&gt;16</VerificationParameters>"
    "</Verification></AdVerifications></InLine></Ad></VAST>";

const std::set<std::string> harmlessElements{"a",     "article", "body", "br",     "code", "dd",   "details",
                                             "div",   "dl",      "dt",   "footer", "h1",   "h2",   "h3",
                                             "head",  "html",    "li",   "mark",   "meta", "ol",   "p",
                                             "pre",   "section", "span", "style",  "ul",   "td",   "summary",
                                             "table", "tbody",   "th",   "thead",  "tr",   "title"};

void expectHarmless(const std::string& html) {
    for (const std::string& name : matchesOf(html, "<([^/!][^ >]*)"))
        EXPECT_TRUE(harmlessElements.contains(name)) << "<" << name;
    for (const std::string& url : matchesOf(html, "href=\"([^\"]*)\""))
        EXPECT_TRUE(url.starts_with("http://") || url.starts_with("#")) << url;
    for (const std::string& attribute : matchesOf(html, "<[a-z0-9]+(?: [a-z-]+(?:=\"[^\"]*\")?)* (on[a-z]+)"))
        ADD_FAILURE() << attribute;
}

// Each id stands once, and each link within the page leads to one.
void expectLinksToLead(const std::string& page) {
    std::set<std::string> ids;
    for (const std::string& id : matchesOf(page, " id=\"([^\"]*)\""))
        EXPECT_TRUE(ids.insert(id).second) << id << " stands twice";
    for (const std::string& id : matchesOf(page, "href=\"#([^\"]*)\""))
        EXPECT_TRUE(ids.contains(id)) << "#" << id << " leads nowhere";
}

// What stands last in the text from `begin` to the next `end`.
std::string lastPiece(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t at = text.rfind(begin);
    return at == std::string::npos ? "nothing" : text.substr(at, text.find(end, at) - at);
}

class ReportPage : public testing::Test {
  protected:
    // The page of one run of the tool.
    [[nodiscard]] std::string pageOf(const std::string& arguments, const std::string& input = "") const {
        const std::string path = testing::TempDir() + "vkt-page-" + std::to_string(getpid());
        outcome_ = runTool(arguments + " --report " + path, input);
        std::string page = takeFile(path);
        expectLinksToLead(page);
        return page;
    }

    // What the inspector's page is sent, put together as the page does, with each id that there is.
    [[nodiscard]] std::string fragmentsOf(const std::string& arguments, const std::string& input) const {
        std::string html;
        std::set<std::string> ids{"result"};
        outcome_ = runTool(arguments + " --fragments", input);
        for (const std::string_view line : vkt_split(outcome_.out, '\n')) {
            if (line.empty()) continue;
            const VKTDictionary message = parsed(std::string(line));
            if (message.find("html") == nullptr) continue;
            const char* key = message.find("into") != nullptr ? "into" : "replace";
            EXPECT_TRUE(ids.contains(textAt(message, key))) << line;
            for (const std::string& id : matchesOf(textAt(message, "html"), " id=\"([^\"]*)\""))
                ids.insert(id);
            html += textAt(message, "html");
        }
        return html;
    }

    const LocalDemoServer server_;
    mutable Outcome outcome_;
};

TEST_F(ReportPage, NothingOfADocumentBecomesMarkup) {
    for (const char* arguments :
         {"inspect -", "resolve -", "play - --speed 0 --wait 0 --request-timeout 1 --measure"}) {
        const std::string page = pageOf(arguments, hostileDocument);
        EXPECT_NE(page.find("svg/onload=3"), std::string::npos) << arguments << outcome_.err;
        expectHarmless(page);
        expectHarmless(
            fragmentsOf(std::string(arguments).starts_with("i") ? "resolve -" : arguments, hostileDocument));
    }
}

TEST_F(ReportPage, EveryFragmentHasAPlace) {
    for (const char* path : {"/demo", "/passback", "/pod-broken/3", "/self", "/malformed", "/empty-error"}) {
        for (const char* command : {"resolve ", "play --speed 0 --measure --wait 2 "})
            EXPECT_NE(fragmentsOf(command + server_.url(path), "").find("id=\"verdict\""), std::string::npos)
                << path;
    }
}

struct MarkRow {
    const char* name;
    std::string document;
    std::vector<std::string> lines;  // those that are marked in the source
};

// An ad that is whole, with something above its first line and something among its elements.
std::string adWith(const std::string& before, const std::string& inside) {
    return before +
           "<VAST version='4.2'>\n<Ad id='1'>\n<InLine>\n<AdSystem>s</AdSystem><AdTitle>t</AdTitle>\n" +
           inside +
           "<Impression>http://i/</Impression><Creatives><Creative><Linear><Duration>00:00:05</"
           "Duration><MediaFiles>"
           "<MediaFile "
           "type='video/mp4'>http://m/</MediaFile></MediaFiles></Linear></Creative></Creatives></InLine></Ad>"
           "</VAST>";
}

std::string withReturns(std::string text) {
    std::replace(text.begin(), text.end(), '\n', '\r');
    return text;
}

TEST_F(ReportPage, WhatIsDroppedIsMarkedInItsLine) {
    const MarkRow rows[] = {
        {"nothing", adWith("", ""), {}},
        {"an element", adWith("", "<Odd/>\n"), {"5"}},
        {"the second of three",
         adWith("", "<Error>http://e/</Error>\n<Error/>\n<Error>http://f/</Error>\n"),
         {"6"}},
        {"behind a declaration and a comment",
         adWith("<?xml version='1.0'?>\n<!-- \n -->\n", "<Odd/>\n"),
         {"8"}},
        {"behind a byte order mark", adWith("\xEF\xBB\xBF", "<Odd/>\n"), {"5"}},
        {"behind a document type", adWith("<!DOCTYPE VAST>\n", "<Odd/>\n"), {"6"}},
        {"an attribute", adWith("", "<AdServingId odd='1'>\nx</AdServingId>\n"), {"5"}},
        {"a text", adWith("", "<Creatives/>\n"), {"5"}},
        {"behind carriage returns alone", withReturns(adWith("", "<Odd/>\n")), {"5"}},
        {"behind a mark that the declaration contradicts",
         adWith("\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-16'?>\n", "<Odd/>\n"),
         {"6"}},
        {"a fault in the XML", "<VAST version='4.2'>\n<Ad>\n</VAST>", {"3"}},
        {"two bytes a character", std::string("\xFF\xFE<\0V\0A\0S\0T\0/\0>\0", 16), {}},
    };
    for (const auto& [name, document, lines] : rows) {
        const std::string page = pageOf("resolve -", document);
        EXPECT_EQ(matchesOf(page, "<li id=\"source-0-line-(\\d+)\"><mark>"), lines) << name;
    }
}

TEST_F(ReportPage, OfALongLineWhatIsAroundTheElementIsShown) {
    std::string document = adWith("", "<Odd/>");
    std::erase(document, '\n');
    document.insert(document.find("<Odd/>"), "<Category>" + std::string(2000, 'x') + "</Category>");
    const auto excerpts = matchesOf(pageOf("inspect -", document), "<pre>([^p]*<mark>&lt;Odd/&gt;</mark>)");
    ASSERT_EQ(excerpts.size(), 1U);
    EXPECT_TRUE(excerpts.front().starts_with("…xxx")) << excerpts.front();
}

TEST_F(ReportPage, AFaultIsShownAtItsCharacter) {
    std::string document = "<VAST version='4.2'>\n";
    for (int i = 0; i < 300; ++i)
        document += "é";
    EXPECT_NE(pageOf("inspect -", document + "</Odd>").find("é&lt;/<mark>Odd&gt;</mark>"), std::string::npos);
    EXPECT_NE(pageOf("inspect -", "<VAST>\n\x80<Odd/>").find("<pre>2: <mark>\uFFFD&lt;Odd/&gt;</mark>"),
              std::string::npos);
}

TEST_F(ReportPage, OfSeveralDocumentsEachHasItsOwnPlaces) {
    const std::string page =
        pageOf("inspect " + server_.url("/malformed") + " " + server_.url("/empty-error"));
    EXPECT_EQ(matchesOf(page, " id=\"(document-\\d+)\"").size(), 2U);
    EXPECT_NE(page.find("<h2>Error pixels of a document without ads</h2>"), std::string::npos);
}

TEST_F(ReportPage, FragmentsEndAsThePageDoes) {
    server_.get("/tell?path=/pixel/*&answer=503");
    const std::string path = testing::TempDir() + "vkt-page-" + std::to_string(getpid());
    const std::string wrapper = "<Ad sequence='0'><Wrapper><AdSystem>s</AdSystem><Error>" +
                                server_.url("/pixel/") + "</Error><VASTAdTagURI>";
    const std::string end = "</VASTAdTagURI></Wrapper></Ad>";
    const std::string document = "<VAST version='4.2'><Odd/>" + wrapper + server_.url("/malformed") + end +
                                 wrapper + server_.url("/slow/1/demo") + end + "</VAST>";
    for (const char* command : {"resolve - --fail 1", "play - --fail 1 --speed 0 --wait 0.5"}) {
        const std::string html = fragmentsOf(command + (" --report " + path), document);
        const std::string page = takeFile(path);
        std::vector<std::string> pieces{R"(<li id="document-0">)", R"(<section id="verdict")",
                                        "problems</h2>"};
        for (const std::string& place : matchesOf(page, "(<li id=\"pixel-\\d+\">)"))
            pieces.push_back(place);
        EXPECT_EQ(pieces.size() > 3, command[0] == 'p') << "pixels";
        for (const std::string& piece : pieces) {
            const char* last = piece.starts_with("<li") ? "</li>" : "</section>";
            EXPECT_EQ(lastPiece(html, piece, last).substr(0, 4000),
                      lastPiece(page, piece, last).substr(0, 4000))
                << command;
        }
    }
}

TEST_F(ReportPage, AChainIsATreeOfItsDocuments) {
    const std::string page = pageOf("resolve " + server_.url("/passback"));
    const std::vector<std::string> depths =
        matchesOf(page, "(<ul id=\"below-\\d+\"><li|<ul id=\"below-\\d+\"></ul>)");
    // The root has all others directly below it.
    ASSERT_FALSE(depths.empty()) << page;
    EXPECT_EQ(depths.front(), "<ul id=\"below-0\"><li");
    for (std::size_t i = 1; i < depths.size(); ++i)
        EXPECT_TRUE(depths[i].ends_with("</ul>")) << depths[i];
}

TEST_F(ReportPage, ANoteStaysWithItsAd) {
    const std::string page = pageOf("play " + server_.url("/pod/2") + " --speed 0 --skip-at 2");
    EXPECT_EQ(matchesOf(page, "<p class=\"facts\">(note: the ad is not skippable before 5 s)").size(), 2U);
}

TEST_F(ReportPage, APageThatCannotBeWrittenIsToldOf) {
    for (const char* command : {"inspect ", "resolve ", "play --speed 0 "}) {
        const Outcome outcome = runTool(command + server_.url("/inline") + " --report /dev/full");
        EXPECT_EQ(outcome.status, 3) << command;
        EXPECT_NE(outcome.err.find("cannot write /dev/full: No space left on device"), std::string::npos)
            << outcome.err;
    }
}

}  // namespace
