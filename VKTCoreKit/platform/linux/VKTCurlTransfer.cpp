#include "VKTCoreKit/platform/linux/VKTCurlTransfer.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/linux/VKTPublicAddress.h"

namespace {

// Of a redirect's body: read so that the connection can be used again, unless that costs more than another.
constexpr std::size_t redirectBodyLimit = std::size_t{64} * 1024;

// An empty value is written with a semicolon; for libcurl a colon alone would remove the header.
std::string headerLine(const std::string& name, const std::string& value) {
    std::string line = value.empty() ? name + ';' : name + ": " + value;
    // A line break would begin another header.
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
    return line;
}

}  // namespace

VKTCurlTransfer::VKTCurlTransfer(const VKTHTTPSessionOptions& options)
    : options_(options), easy_(curl_easy_init()) {}

VKTCurlTransfer::~VKTCurlTransfer() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(headers_);
}

void VKTCurlTransfer::prepare(const VKTURLRequest& request, void* owner) {
    request_ = &request;
    owner_ = owner;
    constexpr std::chrono::duration<double, std::milli> longestTimeout(INT_MAX);
    deadline_ = std::chrono::steady_clock::now() + std::chrono::ceil<std::chrono::milliseconds>(
                                                       std::min<std::chrono::duration<double, std::milli>>(
                                                           request.timeoutInterval, longestTimeout));
    url_ = request.url.absoluteString();
    method_ = request.HTTPMethod;
    sendsBody_ = request.HTTPBody || method_ == "POST";
    setUp();
}

void VKTCurlTransfer::prepareNext() {
    refusedAddress_.clear();
    response_ = {};
    isHeaderComplete_ = false;
    receivedLength_ = 0;
    stop_ = Stop::None;
    reason_.front() = '\0';
    setUp();
}

void VKTCurlTransfer::clear() {
    request_ = nullptr;
    redirectCount_ = 0;
    redirectError_.reset();
    refusedAddress_.clear();
    headerLength_ = 0;
    response_ = {};
    isHeaderComplete_ = false;
    receivedLength_ = 0;
    decoder_.reset();
    body_ = {};
    stop_ = Stop::None;
    reason_.front() = '\0';
}

// From nothing each time: libcurl sends a request again whose kept connection turns out to be dead, but only
// five times between two resets of its handle.
void VKTCurlTransfer::setUp() {
    curl_easy_reset(easy_);
    setBehaviour();
    set(CURLOPT_PRIVATE, owner_);
    set(CURLOPT_URL, url_.c_str());
    isProxied_ = !options_.proxy.empty() && !vkt_isLoopbackHost(vkt_originOf(url_).host);
    set(CURLOPT_PROXY,
        isProxied_ ? options_.proxy.c_str() : "");  // empty: none, whatever the environment says
    setRemainingTime();
    setMethod();
    const std::string& first = request_->url.absoluteString();
    const bool isFirstOrigin = redirectCount_ == 0 || vkt_originOf(url_) == vkt_originOf(first);
    if (redirectCount_ > 0 && isFirstOrigin) setCredentials(vkt_credentialsOf(first));
    setHeaders(isFirstOrigin);
}

void VKTCurlTransfer::setBehaviour() {
    set(CURLOPT_ERRORBUFFER, reason_.data());
    set(CURLOPT_WRITEFUNCTION, &VKTCurlTransfer::receiveBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, &VKTCurlTransfer::receiveHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    set(CURLOPT_HTTP_CONTENT_DECODING, 0L);  // done here, where a body that is cut off is noticed
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // a resolver that is still busy is left behind, not joined
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_NOPROXY, "");  // whatever the environment says
    if (!options_.CAFile.empty() || !options_.CAFolder.empty()) {
        set(CURLOPT_CAINFO, options_.CAFile.empty() ? nullptr : options_.CAFile.c_str());
        set(CURLOPT_CAPATH, options_.CAFolder.empty() ? nullptr : options_.CAFolder.c_str());
    }
}

// For libcurl 0 is no limit: a deadline that has passed is the shortest time there is.
void VKTCurlTransfer::setRemainingTime() {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    const long milliseconds = static_cast<long>(std::clamp<std::int64_t>(left.count(), 1, INT_MAX));
    set(CURLOPT_TIMEOUT_MS, milliseconds);
    set(CURLOPT_CONNECTTIMEOUT_MS, milliseconds);
}

void VKTCurlTransfer::setMethod() {
    if (sendsBody_) {
        const std::string_view body = request_->HTTPBody ? std::string_view(*request_->HTTPBody) : "";
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        set(CURLOPT_POSTFIELDS, body.data());
        if (method_ != "POST") set(CURLOPT_CUSTOMREQUEST, method_.c_str());
    } else if (method_ == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (method_ != "GET") {
        set(CURLOPT_CUSTOMREQUEST, method_.c_str());
    }
}

// Those of the first URL: they are its "Authorization", and follow the same rule.
void VKTCurlTransfer::setCredentials(const VKTCredentials& credentials) {
    if (credentials.user.empty()) return;
    set(CURLOPT_USERNAME, credentials.user.c_str());
    set(CURLOPT_PASSWORD, credentials.password.c_str());
}

void VKTCurlTransfer::setHeaders(bool isFirstOrigin) {
    curl_slist_free_all(std::exchange(headers_, nullptr));
    const VKTHeaderFields fields = vkt_requestHeaders(*request_, options_);
    for (const auto& [name, value] : fields) {
        if (isFirstOrigin || !vkt_belongsToOneOrigin(name)) addHeaderLine(headerLine(name, value));
    }
    if (sendsBody_) {
        addHeaderLine("Expect:");  // no waiting for a "100 Continue"
        // libcurl would call it a form.
        if (vkt_headerNamed("Content-Type", fields) == nullptr) addHeaderLine("Content-Type:");
    }
    set(CURLOPT_HTTPHEADER, headers_);
}

void VKTCurlTransfer::addHeaderLine(const std::string& line) {
    headers_ = curl_slist_append(headers_, line.c_str());
}

bool VKTCurlTransfer::allows(const sockaddr& address) {
    if (options_.allowsPrivateAddresses || isProxied_ || vkt_isPublicAddress(address)) return true;
    refusedAddress_ = vkt_textOfAddress(address);
    return false;
}

bool VKTCurlTransfer::followRedirect(CURLcode code) {
    const std::string* location = redirectLocation();
    // However the body of a redirect ends, its header has said everything.
    if (location == nullptr || code == CURLE_OPERATION_TIMEDOUT || stop_ == Stop::HeaderTooLarge)
        return false;
    redirectError_ = redirectTo(*location);
    return !redirectError_;
}

std::optional<VKTError> VKTCurlTransfer::redirectTo(const std::string& location) {
    const VKTURL from = currentURL();
    if (redirectCount_ == VKTHTTPRedirectLimit) {
        return vkt_transferError(
            VKTURLErrorHTTPTooManyRedirects, "too many redirects", from,
            std::to_string(VKTHTTPRedirectLimit) + " were followed, and there is another");
    }
    const std::string_view scheme = vkt_schemeOfReference(location);
    if (!scheme.empty() && !vkt_isHTTPScheme(scheme)) {
        return vkt_transferError(VKTURLErrorUnsupportedURL, "unsupported URL scheme", from,
                                 "redirect to \"" + std::string(scheme) + ":\"");
    }
    std::string target;
    if (!vkt_resolveReference(url_, location, target))
        return vkt_transferError(VKTURLErrorBadURL, "bad URL", from, "redirect to no URL: " + target);

    ++redirectCount_;
    url_ = std::move(target);
    if (response_.statusCode <= 303) {
        sendsBody_ = false;
        if (method_ == "POST") method_ = "GET";
    }
    return std::nullopt;
}

std::size_t VKTCurlTransfer::receiveHeader(char* bytes, std::size_t size, std::size_t count, void* userData) {
    VKTCurlTransfer& transfer = *static_cast<VKTCurlTransfer*>(userData);
    const std::size_t length = size * count;
    return transfer.addHeaderBytes({bytes, length}) ? length : 0;
}

std::size_t VKTCurlTransfer::receiveBody(char* bytes, std::size_t size, std::size_t count, void* userData) {
    VKTCurlTransfer& transfer = *static_cast<VKTCurlTransfer*>(userData);
    const std::size_t length = size * count;
    return transfer.addBodyBytes({bytes, length}) ? length : CURL_WRITEFUNC_ERROR;
}

// Always false, for libcurl's callbacks.
bool VKTCurlTransfer::stop(Stop reason) {
    stop_ = reason;
    return false;
}

// One line.
bool VKTCurlTransfer::addHeaderBytes(std::string_view line) {
    headerLength_ += line.size();
    if (headerLength_ > options_.headerBytes) return stop(Stop::HeaderTooLarge);
    addResponseLine(vkt_trimmed(line));
    if (redirectLocation() != nullptr && !isWorthWaitingForTheBodyOfARedirect())
        return stop(Stop::RedirectIsKnown);
    return true;
}

// Lines after the header of the final answer are trailers.
void VKTCurlTransfer::addResponseLine(std::string_view line) {
    const bool isInterim = response_.statusCode < 200;
    if (line.starts_with("HTTP/") && (response_.statusCode == 0 || (isHeaderComplete_ && isInterim))) {
        response_ = {};
        response_.statusCode =
            static_cast<int>(vkt_integerValue(line.substr(std::min(line.find(' '), line.size()))));
        isHeaderComplete_ = false;
    } else if (line.empty()) {
        isHeaderComplete_ = true;
    } else if (const std::size_t colon = line.find(':');
               colon != std::string_view::npos && !isHeaderComplete_) {
        response_.headers.emplace_back(line.substr(0, colon), vkt_trimmed(line.substr(colon + 1)));
    }
}

// A body that ends with the connection leaves nothing to be used again.
bool VKTCurlTransfer::isWorthWaitingForTheBodyOfARedirect() const {
    if (request_->HTTPMethod == "HEAD") return true;
    const std::string* connection = vkt_headerNamed("Connection", response_.headers);
    if (connection != nullptr && vkt_equalsIgnoringCase(*connection, "close")) return false;
    return vkt_headerNamed("Content-Length", response_.headers) != nullptr ||
           vkt_headerNamed("Transfer-Encoding", response_.headers) != nullptr;
}

bool VKTCurlTransfer::addBodyBytes(std::string_view bytes) {
    const bool isFirst = receivedLength_ == 0;
    receivedLength_ += bytes.size();
    if (redirectLocation() != nullptr)
        return receivedLength_ <= redirectBodyLimit || stop(Stop::RedirectIsKnown);
    if (isFirst) beginBody();
    // Decoded bytes are counted where they are kept; this is for those that decode to nothing.
    if (receivedLength_ > VKTHTTPBodyLimit && decoder_) return stop(Stop::BodyTooLarge);
    return decoder_ ? decodeBody(bytes) : keepBody(bytes);
}

void VKTCurlTransfer::beginBody() {
    std::string codings;
    for (const auto& [name, value] : response_.headers) {
        if (vkt_equalsIgnoringCase(name, "Content-Encoding")) codings.append(",").append(value);
    }
    if (!codings.empty()) decoder_ = VKTContentDecoder::decoderForCodings(codings);
}

bool VKTCurlTransfer::decodeBody(std::string_view bytes) {
    switch (decoder_->decode(bytes, [this](std::string_view decoded) { return keepBody(decoded); })) {
        case VKTContentDecoder::Outcome::Decoded:
            return true;
        case VKTContentDecoder::Outcome::Refused:
            return false;  // `keepBody` has said why
        case VKTContentDecoder::Outcome::Malformed:
            return stop(Stop::BodyMalformed);
        case VKTContentDecoder::Outcome::TooLarge:
            return stop(Stop::BodyTooLarge);
    }
    return false;
}

bool VKTCurlTransfer::keepBody(std::string_view bytes) {
    const bool isKeptInPart = request_->bodyKeepLimit < VKTHTTPBodyLimit;
    const std::size_t room = (isKeptInPart ? request_->bodyKeepLimit : VKTHTTPBodyLimit) - body_.size();
    body_.append(bytes.substr(0, room));
    return bytes.size() <= room || stop(isKeptInPart ? Stop::BodyIsKept : Stop::BodyTooLarge);
}

VKTCurlResult VKTCurlTransfer::result(CURLcode code) {
    if (std::optional<VKTError> error = errorOf(code))
        return {nullptr, takeFinalResponse(), std::move(error)};
    auto response = takeResponse();
    return {std::make_shared<const std::string>(std::move(body_)), std::move(response), std::nullopt};
}

std::shared_ptr<const VKTURLResponse> VKTCurlTransfer::takeFinalResponse() {
    return hasFinalHeader() && redirectLocation() == nullptr ? takeResponse() : nullptr;
}

bool VKTCurlTransfer::hasFinalHeader() const {
    return isHeaderComplete_ && response_.statusCode >= 200;
}

const std::string* VKTCurlTransfer::redirectLocation() const {
    if (!hasFinalHeader() || !vkt_isRedirectStatus(response_.statusCode)) return nullptr;
    const auto& headers = response_.headers;
    const auto found = std::find_if(headers.begin(), headers.end(), [](const auto& header) {
        return vkt_equalsIgnoringCase(header.first, "Location") && !header.second.empty();
    });
    return found == headers.end() ? nullptr : &found->second;
}

std::shared_ptr<const VKTURLResponse> VKTCurlTransfer::takeResponse() {
    response_.url = currentURL();
    return std::make_shared<const VKTURLResponse>(std::move(response_));
}

VKTURL VKTCurlTransfer::currentURL() const {
    const VKTURL& requested = request_->url;
    if (redirectCount_ == 0) return requested;
    auto url = VKTURL::URLWithString(url_);
    if (!url) url = VKTURL::URLWithDocumentText(url_);
    return url.value_or(requested);
}

std::optional<VKTError> VKTCurlTransfer::errorOf(CURLcode code) const {
    if (redirectError_) return redirectError_;
    const VKTURL url = currentURL();
    if (stop_ == Stop::HeaderTooLarge || hasRefusedHeader(code)) return headerError();
    if (stop_ == Stop::BodyIsKept) return std::nullopt;
    if (stop_ == Stop::BodyTooLarge) {
        return vkt_transferError(VKTURLErrorDataLengthExceedsMaximum, "body too large", url,
                                 "more than " + std::to_string(VKTHTTPBodyLimit) + " bytes");
    }
    if (stop_ == Stop::BodyMalformed) {
        return vkt_transferError(VKTURLErrorBadServerResponse, "malformed answer", url,
                                 "the body is not in its Content-Encoding");
    }
    if (code == CURLE_COULDNT_CONNECT && !refusedAddress_.empty()) {
        return vkt_transferError(VKTURLErrorCannotConnectToHost, "cannot connect to host", url,
                                 refusedAddress_ + " is not a public address");
    }
    if (code != CURLE_OK) {
        const std::string_view reason = reason_.front() != '\0' ? reason_.data() : curl_easy_strerror(code);
        long systemError = 0;
        curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &systemError);
        return vkt_errorForCurlCode(code, systemError, url, reason);
    }
    // libcurl takes the end of the connection for the end of the answer, wherever it comes.
    if (!hasFinalHeader())
        return vkt_transferError(VKTURLErrorNetworkConnectionLost, "connection lost", url,
                                 "within the header");
    if (decoder_ && !decoder_->isComplete()) {
        return vkt_transferError(VKTURLErrorNetworkConnectionLost, "connection lost", url,
                                 "within the compressed body");
    }
    return std::nullopt;
}

// libcurl has limits of its own: for one line of a header, for one of the trailers, and for all of them.
bool VKTCurlTransfer::hasRefusedHeader(CURLcode code) const {
    constexpr int tooLarge = 100;  // CURLE_TOO_LARGE, which libcurl has since 8.6
    curl_off_t firstByteTime = 0;
    curl_easy_getinfo(easy_, CURLINFO_STARTTRANSFER_TIME_T, &firstByteTime);
    const std::string_view reason = reason_.data();
    return (code == CURLE_OUT_OF_MEMORY && firstByteTime > 0) || static_cast<int>(code) == tooLarge ||
           reason.starts_with("Too large response headers") ||
           reason.starts_with("Out of memory in chunked-encoding");
}

VKTError VKTCurlTransfer::headerError() const {
    const std::string reason =
        stop_ == Stop::HeaderTooLarge
            ? "more than " + std::to_string(options_.headerBytes) + " bytes of header lines (headerBytes)"
            : "libcurl takes 100 KiB for one line, 4 KiB in trailers, and 300 KiB for all";
    return vkt_transferError(VKTURLErrorCannotParseResponse, "header too large", currentURL(), reason);
}
