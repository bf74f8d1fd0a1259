// Where the program that runs a script is looked for.
#pragma once

#include <string>
#include <vector>

/// The places of an installation, wherever its prefix has moved to, given the object that has this library in
/// it (a shared object, or the program) and the program. For each of them, in this order: its own folder,
/// `vktcorekit/` in it, and `../lib/vktcorekit/`, `../libexec/vktcorekit/` and where the build installs the
/// host, from it; last the prefix of the build. Each place once; empty paths are passed over.
std::vector<std::string> vkt_scriptHostPaths(const std::string& library, const std::string& program);

/// Of this process. Any thread.
std::vector<std::string> vkt_installedScriptHostPaths();
