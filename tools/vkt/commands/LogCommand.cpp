#include <algorithm>
#include <charconv>
#include <cmath>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/config/VKTRemoteLogger.h"
#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/vast/VKTVASTError.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/EmbeddingSDK.h"
#include "ground/Output.h"
#include "ground/Source.h"
#include "ground/WatchedProvider.h"
#include "report/AdText.h"

namespace {

struct LogOptions {
    std::string url;  ///< of the log collector
    std::string level = "error";
    std::string minimumLevel = "debug";
    std::string message = "A test record";
    std::optional<std::int64_t> site;
    std::uint64_t sampling = 1;         ///< one record in so many; 0: none
    std::vector<std::string> measures;  ///< "NAME=VALUE" each, with a name that is not empty
    std::optional<std::int64_t> VASTCode;
    std::string openMeasurement;  ///< URL of a script; none when empty
    double timeout = 30;          ///< seconds, for the request
    bool dryRun = false;
    bool JSON = false;
};

struct LogOutcome {
    std::string reason;  ///< why it was dropped, a clause; empty when it was not
    std::string body;    ///< of the request; empty when there was none
    std::optional<RequestRecord> request;
    bool isDelivered = false;
    bool isKept = false;  ///< for the next record
};

// A number where the text is one.
VKTValue measuredValue(std::string_view text) {
    double number = 0;
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = error == std::errc() && rest == end && std::isfinite(number);
    return isNumber ? VKTValue(number) : VKTValue(text);
}

std::shared_ptr<const VKTLogNode> measureNode(const std::vector<std::string>& measures) {
    VKTDictionary values;
    for (const std::string& measure : measures) {
        const std::size_t equals = measure.find('=');
        values.set(measure.substr(0, equals), measuredValue(std::string_view(measure).substr(equals + 1)));
    }
    return VKTLogMeasureNode::initWithMeasureDictionary(std::move(values));
}

std::optional<VKTVASTError> VASTErrorOfCode(std::int64_t code) {
    for (const VKTVASTError& error : VKTVASTError::all()) {
        if (error.VASTCode() == code) return error;
    }
    return std::nullopt;
}

VKTLogNodes nodesOf(const LogOptions& options, VKTRemoteLogLevel level,
                    const VKTConfiguration& configuration) {
    VKTLogNodes nodes{makeSDKNode(configuration), measureNode(options.measures)};
    const auto error = options.VASTCode ? VASTErrorOfCode(*options.VASTCode) : std::nullopt;
    if (error) {
        nodes.push_back(VKTLogVASTErrorNode::initWithDescription(error->errorDescription().value_or(""), {},
                                                                 error->VASTCode(), error->korvoCode(), {}));
    } else if (level >= VKTRemoteLogLevelWarning) {
        nodes.push_back(VKTLogErrorNode::initWithErrorMessage(options.message, {}, {}, {}));
    }
    if (!options.openMeasurement.empty())
        nodes.push_back(VKTLogOpenMeasurementNode::initWithVendorName({}, options.openMeasurement, 0));
    return nodes;
}

std::string reasonOfRefusal(const LogOptions& options, VKTRemoteLogLevel level,
                            const VKTRemoteLogger& logger) {
    if (level < logger.minimumLogLevel())
        return "level " + options.level + " is below the minimum, " + options.minimumLevel;
    if (options.sampling == 0) return "with a sampling rate of 0 no record is kept";
    return "the draw was lost; one " + options.level + " record in " + std::to_string(options.sampling) +
           " is kept";
}

std::string reasonOfFailure(const RequestRecord& request) {
    if (!request.error) return "the collector answered with status " + std::to_string(*request.statusCode);
    return "error " + std::to_string(request.error->code()) + ": " +
           request.error->localizedDescription().value_or("the transfer failed");
}

LogOutcome send(const LogOptions& options, const VKTURL& url) {
    LogOutcome outcome;
    std::promise<std::string> sentBody;
    std::shared_ptr<VKTURLSessionProviderProtocol> network = VKTURLSessionProvider::sharedInstance();
    if (options.dryRun) network = std::make_shared<SilentProvider>();
    const auto recorder = std::make_shared<RecordingProvider>(std::move(network));
    const auto provider = std::make_shared<WatchedProvider>(
        recorder, VKTTimeInterval(options.timeout),
        [&sentBody](const VKTURLRequest& request, const VKTURLSessionResponse&) {
            sentBody.set_value(request.HTTPBody.value_or(""));
        });
    const auto logger = VKTRemoteLogger::initWithDefaultEndPoint(
        url, EmbeddingSDKName, VKTURLSession::initWithSessionProvider(provider));
    const VKTRemoteLogLevel level = vkt_remoteLogLevelFromString(options.level);
    logger->configFromRemoteConfig(
        VKTRemoteConfigLoggerConfig{url, vkt_remoteLogLevelFromString(options.minimumLevel), options.sampling,
                                    options.sampling, options.sampling, options.sampling});
    logger->setRequestCompletionHandler([&outcome](bool succeeded) { outcome.isDelivered = succeeded; });

    const auto configuration = VKTConfiguration::init();
    const auto record = logger->generateLogWithMessage(options.message, level, std::nullopt,
                                                       configuration->baseURL().absoluteString(),
                                                       nodesOf(options, level, *configuration));
    if (!record) {
        outcome.reason = reasonOfRefusal(options, level, *logger);
        return outcome;
    }
    std::vector<VKTDictionary> site;
    if (options.site) site.push_back({{"siteId", *options.site}});
    logger->log(*record, site);
    if (!provider->hasBeenAsked()) {
        outcome.reason = "JSON cannot hold it";
        return outcome;
    }
    outcome.body = sentBody.get_future().get();
    outcome.request = recorder->records().front();
    outcome.isKept = !logger->pendingLogs().empty();
    if (!outcome.isDelivered) outcome.reason = reasonOfFailure(*outcome.request);
    return outcome;
}

const char* nameOf(const LogOutcome& outcome) {
    if (outcome.isDelivered) return "delivered";
    return outcome.isKept ? "kept" : "dropped";
}

void printReport(const LogOptions& options, const LogOutcome& outcome) {
    auto logs = vkt_JSONValueWithData(outcome.body);
    Output::standard().JSON(VKTDictionary{
        {"url", options.url},
        {"level", options.level},
        {"minimumLevel", options.minimumLevel},
        {"samplingRate", options.sampling},
        {"outcome", nameOf(outcome)},
        {"reason", outcome.reason.empty() ? VKTValue() : VKTValue(outcome.reason)},
        {"request", outcome.request ? reportOfRequests({*outcome.request}).front() : VKTValue()},
        {"logs", logs ? *std::move(logs) : VKTValue()}});
}

std::string textOfSampling(const LogOptions& options) {
    if (options.sampling == 1) return "sampled: every " + options.level + " record is kept";
    return "sampled: the draw was won; one " + options.level + " record in " +
           std::to_string(options.sampling) + " is kept";
}

void printBody(const LogOptions& options, const LogOutcome& outcome) {
    Output& out = Output::standard();
    if (options.JSON) {
        out.bytes(outcome.body + '\n');
        return;
    }
    out.line(textOfSampling(options));
    out.line("not sent: POST " + options.url);
    if (const auto logs = vkt_JSONValueWithData(outcome.body)) out.JSON(*logs);
}

void printText(const LogOptions& options, const LogOutcome& outcome) {
    if (!outcome.request) return;
    Output& out = Output::standard();
    out.line(textOfSampling(options));
    out.lines(linesOfRequests({*outcome.request}));
    if (outcome.isDelivered) out.line("delivered: " + std::to_string(outcome.body.size()) + " bytes");
}

int runLog(const LogOptions& options) {
    const auto url = VKTURL::URLWithString(options.url);
    if (!url || !vkt_isValid(*url) || !VKTURLUtils::URLHasHTTPScheme(*url)) {
        printError(options.url + " is not an http or https URL");
        return ExitWrongUsage;
    }
    if (options.VASTCode && !VASTErrorOfCode(*options.VASTCode)) {
        printError("no VAST error has the code " + std::to_string(*options.VASTCode));
        return ExitWrongUsage;
    }
    const LogOutcome outcome = send(options, *url);
    if (options.dryRun && outcome.isDelivered) {
        printBody(options, outcome);
    } else if (options.JSON) {
        printReport(options, outcome);
    } else {
        printText(options, outcome);
    }
    if (!outcome.isDelivered) {
        const std::string consequence =
            outcome.isKept ? "kept in memory, to be sent with the next record" : "dropped";
        printError(consequence + ": " + outcome.reason);
    }
    return outcome.isDelivered ? ExitPlayable : ExitNonePlayable;
}

}  // namespace

CommandRun addLog(CLI::App& command) {
    const auto options = std::make_shared<LogOptions>();
    const CLI::Validator levels = CLI::IsMember({"debug", "info", "warning", "error"}).description("");
    const char* levelNames = "{debug,info,warning,error}";
    command.add_option("URL", options->url, "Of the collector")->required();
    command.add_option("--level", options->level, "The record's level")
        ->capture_default_str()
        ->check(levels)
        ->type_name(levelNames);
    command.add_option("--minimum-level", options->minimumLevel, "Records below it are dropped")
        ->capture_default_str()
        ->check(levels)
        ->type_name(levelNames);
    command.add_option("--message", options->message, "Its message")->capture_default_str();
    command.add_option("--site", options->site, "A site ID to tell of")
        ->transform(integerFrom(std::int64_t{0}));
    command.add_option("--sampling", options->sampling, "Keep one record in so many; 0: none")
        ->capture_default_str()
        ->transform(integerFrom(std::uint64_t{0}));
    addRepeated(command, "--measure", options->measures, "A measured value; may be repeated")
        ->type_name("NAME=VALUE")
        ->check(assignmentProblem);
    command.add_option("--vast-error", options->VASTCode, "The code of a VAST error to tell of")
        ->transform(integerWithin(100, 999));
    command.add_option("--open-measurement", options->openMeasurement, "A measurement script to tell of")
        ->type_name("URL");
    addAmount(command, "--timeout", options->timeout, "Seconds for the request");
    command.add_flag("--dry-run", options->dryRun, "Print the body and send nothing");
    addJSON(command, options->JSON, "One JSON object; with --dry-run the exact body");
    return [options] { return runLog(*options); };
}
