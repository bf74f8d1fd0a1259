#include <CLI/CLI.hpp>
#include <iostream>
#include <string>

#include "Commands.h"
#include "DemoServer.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"

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

void addResolve(CLI::App& app, ResolveOptions& options) {
    auto* command = app.add_subcommand("resolve", "Follow wrappers and passbacks to every playable ad");
    addSource(*command, options.source);
    command->add_flag("--json", options.JSON, "One JSON object");
    command->add_option("--timeout", options.timeout, "Seconds for everything")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    command->add_option("--request-timeout", options.requestTimeout, "Seconds for one download")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    command->add_option("--max-wrappers", options.maxWrappers, "Wrappers followed in a row")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    command->add_flag("--handle-wrapper-adpods", options.handleWrapperAdpods,
                      "Take whole pods behind wrappers");
    command->add_flag("--strict-first-impression", options.strictFirstImpression,
                      "Refuse a first wrapper without an impression");
    command->add_option("--macro", options.macros, "NAME=VALUE, filled into wrapper URLs; may be repeated")
        ->allow_extra_args(false)
        ->check(macroProblem);
    command->add_option("--fail", options.fail, "Report the first N ads as failed, which asks for passbacks")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    command->add_option("--network-access-type", options.networkAccessType, "4 to 6: fast; any other: slow")
        ->capture_default_str();
}

void addServe(CLI::App& app, ServeOptions& options) {
    auto* command = app.add_subcommand("serve", "Run the demo ad server on 127.0.0.1");
    command->add_option("--port", options.port, "0 for any free one")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535));
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
    CLI::App app("Reads, resolves and serves VAST documents.", "vkt");
    app.set_version_flag("--version", versionText());
    app.require_subcommand(1);

    XMLOptions xml;
    InspectOptions inspect;
    ResolveOptions resolve;
    ServeOptions serve;
    addXML(app, xml);
    addInspect(app, inspect);
    addResolve(app, resolve);
    addServe(app, serve);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);  // --help, --version
    } catch (const CLI::ParseError& error) {
        printError(std::string(error.what()) + " (vkt --help tells more)");
        return ExitWrongUsage;
    }

    if (app.got_subcommand("xml")) return runXML(xml);
    if (app.got_subcommand("inspect")) return runInspect(inspect);
    if (app.got_subcommand("resolve")) return runResolve(resolve);
    return runServe(serve);
}

}  // namespace

void printError(const std::string& message) {
    std::cerr << "vkt: " << message << std::endl;
}

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        printError(error.what());
        return ExitSourceUnread;
    }
}
