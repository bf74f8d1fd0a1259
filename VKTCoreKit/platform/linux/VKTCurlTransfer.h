// One HTTP transfer with libcurl: an easy handle and what it has received.
#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTHTTPSessionOptions.h"

/// The arguments of a completion.
struct VKTCurlResult {
    VKTData data;
    std::shared_ptr<const VKTURLResponse> response;
    std::optional<VKTError> error;
};

bool vkt_isHTTPScheme(std::string_view scheme);

/// "WHAT (HOST): REASON" in the transport error domain.
VKTError vkt_transferError(VKTURLErrorCode code, const char* what, const VKTURL& url,
                           std::string_view reason = {});

/// Reused for one request after another, by one thread at a time; its connection lives in the multi handle.
class VKTCurlTransfer {
  public:
    explicit VKTCurlTransfer(const VKTHTTPSessionOptions& options);
    ~VKTCurlTransfer();
    VKTCurlTransfer(const VKTCurlTransfer&) = delete;
    VKTCurlTransfer& operator=(const VKTCurlTransfer&) = delete;

    [[nodiscard]] CURL* easy() const { return easy_; }

    /// Sets the handle up; `owner` is found again as its CURLINFO_PRIVATE. The request must live until
    /// `clear`.
    void prepare(const VKTURLRequest& request, void* owner);

    /// What the transfer brought, once libcurl has said how it ended.
    VKTCurlResult result(CURLcode code);

    /// The response, when its header has arrived: null while the last header belongs to an answer that only
    /// leads on to another.
    std::shared_ptr<const VKTURLResponse> takeFinalResponse();

    /// Makes the transfer ready for another request.
    void clear();

  private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(easy_, option, value);
    }

    void setBehaviour();
    void setRequest(const VKTURLRequest& request);
    void setMethod(const VKTURLRequest& request);
    void addHeader(std::string_view name, std::string_view value);
    void addHeaderLine(const char* line);
    static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* userData);
    static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* userData);
    void addResponseLine(std::string_view line);
    std::shared_ptr<const VKTURLResponse> takeResponse();
    [[nodiscard]] VKTURL finalURL() const;
    [[nodiscard]] VKTError errorForCode(CURLcode code) const;
    [[nodiscard]] bool isOffline(const VKTURL& url) const;

    const VKTHTTPSessionOptions& options_;
    CURL* easy_;
    const VKTURLRequest* request_ = nullptr;
    curl_slist* headers_ = nullptr;
    std::string body_;  // what is kept of the bytes received
    std::size_t receivedLength_ = 0;
    VKTURLResponse response_;
    bool hasBehaviour_ = false;
    bool isHeaderComplete_ = false;
    bool isBodyTooLarge_ = false;
    std::array<char, CURL_ERROR_SIZE> reason_{};
};
