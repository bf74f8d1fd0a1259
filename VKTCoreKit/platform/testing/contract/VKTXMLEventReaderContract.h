// The contract of readers of XML.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/platform/VKTXMLEventReader.h"
#include "VKTCoreKit/platform/testing/VKTScriptedXMLEventReader.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// Makes a reader of a document, as `VKTPlatform::makeXMLEventReader` does.
using VKTXMLEventReaderMaker = VKTContractMaker<std::unique_ptr<VKTXMLEventReader>, std::string_view>;

/// Writes the events down, neighbouring pieces of text as one and an error as "#" and its description, and
/// keeps them for replay.
class VKTXMLEventLog final : public VKTXMLEventHandler {
  public:
    void didStartElement(std::string_view name, std::span<const VKTXMLAttribute> attributes) override {
        VKTXMLStartEvent event{std::string(name), {}};
        text_ += "<" + event.name;
        for (const VKTXMLAttribute& attribute : attributes) {
            event.attributes.emplace_back(attribute.name, attribute.value);
            text_ += " " + event.attributes.back().first + "=" + event.attributes.back().second;
        }
        text_ += ">";
        events_.emplace_back(std::move(event));
    }
    void didEndElement(std::string_view name) override {
        text_ += "</" + std::string(name) + ">";
        events_.emplace_back(VKTXMLEndEvent{std::string(name)});
    }
    void foundCharacters(std::string_view text) override {
        addText(VKTXMLTextEvent::Characters, "", text, "");
    }
    void foundCDATA(std::string_view text) override { addText(VKTXMLTextEvent::CDATA, "[", text, "]"); }
    void foundComment(std::string_view text) override { addText(VKTXMLTextEvent::Comment, "!", text, "!"); }
    void parseErrorOccurred(const VKTError& error) override {
        text_ += "#" + error.localizedDescription().value_or("");
        events_.emplace_back(error);
    }

    [[nodiscard]] const std::string& text() const { return text_; }
    [[nodiscard]] const std::vector<VKTXMLEvent>& events() const { return events_; }

  private:
    void addText(VKTXMLTextEvent::Kind kind, const char* before, std::string_view text, const char* after) {
        text_.append(before).append(text).append(after);
        events_.emplace_back(VKTXMLTextEvent{kind, std::string(text)});
    }

    std::string text_;
    std::vector<VKTXMLEvent> events_;
};

class VKTXMLEventReaderContract : public testing::TestWithParam<VKTXMLEventReaderMaker> {
  protected:
    static std::string logOf(std::string_view document) {
        VKTXMLEventLog log;
        const bool isRead = GetParam().make(document)->parse(log);
        EXPECT_EQ(log.text().find('#') == std::string::npos, isRead) << log.text();
        return log.text();
    }

    // Of a document with two elements.
    static std::string logWith(const std::string& declarations) {
        return logOf("<!DOCTYPE a [" + declarations + "]><a><b/></a>");
    }

    static std::string nested(int depth) {
        std::string opening;
        std::string closing;
        for (int i = 0; i < depth; ++i) {
            opening += "<a>";
            closing += "</a>";
        }
        return opening + closing;
    }

    // Of Latin-1 text, with a mark.
    static std::string UTF16(std::string_view text) {
        std::string bytes = "\xFF\xFE";
        for (const char c : text)
            bytes.append({c, '\0'});
        return bytes;
    }
};

TEST_P(VKTXMLEventReaderContract, Events) {
    using namespace std::string_literals;
    const std::pair<std::string, const char*> cases[] = {
        {"<a b='1' n:c=\"&lt;2\"><n:d/>x &amp; y</a>", "<a b=1 n:c=<2><n:d></n:d>x & y</a>"},
        {"<a>x<![CDATA[<y>]]>z<!--c--></a>", "<a>x[<y>]z!c!</a>"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?><a>\xC3\xA9&#233;</a> <!--end-->",
         "<a>\xC3\xA9\xC3\xA9</a>!end!"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", "<a>\xC3\xA9</a>"},
        {"<?xml version='1.0' encoding='US-ASCII'?><a/>", "<a></a>"},
        {"\xFF\xFE<\0a\0/\0>\0"s, "<a></a>"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xA9</a>", "<a>\xC3\xA9</a>"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-16'?><a/>", "<a></a>"},
        {UTF16("<?xml version='1.0' encoding='utf-8'?><a>\xE9</a>"), "<a>\xC3\xA9</a>"},
        {UTF16("<?xml version='1.0' encoding='ISO-8859-1'?><a/>"), "<a></a>"},
        {"\xFE\xFF\0<\0a\0>\0\xE9\0<\0/\0a\0>"s, "<a>\xC3\xA9</a>"},
        {"<!DOCTYPE a SYSTEM 'http://h/a.dtd'><a b='&amp;&#33;'/>", "<a b=&!></a>"}};
    for (const auto& [document, log] : cases)
        EXPECT_EQ(logOf(document), log) << document;
}

TEST_P(VKTXMLEventReaderContract, AnErrorIsTheLastEventAndNamesItsLine) {
    struct Case {
        const char* document;
        const char* eventsBefore;
        std::int64_t line;
    };
    for (const auto& [document, eventsBefore, line] :
         {Case{"", "", 1}, Case{"<a>\n<b>\n  </a>", "<a>\n<b>\n  ", 3}, Case{"<a/>x", "<a></a>", 1},
          Case{"<a/><b/>", "<a></a>", 1}, Case{"<a>&none;</a>", "<a>", 1},
          Case{"<!DOCTYPE a SYSTEM 'a.dtd'><a>&none;</a>", "<a>", 1},
          Case{"<!DOCTYPE a SYSTEM 'a.dtd'>\n<a b='&none;'/>", "", 2}, Case{"<a>\xE9</a>", "<a>", 1}}) {
        VKTXMLEventLog log;
        EXPECT_FALSE(GetParam().make(document)->parse(log)) << document;
        EXPECT_TRUE(log.text().starts_with(eventsBefore + std::string("#"))) << log.text();
        ASSERT_TRUE(std::holds_alternative<VKTError>(log.events().back())) << document;
        const auto& error = std::get<VKTError>(log.events().back());
        EXPECT_EQ(error.domain(), VKTXMLErrorDomain);
        const auto* lineTold = error.userInfoValue<std::int64_t>(VKTXMLErrorLineKey);
        EXPECT_TRUE(lineTold && *lineTold == line) << document;
        EXPECT_TRUE(error.userInfoValue<std::int64_t>(VKTXMLErrorColumnKey)) << document;
    }
}

TEST_P(VKTXMLEventReaderContract, NoDocumentDefinesEntities) {
    for (const char* declaration : {"<!ENTITY e 'v'>", "<!ENTITY e SYSTEM 'file:///etc/hostname'>",
                                    "<!ENTITY % p 'v'>", "%p;<!ENTITY e 'v'>"})
        EXPECT_TRUE(logWith(declaration).starts_with('#')) << declaration;
}

TEST_P(VKTXMLEventReaderContract, NoAttributeIsMultipliedByItsDeclaration) {
    for (const char* declaration :
         {"<!ATTLIST b c CDATA 'v'>", "<!ATTLIST b c CDATA ''>", "<!ATTLIST b c CDATA #FIXED 'v'>",
          "<!ATTLIST b c (x|y) 'x'>", "<!ATTLIST b c CDATA #IMPLIED d CDATA 'v'>"})
        EXPECT_TRUE(logWith(declaration).starts_with('#')) << declaration;
    EXPECT_EQ(logWith("<!ELEMENT a (b*)><!ATTLIST b c CDATA #IMPLIED d ID #IMPLIED>"), "<a><b></b></a>");

    std::string many;
    for (int i = 0; i < VKTXMLAttributeDeclarationLimit; ++i)
        many += "<!ATTLIST b c" + std::to_string(i) + " CDATA #REQUIRED>";
    EXPECT_EQ(logWith(many), "<a><b></b></a>");
    EXPECT_TRUE(logWith(many + "<!ATTLIST b d CDATA #IMPLIED>").starts_with('#'));
}

TEST_P(VKTXMLEventReaderContract, LimitsTheDepth) {
    EXPECT_EQ(logOf(nested(VKTXMLDepthLimit)), nested(VKTXMLDepthLimit));
    const std::string log = logOf(nested(VKTXMLDepthLimit + 1));
    EXPECT_NE(log.find('#'), std::string::npos) << log;
}
