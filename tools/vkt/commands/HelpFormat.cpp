#include "commands/HelpFormat.h"

#include <sstream>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t lineWidth = 80;
constexpr std::size_t column = 28;  // where descriptions begin

// An option without a group is for other programs.
bool isOption(const CLI::Option* option) {
    return option->nonpositional() && !option->get_group().empty();
}

bool isArgument(const CLI::Option* option) {
    return option->get_positional();
}

// " FILE"; nothing for a flag. What a number has for digits is not told by its type.
std::string valueOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    if (type.empty()) return "";
    return " " + (type == "INT" || type == "UINT" || type == "FLOAT" ? "NUMBER" : type);
}

// "-h, --help"
std::string namesOf(const CLI::Option& option) {
    std::string names = option.get_name(false, true);
    const std::size_t comma = names.find(',');
    if (comma != std::string::npos) names.insert(comma + 1, " ");
    return names;
}

std::string usageOf(const CLI::App& app, const std::string& call) {
    std::string usage = "Usage: " + call;
    for (const CLI::Option* option : app.get_options(isOption)) {
        if (option->get_required()) usage += " " + namesOf(*option) + valueOf(*option);
    }
    usage += " [OPTION]...";
    for (const CLI::Option* argument : app.get_options(isArgument)) {
        const bool isList = argument->get_expected_max() > 1;
        usage += " " + argument->get_name(true) + (isList ? "..." : "");
    }
    return usage + (app.get_subcommands({}).empty() ? "" : " COMMAND") + '\n';
}

std::string row(const std::string& name, const std::string& description) {
    std::string line = "  " + name;
    line +=
        line.size() + 2 > column ? '\n' + std::string(column, ' ') : std::string(column - line.size(), ' ');
    return line + wrapped(description, column) + '\n';
}

std::string rowOf(const CLI::Option& option) {
    const std::string& value = option.get_default_str();
    return row(isArgument(&option) ? option.get_name(true) : namesOf(option) + valueOf(option),
               option.get_description() + (value.empty() ? "" : " (default: " + value + ")"));
}

std::string section(const std::string& title, const std::vector<std::string>& rows) {
    if (rows.empty()) return "";
    std::string text = '\n' + title + ":\n";
    for (const std::string& each : rows)
        text += each;
    return text;
}

}  // namespace

std::string wrapped(const std::string& text, std::size_t indent) {
    std::string lines;
    std::size_t width = indent;
    std::istringstream words(text);
    for (std::string word; words >> word; width += word.size()) {
        if (!lines.empty() && width + 1 + word.size() > lineWidth) {
            lines += '\n' + std::string(indent, ' ');
            width = indent;
        } else if (!lines.empty()) {
            lines += ' ';
            ++width;
        }
        lines += word;
    }
    return lines;
}

std::string helpText(const CLI::App* app, const std::string& call, CLI::AppFormatMode /*mode*/) {
    std::vector<std::string> arguments, options, commands;
    for (const CLI::Option* argument : app->get_options(isArgument))
        arguments.push_back(rowOf(*argument));
    for (const CLI::Option* option : app->get_options(isOption))
        options.push_back(rowOf(*option));
    for (const CLI::App* command : app->get_subcommands({}))
        commands.push_back(row(command->get_name(), command->get_description()));
    return usageOf(*app, call) + wrapped(app->get_description(), 0) + ".\n" +
           section("Arguments", arguments) + section("Options", options) + section("Commands", commands) +
           '\n' + app->get_footer();
}
