// HTTP transfers with total deadlines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// How local caches are used. There is no local cache: 4 asks the remote ones to be passed by
/// ("Cache-Control: no-cache" and "Pragma: no-cache"), 0 and 1 add nothing.
enum VKTURLRequestCachePolicy : std::uint8_t {
    VKTURLRequestUseProtocolCachePolicy = 0,
    VKTURLRequestReloadIgnoringLocalCacheData = 1,
    VKTURLRequestReloadIgnoringLocalAndRemoteCacheData = 4,
};

class VKTHTTPDataTask;

/// Codes of transport errors, domain `VKTURLErrorDomain`.
enum VKTURLErrorCode : std::int16_t {
    VKTURLErrorCancelled = -999,
    VKTURLErrorBadURL = -1000,
    VKTURLErrorTimedOut = -1001,
    VKTURLErrorUnsupportedURL = -1002,  ///< neither http nor https, also after a redirect
    VKTURLErrorCannotFindHost = -1003,
    VKTURLErrorCannotConnectToHost = -1004,  ///< also when its address is refused (`allowsPrivateAddresses`)
    VKTURLErrorNetworkConnectionLost = -1005,  ///< also within a header, or before the end of a body
    VKTURLErrorHTTPTooManyRedirects = -1007,
    VKTURLErrorResourceUnavailable = -1008,  ///< no thread can be started, or the process was forked
    VKTURLErrorNotConnectedToInternet =
        -1009,  ///< no interface but loopback is up; never for a loopback address
    VKTURLErrorBadServerResponse = -1011,
    VKTURLErrorCannotParseResponse = -1017,  ///< header lines beyond `VKTHTTPSessionOptions::headerBytes`
    VKTURLErrorDataLengthExceedsMaximum = -1103,
    VKTURLErrorSecureConnectionFailed = -1200,
};

/// Largest body in bytes, after decompression.
inline constexpr std::size_t VKTHTTPBodyLimit = std::size_t{32} * 1024 * 1024;

/// Redirects followed for one request.
inline constexpr int VKTHTTPRedirectLimit = 20;

/// Ends requests of which only this is known, one or several at once. Any thread.
class VKT_EXPORT VKTHTTPCanceller {
  public:
    /// Cancels the requests that are attached, and each that is attached from now on.
    void cancel();

    /// A request that `cancel` ends, too. Called by whoever starts it, before it is resumed.
    void attach(const std::shared_ptr<VKTHTTPDataTask>& task);

  private:
    VKTMutex mutex_;
    bool isCancelled_ VKT_GUARDED_BY(mutex_) = false;
    std::vector<std::weak_ptr<VKTHTTPDataTask>> tasks_ VKT_GUARDED_BY(mutex_);
};

/// One request. A passive record.
struct VKTURLRequest {
    VKTURL url;
    std::string HTTPMethod = "GET";
    VKTURLRequestCachePolicy cachePolicy = VKTURLRequestUseProtocolCachePolicy;

    /// Total deadline to the last byte, name resolution included: from `resume` for a request that
    /// `completesOnTransferThread`, from its leaving the queue for any other
    /// (`VKTHTTPSessionOptions::connections`). 0 or less is over at once.
    VKTTimeInterval timeoutInterval{60};

    /// Sent in this order. A name that comes again, up to case, adds its value to the first, after a comma.
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> HTTPBody;

    /// Whoever resumes this waits for it: the transfer may be made on the thread that calls `resume`, which
    /// then returns after the completion, or the completion may run on a transfer thread, before those that
    /// are queued for delivery; it only stores its arguments and wakes a waiter. This is what makes a
    /// blocking request possible everywhere, the delivery thread included.
    bool completesOnTransferThread = false;

    /// Bytes of the body that are kept. A body that goes beyond them ends there, as a success with what is
    /// kept, and its connection is closed: nobody pays for what nobody wants. From `VKTHTTPBodyLimit` on it
    /// has no say.
    std::size_t bodyKeepLimit = VKTHTTPBodyLimit;

    /// Lets another thread end a request whose caller is blocked; may be null. Whoever makes the transfer
    /// attaches it.
    std::shared_ptr<VKTHTTPCanceller> canceller;

    void addValue(std::string value, std::string headerField) {
        headers.emplace_back(std::move(headerField), std::move(value));
    }
};

/// What the server said before the body.
struct VKTURLResponse {
    VKTURL url;  ///< the final one, after redirects
    int statusCode = 0;
    std::vector<std::pair<std::string, std::string>> headers;  ///< of the final answer, in order
};

/// The body; null when there is none. An empty body is not null.
using VKTData = std::shared_ptr<const std::string>;

/// Called exactly once. Without an error, both data and response are there. With one, the data is null, and
/// the response is there when its header had arrived.
using VKTHTTPCompletion = std::function<void(VKTData data, std::shared_ptr<const VKTURLResponse> response,
                                             std::optional<VKTError> error)>;

/// One transfer. Every operation may be called on any thread.
class VKT_EXPORT VKTHTTPDataTask {
  public:
    virtual ~VKTHTTPDataTask() = default;

    /// Starts the transfer; later calls do nothing.
    virtual void resume() = 0;

    /// Ends the transfer with error -999 unless it has ended; never calls the completion itself.
    virtual void cancel() = 0;

    /// Unique within the session.
    [[nodiscard]] virtual std::uint64_t taskIdentifier() const = 0;
};

/// Makes transfers. Every operation may be called on any thread.
///
/// Follows at most 20 redirects (301, 302, 303, 307 and 308 with a Location; every other 3xx is delivered as
/// it is), to http and https only: on 301 to 303 the body is dropped and POST becomes GET, and Authorization,
/// Cookie and Host stay with the scheme, host and port that they were given for. Verifies certificates; asks
/// for gzip and deflate bodies and decodes them, and delivers a body in any other coding as it is; sends no
/// User-Agent and no Content-Type unless it is given one. Every resumed or cancelled task ends in exactly one
/// completion, on the session's one serial delivery thread (but see `completesOnTransferThread`), never
/// before `resume` or `cancel` has been called. Destroying the session cancels what is under way, delivers
/// those completions and waits for the thread, unless it is destroyed on that very thread. Requests that
/// block their callers are cancelled too, and complete there.
///
/// A request for which no thread can be started ends with -1008; without a delivery thread it completes
/// inside `resume` or `cancel`, on the calling thread.
///
/// Once the process is being left (`exit`, or the return from `main`) requests that block their callers end
/// with -999, those under way too, and no other completion is called any more.
///
/// In a forked child, a session made before the fork is not available: a request that is resumed there
/// completes with -1008 inside `resume`, on the calling thread; one that had been resumed before the fork
/// completes in the parent only. Neither that nor destroying the session there touches the parent's
/// connections or waits for its threads. A session made in the child works as far as anything does in the
/// child of a process with threads.
class VKT_EXPORT VKTHTTPSession {
  public:
    virtual ~VKTHTTPSession() = default;

    /// A task that has not started. Never null. A task whose session is gone ends with -999.
    virtual std::shared_ptr<VKTHTTPDataTask> dataTaskWithRequest(const VKTURLRequest& request,
                                                                 VKTHTTPCompletion completion) = 0;
};
