#include "VKTCoreKit/platform/linux/VKTLinuxDevice.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

std::optional<std::string> distributionVersion() {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream file(path);
        if (!file) continue;
        const std::string text(std::istreambuf_iterator<char>(file), {});
        return vkt_OSReleaseValue(text, "VERSION_ID");
    }
    return std::nullopt;
}

// The order in which the message catalogues of other programs are chosen.
std::string localeNames() {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') return value;
    }
    return "";
}

std::string dottedForm(const sockaddr& address) {
    sockaddr_in IPv4{};
    std::memcpy(&IPv4, &address, sizeof IPv4);
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &IPv4.sin_addr, text.data(), text.size());
    return text.data();
}

class FailingRequest final : public VKTLocationRequest {
  public:
    explicit FailingRequest(const std::shared_ptr<VKTLocationRequestDelegate>& delegate)
        : failure_(VKTPlatform::current().mainRunLoop->schedule(
              VKTTimeInterval(0), [weakDelegate = std::weak_ptr(delegate)] {
                  if (const auto held = weakDelegate.lock())
                      held->locationManagerDidFailWithError({VKTLocationErrorDomain, VKTLocationErrorDenied});
              })) {}

  private:
    const std::unique_ptr<VKTRunLoopTimer> failure_;
};

}  // namespace

VKTLinuxDevice::VKTLinuxDevice() : languages_(vkt_languagesFromLocaleNames(localeNames())) {
    utsname names{};
    if (uname(&names) == 0) {
        machine_ = names.machine;
        systemVersion_ = names.release;
    }
    if (auto version = distributionVersion()) systemVersion_ = *std::move(version);
}

std::optional<VKTInterfaceAddresses> VKTLinuxDevice::interfaceAddresses() const {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    VKTInterfaceAddresses addresses;
    for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET)
            addresses.push_back({each->ifa_name, dottedForm(*each->ifa_addr)});
    }
    return addresses;
}

std::optional<std::string> vkt_OSReleaseValue(std::string_view text, std::string_view key) {
    for (std::string_view line : vkt_split(text, '\n')) {
        line = vkt_trimmed(line);
        if (!line.starts_with(key) || !line.substr(key.size()).starts_with('=')) continue;
        std::string_view value = line.substr(key.size() + 1);
        const bool isQuoted = value.size() >= 2 && value.front() == value.back() &&
                              (value.front() == '"' || value.front() == '\'');
        return std::string(isQuoted ? value.substr(1, value.size() - 2) : value);
    }
    return std::nullopt;
}

std::vector<std::string> vkt_languagesFromLocaleNames(std::string_view names) {
    std::vector<std::string> languages;
    for (const std::string_view name : vkt_split(names, ':')) {
        std::string language(name.substr(0, name.find_first_of(".@")));
        std::replace(language.begin(), language.end(), '_', '-');
        if (!language.empty() && language != "C" && language != "POSIX")
            languages.push_back(std::move(language));
    }
    return languages;
}

std::unique_ptr<VKTLocationRequest> VKTLinuxLocationServices::requestLocation(
    const std::shared_ptr<VKTLocationRequestDelegate>& delegate) {
    return std::make_unique<FailingRequest>(delegate);
}
