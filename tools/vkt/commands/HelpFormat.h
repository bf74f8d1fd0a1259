// How the tool's --help looks.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

/// The text of --help for a command, or for the tool itself, in lines of at most 80 columns: how it is
/// called, what it does, its arguments, options and commands as `  NAME  description` in two columns, and its
/// footer. The manual pages and the shell completion are made from this text.
std::string helpText(const CLI::App* app, const std::string& call, CLI::AppFormatMode mode);

/// The text broken into lines where there is a space, all but the first one behind `indent` spaces. A word
/// that is longer than a line stays whole.
std::string wrapped(const std::string& text, std::size_t indent);
