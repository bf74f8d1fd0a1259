// XML documents as nested dictionaries.
//
// An element becomes a dictionary (a node) with these entries:
//     "_" + attribute name   the attribute's value, a string (attributes mode Prefixed, the default)
//     "__attributes"         a dictionary of the attributes (mode Dictionary)
//     "__text"               the element's own text, a string; an array of strings when child elements split
//     it
//                            (a comment does not split a run)
//     "__name"               the element's name: on the root only, on every node, or never (node-name mode)
//     "__comments"           an array of strings, with `preserveComments`
//     child element name     an array of the child nodes of that name, in document order
// Names are used as written (qualified, prefixes kept). With the defaults `<Duration>00:00:15</Duration>`
// under `Linear` gives the `Linear` node the entry "Duration" = [ { "__text": "00:00:15" } ].
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTXMLEventReader.h"

enum VKTXMLDictionaryAttributesMode : std::uint8_t {
    VKTXMLDictionaryAttributesModePrefixed = 0,
    VKTXMLDictionaryAttributesModeDictionary = 1,
    VKTXMLDictionaryAttributesModeUnprefixed = 2,  ///< merged into the node under their plain names
    VKTXMLDictionaryAttributesModeDiscard = 3,
};

enum VKTXMLDictionaryNodeNameMode : std::uint8_t {
    VKTXMLDictionaryNodeNameModeRootOnly = 0,
    VKTXMLDictionaryNodeNameModeAlways = 1,
    VKTXMLDictionaryNodeNameModeNever = 2,
};

inline constexpr std::string_view VKTXMLDictionaryAttributesKey = "__attributes";
inline constexpr std::string_view VKTXMLDictionaryCommentsKey = "__comments";
inline constexpr std::string_view VKTXMLDictionaryTextKey = "__text";
inline constexpr std::string_view VKTXMLDictionaryNodeNameKey = "__name";

/// With `markStrippedNodes`, in a node from which children were stripped: a dictionary that has, for each
/// name, the positions of those children among all of that name, from 1. No element or attribute has this
/// name.
inline constexpr std::string_view VKTXMLDictionaryStrippedKey = "#stripped";

/// How a document becomes a tree. Every reader of ad documents relies on the defaults.
struct VKT_EXPORT VKTXMLDictionarySettings {
    bool collapseTextNodes = false;  ///< replace a text-only node by its text
    bool stripEmptyNodes = true;     ///< drop a node without attributes, children, comments and text
    bool trimWhiteSpace = true;      ///< trim each text run
    bool alwaysUseArrays = true;     ///< store even a single child in an array
    bool preserveComments = false;   ///< keep comments under "__comments"
    bool markStrippedNodes = false;  ///< remember where, under "#stripped"; with `alwaysUseArrays` only
    bool wrapRootNode = false;       ///< return { root name: root node } instead of the root node
    VKTXMLDictionaryAttributesMode attributesMode = VKTXMLDictionaryAttributesModePrefixed;
    VKTXMLDictionaryNodeNameMode nodeNameMode = VKTXMLDictionaryNodeNameModeRootOnly;
};

/// Turns the events of an XML reader into a tree. Not reentrant and not thread-safe: use one parser per parse
/// (the free operations below do). The settings persist from one parse to the next.
class VKT_EXPORT VKTXMLDictionaryParser final : public VKTXMLDictionarySettings, private VKTXMLEventHandler {
  public:
    /// The process-wide defaults; copy it to parse.
    static const VKTXMLDictionaryParser& sharedInstance();

    /// A parser with the same settings.
    [[nodiscard]] VKTXMLDictionaryParser copy() const;

    /// The tree, or nothing when the reader reported an error: never a partial tree.
    std::optional<VKTDictionary> vkt_dictionaryWithParser(VKTXMLEventReader& reader);

    /// Bytes in the encoding that they say for themselves.
    std::optional<VKTDictionary> vkt_dictionaryWithData(std::string_view data);

    /// UTF-8 text, whatever encoding it declares.
    std::optional<VKTDictionary> vkt_dictionaryWithString(std::string_view string);

    /// Nothing also when the file cannot be read or exceeds `VKTXMLFileSizeLimit`, which a
    /// warning in the log tells.
    std::optional<VKTDictionary> vkt_dictionaryWithFile(const std::string& path);

    /// What the reader said of the last document, if it was not well formed.
    [[nodiscard]] const std::optional<VKTError>& parsingError() const { return parsingError_; }

    /// The name of the last document's root as written, also when the document broke off after it; empty when
    /// it has none. Unlike "__name" no attribute can pretend to be it.
    [[nodiscard]] const std::string& rootName() const { return rootName_; }

    /// Serialises a value as the XML of an element called `nodeName`: an array as one element per entry,
    /// joined by line feeds; a dictionary as an element with its attributes and inner XML; anything else as
    /// an element around its description.
    static std::string XMLStringForNode(const VKTValue& node, std::string_view nodeName);

  private:
    void didStartElement(std::string_view name, std::span<const VKTXMLAttribute> attributes) override;
    void didEndElement(std::string_view name) override;
    void foundCharacters(std::string_view text) override;
    void foundCDATA(std::string_view text) override;
    void foundComment(std::string_view text) override;
    void parseErrorOccurred(const VKTError& error) override;

    void endText();
    void addAttributes(VKTDictionary& node, std::span<const VKTXMLAttribute> attributes) const;
    VKTDictionary* openRoot(std::string_view name);
    VKTDictionary* openChild(std::string_view name);
    void collapseOrStrip(VKTDictionary& node, std::string_view elementName) const;
    static void markStripped(VKTDictionary& parent, std::string_view elementName, std::size_t keptBefore);

    // Working fields, empty between parses. An open node never moves: only the innermost one grows.
    std::optional<VKTDictionary> root_;
    std::vector<VKTDictionary*> stack_;
    std::string text_;
    std::optional<VKTError> parsingError_;
    std::string rootName_;
};

/// Bytes of the largest file read: the same as of an HTTP body.
inline constexpr std::size_t VKTXMLFileSizeLimit = std::size_t{32} * 1024 * 1024;

/// Parse with a private copy of the shared instance; any thread, any number at once.
VKT_EXPORT std::optional<VKTDictionary> vkt_dictionaryWithXMLParser(VKTXMLEventReader& reader);
VKT_EXPORT std::optional<VKTDictionary> vkt_dictionaryWithXMLData(std::string_view data);
VKT_EXPORT std::optional<VKTDictionary> vkt_dictionaryWithXMLString(std::string_view string);
VKT_EXPORT std::optional<VKTDictionary> vkt_dictionaryWithXMLFile(const std::string& path);

/// The attributes by plain name: "__attributes" when present, else every key that begins with "_" without
/// that character ("__text", "__name" and "__comments" excepted). Nothing when there are none.
VKT_EXPORT std::optional<VKTDictionary> vkt_attributes(const VKTDictionary& node);

/// The node without its attributes, text, name and comments, and without any key that begins with "_".
/// Nothing when nothing is left.
VKT_EXPORT std::optional<VKTDictionary> vkt_childNodes(const VKTDictionary& node);

/// Null when absent or of another type.
VKT_EXPORT const VKTArray* vkt_comments(const VKTDictionary& node);
VKT_EXPORT const std::string* vkt_nodeName(const VKTDictionary& node);

/// The text; the runs of a split text joined by line feeds.
VKT_EXPORT std::optional<std::string> vkt_innerText(const VKTDictionary& node);

/// Comments, child elements and text, joined by line feeds.
VKT_EXPORT std::string vkt_innerXML(const VKTDictionary& node);

/// The element under its own name ("root" when it has none); a dictionary of one entry without a name is
/// taken for a wrapped root.
VKT_EXPORT std::string vkt_XMLString(const VKTDictionary& node);

/// Key-path look-ups ("Creatives.Creative"). A key asked of an array is asked of each element, of arrays
/// within too, null standing where an element has no such key. The array at the path; any other value alone
/// in an array; nothing when nothing is there.
VKT_EXPORT std::optional<VKTArray> vkt_arrayValueForKeyPath(const VKTDictionary& node,
                                                            std::string_view keyPath);
/// The string at the path, or a node's inner text; an array stands for its first element.
VKT_EXPORT std::optional<std::string> vkt_stringValueForKeyPath(const VKTDictionary& node,
                                                                std::string_view keyPath);
/// The node at the path, or { "__text": string }; an array stands for its first element.
VKT_EXPORT std::optional<VKTDictionary> vkt_dictionaryValueForKeyPath(const VKTDictionary& node,
                                                                      std::string_view keyPath);

/// The five XML entities in place of & < > " and '. Entities in the input are encoded again.
VKT_EXPORT std::string vkt_XMLEncodedString(std::string_view string);
