#include "StoreFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Commands.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

int openRegularFile(const std::string& path, bool isMade, std::string& problem) {
    const int creation = isMade ? O_CREAT : 0;
    const int file = open(path.c_str(), O_RDWR | creation | O_CLOEXEC | O_NONBLOCK, 0666);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0) {
        problem = std::strerror(errno);
    } else if (!S_ISREG(status.st_mode)) {
        problem = "it is not a file";
    } else {
        return file;
    }
    if (file >= 0) close(file);
    return -1;
}

std::shared_ptr<VKTKeyValueStore> makeFileStore(const std::string& path) {
    const auto& makeStore = VKTPlatform::current().makeKeyValueStore;
    auto store = makeStore(path, printError);
    // What could be mended, the first one has mended; if there is still a problem, its values are in memory
    // only.
    bool isInFile = true;
    makeStore(path, [&isInFile](const std::string&) { isInFile = false; });
    return isInFile ? store : nullptr;
}

std::shared_ptr<VKTKeyValueStore> openStoreFile(const std::string& path) {
    if (path.empty()) return VKTPlatform::current().makeKeyValueStore(path, printError);
    std::string problem;
    const int file = openRegularFile(path, true, problem);
    if (file < 0) {
        printError("cannot use " + path + ": " + problem);
        return nullptr;
    }
    close(file);  // before the database locks it: closing would take its locks away
    return makeFileStore(path);
}
