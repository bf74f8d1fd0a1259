#include "ground/Source.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "ground/Output.h"

namespace {

// Everything there is to read, or nothing after an error (errno tells) or beyond the limit (errno is EFBIG).
std::optional<std::string> readAll(std::FILE* file) {
    std::string data;
    std::string buffer(1U << 16U, '\0');
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file)) {
        data.append(buffer, 0, count);
        if (data.size() > VKTXMLFileSizeLimit) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
    if (std::ferror(file) != 0) return std::nullopt;
    return data;
}

void readFile(Source& source) {
    const bool isStandardInput = source.name == "-";
    std::FILE* file = isStandardInput ? stdin : std::fopen(source.name.c_str(), "rb");
    if (file != nullptr) source.data = readAll(file);
    if (!source.data) {
        source.problem = errno == EFBIG ? "it is larger than 32 MiB" : std::strerror(errno);
    }
    if (file != nullptr && !isStandardInput) std::fclose(file);
}

}  // namespace

Source openSource(const std::string& name) {
    if (name.find("://") != std::string::npos) return openURL(name);
    Source source{name, std::nullopt, std::nullopt, {}};
    readFile(source);
    return source;
}

Source openURL(const std::string& text) {
    Source source{text, VKTURL::URLWithDocumentText(text), std::nullopt, {}};
    if (!source.url || !vkt_isValid(*source.url) || !VKTURLUtils::URLHasHTTPScheme(*source.url)) {
        source.url.reset();
        source.problem = "it is not an http or https URL";
    }
    return source;
}

bool readSource(const std::string& name, Source& source) {
    source = openSource(name);
    if (source.problem.empty()) return true;
    printError("cannot read " + name + ": " + source.problem);
    return false;
}

std::shared_ptr<VKTURLSessionTask> RecordingProvider::dataRequest(
    const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) {
    const auto start = std::chrono::steady_clock::now();
    return provider_->dataRequest(
        request, [log = log_, keepsBodies = keepsBodies_, start, url = request.url.absoluteString(),
                  handler = std::move(completionHandler)](const VKTURLSessionResponse& response,
                                                          const std::shared_ptr<VKTURLSessionTask>& task) {
            RequestRecord record{url, std::nullopt, response.error(), 0};
            if (response.response()) record.statusCode = response.response()->statusCode;
            record.milliseconds =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
            {
                const std::lock_guard lock(log->mutex);
                if (keepsBodies) log->unclaimed[url].push_back({record, response.data()});
                log->records.push_back(std::move(record));
            }
            if (handler) handler(response, task);
        });
}

std::vector<RequestRecord> RecordingProvider::records() const {
    const std::lock_guard lock(log_->mutex);
    return log_->records;
}

std::optional<AnsweredRequest> RecordingProvider::claim(const std::string& url) {
    const std::lock_guard lock(log_->mutex);
    auto& requests = log_->unclaimed[url];
    if (requests.empty()) return std::nullopt;
    AnsweredRequest request = std::move(requests.front());
    requests.pop_front();
    return request;
}

VKTArray reportOfRequests(const std::vector<RequestRecord>& records) {
    VKTArray report;
    for (const RequestRecord& record : records) {
        report.emplace_back(
            VKTDictionary{{"url", record.url},
                          {"statusCode", record.statusCode ? VKTValue(*record.statusCode) : VKTValue()},
                          {"errorCode", record.error ? VKTValue(record.error->code()) : VKTValue()},
                          {"milliseconds", record.milliseconds}});
    }
    return report;
}
