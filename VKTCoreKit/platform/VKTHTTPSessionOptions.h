// What an operator's network asks of an HTTP session.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"

/// A passive record, read when the session is made. Environment variables have no say: neither in the proxy
/// nor in the certificates.
struct VKTHTTPSessionOptions {
    /// Certificates (PEM) that servers are verified against: a file of several, and a folder in OpenSSL's
    /// form (`openssl rehash`). Given either, the system's own are not used; with both empty, they are. A
    /// file that cannot be read fails every https request with -1200, which names it.
    std::string CAFile;
    std::string CAFolder;

    /// "http://HOST:PORT" of a proxy for every request but those to loopback addresses; none when empty.
    std::string proxy;

    /// False: connections are opened to public addresses only, whoever asks for them and however their host
    /// is written or redirected to. Each address that a name stands for is judged by itself when a connection
    /// to it is opened, so it does not matter what a name stood for before. A request whose host has no other
    /// address that can be reached fails with -1004, which names the one refused. For strangers' URLs on a
    /// machine that has neighbours. What goes through a proxy is the proxy's to judge: the session sees the
    /// proxy's address alone, which may be any. Loopback hosts, which pass by the proxy, are refused even
    /// then.
    bool allowsPrivateAddresses = true;

    /// The User-Agent header of requests that have none of their own; none is sent when empty.
    std::string userAgent;

    /// Sent with every request that does not have a header of that name itself. One that `vkt_headerRefusal`
    /// refuses is left out, with a warning in the log when the session is made.
    std::vector<std::pair<std::string, std::string>> headers;

    /// Connections of asynchronous requests under way at once, to one host (scheme, name and port) and in
    /// all; at least 1. Requests beyond them wait in their order, and the deadline of such a request begins
    /// when it leaves the queue: a slow server uses up the time-outs of what it has been asked, not of what
    /// waits for it. A blocking request never waits here: it has its caller's thread and a connection of its
    /// own, and its deadline begins at once.
    std::size_t connectionsPerHost = 6;
    std::size_t connections = 16;

    /// Connections that nobody has used for so long are closed.
    VKTTimeInterval idleConnectionTime{10};

    /// Bytes of all header lines of one answer, those of its redirects and its trailers included.
    std::size_t headerBytes = std::size_t{256} * 1024;

    /// Names of the session's threads, as the system's tools show them; Linux cuts them after 15 bytes.
    std::string transferThreadName = "vkt-transfer";
    std::string deliveryThreadName = "vkt-delivery";
};
