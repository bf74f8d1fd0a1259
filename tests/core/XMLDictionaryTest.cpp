#include "VKTCoreKit/core/VKTXMLDictionary.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "VKTCoreKit/core/VKTDictionaryExtension.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/testing/VKTScriptedXMLEventReader.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

VKTValue valueOf(std::string_view json) {
    const auto value = vkt_JSONValueWithData(json);
    EXPECT_TRUE(value) << json;
    return value.value_or(VKTValue());
}

// Compares by structure and prints both sides.
void expectValue(const std::optional<VKTValue>& value, std::string_view json) {
    ASSERT_TRUE(value) << json;
    EXPECT_TRUE(*value == valueOf(json)) << *vkt_JSONStringWithValue(*value) << "\nexpected: " << json;
}

VKTDictionary nodeOf(std::string_view json) {
    return *valueOf(json).asDictionary();
}

using Settings = VKTXMLDictionarySettings;
const Settings defaults;
const Settings asDictionary{.attributesMode = VKTXMLDictionaryAttributesModeDictionary};
const Settings unprefixed{.attributesMode = VKTXMLDictionaryAttributesModeUnprefixed};
const Settings discarded{.attributesMode = VKTXMLDictionaryAttributesModeDiscard};
const Settings named{.nodeNameMode = VKTXMLDictionaryNodeNameModeAlways};
const Settings unnamed{.nodeNameMode = VKTXMLDictionaryNodeNameModeNever};
const Settings single{.alwaysUseArrays = false};
const Settings collapsed{.collapseTextNodes = true};
const Settings collapsedSingle{.collapseTextNodes = true, .alwaysUseArrays = false};
const Settings collapsedKept{.collapseTextNodes = true, .stripEmptyNodes = false};
const Settings collapsedWrapped{.collapseTextNodes = true, .wrapRootNode = true};
const Settings kept{.stripEmptyNodes = false};
const Settings untrimmed{.trimWhiteSpace = false};
const Settings wrapped{.wrapRootNode = true};
const Settings commented{.preserveComments = true};

TEST(XMLDictionary, Trees) {
    const std::tuple<const Settings&, const char*, const char*> cases[] = {
        {defaults, "<V a='4'><A i='1'/><x:A/><A>t</A></V>",
         R"({"__name":"V","_a":"4","A":[{"_i":"1"},{"__text":"t"}],"x:A":[]})"},
        // The kept key of a stripped child makes its parent more than empty.
        {defaults, "<P><C><D/></C></P>", R"({"__name":"P","C":[{"D":[]}]})"},
        {defaults, "<P>\n<![CDATA[ <u> ]]>\t</P>", R"({"__name":"P","__text":"<u>"})"},
        {defaults, "<P>a<!--c-->b<![CDATA[c]]></P>", R"({"__name":"P","__text":"abc"})"},
        {defaults, "<P> a <B i='1'/> b <B i='2'/> \n </P>",
         R"({"__name":"P","__text":["a","b"],"B":[{"_i":"1"},{"_i":"2"}]})"},
        {asDictionary, "<P a='1'><C b='2'/></P>",
         R"({"__name":"P","__attributes":{"a":"1"},"C":[{"__attributes":{"b":"2"}}]})"},
        {unprefixed, "<P a='1'><C b='2'/></P>", R"({"__name":"P","a":"1","C":[{"b":"2"}]})"},
        {unprefixed, "<P C='v'><C>t</C></P>", R"({"__name":"P","C":["v",{"__text":"t"}]})"},
        {discarded, "<P a='1'><C b='2'/></P>", R"({"__name":"P","C":[]})"},
        {named, "<P a='1'><C b='2'/></P>", R"({"__name":"P","_a":"1","C":[{"__name":"C","_b":"2"}]})"},
        {unnamed, "<P a='1'><C b='2'/></P>", R"({"_a":"1","C":[{"_b":"2"}]})"},
        {single, "<P><A>1</A><A>2</A><B>3</B><C/></P>",
         R"({"__name":"P","A":[{"__text":"1"},{"__text":"2"}],"B":{"__text":"3"}})"},
        {collapsed, "<P><A>1</A><A>2<C/>3</A><B i='1'>4</B><C/></P>",
         R"({"__name":"P","A":["1",{"__text":["2","3"],"C":[]}],"B":[{"_i":"1","__text":"4"}],"C":[]})"},
        {collapsedSingle, "<P><A>1</A><A/><B>2</B></P>", R"({"__name":"P","A":["1"],"B":"2"})"},
        {collapsedSingle, "<P><A>1<C/>2</A></P>", R"({"__name":"P","A":"1\n2"})"},
        {collapsedKept, "<P><A/><A>1</A></P>", R"({"__name":"P","A":[{},"1"]})"},
        {kept, "<P><A/><B i='1'/></P>", R"({"__name":"P","A":[{"__text":""}],"B":[{"_i":"1"}]})"},
        {untrimmed, "<P> <A>\n</A></P>", R"({"__name":"P","__text":" ","A":[{"__text":"\n"}]})"},
        {wrapped, "<P a='1'/>", R"({"P":{"__name":"P","_a":"1"}})"},
        {wrapped, "<P/>", "{}"},
        {collapsedWrapped, "<P>t</P>", R"({"P":"t"})"},
        {commented, "<!--out--><P><!--1-->a<!--2-->b<C><!--3--></C></P>",
         R"({"__name":"P","__comments":["1","2"],"__text":"ab","C":[{"__comments":["3"]}]})"},
        // Names that look like our own keys do no harm to other elements.
        {defaults, "<P><B i='1'/><A _name='B'/></P>", R"({"__name":"P","B":[{"_i":"1"}],"A":[]})"},
        {named, "<P><B/><A _name='B'/></P>", R"({"__name":"P","B":[],"A":[]})"},
        {collapsedSingle, "<P><B i='1'/><A _name='B'>t</A></P>", R"({"__name":"P","B":{"_i":"1"},"A":"t"})"},
        {defaults, "<P><A _attributes='x'/></P>", R"({"__name":"P","A":[{"__attributes":"x"}]})"},
        {defaults, "<P>a<__text/>b<__name/></P>", R"({"__name":["P"],"__text":["a","b"]})"}};
    for (const auto& [settings, XML, json] : cases) {
        VKTXMLDictionaryParser parser;
        static_cast<Settings&>(parser) = settings;
        expectValue(parser.copy().vkt_dictionaryWithString(XML), json);
    }
}

TEST(XMLDictionary, TextIsReadAsUTF8WhateverItDeclares) {
    for (const char* encoding : {"UTF-8", "ISO-8859-1", "US-ASCII", "UTF-16", "none"}) {
        const std::string XML =
            "<?xml version='1.0' encoding='" + std::string(encoding) + "'?><P>\xC3\xA4</P>";
        expectValue(vkt_dictionaryWithXMLString(XML), R"({"__name":"P","__text":"\u00E4"})");
        expectValue(vkt_dictionaryWithXMLString("\xEF\xBB\xBF" + XML), R"({"__name":"P","__text":"\u00E4"})");
    }
    expectValue(vkt_dictionaryWithXMLData("<?xml version='1.0' encoding='ISO-8859-1'?><P>\xE4</P>"),
                R"({"__name":"P","__text":"\u00E4"})");
    using namespace std::string_literals;
    for (const std::string& bytes :
         {"<P>\xE4</P>"s, "\xFF\xFE<\0P\0/\0>\0"s, "<?xml encoding='UTF-8'?><P/>"s})
        EXPECT_FALSE(vkt_dictionaryWithXMLString(bytes)) << testing::PrintToString(bytes);

    auto parser = VKTXMLDictionaryParser::sharedInstance().copy();
    parser.vkt_dictionaryWithString("<P></Q>");
    EXPECT_EQ(parser.parsingError()->localizedDescription(), "mismatched tag at line 1, column 6");
}

TEST(XMLDictionary, ErrorsGiveNoTreeAndLeaveNothingBehind) {
    VKTXMLDictionaryParser parser;
    EXPECT_FALSE(parser.vkt_dictionaryWithString("<P>a<C>b</P>"));
    EXPECT_TRUE(parser.parsingError());
    expectValue(parser.vkt_dictionaryWithString("<Q/>"), R"({"__name":"Q"})");
    EXPECT_FALSE(parser.parsingError());

    VKTScriptedXMLEventReader late({VKTXMLStartEvent{"P", {}}, VKTXMLEndEvent{"P"}, VKTError("d", 1)});
    EXPECT_FALSE(parser.vkt_dictionaryWithParser(late));
    EXPECT_FALSE(vkt_dictionaryWithXMLData(""));
}

TEST(XMLDictionary, Files) {
    const std::string path = testing::TempDir() + "VKTXMLDictionaryTest.xml";
    std::ofstream(path) << "<P>t</P>";
    expectValue(vkt_dictionaryWithXMLFile(path), R"({"__name":"P","__text":"t"})");
    std::filesystem::resize_file(path, VKTXMLFileSizeLimit + 1);
    VKTRecordedLog log;
    EXPECT_FALSE(vkt_dictionaryWithXMLFile(path));
    std::remove(path.c_str());
    EXPECT_FALSE(vkt_dictionaryWithXMLFile(path));
    EXPECT_FALSE(vkt_dictionaryWithXMLFile(testing::TempDir()));
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 3U);
    const std::string begin = "WARNING The XML file " + path + " is not read: it ";
    EXPECT_TRUE(lines[0].starts_with(begin + "has more than 33554432 bytes")) << lines[0];
    EXPECT_TRUE(lines[1].starts_with(begin + "cannot be opened")) << lines[1];
    EXPECT_NE(lines[2].find("reading it failed"), std::string::npos) << lines[2];
}

TEST(XMLDictionary, PartsOfANode) {
    const auto node =
        nodeOf(R"({"__name":"N","__text":["a","b"],"__comments":["c"],"_i":"1","__x":"2","C":[]})");
    expectValue(vkt_attributes(node), R"({"i":"1","_x":"2"})");
    expectValue(vkt_childNodes(node), R"({"C":[]})");
    EXPECT_EQ(*vkt_nodeName(node), "N");
    EXPECT_EQ(vkt_innerText(node), "a\nb");

    expectValue(vkt_attributes(nodeOf(R"({"__attributes":{"i":"1"},"_j":"2"})")), R"({"i":"1"})");
    for (const char* none : {"{}", R"({"__attributes":{},"_j":"2"})", R"({"__text":"t","__name":"n"})"}) {
        EXPECT_FALSE(vkt_attributes(nodeOf(none))) << none;
        EXPECT_FALSE(vkt_childNodes(nodeOf(none))) << none;
    }
    EXPECT_FALSE(vkt_innerText(VKTDictionary{}));
}

TEST(XMLDictionary, Serialises) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"__name":"P","_a":"<1>","C":[{"_b":"2"},{"__text":"t&"}],"__text":"'","__comments":["--<"]})",
         "<P a=\"&lt;1&gt;\"><!----&lt;-->\n<C b=\"2\"/>\n<C>t&amp;</C>\n&apos;</P>"},
        {R"({"P":{"__name":"P","_a":"1"}})", "<P a=\"1\"/>"},
        {R"({"A":"1","B":2.5})", "<root><A>1</A>\n<B>2.5</B></root>"},
        {R"({"__name":"P"})", "<P/>"},
        {R"({"__name":"P","A":[],"B":[]})", "<P>\n</P>"}};
    for (const auto& [json, XML] : cases)
        EXPECT_EQ(vkt_XMLString(nodeOf(json)), XML);
    EXPECT_EQ(VKTXMLDictionaryParser::XMLStringForNode(valueOf(R"(["<",{"_i":1}])"), "A"),
              "<A>&lt;</A>\n<A i=\"1\"/>");
    EXPECT_EQ(vkt_XMLEncodedString("&<>\"'&amp;"), "&amp;&lt;&gt;&quot;&apos;&amp;amp;");
}

TEST(XMLDictionary, KeyPaths) {
    const auto node =
        nodeOf(R"({"A":[{"B":"1"},{"C":"2"}],"D":{"__text":["x","y"]},"E":"e","F":[],"G":{"H":"h"},
            "N":[[{"B":"1"},[{"B":{"C":"2"}}]],[],"x",{"B":[{"C":"3"}]}]})");
    const std::tuple<const char*, const char*, std::optional<std::string>, const char*> cases[] = {
        {"A", R"([{"B":"1"},{"C":"2"}])", {}, R"({"B":"1"})"},
        {"A.B", R"(["1",null])", "1", R"({"__text":"1"})"},
        {"D", R"([{"__text":["x","y"]}])", "x\ny", R"({"__text":["x","y"]})"},
        {"E", R"(["e"])", "e", R"({"__text":"e"})"},
        {"N.B", R"([["1",[{"C":"2"}]],[],null,[{"C":"3"}]])", {}, nullptr},
        {"N.B.C", R"([[null,["2"]],[],null,["3"]])", {}, nullptr},
        {"G.H", R"(["h"])", "h", R"({"__text":"h"})"}};
    for (const auto& [path, array, string, dictionary] : cases) {
        expectValue(vkt_arrayValueForKeyPath(node, path), array);
        EXPECT_EQ(vkt_stringValueForKeyPath(node, path), string) << path;
        const auto found = vkt_dictionaryValueForKeyPath(node, path);
        ASSERT_EQ(found.has_value(), dictionary != nullptr) << path;
        if (found) expectValue(*found, dictionary);
    }
    expectValue(vkt_arrayValueForKeyPath(node, "F"), "[]");
    for (const char* none : {"F", "E.x", ""}) {
        EXPECT_FALSE(vkt_stringValueForKeyPath(node, none)) << none;
        EXPECT_FALSE(vkt_dictionaryValueForKeyPath(node, none)) << none;
    }
    EXPECT_FALSE(vkt_arrayValueForKeyPath(node, "E.x"));
}

TEST(XMLDictionary, CheckedLookUps) {
    using Utils = VKTXMLDictionaryUtils;
    const auto node =
        nodeOf(R"({"_id":"7","__text":"42","A":[{"__text":"a"},"b",{"__text":["c","d"]}],"E":[]})");
    EXPECT_EQ(Utils::findArrayForKey("A", node)->size(), 3U);
    EXPECT_EQ(Utils::findArrayForKey("_id", node), nullptr);
    EXPECT_NE(Utils::findObjectAtIndexOfArray(2, "A", node), nullptr);
    for (const std::size_t index : {1U, 3U})
        EXPECT_EQ(Utils::findObjectAtIndexOfArray(index, "A", node), nullptr) << index;
    EXPECT_EQ(*Utils::findFirstObjectOfArrayAsString("A", node), "a");
    EXPECT_EQ(Utils::findNodeText(*Utils::findObjectAtIndexOfArray(2, "A", node)), nullptr);
    EXPECT_EQ(*Utils::findAttribute("_id", node), "7");
    for (const char* key : {"A", "E", "x"})
        EXPECT_EQ(Utils::findAttribute(key, node), nullptr) << key;
    EXPECT_EQ(Utils::findFirstObjectOfArrayAsDictionary("E", node), nullptr);
    EXPECT_EQ(Utils::findNodeTextAsNSNumber(node), 42.0);
    EXPECT_FALSE(Utils::findNodeTextAsNSNumber(VKTDictionary{}));
    for (const char* text : {"", "12.5", "-2", "+2", " 2"})
        EXPECT_FALSE(Utils::stringToNSNumber(text)) << text;
}

TEST(DictionaryExtension, TypedGetters) {
    const auto numberOf = [](const VKTValue& value) {
        return vkt_optNumberForKey({{"k", VKTValue(value)}}, "k");
    };
    EXPECT_TRUE(numberOf(2.5) == VKTNumber(2.5));
    EXPECT_TRUE(numberOf("-1,234.5") == VKTNumber(-1234.5));
    EXPECT_TRUE(numberOf("12") == VKTNumber(12));
    for (const char* text : {"1,23", "1234,567", "1.", ".5", "+1", " 1", "1e3", ""})
        EXPECT_FALSE(numberOf(text)) << text;
    for (const VKTValue& value : {VKTValue(VKTArray{1}), VKTValue()})
        EXPECT_FALSE(numberOf(value));

    const auto URLFor = [](const char* text) {
        const auto url = vkt_optURLForKey({{"k", text}}, "k");
        return url ? url->absoluteString() : "(none)";
    };
    EXPECT_EQ(URLFor("http://h/a b%20[M]#"), "http://h/a%20b%2520%5BM%5D%23");
    for (const char* text : {"", "h/x", "mailto:a@b"})
        EXPECT_EQ(URLFor(text), "(none)") << text;

    const auto mixed = nodeOf(R"({"s":"t","e":"","d":{},"a":[]})");
    EXPECT_EQ(vkt_optStringForKey(mixed, "s"), "t");
    EXPECT_NE(vkt_optDictionaryForKey(mixed, "d"), nullptr);
    EXPECT_NE(vkt_optArrayForKey(mixed, "a"), nullptr);
    for (const char* key : {"e", "x"}) {
        EXPECT_FALSE(vkt_optStringForKey(mixed, key));
        EXPECT_EQ(vkt_optDictionaryForKey(mixed, key), nullptr);
        EXPECT_EQ(vkt_optArrayForKey(mixed, key), nullptr);
    }
}

}  // namespace
