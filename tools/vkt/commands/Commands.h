// The commands of the vkt tool. Each returns the exit status of the process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ground/ExitStatus.h"
#include "ground/Options.h"

/// Of every command that downloads.
struct NetworkOptions {
    std::string CAFile;     ///< certificates; the system's when empty
    std::string proxy;      ///< an http URL; none when empty
    std::string userAgent;  ///< of requests without one of their own; none when empty
};

struct XMLOptions {
    std::string source;  ///< a file, or "-" for the standard input
};

struct InspectOptions {
    std::string source;  ///< a file, "-" or a URL
    bool JSON = false;
};

struct PixelsOptions {
    std::string store;  ///< the file
    bool send = false;
    bool JSON = false;
};

struct ConfigOptions {
    std::string url;  ///< of the configuration service, perhaps with the placeholder of the site ID
    std::int64_t site = 0;
    std::string store;  ///< file that keeps configurations; none when empty
    bool force = false;
    double timeout = 60;  ///< seconds, for the request
    bool JSON = false;
};

struct LogOptions {
    std::string url;  ///< of the log collector
    std::string level = "error";
    std::string minimumLevel = "debug";
    std::string message = "A test record";
    std::optional<std::int64_t> site;
    std::uint64_t sampling = 1;         ///< one record in so many; 0: none
    std::vector<std::string> measures;  ///< "NAME=VALUE" each, with a name that is not empty
    std::optional<std::int64_t> VASTCode;
    std::string openMeasurement;  ///< URL of a script; none when empty
    double timeout = 30;          ///< seconds, for the request
    bool dryRun = false;
    bool JSON = false;
};

struct PrivacyOptions {
    std::string store;                  ///< the file, only read without settings; none when empty
    std::vector<std::string> settings;  ///< "KEY=TYPE:VALUE" each, checked
    std::string IFA;                    ///< the advertising identifier; none when empty
    std::optional<std::string> customID;
    bool noTransient = false;
    bool JSON = false;
};

struct ServeOptions {
    int port = 8080;                 ///< 0: any free one
    std::string root;                ///< folder served under /files/; none when empty
    std::vector<std::string> tells;  ///< "PATH=ANSWER[:N]" each, checked
};

int runXML(const XMLOptions& options);
int runInspect(const InspectOptions& options);
int runResolve(const ResolveOptions& options);
int runPlay(const PlayOptions& options);
int runPixels(const PixelsOptions& options);
int runConfig(const ConfigOptions& options);
int runLog(const LogOptions& options);
int runPrivacy(const PrivacyOptions& options);
int runServe(const ServeOptions& options);
