#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "commands/Commands.h"
#include "commands/HelpFormat.h"
#include "ground/Output.h"
#include "ground/Text.h"

namespace {

enum Network : bool { NoNetwork, WithNetwork };

/// A row of the table of commands, with what its exit statuses mean; null for one that it does not have.
struct Command {
    const char* name;
    const char* description;
    CommandRun (*add)(CLI::App& command);
    Network network;
    const char* success;
    const char* failure;
    const char* unread;
};

constexpr auto commands = std::to_array<Command>({
    {"xml", "Print a document's XML dictionary as JSON", addXML, NoNetwork, "the document is well-formed",
     "it is not, or there is none", "FILE cannot be read"},
    {"inspect", "Show what one document holds, and what of it is dropped and why", addInspect, WithNetwork,
     "an ad is valid; with --lines: all lines were read, whatever they hold", "no ad is valid",
     "SOURCE, or the standard input of --lines, cannot be read"},
    {"resolve", "Follow wrappers and passbacks to every playable ad", addResolve, WithNetwork,
     "an ad is playable", "no ad is playable", "SOURCE cannot be read"},
    {"watch", "Resolve a source again and again, and sum up what came of it", addWatch, WithNetwork,
     "an ad was playable once at least", "no ad was playable", "SOURCE could never be read"},
    {"play", "Resolve, play each ad on a simulated clock and send its tracking pixels", addPlay, WithNetwork,
     "an ad was played, whatever became of its pixels", "no ad was played",
     "SOURCE cannot be read, the file of --store cannot be used, or that of --report cannot be written"},
    {"pixels", "List the undelivered pixels of vkt play --store, or send them", addPixels, WithNetwork,
     "they are listed, or one pass was made, whatever became of them", nullptr,
     "the file of --store cannot be used"},
    {"config", "Take a site's configuration from the cache or the network, and show what came of it",
     addConfig, WithNetwork, "there is a configuration", "there is none",
     "the file of --store cannot be used"},
    {"log", "Make one sampled log record and send it to a collector", addLog, WithNetwork,
     "the record was delivered, or made with --dry-run", "it was dropped or kept", nullptr},
    {"privacy", "Show what the stored consent allows to send, under which identity, and why", addPrivacy,
     NoNetwork, "all signals could be read", nullptr, "a signal, or the file of --store, cannot be read"},
    {"serve", "Run the inspector page and the demo ad server", addServe, WithNetwork,
     "ended by SIGINT or SIGTERM", nullptr, nullptr},
});

std::string exitStatusesOf(const Command& command) {
    const auto line = [](const std::string& status, const std::string& meaning) {
        return "  " + status + "  " + wrapped(meaning, 5) + '\n';
    };
    std::string text = "Exit status:\n" + line("0", command.success);
    if (command.failure != nullptr) text += line("1", command.failure);
    text += line("2", "wrong usage: an option or argument is unknown, missing or unusable");
    const std::string unread = command.unread == nullptr ? "" : std::string(command.unread) + ", or ";
    return text + line("3", unread + "the result cannot be written");
}

/// Of every command that downloads.
struct NetworkOptions {
    std::string CAFile;     ///< certificates; the system's when empty
    std::string proxy;      ///< an http URL; none when empty
    std::string userAgent;  ///< of requests without one of their own; none when empty
    bool publicAddressesOnly = false;
};

std::string versionText() {
    return std::string(VKTFrameworkName) + " " + VKTFrameworkVersionString + " (" +
           VKTFrameworkRevisionString + ")";
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
        ->type_name("FILE")
        ->check(CAFileProblem);
    command.add_option("--proxy", options.proxy, "http://HOST:PORT, for all but this device's own servers")
        ->type_name("URL")
        ->check(proxyProblem);
    command.add_option("--user-agent", options.userAgent, "Sent with every request that has none of its own");
    command.add_flag("--public-addresses-only", options.publicAddressesOnly,
                     "Connect to public addresses alone, no loopback or private ones; not with --proxy");
}

void checkNetwork(const NetworkOptions& options) {
    if (!options.publicAddressesOnly || options.proxy.empty()) return;
    throw CLI::ValidationError(
        "--public-addresses-only cannot hold with --proxy: it is the proxy that connects, to addresses which "
        "only the proxy sees; leave out one of the two",
        CLI::ExitCodes::ValidationError);
}

// Before anything else of the library is used.
void installPlatform(const NetworkOptions& network) {
    VKTPlatformOptions options;
    options.HTTPSession.CAFile = network.CAFile;
    options.HTTPSession.proxy = network.proxy;
    options.HTTPSession.userAgent = network.userAgent;
    options.HTTPSession.allowsPrivateAddresses = !network.publicAddressesOnly;
    VKTPlatform::setCurrent(vkt_makeDefaultPlatform(options));
}

// The command that was asked for; the tool itself before there is one.
std::string helpOf(const CLI::App& app) {
    const auto given = app.get_subcommands();
    return given.empty() ? "vkt --help" : "vkt " + given.front()->get_name() + " --help";
}

// CLI11 asks for a command even where one stands that it does not know.
std::string problemOf(const CLI::ParseError& error, const CLI::App& app, int argc, char** argv) {
    if (!app.get_subcommands().empty() || argc < 2) return error.what();
    return "there is no command or option " + ::quoted(argv[1]);
}

int run(int argc, char** argv) {
    CLI::App app("Read, resolve, play and serve VAST documents", "vkt");
    app.formatter_fn(helpText);
    app.set_help_flag("-h,--help", "Print this text and exit");
    app.set_version_flag("--version", versionText(), "Print the version and exit");
    app.require_subcommand(1);

    NetworkOptions network;
    CommandRun run;
    for (const Command& row : commands) {
        CLI::App& command = *app.add_subcommand(row.name, row.description);
        const CommandRun runCommand = row.add(command);
        command.final_callback([&run, runCommand] { run = runCommand; });
        if (row.network == WithNetwork) addNetwork(command, network);
        const std::string footer = command.get_footer();
        command.footer(footer + (footer.empty() ? "" : "\n") + exitStatusesOf(row));
    }

    try {
        app.parse(argc, argv);
        checkNetwork(network);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);  // --help, --version
    } catch (const CLI::ParseError& error) {
        printError(problemOf(error, app, argc, argv) + " (" + helpOf(app) + " tells more)");
        return ExitWrongUsage;
    }
    installPlatform(network);
    return run();
}

}  // namespace

std::vector<std::string> networkArguments(const CLI::App& command) {
    std::vector<std::string> arguments;
    for (const char* name : {"--ca-file", "--proxy", "--user-agent", "--public-addresses-only"}) {
        const CLI::Option* option = command.get_option_no_throw(name);
        if (option == nullptr) continue;
        for (const std::string& value : option->results())
            arguments.push_back(std::string(name) + "=" + value);
    }
    return arguments;
}

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
