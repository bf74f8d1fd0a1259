#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementJSLibrary.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"

std::shared_ptr<VKTOpenMeasurementJSLibrary> VKTOpenMeasurementJSLibrary::initWithProvider(
    std::shared_ptr<VKTOpenMeasurementManagerProvider> provider, std::shared_ptr<VKTURLSession> urlSession) {
    return std::shared_ptr<VKTOpenMeasurementJSLibrary>(
        new VKTOpenMeasurementJSLibrary(std::move(provider), std::move(urlSession)));
}

std::shared_ptr<VKTOpenMeasurementJSLibrary> VKTOpenMeasurementJSLibrary::initWithProvider(
    std::shared_ptr<VKTOpenMeasurementManagerProvider> provider,
    const std::shared_ptr<VKTOpenMeasurementRemoteLoggerProtocol>& /*remoteLogger*/,
    std::shared_ptr<VKTURLSession> urlSession) {
    return initWithProvider(std::move(provider), std::move(urlSession));
}

void VKTOpenMeasurementJSLibrary::refreshJSLibrary() {
    if (scriptDownloader_) return;
    scriptDownloader_ = makeDownloader();
    const auto downloader = scriptDownloader_;  // the library lets go of it inside the delegate call
    downloader->load();
}

std::shared_ptr<VKTScriptDownloader> VKTOpenMeasurementJSLibrary::makeDownloader() {
    if (auto script = provider_->embeddedLibraryScript()) {
        return VKTScriptDownloader::initWithScript(std::move(*script), std::nullopt, shared_from_this(),
                                                   urlSession_);
    }
    VKTURLRequest request;
    request.url = provider_->JSLibraryURL();
    return VKTScriptDownloader::initWithRequest(std::move(request), shared_from_this(), urlSession_);
}

void VKTOpenMeasurementJSLibrary::scriptDownloader(VKTScriptDownloader& /*downloader*/,
                                                   const std::string& didDownloadScript,
                                                   const std::optional<VKTURL>& /*withBaseURL*/) {
    VKTLog::sharedInstance()->logDebug("Open Measurement library did download successfully");
    libraryScript_ = didDownloadScript;
    endDownload(true);
}

void VKTOpenMeasurementJSLibrary::scriptDownloader(VKTScriptDownloader& /*downloader*/,
                                                   const VKTError& didFailToLoadWithError) {
    VKTLog::sharedInstance()->logDebugWithFormat("Failed to download Open Measurement library with error: %@",
                                                 didFailToLoadWithError.localizedDescription());
    endDownload(false);
}

void VKTOpenMeasurementJSLibrary::endDownload(bool isSuccess) {
    scriptDownloader_.reset();
    const DownloadCompleteHandler handler = downloadCompleteHandler_;  // it may be replaced while it runs
    if (handler) handler(isSuccess);
}
