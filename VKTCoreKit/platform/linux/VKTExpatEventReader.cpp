#include "VKTCoreKit/platform/linux/VKTExpatEventReader.h"

#include <expat.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <vector>

namespace {

// Codes below this are expat's own.
enum : std::int64_t { limitErrorCode = 1000 };

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

class ExpatEventReader final : public VKTXMLEventReader {
  public:
    explicit ExpatEventReader(std::string_view data) : data_(data) {}

    bool parse(VKTXMLEventHandler& handler) override {
        handler_ = &handler;
        parser_.reset(XML_ParserCreate(nullptr));
        if (!parser_) {
            reportError(XML_ERROR_NO_MEMORY, XML_ErrorString(XML_ERROR_NO_MEMORY));
            return false;
        }
        installCallbacks();
        if (parseAll()) return true;
        const XML_Error code = XML_GetErrorCode(parser_.get());
        if (stopReason_ != nullptr) {
            reportError(limitErrorCode, stopReason_);
        } else {
            reportError(code, XML_ErrorString(code));
        }
        return false;
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

    static void startElement(void* userData, const XML_Char* name, const XML_Char** attributes) {
        ExpatEventReader& reader = self(userData);
        if (reader.stopReason_ != nullptr) return;
        if (++reader.depth_ > VKTXMLDepthLimit) {
            reader.stop("elements nested too deep");
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
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    void reportError(std::int64_t code, const char* reason) {
        std::string text = reason;
        if (parser_) {
            text += " at line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ", column " +
                    std::to_string(XML_GetCurrentColumnNumber(parser_.get()) + 1);
        }
        handler_->parseErrorOccurred(
            VKTError(VKTXMLErrorDomain, code, {{VKTLocalizedDescriptionKey, std::move(text)}}));
    }

    std::string_view data_;
    std::unique_ptr<XML_ParserStruct, ParserDeleter> parser_;
    VKTXMLEventHandler* handler_ = nullptr;
    std::vector<VKTXMLAttribute> attributes_;  // reused for every element
    const char* stopReason_ = nullptr;
    int depth_ = 0;
    bool inCDATA_ = false;
};

}  // namespace

std::unique_ptr<VKTXMLEventReader> vkt_makeExpatEventReader(std::string_view data) {
    return std::make_unique<ExpatEventReader>(data);
}
