// What the page may ask to be run.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "inspector/ChildRun.h"

/// Bytes of a pasted document, as many as the library reads; and of the JSON that it stands in, where most
/// line feeds and quotation marks take two.
inline constexpr std::size_t longestDocument = std::size_t{32} * 1024 * 1024;
inline constexpr std::size_t longestRunRequest = 2 * longestDocument + 65536;

/// Why a request is not run: an HTTP status and a sentence.
struct RunRefusal {
    int status;
    std::string reason;
};

/// The command of a JSON object {"command", "url" or "xml", "options", "simulated"}. Options are known ones
/// only and stand as --name=value in one argument each, the URL behind "--"; so no text of the page's becomes
/// an option or the name of a file. `networkArguments` are given to every command.
std::variant<ChildCommand, RunRefusal> childCommandOf(std::string_view JSON,
                                                      const std::vector<std::string>& networkArguments);
