#include <csignal>
#include <iostream>
#include <optional>

#include "commands/Commands.h"
#include "ground/Output.h"
#include "server/DemoServer.h"

int runServe(const ServeOptions& options) {
    // Blocked before any thread starts, so that only the wait below receives them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    DemoServer server(options.root, std::cout);
    for (const std::string& text : options.tells) {
        if (auto told = ToldAnswer::initWithText(text)) server.tell(std::move(*told));
    }
    const std::optional<int> port = server.start(options.port);
    if (!port) {
        printError("port " + std::to_string(options.port) + " of 127.0.0.1 cannot be used");
        return ExitWrongUsage;
    }
    std::cout << "serving on http://127.0.0.1:" << *port << "/" << std::endl;

    int received = 0;
    sigwait(&endSignals, &received);
    server.stop();
    return 0;
}
