// The commands of the vkt tool.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ground/ExitStatus.h"
#include "ground/Options.h"

namespace CLI {
class App;
}

/// What a command does once its options are known. Returns the exit status of the process.
using CommandRun = std::function<int()>;

/// Each adds its options to a command line.
CommandRun addXML(CLI::App& command);
CommandRun addInspect(CLI::App& command);
CommandRun addResolve(CLI::App& command);
CommandRun addWatch(CLI::App& command);
CommandRun addPlay(CLI::App& command);
CommandRun addPixels(CLI::App& command);
CommandRun addConfig(CLI::App& command);
CommandRun addLog(CLI::App& command);
CommandRun addPrivacy(CLI::App& command);
CommandRun addServe(CLI::App& command);

/// Those of `vkt resolve`, which `vkt play` has, too.
void addResolveOptions(CLI::App& command, ResolveOptions& options);

/// What was given of the network's options, as arguments for another run of this program.
std::vector<std::string> networkArguments(const CLI::App& command);
