#include "VKTCoreKit/platform/linux/VKTExpatEventReader.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <climits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTKeyedHash.h"

namespace {

// Codes below this are expat's own.
enum : std::int64_t { limitErrorCode = 1000 };

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

using Parser = std::unique_ptr<XML_ParserStruct, ParserDeleter>;

// A parser keeps what it has allocated, so one that has read a large document is not kept.
constexpr std::size_t largestDocumentOfKeptParser = std::size_t{64} * 1024;

// Stays readable when the objects of an ending thread have been destroyed, unlike those.
thread_local bool isKeptParserGone = false;

struct KeptParser {
    KeptParser() = default;
    ~KeptParser() { isKeptParserGone = true; }
    KeptParser(const KeptParser&) = delete;
    KeptParser& operator=(const KeptParser&) = delete;

    Parser parser;
};

// Making a parser costs as much as reading a kilobyte. Each thread keeps the one that it used last. Null at
// the end of the thread: what is destroyed after its parser, on the main thread every static object, may
// still read.
Parser* keptParser() {
    thread_local KeptParser kept;
    return isKeptParserGone ? nullptr : &kept.parser;
}

Parser takeParser(const char* encoding) {
    Parser* kept = keptParser();
    Parser parser = kept == nullptr ? nullptr : std::move(*kept);
    if (!parser || XML_ParserReset(parser.get(), encoding) == XML_FALSE)
        parser.reset(XML_ParserCreate(encoding));
    // Without a salt the parser asks the system for one, for every document.
    static const auto salt = static_cast<unsigned long>(vkt_keyedHash("salt of the XML parser"));
    if (parser) XML_SetHashSalt(parser.get(), salt);
    return parser;
}

void keepParser(Parser parser) {
    if (Parser* kept = keptParser()) *kept = std::move(parser);
}

// Whether a start tag, as written, refers to anything but characters and the five predefined entities.
bool hasUndefinedReference(std::string_view tag) {
    std::string text(tag);
    std::erase(text, '\0');  // UTF-16
    for (std::size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 1)) {
        const std::string_view reference = std::string_view(text).substr(at + 1);
        constexpr std::array<std::string_view, 6> known = {"#", "amp;", "lt;", "gt;", "quot;", "apos;"};
        if (std::none_of(known.begin(), known.end(),
                         [&](std::string_view name) { return reference.starts_with(name); })) {
            return true;
        }
    }
    return false;
}

// The encoding that a byte order mark tells; null without one. A mark wins over what the document declares.
const char* markedEncoding(std::string_view data) {
    if (data.starts_with("\xEF\xBB\xBF")) return "UTF-8";
    if (data.starts_with("\xFE\xFF") || data.starts_with("\xFF\xFE")) return "UTF-16";
    return nullptr;
}

class ExpatEventReader final : public VKTXMLEventReader {
  public:
    explicit ExpatEventReader(std::string_view data) : data_(data) {}

    bool parse(VKTXMLEventHandler& handler) override {
        handler_ = &handler;
        parser_ = takeParser(markedEncoding(data_));
        if (!parser_) {
            reportError(XML_ERROR_NO_MEMORY, XML_ErrorString(XML_ERROR_NO_MEMORY));
            return false;
        }
        installCallbacks();
        const bool isWellFormed = parseAll();
        if (!isWellFormed) reportReason();
        if (data_.size() <= largestDocumentOfKeptParser) keepParser(std::move(parser_));
        return isWellFormed;
    }

  private:
    static ExpatEventReader& self(void* userData) { return *static_cast<ExpatEventReader*>(userData); }

    void installCallbacks() {
        XML_Parser parser = parser_.get();
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, startElement, endElement);
        XML_SetCharacterDataHandler(parser, characters);
        XML_SetCommentHandler(parser, comment);
        XML_SetCdataSectionHandler(
            parser, [](void* userData) { self(userData).inCDATA_ = true; },
            [](void* userData) { self(userData).inCDATA_ = false; });
        // Without a handler for external entities none is ever read; with parameter entities on, an undefined
        // one is reported as skipped instead of hiding the declarations behind it.
        XML_SetParamEntityParsing(parser, XML_PARAM_ENTITY_PARSING_ALWAYS);
        XML_SetEntityDeclHandler(parser, [](void* userData, const XML_Char*, int, const XML_Char*, int,
                                            const XML_Char*, const XML_Char*, const XML_Char*,
                                            const XML_Char*) { self(userData).stop("entity declaration"); });
        XML_SetAttlistDeclHandler(parser, attributeDeclaration);
        XML_SetStartDoctypeDeclHandler(
            parser, [](void* userData, const XML_Char*, const XML_Char* systemIdentifier, const XML_Char*,
                       int) { self(userData).hasExternalDefinitions_ = systemIdentifier != nullptr; });
        XML_SetSkippedEntityHandler(
            parser, [](void* userData, const XML_Char*, int) { self(userData).stop("undefined entity"); });
    }

    bool parseAll() {
        std::string_view rest = data_;
        bool isLast = false;
        while (!isLast) {
            const std::string_view piece = rest.substr(0, INT_MAX);
            rest.remove_prefix(piece.size());
            isLast = rest.empty();
            if (XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), isLast ? 1 : 0) !=
                XML_STATUS_OK) {
                return false;
            }
        }
        return true;
    }

    // One default would be copied into every element of its name. Declarations without one are counted: expat
    // walks those of an element's name for each such element.
    static void attributeDeclaration(void* userData, const XML_Char*, const XML_Char*, const XML_Char*,
                                     const XML_Char* defaultValue, int) {
        ExpatEventReader& reader = self(userData);
        if (defaultValue != nullptr) {
            reader.stop("attribute declaration with a default");
        } else if (++reader.attributeDeclarations_ > VKTXMLAttributeDeclarationLimit) {
            reader.stop("too many attribute declarations");
        }
    }

    static void startElement(void* userData, const XML_Char* name, const XML_Char** attributes) {
        ExpatEventReader& reader = self(userData);
        if (reader.stopReason_ != nullptr) return;
        if (++reader.depth_ > VKTXMLDepthLimit) {
            reader.stop("elements nested too deep");
            return;
        }
        if (reader.hasExternalDefinitions_ && hasUndefinedReference(reader.currentMarkup())) {
            reader.stop("undefined entity");
            return;
        }
        reader.attributes_.clear();
        for (; *attributes != nullptr; attributes += 2) {
            reader.attributes_.push_back({attributes[0], attributes[1]});
        }
        reader.handler_->didStartElement(name, reader.attributes_);
    }

    static void endElement(void* userData, const XML_Char* name) {
        ExpatEventReader& reader = self(userData);
        if (reader.stopReason_ != nullptr) return;
        --reader.depth_;
        reader.handler_->didEndElement(name);
    }

    static void characters(void* userData, const XML_Char* text, int length) {
        ExpatEventReader& reader = self(userData);
        if (reader.stopReason_ != nullptr) return;
        const std::string_view piece(text, static_cast<std::size_t>(length));
        if (reader.inCDATA_) {
            reader.handler_->foundCDATA(piece);
        } else {
            reader.handler_->foundCharacters(piece);
        }
    }

    static void comment(void* userData, const XML_Char* text) {
        ExpatEventReader& reader = self(userData);
        if (reader.stopReason_ == nullptr) reader.handler_->foundComment(text);
    }

    // Expat may still make the calls that belong to the current token; they look at the reason.
    void stop(const char* reason) {
        if (stopReason_ != nullptr) return;
        stopReason_ = reason;
        notePosition();
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    void reportReason() {
        const XML_Error code = XML_GetErrorCode(parser_.get());
        if (stopReason_ != nullptr) {
            reportError(limitErrorCode, stopReason_);
        } else {
            notePosition();
            reportError(code, XML_ErrorString(code));
        }
    }

    void notePosition() {
        line_ = XML_GetCurrentLineNumber(parser_.get());
        column_ = XML_GetCurrentColumnNumber(parser_.get()) + 1;
        // Expat counts the mark as a character.
        if (line_ == 1 && column_ > 1 && markedEncoding(data_) != nullptr) --column_;
    }

    [[nodiscard]] std::string_view currentMarkup() const {
        return data_.substr(static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())),
                            static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get())));
    }

    void reportError(std::int64_t code, const std::string& reason) {
        std::string text =
            reason + " at line " + std::to_string(line_) + ", column " + std::to_string(column_);
        handler_->parseErrorOccurred(VKTError(VKTXMLErrorDomain, code,
                                              {{VKTLocalizedDescriptionKey, std::move(text)},
                                               {VKTXMLErrorLineKey, static_cast<std::int64_t>(line_)},
                                               {VKTXMLErrorColumnKey, static_cast<std::int64_t>(column_)}}));
    }

    std::string_view data_;
    Parser parser_;
    VKTXMLEventHandler* handler_ = nullptr;
    std::vector<VKTXMLAttribute> attributes_;  // reused for every element
    const char* stopReason_ = nullptr;
    XML_Size line_ = 1;
    XML_Size column_ = 1;
    int depth_ = 0;
    int attributeDeclarations_ = 0;
    bool hasExternalDefinitions_ = false;  // expat then drops undefined references in attributes silently
    bool inCDATA_ = false;
};

}  // namespace

std::unique_ptr<VKTXMLEventReader> vkt_makeExpatEventReader(std::string_view data) {
    return std::make_unique<ExpatEventReader>(data);
}
