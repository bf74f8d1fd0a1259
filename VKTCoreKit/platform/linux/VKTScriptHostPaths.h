// Where the program that runs a script is looked for.
#pragma once

#include <string>
#include <vector>

/// The places of an installation, wherever its prefix has moved to, given the object that has this library in
/// it (a shared object, or the program) and the program. For each of them, in this order: its own folder, and
/// where the host's folder (`libexec/vktcorekit-7`) is from an installed library, and from an installed
/// program; last that of the build's prefix. Each place once; empty paths are passed over.
std::vector<std::string> vkt_scriptHostPaths(const std::string& library, const std::string& program);

/// Of this process. Any thread.
std::vector<std::string> vkt_installedScriptHostPaths();
