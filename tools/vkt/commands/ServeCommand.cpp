#include <csignal>
#include <memory>
#include <optional>

#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "server/DemoServer.h"

namespace {

struct ServeOptions {
    int port = 8080;                 ///< 0: any free one
    std::string root;                ///< folder served under /files/; none when empty
    std::string media;               ///< folder served under /media/; none when empty
    std::vector<std::string> tells;  ///< "PATH=ANSWER[:N]" each, checked
};

int runServe(const ServeOptions& options) {
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
    DemoServer server(options.root, writeLine, options.media);
    for (const std::string& text : options.tells) {
        if (auto told = ToldAnswer::initWithText(text)) server.tell(std::move(*told));
    }
    const std::optional<int> port = server.start(options.port);
    if (!port) {
        printError("port " + std::to_string(options.port) + " of 127.0.0.1 cannot be used");
        return ExitWrongUsage;
    }
    out.line("serving on http://127.0.0.1:" + std::to_string(*port) + "/");
    out.flush();

    int received = 0;
    sigwait(&endSignals, &received);
    server.stop();
    return ExitPlayable;
}

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
    command.footer(DemoServer::listing());
    return [options] { return runServe(*options); };
}
