// The service script of the measurement runtime, fetched once and kept in memory.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerProtocols.h"
#include "VKTCoreKit/openmeasurement/VKTScriptDownloader.h"

/// Empty, downloading or ready. A failed download changes nothing else: a script that was there stays.
/// Nothing is tried again by itself, and nothing is kept beyond the object.
///
/// Main thread only. Destroying it cancels the download.
class VKT_EXPORT VKTOpenMeasurementJSLibrary
    : public VKTScriptDownloaderDelegate,
      public std::enable_shared_from_this<VKTOpenMeasurementJSLibrary> {
  public:
    /// True after a success, false after a failure. It may refresh the library or let go of it.
    using DownloadCompleteHandler = std::function<void(bool isSuccess)>;

    /// Neither may be null. The logger is not used.
    static std::shared_ptr<VKTOpenMeasurementJSLibrary> initWithProvider(
        std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
        std::shared_ptr<VKTURLSession> urlSession);
    static std::shared_ptr<VKTOpenMeasurementJSLibrary> initWithProvider(
        std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
        const std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol>& remoteLogger,
        std::shared_ptr<VKTURLSession> urlSession);

    [[nodiscard]] bool isReady() const { return libraryScript_.has_value(); }

    /// Starts a download, unless one is under way. A script that the provider embeds is there, and the
    /// handler called, when this returns.
    void refreshJSLibrary();

    [[nodiscard]] const std::shared_ptr<VKTOpenMeasurementManagerProvider>& provider() const {
        return provider_;
    }
    [[nodiscard]] const std::shared_ptr<VKTURLSession>& urlSession() const { return urlSession_; }
    [[nodiscard]] const std::optional<std::string>& libraryScript() const { return libraryScript_; }

    /// The download under way; null when there is none.
    [[nodiscard]] const std::shared_ptr<VKTScriptDownloader>& scriptDownloader() const {
        return scriptDownloader_;
    }

    /// Called when a download has ended, after the script is in place and the downloader gone.
    [[nodiscard]] const DownloadCompleteHandler& JSLibraryDownloadCompleteHandler() const {
        return downloadCompleteHandler_;
    }
    void setJSLibraryDownloadCompleteHandler(DownloadCompleteHandler handler) {
        downloadCompleteHandler_ = std::move(handler);
    }

    void scriptDownloader(VKTScriptDownloader& downloader, const std::string& didDownloadScript,
                          const std::optional<VKTURL>& withBaseURL) override;
    void scriptDownloader(VKTScriptDownloader& downloader, const VKTError& didFailToLoadWithError) override;

  private:
    VKTOpenMeasurementJSLibrary(std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
                                std::shared_ptr<VKTURLSession> urlSession)
        : provider_(std::move(provider)), urlSession_(std::move(urlSession)) {}

    [[nodiscard]] std::shared_ptr<VKTScriptDownloader> makeDownloader();
    void endDownload(bool isSuccess);

    const std::shared_ptr<VKTOpenMeasurementManagerProvider> provider_;
    const std::shared_ptr<VKTURLSession> urlSession_;
    std::optional<std::string> libraryScript_;
    std::shared_ptr<VKTScriptDownloader> scriptDownloader_;
    DownloadCompleteHandler downloadCompleteHandler_;
};
