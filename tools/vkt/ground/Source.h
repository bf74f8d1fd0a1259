// Where a command reads its document from, and a record of the requests made on the way.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
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

/// Passes requests to another provider and keeps a record of each in the order of their completion. Any
/// thread.
class RecordingProvider : public VKTURLSessionProviderProtocol {
  public:
    explicit RecordingProvider(std::shared_ptr<VKTURLSessionProviderProtocol> provider)
        : provider_(std::move(provider)), log_(std::make_shared<Log>()) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& request,
                                                   VKTURLSessionCompletionHandler completionHandler) override;

    [[nodiscard]] std::vector<RequestRecord> records() const;

  private:
    struct Log {
        std::mutex mutex;
        std::vector<RequestRecord> records;
    };

    std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    std::shared_ptr<Log> log_;  // shared with requests under way
};

VKTArray reportOfRequests(const std::vector<RequestRecord>& records);
