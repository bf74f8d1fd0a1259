// Requests through the library, beside bare libcurl on a reused connection to the same loopback server.
#include <curl/curl.h>
#include <httplib.h>
#include <sched.h>

#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "Documents.h"
#include "Pairs.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"

namespace {

constexpr int chainLength = 6;

// The server would compress application/xml for a client that accepts it, and measure its own compressor.
constexpr const char* uncompressedType = "application/vast+xml";

// A server is never on the client's core, and the scheduler's changing mind about it is worth a factor of
// two.
void stayOnCore(unsigned core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core % std::thread::hardware_concurrency(), &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

// Five wrappers and an inline ad under /0 to /5, for the life of the process.
class Server {
  public:
    Server() {
        server_.set_tcp_nodelay(true);
        server_.set_keep_alive_max_count(std::size_t{1} << 30U);
        port_ = server_.bind_to_any_port("127.0.0.1");
        for (int i = 0; i < chainLength; ++i) {
            documents_.push_back(i + 1 < chainLength ? wrapperDocument(url(i + 1)) : inlineDocument());
            server_.Get("/" + std::to_string(i),
                        [this, i](const httplib::Request&, httplib::Response& response) {
                            response.set_content(documents_[static_cast<std::size_t>(i)], uncompressedType);
                        });
        }
        thread_ = std::thread([this] {
            stayOnCore(1);
            server_.listen_after_bind();
        });
        while (!server_.is_running())
            std::this_thread::yield();
    }
    ~Server() {
        server_.stop();
        thread_.join();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] std::string url(int i) const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/" + std::to_string(i);
    }

  private:
    httplib::Server server_;
    int port_ = 0;
    std::vector<std::string> documents_;
    std::thread thread_;
};

// The raw limit: one easy handle, one connection.
class BareCurl {
  public:
    BareCurl() : handle_(curl_easy_init()) {
        curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, append);
        curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &body_);
        curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    }
    ~BareCurl() { curl_easy_cleanup(handle_); }
    BareCurl(const BareCurl&) = delete;
    BareCurl& operator=(const BareCurl&) = delete;

    const std::string& get(const std::string& url) {
        body_.clear();
        curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
        if (curl_easy_perform(handle_) != CURLE_OK || body_.empty()) std::abort();
        return body_;
    }

  private:
    static std::size_t append(char* data, std::size_t size, std::size_t count, void* body) {
        static_cast<std::string*>(body)->append(data, size * count);
        return size * count;
    }

    CURL* handle_;
    std::string body_;
};

struct PlayableAd : VKTConsumableVideoAd {};

struct Player : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol {
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        depth = ad->wrapperDepth();
        return std::make_shared<PlayableAd>();
    }
    std::int64_t depth = 0;
};

void resolveChain(const VKTURL& url) {
    const auto player = std::make_shared<Player>();
    const auto manager = VKTVASTManager::initWithDelegate(player, player, nullptr, VKTVASTManagerConfig());
    manager->createAdsStoreWithXML(std::nullopt, url, VKTTimeInterval(5));
    const auto response = manager->nextAdWithTimeout(VKTTimeInterval(5), false);
    if (!response.ad || player->depth != chainLength - 1) std::abort();
}

}  // namespace

void addNetworkBenchmarks() {
    stayOnCore(0);
    static Server server;
    static BareCurl curl;
    const VKTURL first = *VKTURL::URLWithString(server.url(0));
    const VKTURL last = *VKTURL::URLWithString(server.url(chainLength - 1));
    addPair(
        "get_sync",
        [last] {
            const auto response = VKTURLSession::sharedInstance()->synchronousDataRequestWithURL(last);
            if (!response.data() || response.data()->empty()) std::abort();
        },
        [last] { curl.get(last.absoluteString()); });
    // What the chain costs before any of our code: the same requests, and the reader over each answer.
    addPair(
        "reader_chain_6",
        [] {
            for (int i = 0; i < chainLength; ++i)
                readEvents(curl.get(server.url(i)));
        },
        [] {
            for (int i = 0; i < chainLength; ++i)
                curl.get(server.url(i));
        });
    addPair(
        "chain_6", [first] { resolveChain(first); },
        [] {
            for (int i = 0; i < chainLength; ++i)
                curl.get(server.url(i));
        });
}
