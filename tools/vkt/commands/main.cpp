#include <CLI/CLI.hpp>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <limits>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "commands/Commands.h"
#include "commands/PrivacySetting.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "server/DemoServer.h"

namespace {

std::string versionText() {
    return std::string(VKTFrameworkName) + " " + VKTFrameworkVersionString + " (" +
           VKTFrameworkRevisionString + ")";
}

std::string macroProblem(const std::string& text) {
    const std::size_t equals = text.find('=');
    return equals == std::string::npos || equals == 0 ? "NAME=VALUE is expected, not \"" + text + "\"" : "";
}

std::string tellProblem(const std::string& text) {
    if (ToldAnswer::initWithText(text)) return "";
    return "PATH=ANSWER or PATH=ANSWER:N is expected, not \"" + text + "\"; ANSWER is " + ToldAnswer::names;
}

std::string settingProblem(const std::string& text) {
    if (PrivacySetting::initWithText(text)) return "";
    return "KEY=TYPE:VALUE is expected, not \"" + text +
           "\"; TYPE is string, int, double or bool (true, false)";
}

// Whole seconds of eleven days and a half; a thousand times that still fits into an int.
constexpr double longestTime = 1'000'000;

std::string rangeProblem(const std::string& kind, const std::string& range, const std::string& text) {
    return kind + " " + range + " is expected, not \"" + onOneLine(text) + "\"";
}

// The whole text as a number; nothing for anything else.
template <typename Number>
std::optional<Number> numberOf(const std::string& text) {
    Number number{};
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// A whole number in decimal digits. It is handed on without leading zeros, which would make it octal.
template <typename Integer>
CLI::Validator integerWithin(Integer least, Integer most) {
    const std::string range = "from " + std::to_string(least) + " to " + std::to_string(most);
    const std::function<std::string(std::string&)> check = [least, most, range](std::string& text) {
        const auto number = numberOf<Integer>(text);
        if (!number || *number < least || *number > most) return rangeProblem("A whole number", range, text);
        text = std::to_string(*number);
        return std::string();
    };
    return {check, ""};
}

// The same up to the greatest number of the type.
template <typename Integer>
CLI::Validator integerFrom(Integer least) {
    return integerWithin(least, std::numeric_limits<Integer>::max());
}

// Of a number, a fraction included.
std::string amountProblem(const std::string& text) {
    const auto number = numberOf<double>(text);
    if (number && *number >= 0 && *number <= longestTime) return "";
    return rangeProblem("A number", "from 0 to 1000000", text);
}

std::string CAFileProblem(const std::string& path) {
    errno = 0;
    std::ifstream file(path);
    file.peek();  // a folder can be opened, but not read
    if (file.good()) return "";
    return "A file of certificates is expected; \"" + path +
           "\" cannot be used: " + (errno == 0 ? "it is empty" : std::strerror(errno));
}

std::string proxyProblem(const std::string& text) {
    const auto url = VKTURL::URLWithString(text);
    const bool isProxy = url && vkt_equalsIgnoringCase(url->scheme().value_or(""), "http") && url->host();
    return isProxy ? "" : "http://HOST:PORT is expected, not \"" + text + "\"";
}

void addNetwork(CLI::App& command, NetworkOptions& options) {
    command.add_option("--ca-file", options.CAFile, "Certificates (PEM) that servers are verified against")
        ->check(CAFileProblem);
    command.add_option("--proxy", options.proxy, "http://HOST:PORT, for all but this device's own servers")
        ->check(proxyProblem);
    command.add_option("--user-agent", options.userAgent, "Sent with every request that has none of its own");
}

// Before anything else of the library is used.
void installPlatform(const NetworkOptions& network) {
    VKTPlatformOptions options;
    options.HTTPSession.CAFile = network.CAFile;
    options.HTTPSession.proxy = network.proxy;
    options.HTTPSession.userAgent = network.userAgent;
    VKTPlatform::setCurrent(vkt_makeDefaultPlatform(options));
}

void addSource(CLI::App& command, std::string& source) {
    command.add_option("SOURCE", source, "A file, - for the standard input, or an http(s) URL")->required();
}

void addXML(CLI::App& app, XMLOptions& options) {
    auto* command = app.add_subcommand("xml", "Print a document's XML dictionary as JSON");
    command->add_option("FILE", options.source, "A file, or - for the standard input")->required();
}

void addInspect(CLI::App& app, InspectOptions& options) {
    auto* command =
        app.add_subcommand("inspect", "Show what one document holds, and what of it is dropped and why");
    addSource(*command, options.source);
    command->add_flag("--json", options.JSON, "One JSON object");
}

void addResolveOptions(CLI::App& command, ResolveOptions& options) {
    addSource(command, options.source);
    command.add_flag("--json", options.JSON, "One JSON object");
    command.add_option("--timeout", options.timeout, "Seconds for resolving everything")
        ->capture_default_str()
        ->check(amountProblem);
    command.add_option("--request-timeout", options.requestTimeout, "Seconds for one download")
        ->capture_default_str()
        ->check(amountProblem);
    command.add_option("--max-wrappers", options.maxWrappers, "Wrappers followed in a row")
        ->capture_default_str()
        ->transform(integerFrom(0));
    command.add_flag("--handle-wrapper-adpods", options.handleWrapperAdpods,
                     "Take whole pods behind wrappers");
    command.add_flag("--strict-first-impression", options.strictFirstImpression,
                     "Refuse a first wrapper without an impression");
    command.add_option("--macro", options.macros, "NAME=VALUE, filled into URLs; may be repeated")
        ->allow_extra_args(false)
        ->check(macroProblem);
    command.add_option("--fail", options.fail, "Report the first N ads as failed, which asks for passbacks")
        ->capture_default_str()
        ->transform(integerFrom(0));
    command.add_option("--network-access-type", options.networkAccessType, "4 to 6: fast; any other: slow")
        ->capture_default_str()
        ->transform(integerFrom(0U));
}

void addResolve(CLI::App& app, ResolveOptions& options) {
    addResolveOptions(*app.add_subcommand("resolve", "Follow wrappers and passbacks to every playable ad"),
                      options);
}

void addPlay(CLI::App& app, PlayOptions& options) {
    auto* command =
        app.add_subcommand("play", "Resolve, play each ad on a simulated clock and send its tracking pixels");
    addResolveOptions(*command, options.resolve);
    command->add_option("--speed", options.speed, "Simulated seconds in a real one; 0: no waiting")
        ->capture_default_str()
        ->check(amountProblem);
    command->add_option("--wait", options.wait, "Real seconds for the last pixels")
        ->capture_default_str()
        ->check(amountProblem);
    command->add_option("--store", options.store,
                        "A file that keeps undelivered pixels for the next run, made when missing");
    command->add_option("--report", options.report, "Write an HTML page with everything");
    command->add_flag("--measure", options.measure,
                      "Run the ad's verification scripts, and show what they do");
    const auto addAction = [&](const char* name, std::optional<double>& position, const char* description) {
        command->add_option(name, position, description)->check(amountProblem);
    };
    addAction("--skip-at", options.skipAt, "Second of each ad at which it is skipped");
    addAction("--mute-at", options.muteAt, "Second at which the sound is switched off");
    addAction("--pause-at", options.pauseAt, "Second at which it stands still for two seconds");
    addAction("--click-at", options.clickAt, "Second at which it is clicked");
    addAction("--hide-at", options.hideAt, "Second at which the view leaves the window");
}

void addPixels(CLI::App& app, PixelsOptions& options) {
    auto* command =
        app.add_subcommand("pixels", "List the undelivered pixels of vkt play --store, or send them");
    command->add_option("--store", options.store, "The file that keeps them")->required();
    command->add_flag("--send", options.send, "Make one sending pass");
    command->add_flag("--json", options.JSON, "One JSON object");
}

void addRequestTimeout(CLI::App& command, double& timeout) {
    command.add_option("--timeout", timeout, "Seconds for the request")
        ->capture_default_str()
        ->check(amountProblem);
}

void addConfig(CLI::App& app, ConfigOptions& options) {
    auto* command = app.add_subcommand(
        "config", "Take a site's configuration from the cache or the network, and show what came of it");
    command->add_option("URL", options.url, "Of the service; [SITEID_PLACEHOLDER] in it stands for the site")
        ->required();
    command->add_option("--site", options.site, "The site's ID")
        ->required()
        ->transform(integerFrom(std::int64_t{0}));
    command->add_option("--store", options.store,
                        "A file that keeps the last good configuration, made when missing");
    command->add_flag("--force", options.force, "Make a request even though the cached one is valid");
    addRequestTimeout(*command, options.timeout);
    command->add_flag("--json", options.JSON, "One JSON object");
}

void addLog(CLI::App& app, LogOptions& options) {
    const CLI::IsMember levels({"debug", "info", "warning", "error"});
    auto* command = app.add_subcommand("log", "Make one sampled log record and send it to a collector");
    command->add_option("URL", options.url, "Of the collector")->required();
    command->add_option("--level", options.level, "The record's level")->capture_default_str()->check(levels);
    command->add_option("--minimum-level", options.minimumLevel, "Records below it are dropped")
        ->capture_default_str()
        ->check(levels);
    command->add_option("--message", options.message, "Its message")->capture_default_str();
    command->add_option("--site", options.site, "A site ID to tell of")
        ->transform(integerFrom(std::int64_t{0}));
    command->add_option("--sampling", options.sampling, "Keep one record in so many; 0: none")
        ->capture_default_str()
        ->transform(integerFrom(std::uint64_t{0}));
    command->add_option("--measure", options.measures, "NAME=VALUE, a measured value; may be repeated")
        ->allow_extra_args(false)
        ->check(macroProblem);
    command->add_option("--vast-error", options.VASTCode, "The code of a VAST error to tell of")
        ->transform(integerWithin(100, 999));
    command->add_option("--open-measurement", options.openMeasurement,
                        "The URL of a measurement script to tell of");
    addRequestTimeout(*command, options.timeout);
    command->add_flag("--dry-run", options.dryRun, "Print the body and send nothing");
    command->add_flag("--json", options.JSON, "One JSON object; with --dry-run the exact body");
}

void addPrivacy(CLI::App& app, PrivacyOptions& options) {
    auto* command = app.add_subcommand(
        "privacy", "Show what the stored consent allows to send, under which identity, and why");
    command->add_option(
        "--store", options.store,
        "The file that keeps the signals; only read without --set, else made when missing, and "
        "the settings and a new transient ID are written into it for good");
    command
        ->add_option("--set", options.settings,
                     "KEY=TYPE:VALUE, stored before anything is read; TYPE is string, int, double or bool; "
                     "may be repeated")
        ->allow_extra_args(false)
        ->check(settingProblem);
    command->add_option("--ifa", options.IFA, "The advertising identifier, a UUID");
    command->add_option_function<std::string>(
        "--custom-id", [&options](const std::string& ID) { options.customID = ID; },
        "The publisher's own identifier; an empty one counts");
    command->add_flag("--no-transient", options.noTransient, "Make no transient ID");
    command->add_flag("--json", options.JSON, "One JSON object");
}

void addServe(CLI::App& app, ServeOptions& options) {
    auto* command = app.add_subcommand("serve", "Run the demo ad server on 127.0.0.1");
    command->add_option("--port", options.port, "0 for any free one")
        ->capture_default_str()
        ->transform(integerWithin(0, 65535));
    command->add_option("--root", options.root, "A folder to serve under /files/")
        ->check(CLI::ExistingDirectory);
    command
        ->add_option("--tell", options.tells,
                     "PATH=ANSWER[:N], how (the first N) hits of a path are answered; may be repeated")
        ->allow_extra_args(false)
        ->check(tellProblem);
    command->footer(DemoServer::listing());
}

int run(int argc, char** argv) {
    CLI::App app("Reads, resolves, plays and serves VAST documents.", "vkt");
    app.set_version_flag("--version", versionText());
    app.require_subcommand(1);

    XMLOptions xml;
    InspectOptions inspect;
    ResolveOptions resolve;
    PlayOptions play;
    PixelsOptions pixels;
    ConfigOptions config;
    LogOptions log;
    PrivacyOptions privacy;
    ServeOptions serve;
    addXML(app, xml);
    addInspect(app, inspect);
    addResolve(app, resolve);
    addPlay(app, play);
    addPixels(app, pixels);
    addConfig(app, config);
    addLog(app, log);
    addPrivacy(app, privacy);
    addServe(app, serve);

    NetworkOptions network;
    for (const char* name : {"inspect", "resolve", "play", "pixels", "config", "log"})
        addNetwork(*app.get_subcommand(name), network);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);  // --help, --version
    } catch (const CLI::ParseError& error) {
        printError(std::string(error.what()) + " (vkt --help tells more)");
        return ExitWrongUsage;
    }

    installPlatform(network);
    if (app.got_subcommand("xml")) return runXML(xml);
    if (app.got_subcommand("inspect")) return runInspect(inspect);
    if (app.got_subcommand("resolve")) return runResolve(resolve);
    if (app.got_subcommand("play")) return runPlay(play);
    if (app.got_subcommand("pixels")) return runPixels(pixels);
    if (app.got_subcommand("config")) return runConfig(config);
    if (app.got_subcommand("log")) return runLog(log);
    if (app.got_subcommand("privacy")) return runPrivacy(privacy);
    return runServe(serve);
}

}  // namespace

int main(int argc, char** argv) {
    prepareStandardStreams();
    try {
        const int status = run(argc, argv);
        const auto problem = Output::standard().finish();
        if (!problem) return status;
        printError(*problem);
        return ExitOutputUnwritten;
    } catch (const std::exception& error) {
        printError(error.what());
        return ExitSourceUnread;
    }
}
