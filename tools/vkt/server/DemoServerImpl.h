// How the demo server takes requests; what the paths answer is in DemoServer.cpp.
#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "server/DemoServer.h"
#include "server/LogCollector.h"
#include "server/VKTRawServer.h"

/// Whether a text has letters, digits and those characters only.
bool isPlain(std::string_view text, std::string_view alsoAllowed);

class DemoServer::Impl {
  public:
    Impl(const std::string& root, const LineHandler& onLine, const std::string& media);

    void setGuest(DemoGuest& guest) { guest_ = &guest; }
    std::optional<int> start(int port, const std::string& address);
    void stop();

    /// The route of a path answers.
    void dispatch(const httplib::Request& request, std::string_view path, httplib::Response& response);
    /// Whether the guest lets this request change what is answered or kept; otherwise it is refused.
    bool mayChange(const httplib::Request& request, httplib::Response& response);
    void waitUnlessStopped(std::chrono::milliseconds time);
    void tell(ToldAnswer told) { toldAnswers_.tell(std::move(told)); }
    [[nodiscard]] PixelLog& pixelLog() { return pixelLog_; }
    [[nodiscard]] LogCollector& logCollector() { return logCollector_; }

    /// The folder with the files of /media/; empty when there is none.
    [[nodiscard]] const std::filesystem::path& media() const { return media_; }

    [[nodiscard]] std::string baseURL(const httplib::Request& request) const;
    [[nodiscard]] const VKTRawServer& resetting() const { return resetting_; }
    [[nodiscard]] const VKTRawServer& garbling() const { return garbling_; }

  private:
    void answer(const httplib::Request& request, httplib::Response& response);
    void misbehave(const httplib::Request& request, httplib::Response& response, const std::string& answer);
    void answerPost(const httplib::Request& request, httplib::Response& response,
                    const httplib::ContentReader& content);
    bool isStopped();

    const std::filesystem::path media_;
    DemoGuest* guest_ = nullptr;
    httplib::Server server_;
    const VKTRawServer resetting_{{{}, VKTRawAnswer::Reset}};
    const VKTRawServer garbling_{{{"\x16\x03\x01 this is not HTTP \xff\xfe\r\n\r\n"}}};
    std::thread thread_;
    std::string authority_;  // HOST:PORT where it listens

    std::mutex mutex_;
    std::condition_variable stopSignal_;
    bool stopped_ = false;

    ToldAnswers toldAnswers_;
    PixelLog pixelLog_;
    LogCollector logCollector_;
};
