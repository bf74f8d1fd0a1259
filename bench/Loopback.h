// A loopback server and bare libcurl, each on a core of its own.
#pragma once

#include <curl/curl.h>
#include <httplib.h>
#include <sched.h>

#include <string>
#include <thread>

#include "Pairs.h"

// A server is never on the client's core, and the scheduler's changing mind about it is worth a factor of
// two.
inline void stayOnCore(unsigned core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core % std::thread::hardware_concurrency(), &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

// Answers GET requests until it is destroyed.
class Server {
  public:
    Server() {
        server_.set_tcp_nodelay(true);
        server_.set_keep_alive_max_count(std::size_t{1} << 30U);
        port_ = server_.bind_to_any_port("127.0.0.1");
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

    // Before the path is asked for.
    void serve(const std::string& path, const std::string& body, const char* type) {
        server_.Get(path, [body, type](const httplib::Request&, httplib::Response& response) {
            response.set_content(body, type);
        });
    }

    [[nodiscard]] std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }

  private:
    httplib::Server server_;
    int port_ = 0;
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
        if (curl_easy_perform(handle_) != CURLE_OK || body_.empty()) fail("no answer from " + url);
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
