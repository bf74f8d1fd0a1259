#include "VKTCoreKit/platform/linux/VKTScriptHostPaths.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr const char* hostName = "vkt-script-host";

// As the linker knows it: for the program itself that may be a bare name.
std::string libraryPath() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&vkt_installedScriptHostPaths), &info) == 0) return "";
    const std::string name = info.dli_fname == nullptr ? "" : info.dli_fname;
    std::error_code error;
    return name.find('/') == std::string::npos ? "" : fs::canonical(name, error).string();
}

std::string programPath() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).string();
}

}  // namespace

std::vector<std::string> vkt_scriptHostPaths(const std::string& library, const std::string& program) {
    std::vector<std::string> paths;
    const auto add = [&](const fs::path& folder) {
        const std::string path = (folder / hostName).lexically_normal().string();
        if (std::find(paths.begin(), paths.end(), path) == paths.end()) paths.push_back(path);
    };
    for (const fs::path object : {library, program}) {
        if (object.empty()) continue;
        for (const char* place : {".", VKT_HOST_FROM_LIBRARY, VKT_HOST_FROM_PROGRAM})
            add(object.parent_path() / place);
    }
    add(VKT_HOST_FOLDER);
    return paths;
}

std::vector<std::string> vkt_installedScriptHostPaths() {
    return vkt_scriptHostPaths(libraryPath(), programPath());
}
