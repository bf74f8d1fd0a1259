// vkt xml: the dictionary that every reader of the library starts from.
#include <memory>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/Source.h"

namespace {

struct XMLOptions {
    std::string source;  ///< a file, or "-" for the standard input
};

int runXML(const XMLOptions& options) {
    const Source source = openSource(options.source);
    if (!source.data) {
        const std::string reason = source.problem.empty() ? "only files are read here" : source.problem;
        printError("cannot read " + options.source + ": " + reason);
        return ExitSourceUnread;
    }
    auto parser = VKTXMLDictionaryParser::sharedInstance().copy();
    auto dictionary = parser.vkt_dictionaryWithData(*source.data);
    if (!dictionary) {
        const auto& error = parser.parsingError();
        printError(options.source + ": " +
                   (error ? error->localizedDescription().value_or("") : "there is no document"));
        return ExitNonePlayable;
    }
    Output::standard().JSON(std::move(*dictionary));
    return ExitPlayable;
}

}  // namespace

CommandRun addXML(CLI::App& command) {
    const auto options = std::make_shared<XMLOptions>();
    command.add_option("FILE", options->source, "A file, or - for the standard input")->required();
    return [options] { return runXML(*options); };
}
