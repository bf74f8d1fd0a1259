#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>

#include "VKTCoreKit/platform/linux/VKTExpatEventReader.h"
#include "VKTCoreKit/platform/testing/contract/VKTXMLEventReaderContract.h"

namespace {

// What expat reads, by way of a script.
std::unique_ptr<VKTXMLEventReader> makeReplayingReader(std::string_view document) {
    VKTXMLEventLog log;
    const bool isRead = vkt_makeExpatEventReader(document)->parse(log);
    VKTXMLEventLog again;
    EXPECT_EQ(VKTScriptedXMLEventReader(log.events()).parse(again), isRead);
    EXPECT_EQ(again.text(), log.text());
    return std::make_unique<VKTScriptedXMLEventReader>(log.events());
}

INSTANTIATE_TEST_SUITE_P(Ours, VKTXMLEventReaderContract,
                         testing::Values(VKTXMLEventReaderMaker{"expat", vkt_makeExpatEventReader},
                                         VKTXMLEventReaderMaker{"scripted", makeReplayingReader}));

std::string logOf(std::string_view document) {
    VKTXMLEventLog log;
    vkt_makeExpatEventReader(document)->parse(log);
    return log.text();
}

TEST(ExpatEventReader, SaysWhatIsWrongAndWhere) {
    std::string deep;
    for (int i = 0; i <= VKTXMLDepthLimit; ++i)
        deep += "<a>";
    std::string declarations;
    for (int i = 0; i <= VKTXMLAttributeDeclarationLimit; ++i)
        declarations += "<!ATTLIST b c" + std::to_string(i) + " CDATA #IMPLIED>";
    const std::pair<std::string, const char*> cases[] = {
        {"", "#no element found at line 1, column 1"},
        {"<a>\n<b>\n  </a>", "#mismatched tag at line 3, column 5"},
        {"<a/>x", "#junk after document element at line 1, column 5"},
        {"<a/><b/>", "#junk after document element at line 1, column 5"},
        {"<a>&none;</a>", "#undefined entity at line 1, column 4"},
        {"<!DOCTYPE a SYSTEM 'a.dtd'><a>&none;</a>", "#undefined entity at line 1, column 31"},
        {"<!DOCTYPE a SYSTEM 'a.dtd'><a b='&none;'/>", "#undefined entity at line 1, column 28"},
        {"<!DOCTYPE a [<!ATTLIST b c CDATA 'v'>]><a/>", "#attribute declaration with a default at line 1"},
        {"<!DOCTYPE a [" + declarations + "]><a/>", "#too many attribute decl"},
        {deep, "#elements nested too deep at line 1, column 1537"}};
    for (const auto& [document, error] : cases)
        EXPECT_NE(logOf(document).find(error), std::string::npos) << logOf(document);
    for (const char* declaration :
         {"CDATA ''", "CDATA #FIXED 'v'", "(x|y) 'x'", "CDATA #IMPLIED d CDATA 'v'"}) {
        const std::string log = logOf("<!DOCTYPE a [<!ATTLIST b c " + std::string(declaration) + ">]><a/>");
        EXPECT_TRUE(log.starts_with("#attribute declaration with a default at line 1")) << log;
    }
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

TEST(ExpatEventReader, ReadsUntilTheVeryEndOfAThread) {
    std::string log;
    std::thread([&log] {
        // Made before the thread's first reading, so it goes after its parser.
        thread_local LastReadings last;
        last.first.log = last.second.log = &log;
        EXPECT_EQ(logOf("<a/>"), "<a></a>");
    }).join();
    EXPECT_EQ(log, "<a b=c></a><a b=c></a>");
}

}  // namespace
