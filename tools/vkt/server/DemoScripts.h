// The verification scripts of the demo ad server.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Scripts in the standard's interface (OMID verification API 1.3). Safe from any thread.
class DemoScripts {
  public:
    /// The good one is "record"; the others misbehave.
    static constexpr const char* names = "record, throw, loop, memory, flood, meddle";

    /// A script whose URLs start with the base URL; nothing for another name.
    static std::optional<std::string> script(std::string_view name, std::string_view baseURL);
};
