// A document's data or URL to its model.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/vast/VKTVASTParser.h"

/// Keeps only its session and its kind; any thread, but not the main one: a download blocks the caller for
/// its time-out at most. A value.
class VKT_EXPORT VKTVASTModelGenerator {
  public:
    /// With the shared session, for a first document.
    static VKTVASTModelGenerator init();

    /// A null session means the shared one. `isWrapper`: the generator follows wrappers. The canceller, which
    /// may be null, ends a download under way: it then fails as any other.
    static VKTVASTModelGenerator initWithSessionManager(
        std::shared_ptr<VKTURLSession> sessionManager, bool isWrapper = false,
        std::shared_ptr<VKTHTTPCanceller> canceller = nullptr);

    /// Reads the data when there is some (the URL is then ignored), else downloads the URL. Error 5031 for a
    /// time-out of 0 or less, before anything else; error 10002 without data and URL. The listener, here and
    /// below, may be null and hears what the document loses.
    [[nodiscard]] VKTVASTParserResponse generateVASTModelFromXML(
        std::optional<std::string_view> xmlData, const std::optional<VKTURL>& url, VKTTimeInterval timeout,
        const VKTVASTDocumentErrorHandler& errorHandler = vkt_ignoreVASTDocumentErrors,
        VKTVASTReadingListener* listener = nullptr) const;

    /// A transfer that fails is reported by the wrapper errors, also for a first document.
    [[nodiscard]] VKTVASTParserResponse downloadXMLAndGenerateVASTModel(
        const VKTURL& url, VKTTimeInterval timeout, const VKTVASTDocumentErrorHandler& errorHandler,
        VKTVASTReadingListener* listener = nullptr) const;

    [[nodiscard]] VKTVASTParserResponse transformXMLDatasIntoVASTModel(
        std::optional<std::string_view> data, const VKTVASTDocumentErrorHandler& errorHandler,
        VKTVASTReadingListener* listener = nullptr) const;

    [[nodiscard]] const std::shared_ptr<VKTURLSession>& sessionManager() const { return sessionManager_; }
    [[nodiscard]] bool isWrapper() const { return isWrapper_; }

  private:
    VKTVASTModelGenerator(std::shared_ptr<VKTURLSession> sessionManager, bool isWrapper,
                          std::shared_ptr<VKTHTTPCanceller> canceller)
        : sessionManager_(std::move(sessionManager)),
          isWrapper_(isWrapper),
          canceller_(std::move(canceller)) {}

    [[nodiscard]] VKTVASTParserResponse readAnswer(const VKTURLSessionResponse& answer,
                                                   const VKTVASTDocumentErrorHandler& errorHandler,
                                                   VKTVASTReadingListener* listener) const;

    std::shared_ptr<VKTURLSession> sessionManager_;
    bool isWrapper_;
    std::shared_ptr<VKTHTTPCanceller> canceller_;
};
