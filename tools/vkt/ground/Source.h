// Where a command reads its document from, and a record of the requests made on the way.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/network/VKTURLSession.h"

/// A URL to fetch, or the bytes of a file or of the standard input, or why there are none.
struct Source {
    std::string name;  ///< as the user wrote it
    std::optional<VKTURL> url;
    std::optional<std::string> data;
    std::string problem;  ///< one clear sentence when there is neither
};

/// Reads a file or "-"; a text with "://" is taken for a URL and not fetched.
Source openSource(const std::string& name);

/// The same of a text that is never taken for the name of a file.
Source openURL(const std::string& text);

/// The source; false, with an error line, when it cannot be read.
bool readSource(const std::string& name, Source& source);

/// One finished request.
struct RequestRecord {
    std::string url;
    std::optional<int> statusCode;
    std::optional<VKTError> error;
    double milliseconds = 0;
};

/// The same with what was answered.
struct AnsweredRequest {
    RequestRecord record;
    VKTData body;  ///< null when there is none, or none is kept
};

/// Passes requests to another provider and keeps a record of each in the order of their completion. Any
/// thread.
class RecordingProvider : public VKTURLSessionProviderProtocol {
  public:
    /// Bodies are kept until they are claimed.
    explicit RecordingProvider(std::shared_ptr<VKTURLSessionProviderProtocol> provider,
                               bool keepsBodies = false)
        : provider_(std::move(provider)), log_(std::make_shared<Log>()), keepsBodies_(keepsBodies) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& request,
                                                   VKTURLSessionCompletionHandler completionHandler) override;

    [[nodiscard]] std::vector<RequestRecord> records() const;

    /// With bodies: the oldest request for a URL that has ended and that nobody has claimed.
    std::optional<AnsweredRequest> claim(const std::string& url);

  private:
    struct Log {
        std::mutex mutex;
        std::vector<RequestRecord> records;
        std::unordered_map<std::string, std::deque<AnsweredRequest>> unclaimed;  // of each URL
    };

    std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    std::shared_ptr<Log> log_;  // shared with requests under way
    const bool keepsBodies_;
};

VKTArray reportOfRequests(const std::vector<RequestRecord>& records);
