#include "VKTCoreKit/platform/linux/VKTCurlTransferQueue.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// "scheme://host:port", the port being the scheme's own when none is given.
std::string hostKey(const VKTURL& url) {
    std::string key = vkt_lowercased(url.scheme().value_or(""));
    const std::string_view ownPort = key == "https" ? "443" : "80";
    const std::string_view port = url.port().value_or("");
    key.append("://").append(vkt_lowercased(url.host().value_or(""))).append(":");
    return key.append(port.empty() ? ownPort : port);
}

}  // namespace

void VKTCurlTransferQueue::add(std::shared_ptr<VKTCurlTask> task) {
    const auto host = hosts_.try_emplace(hostKey(task->request().url)).first;
    withdraw(host);
    const std::uint64_t number = ++lastNumber_;
    places_.emplace(task.get(), Place{host, number});
    host->second.waiting.emplace(number, std::move(task));
    offer(host);
}

std::shared_ptr<VKTCurlTask> VKTCurlTransferQueue::next() {
    if (underWay_ >= limit_ || ready_.empty()) return nullptr;
    const auto host = ready_.begin()->second;
    withdraw(host);
    const auto first = host->second.waiting.begin();
    std::shared_ptr<VKTCurlTask> task = std::move(first->second);
    host->second.waiting.erase(first);
    places_.at(task.get()).number.reset();
    ++host->second.underWay;
    ++underWay_;
    offer(host);
    return task;
}

void VKTCurlTransferQueue::remove(const VKTCurlTask& task) {
    const auto place = places_.find(&task);
    if (place == places_.end()) return;
    const auto [host, number] = place->second;
    places_.erase(place);
    withdraw(host);
    if (number) {
        host->second.waiting.erase(*number);
    } else {
        --host->second.underWay;
        --underWay_;
    }
    offer(host);
}

std::shared_ptr<VKTCurlTask> VKTCurlTransferQueue::takeWaiting() {
    for (auto& [key, host] : hosts_) {
        if (host.waiting.empty()) continue;
        std::shared_ptr<VKTCurlTask> task = host.waiting.begin()->second;
        remove(*task);
        return task;
    }
    return nullptr;
}

// To be called before a host changes, as `offer` after it.
void VKTCurlTransferQueue::withdraw(Hosts::iterator host) {
    if (!host->second.waiting.empty()) ready_.erase(host->second.waiting.begin()->first);
}

void VKTCurlTransferQueue::offer(Hosts::iterator host) {
    const Host& changed = host->second;
    if (changed.waiting.empty()) {
        if (changed.underWay == 0) hosts_.erase(host);
    } else if (changed.underWay < limitPerHost_) {
        ready_.emplace(changed.waiting.begin()->first, host);
    }
}
