#include "VKTCoreKit/platform/linux/VKTSQLiteStoreFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <system_error>
#include <thread>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

namespace {

constexpr mode_t ownerOnly = 0600;
constexpr mode_t othersRights = 0077;

// Of SQLite's file formats: places and sizes in bytes.
constexpr std::int64_t pageSizeInLog = 8;
constexpr std::int64_t logHeaderSize = 32;
constexpr std::int64_t frameHeaderSize = 24;
constexpr std::int64_t applicationIDInPage = 68;

// The paths that this process owns: its own locks do not stop it. Never destroyed, as stores may outlive
// main.
struct OwnedPaths {
    VKTMutex mutex;
    std::set<std::string> paths VKT_GUARDED_BY(mutex);
};

OwnedPaths& ownedPaths() {
    static auto* paths = new OwnedPaths;
    return *paths;
}

struct flock wholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

// "PATH.damaged", "PATH.damaged.1" …
std::string nameAside(const std::string& path, int number) {
    return path + ".damaged" + (number == 0 ? "" : '.' + std::to_string(number));
}

// One name for one file, however it is spelled and whatever links lead to it.
std::string canonicalPath(const std::string& path) {
    std::error_code error;
    const auto canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path : canonical.string();
}

// Whether the system has not even tried to open a file.
bool isShortOfResources(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

}  // namespace

std::string vkt_absolutePath(const std::string& path) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute.string();
}

std::optional<VKTFileIdentity> vkt_identityOfFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return VKTFileIdentity(status.st_dev, status.st_ino);
}

std::optional<VKTDatabaseState> vkt_stateOfDatabase(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return errno == ENOENT ? std::optional(VKTDatabaseState()) : std::nullopt;
    VKTDatabaseState state{{status.st_dev, status.st_ino}, status.st_size, 0, 0};
    state.changed = std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
    struct stat log {};
    if (stat((path + "-wal").c_str(), &log) == 0) state.logSize = log.st_size;
    return state;
}

bool vkt_isNoFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

// The log begins with a header, which holds the size of a page. Then come the changed pages, each behind a
// header of its own that begins with the page's number. The first page holds the application ID.
bool vkt_hasApplicationIDInLog(const std::string& path, std::uint32_t applicationID) {
    std::ifstream log(path + "-wal", std::ios::binary);
    const auto numberAt = [&log](std::int64_t place) {
        std::array<char, 4> bytes{};
        log.seekg(place).read(bytes.data(), bytes.size());
        std::uint32_t number = 0;
        for (const char byte : bytes)
            number = number << 8U | static_cast<unsigned char>(byte);
        return number;
    };
    const std::int64_t pageSize = numberAt(pageSizeInLog);
    for (std::int64_t frame = logHeaderSize; log; frame += frameHeaderSize + pageSize) {
        const bool isFirstPage = numberAt(frame) == 1;
        if (isFirstPage && numberAt(frame + frameHeaderSize + applicationIDInPage) == applicationID)
            return static_cast<bool>(log);
    }
    return false;
}

void vkt_makePrivateFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, ownerOnly);
    if (file >= 0) close(file);
}

void vkt_makeStorePrivate(const std::string& path) {
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const std::string name = path + suffix;
        struct stat status {};
        if (stat(name.c_str(), &status) == 0 && (status.st_mode & othersRights) != 0)
            chmod(name.c_str(), status.st_mode & 07777 & ~othersRights);
    }
}

std::optional<std::string> vkt_setAsideStore(const std::string& path) {
    int number = 0;
    while (vkt_identityOfFile(nameAside(path, number)))
        ++number;
    const std::string aside = nameAside(path, number);
    std::error_code error;
    std::filesystem::rename(path, aside, error);
    if (error) return std::nullopt;
    for (const char* suffix : {"-wal", "-shm"})
        std::filesystem::rename(path + suffix, aside + suffix, error);  // there may be none
    return aside;
}

bool vkt_isSetAside(const std::string& path, const VKTFileIdentity& identity) {
    for (int number = 0; const auto aside = vkt_identityOfFile(nameAside(path, number)); ++number) {
        if (aside == identity) return true;
    }
    return false;
}

VKTStoreOpeningLock::VKTStoreOpeningLock(const std::string& path, int milliseconds)
    : file_(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, ownerOnly)) {
    for (int waits = 0; file_ >= 0 && flock(file_, LOCK_EX | LOCK_NB) != 0 && waits < milliseconds; ++waits)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

VKTStoreOpeningLock::~VKTStoreOpeningLock() {
    if (file_ < 0) return;
    flock(file_, LOCK_UN);  // closing alone would leave it with a child forked meanwhile
    close(file_);
}

VKTStoreOwnership::~VKTStoreOwnership() {
    if (path_.empty()) return;
    VKTLock lock(ownedPaths().mutex);
    if (file_ >= 0) close(file_);  // first: closing gives up a later owner's lock, too
    ownedPaths().paths.erase(path_);
}

std::string VKTStoreOwnership::take(const std::string& path) {
    const std::string lockPath = canonicalPath(path) + ".owner";
    VKTLock lock(ownedPaths().mutex);
    if (ownedPaths().paths.contains(lockPath)) return "this process has opened them already";
    if (std::string refusal = lockFile(lockPath); !refusal.empty()) return refusal;
    ownedPaths().paths.insert(lockPath);
    path_ = lockPath;
    return "";
}

bool VKTStoreOwnership::confirm() {
    VKTLock lock(ownedPaths().mutex);
    return path_.empty() || file_ >= 0 || lockFile(path_).empty();
}

// The kind of lock that a forked child does not inherit. (Closing any descriptor of the file in this process
// gives it up: nobody else opens it.)
std::string VKTStoreOwnership::lockFile(const std::string& lockPath) {
    const int file = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, ownerOnly);
    if (file < 0) {
        if (!isShortOfResources(errno)) return "";
        return "whether another one uses them cannot be told (" + std::system_category().message(errno) + ")";
    }
    struct flock wanted = wholeFile();
    if (fcntl(file, F_SETLK, &wanted) != 0 && (errno == EACCES || errno == EAGAIN)) {
        const int status = fcntl(file, F_GETLK, &wanted);
        close(file);
        return status == 0 && wanted.l_type != F_UNLCK
                   ? "process " + std::to_string(wanted.l_pid) + " uses them"
                   : "another process uses them";
    }
    file_ = file;
    return "";
}
