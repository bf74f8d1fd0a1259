// Taking a site's configuration as an embedding SDK does at its start.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/config/VKTConfiguration.h"
#include "VKTCoreKit/config/VKTRemoteLogger.h"
#include "ground/Source.h"
#include "inspection/ConfigInspection.h"

struct ConfigOptions {
    std::string url;  ///< of the configuration service, perhaps with the placeholder of the site ID
    std::int64_t site = 0;
    std::string store;  ///< file that keeps configurations; none when empty
    bool force = false;
    double timeout = 60;  ///< seconds, for the request
    bool JSON = false;
};

enum ConfigSource : std::uint8_t {
    ConfigFromNowhere,
    ConfigFromCache,
    ConfigFromNetwork,
};

/// What is in force afterwards.
struct ConfigOutcome {
    ConfigSource source = ConfigFromNowhere;
    std::string url;  ///< of the site's configuration
    std::shared_ptr<VKTConfiguration> configuration;
    std::shared_ptr<VKTRemoteLogger> logger;
    std::optional<VKTRemoteConfig> remoteConfig;
    VKTDictionary document;  ///< that it was read from
    ConfigRefusals refusals;
    std::optional<RequestRecord> request;
    std::optional<VKTDate> expirationDate;  ///< of the cached copy
    std::optional<VKTError> error;          ///< as the library tells it
    std::string fault;                      ///< of the answer, a clause; empty when it had none
};

/// Fetches or reads from the cache. Blocks until a request, if there is one, has ended. The URL must have
/// passed `isServiceURL`.
ConfigOutcome fetchConfig(const ConfigOptions& options, std::shared_ptr<VKTKeyValueStore> store);

/// Whether it is an http or https URL once the site's ID is in it.
bool isServiceURL(const ConfigOptions& options);
