#include "commands/OptionChecks.h"
#include "ground/Text.h"

namespace {

// Whole seconds of eleven days and a half; a thousand times that still fits into an int.
constexpr double longestTime = 1'000'000;

std::string amountProblem(const std::string& text) {
    const auto number = numberOf<double>(text);
    if (number && *number >= 0 && *number <= longestTime) return "";
    return rangeProblem("A number", "from 0 to 1000000", text);
}

}  // namespace

void addSource(CLI::App& command, std::string& source) {
    command.add_option("SOURCE", source, "A file, - for the standard input, or an http(s) URL")->required();
}

void addJSON(CLI::App& command, bool& isJSON, const std::string& description) {
    command.add_flag("--json", isJSON, description);
}

void addReport(CLI::App& command, std::string& path) {
    command.add_option("--report", path, "Write an HTML page with everything, to pass on")->type_name("FILE");
}

void addAmount(CLI::App& command, const std::string& name, double& amount, const std::string& description) {
    command.add_option(name, amount, description)->capture_default_str()->check(amountProblem);
}

void addAmount(CLI::App& command, const std::string& name, std::optional<double>& amount,
               const std::string& description) {
    command.add_option(name, amount, description)->check(amountProblem);
}

CLI::Option* addRepeated(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                         const std::string& description) {
    return command.add_option(name, values, description)->allow_extra_args(false);
}

std::string assignmentProblem(const std::string& text) {
    const std::size_t equals = text.find('=');
    return equals == std::string::npos || equals == 0 ? "NAME=VALUE is expected, not " + ::quoted(text) : "";
}

std::string rangeProblem(const std::string& kind, const std::string& range, const std::string& text) {
    return kind + " " + range + " is expected, not " + ::quoted(text);
}
