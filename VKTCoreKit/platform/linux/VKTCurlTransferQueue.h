// Which of the asynchronous requests may have a connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "VKTCoreKit/platform/linux/VKTCurlTask.h"

/// Lets so many requests through at once, to one host and in all; the others wait in the order in which they
/// came. A request whose host is at its limit is passed by those to other hosts. Each operation costs the
/// same, but for a logarithm, however many wait. Used by one thread.
class VKTCurlTransferQueue {
  public:
    VKTCurlTransferQueue(std::size_t limitPerHost, std::size_t limit)
        : limitPerHost_(limitPerHost), limit_(limit) {}

    void add(std::shared_ptr<VKTCurlTask> task);

    /// The request that is next, which counts as under way until it is removed; null when none may begin.
    std::shared_ptr<VKTCurlTask> next();

    /// Forgets a request that has ended or is to end, whether it waits, is under way or is not here.
    void remove(const VKTCurlTask& task);

    /// Any that waits, taken out; null when none does.
    std::shared_ptr<VKTCurlTask> takeWaiting();

  private:
    struct Host {
        std::size_t underWay = 0;
        std::map<std::uint64_t, std::shared_ptr<VKTCurlTask>> waiting;  // by number, so in order
    };
    using Hosts = std::map<std::string, Host>;  // by scheme, name and port

    struct Place {
        Hosts::iterator host;
        std::optional<std::uint64_t> number;  // none: under way
    };

    void withdraw(Hosts::iterator host);
    void offer(Hosts::iterator host);

    const std::size_t limitPerHost_;
    const std::size_t limit_;
    std::size_t underWay_ = 0;
    std::uint64_t lastNumber_ = 0;
    Hosts hosts_;
    std::unordered_map<const VKTCurlTask*, Place> places_;
    std::map<std::uint64_t, Hosts::iterator> ready_;  // hosts with room, by their first waiting request
};
