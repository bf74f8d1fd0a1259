// The VAST documents of the demo ad server.
#pragma once

#include <string>
#include <string_view>

/// Writes VAST documents whose URLs all start with one base URL ("http://127.0.0.1:8080"). Each ad has pixels
/// and media of its own, told apart by the ad's ID. A value; safe from any thread.
class DemoDocuments {
  public:
    explicit DemoDocuments(std::string baseURL) : baseURL_(std::move(baseURL)) {}

    /// One inline linear ad with everything that a player can meet.
    [[nodiscard]] std::string inlineDocument(std::string_view id) const;

    /// The same ad with a second verification, which runs that script of the server.
    [[nodiscard]] std::string measured(std::string_view script) const;

    /// `wrappers` wrapper documents, each leading to the next, then an inline ad.
    [[nodiscard]] std::string chain(int wrappers) const;

    /// A pod. With `everySecondBroken`, the second, fourth, … ad has no media file that can be played.
    [[nodiscard]] std::string pod(int ads, bool everySecondBroken) const;

    /// A sequenced wrapper to an empty document, an inline passback and a wrapper passback.
    [[nodiscard]] std::string passback() const;

    /// The sample chain: root, second wrapper, pod.
    [[nodiscard]] std::string demoRoot() const;
    [[nodiscard]] std::string demoWrapper() const;
    [[nodiscard]] std::string demoPod() const;

    /// A pod of two video ads of that many seconds: ad.mp4 and ad.m3u8 below /media/.
    [[nodiscard]] std::string videoPod(int seconds) const;

    /// What a break can be made of, in eight ads of that many seconds: "good"; "clicked", another one; then
    /// "missing" and "corrupt", whose media files are missing.mp4 and corrupt.mp4; a wrapper to "skippable";
    /// "silent", which tracks nothing but its impression; "streamed", by HLS; and "endless", without a
    /// duration.
    [[nodiscard]] std::string videoBreak(int seconds) const;
    [[nodiscard]] std::string skippableVideo(int seconds) const;

    /// A wrapper to any URL.
    [[nodiscard]] std::string wrapperTo(std::string_view URL) const;

    [[nodiscard]] std::string empty() const;
    [[nodiscard]] std::string emptyWithError() const;

    /// One small inline ad in a document of that version; without a version attribute when it is empty.
    [[nodiscard]] std::string version(std::string_view version) const;

    [[nodiscard]] std::string many(int ads) const;

    /// A valid ad whose extension nests elements; `depth` of them are open at once, the root included (at
    /// least 6).
    [[nodiscard]] std::string deep(int depth) const;

    /// `bytes` bytes in all; at least as many as one small ad needs.
    [[nodiscard]] std::string padded(std::size_t bytes) const;

    [[nodiscard]] std::string malformed() const;
    [[nodiscard]] std::string withEntities() const;
    [[nodiscard]] std::string withNULBytes() const;

  private:
    struct VideoAd;

    [[nodiscard]] std::string videoAd(const VideoAd& ad, int seconds, int sequence) const;
    [[nodiscard]] std::string filled(std::string_view text, std::string_view id) const;
    [[nodiscard]] std::string inlineAd(std::string_view id, int sequence = 0) const;
    [[nodiscard]] std::string brokenAd(std::string_view id, int sequence) const;
    [[nodiscard]] std::string wrapperAd(std::string_view id, std::string_view URL, int sequence = 0) const;
    [[nodiscard]] std::string smallAd(std::string_view id) const;

    std::string baseURL_;
};
