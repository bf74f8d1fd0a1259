// Bytes to model, beside the XML reader with empty handlers on the same bytes.
#include <expat.h>

#include <memory>

#include "Documents.h"
#include "Pairs.h"
#include "VKTCoreKit/vast/VKTVASTParser.h"

namespace {

using Document = std::shared_ptr<const std::string>;

Document shared(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

void parseModel(const Document& document, std::size_t expectedAds) {
    const auto response = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(*document);
    if (!response.model || response.model->ads().size() != expectedAds)
        fail("the document was read to another number of ads");
}

void addParsePair(const std::string& name, const Document& document, std::size_t ads) {
    addPair(
        name, [document, ads] { parseModel(document, ads); }, [document] { readEvents(*document); });
}

// Ten times the input: its time is the "limit", and the ratio is how the cost grows.
void addGrowthPair(const std::string& name, const Document& large, std::size_t largeAds,
                   const Document& small, std::size_t smallAds) {
    addPair(
        name, [large, largeAds] { parseModel(large, largeAds); },
        [small, smallAds] { parseModel(small, smallAds); });
}

// Rows of `count` siblings beside a tenth of them, and the reader alone, to which distinct names cost a
// growing table of its own.
void addWideRows(const std::string& size, std::size_t count) {
    const std::size_t tenth = count / 10;
    addGrowthPair("parse_wide_" + size + "_ads", shared(wideAdsDocument(count)), count,
                  shared(wideAdsDocument(tenth)), tenth);
    addGrowthPair("parse_wide_" + size, shared(wideTrackingDocument(count)), 1,
                  shared(wideTrackingDocument(tenth)), 1);
    const Document names = shared(wideNamesDocument(count));
    addGrowthPair("parse_wide_" + size + "_names", names, 1, shared(wideNamesDocument(tenth)), 1);
    addParsePair("parse_names_" + size, names, 1);
}

}  // namespace

void readEvents(const std::string& document) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(
        parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
    XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
    XML_SetCdataSectionHandler(
        parser, [](void*) {}, [](void*) {});
    XML_SetCommentHandler(parser, [](void*, const XML_Char*) {});
    if (XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1) != XML_STATUS_OK)
        fail("expat does not read the document");
    XML_ParserFree(parser);
}

void addParseBenchmarks() {
    addParsePair("parse_4k", shared(inlineDocument()), 1);
    addParsePair("parse_1m", shared(podDocument()), 40);
    addWideRows("10k", 10'000);
    addWideRows("100k", 100'000);
}
