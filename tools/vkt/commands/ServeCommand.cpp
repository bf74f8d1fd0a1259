#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include "VKTCoreKit/foundation/VKTURL.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "inspector/Inspector.h"
#include "server/DemoServer.h"

namespace {

struct ServeOptions {
    int port = 8080;  ///< 0: any free one
    std::string address = "127.0.0.1";
    bool allowsPrivate = false;
    std::string root;                ///< folder served under /files/; none when empty
    std::string media;               ///< folder served under /media/; none when empty
    std::vector<std::string> tells;  ///< "PATH=ANSWER[:N]" each, checked
};

// The proxy would connect to private addresses for the runs, which nobody here could refuse.
bool isProxyInTheWay(const ServeOptions& options, const std::vector<std::string>& networkArguments) {
    const bool hasProxy = std::any_of(networkArguments.begin(), networkArguments.end(),
                                      [](const std::string& each) { return each.starts_with("--proxy="); });
    return hasProxy && !options.allowsPrivate && !vkt_isLoopbackHost(options.address);
}

int runServe(const ServeOptions& options, std::vector<std::string> networkArguments) {
    if (isProxyInTheWay(options, networkArguments)) {
        printError(
            "--proxy and an address that others reach (--bind) go together with --allow-private only: "
            "a proxy connects to private addresses, too");
        return ExitWrongUsage;
    }
    // Blocked before any thread starts, so that only the wait below receives them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    Output& out = Output::standard();
    const LineHandler writeLine = [&out](const std::string& line) {
        out.line(line);
        out.flush();
    };
    InspectorOptions inspection;
    inspection.address = options.address;
    inspection.allowsPrivate = options.allowsPrivate;
    inspection.networkArguments = std::move(networkArguments);
    Inspector inspector(std::move(inspection));
    DemoServer server(options.root, writeLine, options.media);
    server.setGuest(inspector);
    for (const std::string& text : options.tells) {
        if (auto told = ToldAnswer::initWithText(text)) server.tell(std::move(*told));
    }
    const std::optional<int> port = server.start(options.port, options.address);
    if (!port) {
        printError("port " + std::to_string(options.port) + " of " + options.address + " cannot be used");
        return ExitWrongUsage;
    }
    out.line("serving on " + inspector.pageURL(*port));
    out.flush();

    int received = 0;
    sigwait(&endSignals, &received);
    server.stop();
    return ExitPlayable;
}

std::string addressProblem(const std::string& text) {
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    const bool isAddress = inet_pton(AF_INET, text.c_str(), bytes.data()) == 1 ||
                           inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
    return isAddress ? "" : "An IPv4 or IPv6 address is expected, not " + ::quoted(text);
}

constexpr const char* bindNotes =
    "The page at / is the inspector. On an address of --bind that others reach, it\n"
    "wants the token that is printed, and so do /tell, /pixels/clear and\n"
    "/logs/clear; its runs ask public addresses only, unless --allow-private is\n"
    "given. All other paths, and /files/ with them, are open to whoever reaches the\n"
    "port, since players have to fetch them.\n\n";

std::string tellProblem(const std::string& text) {
    if (ToldAnswer::initWithText(text)) return "";
    return "PATH=ANSWER or PATH=ANSWER:N is expected, not " + ::quoted(text) + "; ANSWER is " +
           ToldAnswer::names + ", and N a whole number from 1 to 2147483647";
}

}  // namespace

CommandRun addServe(CLI::App& command) {
    const auto options = std::make_shared<ServeOptions>();
    const CLI::Validator folder = CLI::Validator(CLI::ExistingDirectory).description("");
    command.add_option("--port", options->port, "Where it listens; 0 for any free port")
        ->capture_default_str()
        ->transform(integerWithin(0, 65535));
    command.add_option("--bind", options->address, "Where others reach it; 0.0.0.0 or :: for everywhere")
        ->type_name("ADDRESS")
        ->capture_default_str()
        ->check(addressProblem);
    command.add_flag("--allow-private", options->allowsPrivate,
                     "Runs may ask private addresses although others reach the page");
    command.add_option("--root", options->root, "A folder to serve under /files/")
        ->check(folder)
        ->type_name("FOLDER");
    command.add_option("--media", options->media, "A folder of videos to serve under /media/")
        ->check(folder)
        ->type_name("FOLDER");
    addRepeated(command, "--tell", options->tells,
                "How (the first N) hits of a path are answered; may be repeated")
        ->type_name("PATH=ANSWER[:N]")
        ->check(tellProblem);
    command.footer(bindNotes + DemoServer::listing());
    return [options, &command] { return runServe(*options, networkArguments(command)); };
}
