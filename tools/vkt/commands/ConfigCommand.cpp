#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "commands/Commands.h"
#include "commands/ConfigFetch.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/StoreFile.h"
#include "report/AdText.h"

namespace {

constexpr std::size_t textColumn = 25;

// "2024-03-05T07:08:09Z"
std::string textOfDate(VKTDate date) {
    return vkt_ISO8601StringFromDate(date, VKTTimeZone::UTC()).substr(0, 19) + "Z";
}

std::string compactJSON(const VKTValue& value) {
    return vkt_JSONStringWithValue(value).value_or("");
}

VKTDictionary GETParametersOf(const VKTConfiguration& configuration) {
    VKTDictionary parameters;
    for (const auto& [name, value] : configuration.adCallAdditionalParametersGET())
        parameters.set(name, value);
    return parameters;
}

// Null while it is the placeholder, to which nothing is sent.
VKTValue collectorOf(const ConfigOutcome& outcome) {
    const std::string url = outcome.logger->endPointURL().absoluteString();
    return url == VKTRemoteLoggerPlaceholderEndPoint ? VKTValue() : VKTValue(url);
}

VKTValue minimumLevelOf(const ConfigOutcome& outcome) {
    const auto name = vkt_stringFromRemoteLogLevel(outcome.logger->minimumLogLevel());
    return name ? VKTValue(*name) : VKTValue();
}

VKTDictionary samplingRatesOf(const ConfigOutcome& outcome) {
    VKTDictionary rates;
    for (const auto level :
         {VKTRemoteLogLevelDebug, VKTRemoteLogLevelInfo, VKTRemoteLogLevelWarning, VKTRemoteLogLevelError}) {
        rates.set(*vkt_stringFromRemoteLogLevel(level), outcome.logger->samplingRateForLevel(level));
    }
    return rates;
}

VKTValue messageOf(const ConfigOutcome& outcome) {
    const auto& message = outcome.remoteConfig->korvoConfig.latestSDKMessage;
    return outcome.configuration->isDeprecated() && message ? VKTValue(*message) : VKTValue();
}

VKTValue reportOfApplied(const ConfigOutcome& outcome) {
    if (outcome.source == ConfigFromNowhere) return {};
    const VKTConfiguration& configuration = *outcome.configuration;
    const auto& version = outcome.remoteConfig->version;
    return VKTDictionary{
        {"version", version ? VKTValue(*version) : VKTValue()},
        {"networkId", configuration.networkID()},
        {"adCallBaseURL", configuration.networkBaseURL().absoluteString()},
        {"adCallAdditionalParameters", VKTDictionary{{"post", configuration.adCallAdditionalParametersPOST()},
                                                     {"get", GETParametersOf(configuration)}}},
        {"isDeprecated", configuration.isDeprecated()},
        {"latestSDKMessage", messageOf(outcome)},
        {"logger", VKTDictionary{{"URL", collectorOf(outcome)},
                                 {"minLogLevel", minimumLevelOf(outcome)},
                                 {"samplingRate", samplingRatesOf(outcome)}}}};
}

// Empty when nothing failed.
std::string textOfFailure(const ConfigOutcome& outcome) {
    if (!outcome.error) return outcome.fault;
    const std::string text = outcome.error->localizedDescription().value_or("the request failed");
    return outcome.fault.empty() ? text : text + " (" + outcome.fault + ")";
}

// A status of failure has no error of the library.
VKTValue reportOfFailure(const ConfigOutcome& outcome) {
    const std::string text = textOfFailure(outcome);
    if (text.empty()) return {};
    const auto& error = outcome.error;
    return VKTDictionary{{"domain", error ? VKTValue(error->domain()) : VKTValue()},
                         {"code", error ? VKTValue(error->code()) : VKTValue()},
                         {"description", text}};
}

void printReport(const ConfigOutcome& outcome, const std::vector<IgnoredMember>& ignored) {
    constexpr std::array<const char*, 3> sources{nullptr, "cache", "network"};
    const char* source = sources.at(outcome.source);
    VKTArray ignoredMembers;
    for (const auto& [path, reason] : ignored)
        ignoredMembers.emplace_back(VKTDictionary{{"path", path}, {"reason", reason}});
    Output::standard().JSON(VKTDictionary{
        {"source", source == nullptr ? VKTValue() : VKTValue(source)},
        {"url", outcome.url},
        {"request", outcome.request ? reportOfRequests({*outcome.request}).front() : VKTValue()},
        {"applied", reportOfApplied(outcome)},
        {"ignored", std::move(ignoredMembers)},
        {"expirationDate",
         outcome.expirationDate ? VKTValue(textOfDate(*outcome.expirationDate)) : VKTValue()},
        {"error", reportOfFailure(outcome)}});
}

void printLine(const std::string& label, const std::string& text) {
    std::string line = "   " + label;
    line.resize(std::max(line.size(), textColumn), ' ');
    Output::standard().line(line + text);
}

std::string textOfExpiration(VKTDate date) {
    const auto left =
        std::chrono::duration_cast<std::chrono::seconds>(date - VKTPlatform::current().clock->now()).count();
    return textOfDate(date) +
           (left > 0 ? ", in " + std::to_string(left) + " s" : ", " + std::to_string(-left) + " s ago");
}

std::string textOfLogging(const ConfigOutcome& outcome) {
    const VKTRemoteLogLevel minimum = outcome.logger->minimumLogLevel();
    std::vector<std::string> pieces;
    for (const auto level :
         {VKTRemoteLogLevelDebug, VKTRemoteLogLevelInfo, VKTRemoteLogLevelWarning, VKTRemoteLogLevelError}) {
        const std::uint64_t rate = outcome.logger->samplingRateForLevel(level);
        if (level < minimum || rate == 0) continue;
        const std::string share = rate == 1 ? " all" : " 1 in " + std::to_string(rate);
        pieces.push_back(std::string(*vkt_stringFromRemoteLogLevel(level)) + share);
    }
    if (minimum == VKTRemoteLogLevelNone) return "nothing: no minimum level is named";
    return pieces.empty() ? "nothing: the sampling rates are 0" : vkt_joined(pieces, ", ");
}

void printApplied(const ConfigOutcome& outcome) {
    const VKTConfiguration& configuration = *outcome.configuration;
    const std::int64_t networkID = configuration.networkID();
    printLine("network id", networkID == 0 ? "none" : std::to_string(networkID));
    printLine("ad call base URL", configuration.networkBaseURL().absoluteString());
    printLine("ad call parameters", "post " + compactJSON(configuration.adCallAdditionalParametersPOST()));
    printLine("", "get " + compactJSON(GETParametersOf(configuration)));
    const VKTValue messageValue = messageOf(outcome);
    const std::string* message = messageValue.asString();
    printLine("this SDK", !configuration.isDeprecated() ? "is not deprecated"
                          : message == nullptr          ? "is deprecated"
                                                        : "is deprecated: " + *message);
    const VKTValue collector = collectorOf(outcome);
    printLine("log collector", collector.isNull() ? "none" : collector.description());
    printLine("log records sent", textOfLogging(outcome));
    printLine("expires", outcome.expirationDate ? textOfExpiration(*outcome.expirationDate) : "at once");
}

std::string textOfSource(const ConfigOptions& options, const ConfigOutcome& outcome) {
    const std::string site = "site " + std::to_string(options.site) + ": ";
    if (outcome.source == ConfigFromNetwork) return site + "fetched";
    return site + (outcome.request ? "the last good configuration, from the cache"
                                   : "from the cache, without a request");
}

void printText(const ConfigOptions& options, const ConfigOutcome& outcome,
               const std::vector<IgnoredMember>& ignored) {
    if (outcome.request) Output::standard().lines(linesOfRequests({*outcome.request}));
    if (outcome.source == ConfigFromNowhere) return;
    Output& out = Output::standard();
    out.line(textOfSource(options, outcome));
    printApplied(outcome);
    if (ignored.empty()) return;
    out.line("ignored");
    for (const auto& [path, reason] : ignored)
        out.line(vkt_joined({"   " + path, reason}, ": "));
}

void printFailure(const ConfigOutcome& outcome) {
    const std::string text = textOfFailure(outcome);
    if (text.empty()) return;
    printError(text);
    const bool isAnyLeft = outcome.source != ConfigFromNowhere;
    printError(isAnyLeft ? "the last good configuration stays" : "there is no configuration for this site");
}

int runConfig(const ConfigOptions& options) {
    if (!isServiceURL(options)) {
        printError(options.url + " is not an http or https URL");
        return ExitWrongUsage;
    }
    auto store = openCacheFile(options.store);
    if (!store) return ExitSourceUnread;
    const ConfigOutcome outcome = fetchConfig(options, std::move(store));
    const auto ignored = ignoredMembersOf(outcome.document, outcome.refusals);
    printFailure(outcome);
    if (options.JSON) {
        printReport(outcome, ignored);
    } else {
        printText(options, outcome, ignored);
    }
    return outcome.source == ConfigFromNowhere ? ExitNonePlayable : ExitPlayable;
}

}  // namespace

CommandRun addConfig(CLI::App& command) {
    const auto options = std::make_shared<ConfigOptions>();
    command.add_option("URL", options->url, "Of the service; [SITEID_PLACEHOLDER] in it stands for the site")
        ->required();
    command.add_option("--site", options->site, "The site's ID")
        ->required()
        ->transform(integerFrom(std::int64_t{0}));
    command
        .add_option("--store", options->store,
                    "A file that keeps the last good configuration, made when missing")
        ->type_name("FILE");
    command.add_flag("--force", options->force, "Make a request even though the cached one is valid");
    addAmount(command, "--timeout", options->timeout, "Seconds for the request");
    addJSON(command, options->JSON);
    return [options] { return runConfig(*options); };
}
