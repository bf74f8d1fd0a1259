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

std::shared_ptr<VKTKeyValueStore> openStoreFile(const std::string& path) {
    if (!path.empty()) {
        std::string problem;
        const int file = openRegularFile(path, true, problem);
        if (file < 0) {
            printError("cannot use " + path + ": " + problem);
            return nullptr;
        }
        close(file);  // before the database locks it: closing would take its locks away
    }
    return VKTPlatform::current().makeKeyValueStore(path, printError);
}
