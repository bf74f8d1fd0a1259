// Bytes to model, with the checks of a whole document.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTDocumentOutcome.h"
#include "VKTCoreKit/vast/VKTVASTModel.h"
#include "VKTCoreKit/vast/VKTVASTReading.h"

/// Codes of the plain errors of the readers of documents, domain `VKTVASTErrorDomain`.
inline constexpr std::int64_t VKTVASTErrorCodeTimedOut = 5031;
inline constexpr std::int64_t VKTVASTErrorCodeUnexpectedResponse = 5032;
inline constexpr std::int64_t VKTVASTErrorCodeNoInput = 10002;
inline constexpr std::int64_t VKTVASTErrorCodeDownloadFailed = 10003;

/// What reading a document gave: a model, an error, both (a model without ads) or neither.
struct VKTVASTParserResponse {
    std::shared_ptr<VKTVASTModel> model;
    std::optional<VKTError> error;
    VKTVASTDocumentOutcome outcome;  ///< what the reader knows of it

    static VKTVASTParserResponse initWithModel(std::shared_ptr<VKTVASTModel> model,
                                               std::optional<VKTError> error,
                                               VKTVASTDocumentOutcome outcome = {}) {
        return {std::move(model), std::move(error), std::move(outcome)};
    }
};

/// Receives each problem with the error pixels to call and the document's text (nothing when there is no
/// document, or when it is not UTF-8). Called on the reading thread, before the reader returns. An empty one
/// ignores all.
using VKTVASTDocumentErrorHandler =
    VKTHandler<void(const VKTVASTError& error, const std::vector<VKTVASTURL>& errorPixels,
                    const std::optional<std::string>& XMLText)>;

inline void vkt_ignoreVASTDocumentErrors(const VKTVASTError& /*error*/,
                                         const std::vector<VKTVASTURL>& /*errorPixels*/,
                                         const std::optional<std::string>& /*XMLText*/) {}

/// Stateless; any thread.
///
/// ```cpp
/// auto response = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(xml);
/// if (response.model) {
///     for (const auto& each : response.model->ads()) std::cout << each->adID().value_or("an ad") << '\n';
/// } else {
///     std::cerr << response.outcome.problem << '\n';
/// }
/// ```
class VKT_EXPORT VKTVASTParser {
  public:
    /// Checks, in this order: data there, XML well formed, version there, version supported, an ad at least.
    /// The first that fails ends the reading; only a document without ads still gives its model. `isWrapper`
    /// chooses the wrapper variants of the errors: a document that a wrapper led to must have an ad, while a
    /// first document without ads is a normal answer, of which only the response's error tells. The version
    /// and no-ad problems go to the handler only when nothing was reported before. The listener, which may be
    /// null, hears what the document loses.
    static VKTVASTParserResponse parseXMLAndGenerateVASTObjectModel(
        std::optional<std::string_view> data, bool isWrapper = false,
        const VKTVASTDocumentErrorHandler& errorHandler = vkt_ignoreVASTDocumentErrors,
        VKTVASTReadingListener* listener = nullptr);
};
