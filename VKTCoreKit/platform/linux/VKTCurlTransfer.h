// One HTTP transfer with libcurl: an easy handle, the redirects it follows and what it has received.
#pragma once

#include <curl/curl.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTHTTPSessionOptions.h"
#include "VKTCoreKit/platform/linux/VKTContentDecoder.h"
#include "VKTCoreKit/platform/linux/VKTRedirect.h"
#include "VKTCoreKit/platform/linux/VKTRequestHeaders.h"
#include "VKTCoreKit/platform/linux/VKTTransferError.h"

/// The arguments of a completion.
struct VKTCurlResult {
    VKTData data;
    std::shared_ptr<const VKTURLResponse> response;
    std::optional<VKTError> error;
};

/// Reused for one request after another, by one thread at a time; its connection lives in the multi handle.
class VKTCurlTransfer {
  public:
    /// The options outlive the transfer.
    explicit VKTCurlTransfer(const VKTHTTPSessionOptions& options);
    ~VKTCurlTransfer();
    VKTCurlTransfer(const VKTCurlTransfer&) = delete;
    VKTCurlTransfer& operator=(const VKTCurlTransfer&) = delete;

    [[nodiscard]] CURL* easy() const { return easy_; }

    /// Sets the handle up; `owner` is found again as its CURLINFO_PRIVATE. The request's deadline begins
    /// here. The request must live until `clear`.
    void prepare(const VKTURLRequest& request, void* owner);

    /// Whether a connection to the address may be opened.
    bool allows(const sockaddr& address);

    /// True when libcurl has ended with a redirect that is to be followed. Then the handle is taken out of
    /// its multi handle, `prepareNext` sets it up for the next answer, and it is put in again; `result` is
    /// not called for this end.
    bool followRedirect(CURLcode code);
    void prepareNext();

    /// What the transfer brought, once libcurl has said how it ended and there is nothing more to follow.
    VKTCurlResult result(CURLcode code);

    /// The response, when its header has arrived: null while the last header belongs to an answer that only
    /// leads on to another.
    std::shared_ptr<const VKTURLResponse> takeFinalResponse();

    /// Makes the transfer ready for another request.
    void clear();

  private:
    // Why this side ended an answer that libcurl would have gone on with.
    enum class Stop : std::uint8_t {
        None,
        RedirectIsKnown,
        BodyIsKept,
        BodyTooLarge,
        BodyMalformed,
        HeaderTooLarge,
    };

    template <typename Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(easy_, option, value);
    }

    void setUp();
    void setBehaviour();
    void setRemainingTime();
    void setMethod();
    void setCredentials(const VKTCredentials& credentials);
    void setHeaders(bool isFirstOrigin);
    void addHeaderLine(const std::string& line);

    std::optional<VKTError> redirectTo(const std::string& location);

    static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* userData);
    static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* userData);
    bool stop(Stop reason);
    bool addHeaderBytes(std::string_view line);
    void addResponseLine(std::string_view line);
    [[nodiscard]] bool isWorthWaitingForTheBodyOfARedirect() const;
    bool addBodyBytes(std::string_view bytes);
    void beginBody();
    bool decodeBody(std::string_view bytes);
    bool keepBody(std::string_view bytes);

    /// Where the answer leads on to; null when it does not.
    [[nodiscard]] const std::string* redirectLocation() const;
    [[nodiscard]] bool hasFinalHeader() const;
    std::shared_ptr<const VKTURLResponse> takeResponse();
    [[nodiscard]] VKTURL currentURL() const;
    [[nodiscard]] std::optional<VKTError> errorOf(CURLcode code) const;
    [[nodiscard]] bool hasRefusedHeader(CURLcode code) const;
    [[nodiscard]] VKTError headerError() const;

    const VKTHTTPSessionOptions& options_;
    CURL* easy_;
    const VKTURLRequest* request_ = nullptr;
    void* owner_ = nullptr;
    std::chrono::steady_clock::time_point deadline_;
    curl_slist* headers_ = nullptr;

    // The chain of redirects.
    std::string url_;  // of the answer that is awaited
    std::string method_;
    int redirectCount_ = 0;
    bool sendsBody_ = false;
    std::optional<VKTError> redirectError_;
    bool isProxied_ = false;
    std::string refusedAddress_;
    std::size_t headerLength_ = 0;  // of all answers

    // The current answer.
    VKTURLResponse response_;
    bool isHeaderComplete_ = false;
    std::size_t receivedLength_ = 0;  // of its body, as it came
    std::unique_ptr<VKTContentDecoder> decoder_;
    std::string body_;  // what is kept of it, decoded
    Stop stop_ = Stop::None;
    std::array<char, CURL_ERROR_SIZE> reason_{};
};
