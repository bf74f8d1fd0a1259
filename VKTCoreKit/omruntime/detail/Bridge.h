// The messages between the native runtime and the service script of a world. docs/measurement.md lists them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTValue.h"

namespace OMIDKorvonet1 {

/// The global function that takes messages.
inline constexpr const char* BridgeFunction = "omidReceive";

/// Of a timer that a script sets, at least.
inline constexpr VKTTimeInterval ShortestTimerDelay{0.01};

/// Bytes of an event's name, of an error's text and of a line for the log; what is longer is cut.
inline constexpr std::size_t ScriptTextLimit = 1024;

/// What the service script says. A passive record; which members count depends on the type.
struct ScriptMessage {
    enum Type : std::uint8_t {
        Heard,       ///< `text`: the event, `time`: when it happened
        Error,       ///< `text`: what
        SetTimer,    ///< `identifier`, `delay`
        ClearTimer,  ///< `identifier`
        SendURL,     ///< `text`: the URL as given, `reply`
        LoadScript,  ///< the same
        Log,         ///< `text`: a line for the log
        Finished,
    };

    Type type = Finished;
    std::string text = {};
    std::int64_t time = 0;  ///< milliseconds since 1970
    std::int64_t identifier = 0;
    VKTTimeInterval delay{0};                ///< at least `ShortestTimerDelay`
    std::optional<std::int64_t> reply = {};  ///< what the answer is to be called; nothing when nobody waits
};

/// Reads what a script posted, which may be anything at all. Nothing when it is none of the messages above.
std::optional<ScriptMessage> scriptMessageFromText(std::string_view text);

/// What the service script is told, as JSON. Times are milliseconds since 1970.
std::string startMessage(const std::string& adSessionId, std::int64_t time, const VKTDictionary& data,
                         const std::optional<std::string>& vendorKey,
                         const std::optional<std::string>& parameters);
std::string eventMessage(std::string_view type, std::int64_t time, const VKTDictionary& data);
std::string evaluatedMessage();
std::string finishMessage(std::int64_t time);
std::string timersMessage(const std::vector<std::int64_t>& identifiers);
std::string replyMessage(std::int64_t identifier, bool isSuccess);

/// The text, or "" when it is not UTF-8 and could not be sent.
std::string sendableText(std::string_view text);

}  // namespace OMIDKorvonet1
