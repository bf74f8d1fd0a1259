#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTExpatEventReader.h"
#include "VKTCoreKit/platform/testing/VKTScriptedXMLEventReader.h"

namespace {

// Writes the events down, neighbouring pieces of text as one, and keeps them for replay.
class EventLog final : public VKTXMLEventHandler {
  public:
    void didStartElement(std::string_view name, std::span<const VKTXMLAttribute> attributes) override {
        VKTXMLStartEvent event{std::string(name), {}};
        log_ += "<" + event.name;
        for (const VKTXMLAttribute& attribute : attributes) {
            event.attributes.emplace_back(attribute.name, attribute.value);
            log_ += " " + event.attributes.back().first + "=" + event.attributes.back().second;
        }
        log_ += ">";
        events_.emplace_back(std::move(event));
    }
    void didEndElement(std::string_view name) override {
        log_ += "</" + std::string(name) + ">";
        events_.emplace_back(VKTXMLEndEvent{std::string(name)});
    }
    void foundCharacters(std::string_view text) override {
        addText(VKTXMLTextEvent::Characters, "", text, "");
    }
    void foundCDATA(std::string_view text) override { addText(VKTXMLTextEvent::CDATA, "[", text, "]"); }
    void foundComment(std::string_view text) override { addText(VKTXMLTextEvent::Comment, "!", text, "!"); }
    void parseErrorOccurred(const VKTError& error) override {
        log_ += "#" + error.localizedDescription().value_or("");
        events_.emplace_back(error);
    }

    [[nodiscard]] const std::string& log() const { return log_; }
    [[nodiscard]] const std::vector<VKTXMLEvent>& events() const { return events_; }

  private:
    void addText(VKTXMLTextEvent::Kind kind, const char* before, std::string_view text, const char* after) {
        log_.append(before).append(text).append(after);
        events_.emplace_back(VKTXMLTextEvent{kind, std::string(text)});
    }

    std::string log_;
    std::vector<VKTXMLEvent> events_;
};

std::string nested(int depth) {
    std::string opening;
    std::string closing;
    for (int i = 0; i < depth; ++i) {
        opening += "<a>";
        closing += "</a>";
    }
    return opening + closing;
}

// Of Latin-1 text, with a mark.
std::string UTF16(std::string_view text) {
    std::string bytes = "\xFF\xFE";
    for (const char c : text)
        bytes.append({c, '\0'});
    return bytes;
}

// A failed reading ends with "#" and the error. A replayed script of the same events must be heard in the
// same way.
std::string logOf(std::string_view document) {
    EventLog log;
    const bool isRead = vkt_makeExpatEventReader(document)->parse(log);
    EventLog replayed;
    EXPECT_EQ(VKTScriptedXMLEventReader(log.events()).parse(replayed), isRead);
    EXPECT_EQ(replayed.log(), log.log());
    EXPECT_EQ(log.log().find('#') == std::string::npos, isRead) << log.log();
    return log.log();
}

TEST(XMLEventReader, Events) {
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

TEST(XMLEventReader, Errors) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "#no element found at line 1, column 1"},
        {"<a>\n<b>\n  </a>", "<a>\n<b>\n  #mismatched tag at line 3, column 5"},
        {"<a/>x", "<a></a>#junk after document element at line 1, column 5"},
        {"<a/><b/>", "<a></a>#junk after document element at line 1, column 5"},
        {"<a>&none;</a>", "<a>#undefined entity at line 1, column 4"},
        {"<!DOCTYPE a SYSTEM 'a.dtd'><a>&none;</a>", "<a>#undefined entity at line 1, column 31"},
        {"<!DOCTYPE a SYSTEM 'a.dtd'><a b='&none;'/>", "#undefined entity at line 1, column 28"}};
    for (const auto& [document, log] : cases)
        EXPECT_EQ(logOf(document), log) << document;
    EXPECT_NE(logOf("<a>\xE9</a>").find('#'), std::string::npos) << "not UTF-8";
}

TEST(XMLEventReader, NoDocumentDefinesEntities) {
    for (const char* declaration : {"<!ENTITY e 'v'>", "<!ENTITY e SYSTEM 'file:///etc/hostname'>",
                                    "<!ENTITY % p 'v'>", "%p;<!ENTITY e 'v'>"}) {
        const std::string log = logOf("<!DOCTYPE a [" + std::string(declaration) + "]><a>text</a>");
        EXPECT_TRUE(log.starts_with("#")) << log;
    }
}

TEST(XMLEventReader, NoAttributeIsMultipliedByItsDeclaration) {
    const std::string refused = "#attribute declaration with a default at line 1";
    const std::string_view read = "<a><b></b></a>";
    const auto logWith = [](const std::string& declarations) {
        return logOf("<!DOCTYPE a [" + declarations + "]><a><b/></a>");
    };
    for (const char* declaration :
         {"<!ATTLIST b c CDATA 'v'>", "<!ATTLIST b c CDATA ''>", "<!ATTLIST b c CDATA #FIXED 'v'>",
          "<!ATTLIST b c (x|y) 'x'>", "<!ATTLIST b c CDATA #IMPLIED d CDATA 'v'>"})
        EXPECT_TRUE(logWith(declaration).starts_with(refused)) << declaration << ": " << logWith(declaration);
    EXPECT_EQ(logWith("<!ELEMENT a (b*)><!ATTLIST b c CDATA #IMPLIED d ID #IMPLIED>"), read);

    std::string many;
    for (int i = 0; i < VKTXMLAttributeDeclarationLimit; ++i)
        many += "<!ATTLIST b c" + std::to_string(i) + " CDATA #REQUIRED>";
    EXPECT_EQ(logWith(many), read);
    EXPECT_TRUE(logWith(many + "<!ATTLIST b d CDATA #IMPLIED>").starts_with("#too many attribute decl"));
}

TEST(XMLEventReader, LimitsTheDepth) {
    EXPECT_EQ(logOf(nested(VKTXMLDepthLimit)), nested(VKTXMLDepthLimit));
    const std::string log = logOf(nested(VKTXMLDepthLimit + 1));
    EXPECT_TRUE(log.ends_with("#elements nested too deep at line 1, column 1537")) << log;
}

// Its members go one after another when the thread ends; each reads a document then.
struct LastReadings {
    struct Reading {
        std::string* log = nullptr;
        ~Reading() {
            if (log != nullptr) *log += logOf("<a b='c'/>");
        }
    };
    Reading first;
    Reading second;
};

TEST(XMLEventReader, ReadsUntilTheVeryEndOfAThread) {
    std::string log;
    std::thread([&log] {
        thread_local LastReadings
            last;  // made before the thread's first reading, so it goes after its parser
        last.first.log = last.second.log = &log;
        EXPECT_EQ(logOf("<a/>"), "<a></a>");
    }).join();
    EXPECT_EQ(log, "<a b=c></a><a b=c></a>");
}

}  // namespace
