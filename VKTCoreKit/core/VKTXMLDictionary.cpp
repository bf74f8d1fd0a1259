#include "VKTCoreKit/core/VKTXMLDictionary.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

bool isAttributeKey(std::string_view key) {
    return key.starts_with('_') && key != VKTXMLDictionaryTextKey && key != VKTXMLDictionaryNodeNameKey &&
           key != VKTXMLDictionaryCommentsKey;
}

bool isChildKey(std::string_view key) {
    return !key.starts_with('_');
}

const VKTDictionary* dictionaryUnder(const VKTDictionary& node, std::string_view key) {
    const VKTValue* value = node.find(key);
    return value == nullptr ? nullptr : value->asDictionary();
}

bool hasAttributes(const VKTDictionary& node) {
    if (const auto* attributes = dictionaryUnder(node, VKTXMLDictionaryAttributesKey)) {
        return !attributes->empty();
    }
    return std::any_of(node.begin(), node.end(), [](const auto& entry) { return isAttributeKey(entry.key); });
}

bool hasChildNodes(const VKTDictionary& node) {
    return std::any_of(node.begin(), node.end(), [](const auto& entry) { return isChildKey(entry.key); });
}

// Puts a value into an array of its own, in its place.
void makeArray(VKTValue& place) {
    VKTArray array;
    array.push_back(std::move(place));
    place = std::move(array);
}

VKTValue valueForKey(const VKTValue& value, std::string_view key) {
    const VKTDictionary* dictionary = value.asDictionary();
    const VKTValue* found = dictionary == nullptr ? nullptr : dictionary->find(key);
    return found == nullptr ? VKTValue() : *found;
}

// Replaces every element, also those of arrays within, by its value for the key.
void askEachElement(VKTArray& outermost, std::string_view key) {
    std::vector<VKTArray*> arrays{&outermost};
    while (!arrays.empty()) {
        VKTArray& array = *arrays.back();
        arrays.pop_back();
        for (VKTValue& element : array) {
            if (VKTArray* inner = element.asArray()) {
                arrays.push_back(inner);
            } else {
                element = valueForKey(element, key);
            }
        }
    }
}

// The value at a key path: dictionaries are asked for the key, arrays ask each of their elements.
std::optional<VKTValue> valueForKeyPath(const VKTDictionary& node, std::string_view keyPath) {
    const std::vector<std::string_view> keys = vkt_split(keyPath, '.');
    const VKTValue* first = node.find(keys[0]);
    if (first == nullptr) return std::nullopt;
    VKTValue value = *first;
    for (std::size_t i = 1; i < keys.size(); ++i) {
        if (VKTArray* array = value.asArray()) {
            askEachElement(*array, keys[i]);
        } else if (value.asDictionary() != nullptr && value.asDictionary()->contains(keys[i])) {
            value = valueForKey(value, keys[i]);
        } else {
            return std::nullopt;
        }
    }
    return value;
}

// The value at a key path, an array replaced by its first element.
std::optional<VKTValue> firstValueForKeyPath(const VKTDictionary& node, std::string_view keyPath) {
    std::optional<VKTValue> value = valueForKeyPath(node, keyPath);
    if (!value || value->asArray() == nullptr) return value;
    if (value->asArray()->empty()) return std::nullopt;
    VKTValue firstElement = value->asArray()->front();
    return firstElement;
}

// Writes a tree without recursion: one frame for each array or element that is open, its pieces joined by
// line feeds.
class XMLWriter {
  public:
    static std::string XMLForNode(const VKTValue& node, std::string_view name) {
        XMLWriter writer;
        writer.begin(node, name);
        return writer.run();
    }

    static std::string innerXML(const VKTDictionary& node) {
        XMLWriter writer;
        writer.frames_.push_back({piecesOf(node), 0, {}, 0});
        return writer.run();
    }

  private:
    // A node to write under a name, or a text that is ready.
    struct Piece {
        const VKTValue* node = nullptr;
        std::string_view name;
        std::string text;
    };

    struct Frame {
        std::vector<Piece> pieces;
        std::size_t next = 0;
        std::string_view elementName;  // empty for an array
        std::size_t innerStart = 0;    // where the inner XML of an element starts
    };

    static std::vector<Piece> piecesOf(const VKTDictionary& node) {
        std::vector<Piece> pieces;
        if (const VKTArray* comments = vkt_comments(node)) {
            for (const VKTValue& comment : *comments) {
                pieces.push_back({nullptr, {}, "<!--" + vkt_XMLEncodedString(comment.description()) + "-->"});
            }
        }
        for (const auto& [key, value] : node) {
            if (isChildKey(key)) pieces.push_back({&value, key, {}});
        }
        if (const auto text = vkt_innerText(node))
            pieces.push_back({nullptr, {}, vkt_XMLEncodedString(*text)});
        return pieces;
    }

    std::string run() {
        while (!frames_.empty()) {
            Frame& frame = frames_.back();
            if (frame.next == frame.pieces.size()) {
                end(frame);
                frames_.pop_back();
                continue;
            }
            if (frame.next > 0) out_.push_back('\n');
            const Piece& piece = frame.pieces[frame.next++];
            if (piece.node == nullptr) {
                out_.append(piece.text);
            } else {
                begin(*piece.node, piece.name);
            }
        }
        return std::move(out_);
    }

    void begin(const VKTValue& node, std::string_view name) {
        if (const VKTArray* array = node.asArray()) {
            Frame frame;
            for (const VKTValue& element : *array)
                frame.pieces.push_back({&element, name, {}});
            frames_.push_back(std::move(frame));
        } else if (const VKTDictionary* dictionary = node.asDictionary()) {
            out_.append("<").append(name);
            if (const auto attributes = vkt_attributes(*dictionary)) {
                for (const auto& [key, value] : *attributes) {
                    out_.append(" ").append(vkt_XMLEncodedString(key)).append("=\"");
                    out_.append(vkt_XMLEncodedString(value.description())).append("\"");
                }
            }
            out_.push_back('>');
            frames_.push_back({piecesOf(*dictionary), 0, name, out_.size()});
        } else {
            out_.append("<").append(name).append(">").append(vkt_XMLEncodedString(node.description()));
            out_.append("</").append(name).append(">");
        }
    }

    void end(const Frame& frame) {
        if (frame.elementName.empty()) return;
        if (out_.size() == frame.innerStart) {
            out_.back() = '/';
            out_.push_back('>');
        } else {
            out_.append("</").append(frame.elementName).append(">");
        }
    }

    std::vector<Frame> frames_;
    std::string out_;
};

}  // namespace

const VKTXMLDictionaryParser& VKTXMLDictionaryParser::sharedInstance() {
    static const auto* instance = new VKTXMLDictionaryParser();
    return *instance;
}

VKTXMLDictionaryParser VKTXMLDictionaryParser::copy() const {
    VKTXMLDictionaryParser parser;
    static_cast<VKTXMLDictionarySettings&>(parser) = *this;
    return parser;
}

std::optional<VKTDictionary> VKTXMLDictionaryParser::vkt_dictionaryWithParser(VKTXMLEventReader& reader) {
    parsingError_.reset();
    rootName_.clear();
    reader.parse(*this);
    std::optional<VKTDictionary> root = std::move(root_);
    root_.reset();
    stack_.clear();
    text_.clear();
    if (parsingError_) return std::nullopt;
    return root;
}

std::optional<VKTDictionary> VKTXMLDictionaryParser::vkt_dictionaryWithData(std::string_view data) {
    return vkt_dictionaryWithParser(*VKTPlatform::current().makeXMLEventReader(data));
}

std::optional<VKTDictionary> VKTXMLDictionaryParser::vkt_dictionaryWithString(std::string_view string) {
    // A mark wins over the encoding that the text declares: that of the bytes it once came in.
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (string.starts_with(mark)) return vkt_dictionaryWithData(string);
    return vkt_dictionaryWithData(std::string(mark).append(string));
}

std::optional<VKTDictionary> VKTXMLDictionaryParser::vkt_dictionaryWithFile(const std::string& path) {
    const auto refuse = [&](const std::string& why) {
        VKTLog::sharedInstance()->logWarning("The XML file " + path + " is not read: " + why);
        return std::nullopt;
    };
    std::ifstream file(path, std::ios::binary);
    if (!file) return refuse("it cannot be opened. See that it exists and may be read.");
    std::string data;
    std::array<char, 65536> piece{};
    while (file.read(piece.data(), piece.size()), file.gcount() > 0) {
        data.append(piece.data(), static_cast<std::size_t>(file.gcount()));
        if (data.size() > VKTXMLFileSizeLimit) {
            return refuse("it has more than " + std::to_string(VKTXMLFileSizeLimit) +
                          " bytes (VKTXMLFileSizeLimit). Give a smaller one.");
        }
    }
    if (file.bad()) return refuse("reading it failed. See that it is a file and its disk is sound.");
    return vkt_dictionaryWithData(data);
}

void VKTXMLDictionaryParser::didStartElement(std::string_view name,
                                             std::span<const VKTXMLAttribute> attributes) {
    endText();
    const bool isNamed = nodeNameMode == VKTXMLDictionaryNodeNameModeAlways ||
                         (nodeNameMode == VKTXMLDictionaryNodeNameModeRootOnly && !root_);
    if (!root_) rootName_ = name;
    VKTDictionary* node = root_ ? openChild(name) : openRoot(name);
    stack_.push_back(node);
    node->reserve(attributes.size() + 1);
    if (isNamed) node->set(VKTXMLDictionaryNodeNameKey, name);
    addAttributes(*node, attributes);
}

void VKTXMLDictionaryParser::addAttributes(VKTDictionary& node,
                                           std::span<const VKTXMLAttribute> attributes) const {
    if (attributes.empty()) return;
    if (attributesMode == VKTXMLDictionaryAttributesModePrefixed) {
        std::string key = "_";
        for (const VKTXMLAttribute& attribute : attributes) {
            key.resize(1);
            key.append(attribute.name);
            node.set(key, attribute.value);
        }
    } else if (attributesMode == VKTXMLDictionaryAttributesModeDictionary) {
        VKTDictionary dictionary;
        for (const VKTXMLAttribute& attribute : attributes)
            dictionary.set(attribute.name, attribute.value);
        node.set(VKTXMLDictionaryAttributesKey, std::move(dictionary));
    } else if (attributesMode == VKTXMLDictionaryAttributesModeUnprefixed) {
        for (const VKTXMLAttribute& attribute : attributes)
            node.set(attribute.name, attribute.value);
    }
}

VKTDictionary* VKTXMLDictionaryParser::openRoot(std::string_view name) {
    if (!wrapRootNode) return &root_.emplace();
    VKTDictionary& wrapper = root_.emplace();
    stack_.push_back(&wrapper);
    return wrapper.set(name, VKTDictionary()).asDictionary();
}

VKTDictionary* VKTXMLDictionaryParser::openChild(std::string_view name) {
    VKTValue& place = (*stack_.back())[name];
    if (place.isNull() && !alwaysUseArrays) {
        place = VKTDictionary();
        return place.asDictionary();
    }
    if (place.isNull()) {
        place = VKTArray();
    } else if (place.asArray() == nullptr) {
        makeArray(place);
    }
    return place.asArray()->emplace_back(std::in_place_type<VKTDictionary>).asDictionary();
}

void VKTXMLDictionaryParser::didEndElement(std::string_view name) {
    endText();
    VKTDictionary& node = *stack_.back();
    stack_.pop_back();
    const bool isBare =
        !hasAttributes(node) && !hasChildNodes(node) && !node.contains(VKTXMLDictionaryCommentsKey);
    if (isBare && !stack_.empty()) collapseOrStrip(node, name);
}

void VKTXMLDictionaryParser::collapseOrStrip(VKTDictionary& node, std::string_view elementName) const {
    // Not the node's "__name": an attribute called "_name" can pretend to be it.
    VKTDictionary& parent = *stack_.back();
    VKTValue* place = parent.find(elementName);
    if (place == nullptr) return;
    VKTArray* siblings = place->asArray();
    if (siblings != nullptr && siblings->empty()) return;

    const bool hasText = node.contains(VKTXMLDictionaryTextKey);
    if (hasText && collapseTextNodes) {
        const std::string text = vkt_innerText(node).value_or("");
        (siblings == nullptr ? *place : siblings->back()) = text;
    } else if (!hasText && stripEmptyNodes) {
        if (siblings == nullptr) {
            parent.remove(elementName);
        } else {
            siblings->pop_back();
            if (markStrippedNodes) markStripped(parent, elementName, siblings->size());
        }
    } else if (!hasText && !collapseTextNodes) {
        node.set(VKTXMLDictionaryTextKey, "");
    }
}

void VKTXMLDictionaryParser::markStripped(VKTDictionary& parent, std::string_view elementName,
                                          std::size_t keptBefore) {
    VKTValue& marks = parent[VKTXMLDictionaryStrippedKey];
    if (marks.isNull()) marks = VKTDictionary();
    VKTValue& positions = (*marks.asDictionary())[elementName];
    if (positions.isNull()) positions = VKTArray();
    VKTArray& list = *positions.asArray();
    list.emplace_back(static_cast<std::int64_t>(keptBefore + list.size() + 1));
}

void VKTXMLDictionaryParser::endText() {
    if (text_.empty()) return;
    const std::string_view run = trimWhiteSpace ? vkt_trimmed(text_) : std::string_view(text_);
    if (!run.empty() && !stack_.empty()) {
        VKTDictionary& node = *stack_.back();
        if (VKTValue* place = node.find(VKTXMLDictionaryTextKey)) {
            if (place->asArray() == nullptr) makeArray(*place);
            place->asArray()->emplace_back(run);
        } else {
            node.set(VKTXMLDictionaryTextKey, run);
        }
    }
    text_.clear();
}

void VKTXMLDictionaryParser::foundCharacters(std::string_view text) {
    // Most runs are the white space between two elements: not worth gathering.
    if (trimWhiteSpace && text_.empty()) text = vkt_trimmedAtStart(text);
    if (!text.empty()) text_.append(text);
}

void VKTXMLDictionaryParser::foundCDATA(std::string_view text) {
    text_.append(text);
}

void VKTXMLDictionaryParser::foundComment(std::string_view text) {
    if (!preserveComments || stack_.empty()) return;
    VKTDictionary& top = *stack_.back();
    VKTValue* comments = top.find(VKTXMLDictionaryCommentsKey);
    if (comments == nullptr || comments->asArray() == nullptr) {
        comments = &top.set(VKTXMLDictionaryCommentsKey, VKTArray());
    }
    comments->asArray()->emplace_back(text);
}

void VKTXMLDictionaryParser::parseErrorOccurred(const VKTError& error) {
    parsingError_ = error;
}

std::string VKTXMLDictionaryParser::XMLStringForNode(const VKTValue& node, std::string_view nodeName) {
    return XMLWriter::XMLForNode(node, nodeName);
}

std::optional<VKTDictionary> vkt_dictionaryWithXMLParser(VKTXMLEventReader& reader) {
    return VKTXMLDictionaryParser::sharedInstance().copy().vkt_dictionaryWithParser(reader);
}

std::optional<VKTDictionary> vkt_dictionaryWithXMLData(std::string_view data) {
    return VKTXMLDictionaryParser::sharedInstance().copy().vkt_dictionaryWithData(data);
}

std::optional<VKTDictionary> vkt_dictionaryWithXMLString(std::string_view string) {
    return VKTXMLDictionaryParser::sharedInstance().copy().vkt_dictionaryWithString(string);
}

std::optional<VKTDictionary> vkt_dictionaryWithXMLFile(const std::string& path) {
    return VKTXMLDictionaryParser::sharedInstance().copy().vkt_dictionaryWithFile(path);
}

std::optional<VKTDictionary> vkt_attributes(const VKTDictionary& node) {
    if (!hasAttributes(node)) return std::nullopt;
    if (const auto* attributes = dictionaryUnder(node, VKTXMLDictionaryAttributesKey)) return *attributes;
    VKTDictionary result;
    for (const auto& [key, value] : node) {
        if (isAttributeKey(key)) result.set(std::string_view(key).substr(1), value);
    }
    return result;
}

std::optional<VKTDictionary> vkt_childNodes(const VKTDictionary& node) {
    if (!hasChildNodes(node)) return std::nullopt;
    VKTDictionary result;
    for (const auto& [key, value] : node) {
        if (isChildKey(key)) result.set(key, value);
    }
    return result;
}

const VKTArray* vkt_comments(const VKTDictionary& node) {
    const VKTValue* value = node.find(VKTXMLDictionaryCommentsKey);
    return value == nullptr ? nullptr : value->asArray();
}

const std::string* vkt_nodeName(const VKTDictionary& node) {
    const VKTValue* value = node.find(VKTXMLDictionaryNodeNameKey);
    return value == nullptr ? nullptr : value->asString();
}

std::optional<std::string> vkt_innerText(const VKTDictionary& node) {
    const VKTValue* value = node.find(VKTXMLDictionaryTextKey);
    if (value == nullptr) return std::nullopt;
    if (const std::string* text = value->asString()) return *text;
    const VKTArray* runs = value->asArray();
    if (runs == nullptr) return std::nullopt;
    std::vector<std::string> texts;
    for (const VKTValue& run : *runs)
        texts.push_back(run.description());
    return vkt_joined(texts, "\n");
}

std::string vkt_innerXML(const VKTDictionary& node) {
    return XMLWriter::innerXML(node);
}

std::string vkt_XMLString(const VKTDictionary& node) {
    const std::string* name = vkt_nodeName(node);
    if (node.size() == 1 && name == nullptr) return vkt_innerXML(node);
    return VKTXMLDictionaryParser::XMLStringForNode(node, name == nullptr ? "root" : *name);
}

std::optional<VKTArray> vkt_arrayValueForKeyPath(const VKTDictionary& node, std::string_view keyPath) {
    std::optional<VKTValue> value = valueForKeyPath(node, keyPath);
    if (!value) return std::nullopt;
    if (VKTArray* array = value->asArray()) return std::move(*array);
    return VKTArray{std::move(*value)};
}

std::optional<std::string> vkt_stringValueForKeyPath(const VKTDictionary& node, std::string_view keyPath) {
    const std::optional<VKTValue> value = firstValueForKeyPath(node, keyPath);
    if (!value) return std::nullopt;
    if (const VKTDictionary* dictionary = value->asDictionary()) return vkt_innerText(*dictionary);
    const std::string* text = value->asString();
    return text == nullptr ? std::nullopt : std::optional<std::string>(*text);
}

std::optional<VKTDictionary> vkt_dictionaryValueForKeyPath(const VKTDictionary& node,
                                                           std::string_view keyPath) {
    std::optional<VKTValue> value = firstValueForKeyPath(node, keyPath);
    if (!value) return std::nullopt;
    if (const std::string* text = value->asString()) {
        return VKTDictionary{{std::string(VKTXMLDictionaryTextKey), *text}};
    }
    if (VKTDictionary* dictionary = value->asDictionary()) return std::move(*dictionary);
    return std::nullopt;
}

std::string vkt_XMLEncodedString(std::string_view string) {
    std::string result;
    result.reserve(string.size());
    for (const char c : string) {
        switch (c) {
            case '&':
                result.append("&amp;");
                break;
            case '<':
                result.append("&lt;");
                break;
            case '>':
                result.append("&gt;");
                break;
            case '"':
                result.append("&quot;");
                break;
            case '\'':
                result.append("&apos;");
                break;
            default:
                result.push_back(c);
        }
    }
    return result;
}
