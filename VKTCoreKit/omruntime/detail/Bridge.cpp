#include "VKTCoreKit/omruntime/detail/Bridge.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace OMIDKorvonet1 {

namespace {

constexpr VKTTimeInterval longestTimerDelay = std::chrono::hours(24);

using NamedType = std::pair<std::string_view, ScriptMessage::Type>;

constexpr std::array messageTypes = {
    NamedType("heard", ScriptMessage::Heard),       NamedType("error", ScriptMessage::Error),
    NamedType("setTimer", ScriptMessage::SetTimer), NamedType("clearTimer", ScriptMessage::ClearTimer),
    NamedType("sendUrl", ScriptMessage::SendURL),   NamedType("loadScript", ScriptMessage::LoadScript),
    NamedType("log", ScriptMessage::Log),           NamedType("finished", ScriptMessage::Finished)};

std::optional<ScriptMessage::Type> typeNamed(std::string_view name) {
    const auto* const found = std::find_if(messageTypes.begin(), messageTypes.end(),
                                           [&](const auto& each) { return each.first == name; });
    return found == messageTypes.end() ? std::nullopt : std::optional(found->second);
}

const std::string* textUnder(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asString();
}

std::optional<VKTNumber> numberUnder(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr || value->asBool() != nullptr ? std::nullopt : value->asNumber();
}

// Cut where a character ends.
std::string shortened(const std::string& text) {
    std::size_t length = std::min(text.size(), ScriptTextLimit);
    while (length < text.size() && length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U)
        --length;
    return text.substr(0, length);
}

// Reads the members that the message's type needs; false when one is missing.
bool readMembers(const VKTDictionary& dictionary, ScriptMessage& message) {
    const auto id = numberUnder(dictionary, "id");
    switch (message.type) {
        case ScriptMessage::Heard: {
            const std::string* event = textUnder(dictionary, "event");
            const auto time = numberUnder(dictionary, "time");
            if (event == nullptr || !time) return false;
            message.text = shortened(*event);
            message.time = time->integerValue();
            return true;
        }
        case ScriptMessage::Log:
        case ScriptMessage::Error: {
            const std::string* what = textUnder(dictionary, "message");
            if (what == nullptr) return false;
            message.text = shortened(*what);
            return true;
        }
        case ScriptMessage::SetTimer: {
            const auto delay = numberUnder(dictionary, "delay");
            if (!id || !delay) return false;
            message.identifier = id->integerValue();
            message.delay = std::clamp(VKTTimeInterval(delay->doubleValue() / 1000), ShortestTimerDelay,
                                       longestTimerDelay);
            return true;
        }
        case ScriptMessage::ClearTimer:
            if (!id) return false;
            message.identifier = id->integerValue();
            return true;
        case ScriptMessage::SendURL:
        case ScriptMessage::LoadScript: {
            const std::string* url = textUnder(dictionary, "url");
            if (url == nullptr) return false;
            message.text = *url;
            if (id) message.reply = id->integerValue();
            return true;
        }
        case ScriptMessage::Finished:
            return true;
    }
    return false;
}

VKTDictionary messageOfType(const char* type) {
    return {{"type", type}};
}

// What is sent holds neither bytes nor dates, its texts are UTF-8 and its numbers finite: it can be written.
std::string JSONText(VKTDictionary message) {
    return vkt_JSONStringWithValue(VKTValue(std::move(message))).value_or("null");
}

}  // namespace

std::optional<ScriptMessage> scriptMessageFromText(std::string_view text) {
    const auto value = vkt_JSONValueWithData(text);
    const VKTDictionary* dictionary = value ? value->asDictionary() : nullptr;
    const std::string* name = dictionary == nullptr ? nullptr : textUnder(*dictionary, "type");
    const auto type = name == nullptr ? std::nullopt : typeNamed(*name);
    if (!type) return std::nullopt;
    ScriptMessage message{*type};
    return readMembers(*dictionary, message) ? std::optional(std::move(message)) : std::nullopt;
}

std::string startMessage(const std::string& adSessionId, std::int64_t time, const VKTDictionary& data,
                         const std::optional<std::string>& vendorKey,
                         const std::optional<std::string>& parameters) {
    VKTDictionary message = messageOfType("start");
    message.set("adSessionId", adSessionId);
    message.set("timestamp", time);
    message.set("data", data);
    if (vendorKey) message.set("vendorKey", *vendorKey);
    if (parameters) message.set("verificationParameters", *parameters);
    return JSONText(std::move(message));
}

std::string eventMessage(std::string_view type, std::int64_t time, const VKTDictionary& data) {
    VKTDictionary message = messageOfType("event");
    message.set("event", type);
    message.set("timestamp", time);
    message.set("data", data);
    return JSONText(std::move(message));
}

std::string evaluatedMessage() {
    return JSONText(messageOfType("evaluated"));
}

std::string finishMessage(std::int64_t time) {
    VKTDictionary message = messageOfType("finish");
    message.set("timestamp", time);
    return JSONText(std::move(message));
}

std::string timersMessage(const std::vector<std::int64_t>& identifiers) {
    VKTDictionary message = messageOfType("timers");
    message.set("ids", VKTArray(identifiers.begin(), identifiers.end()));
    return JSONText(std::move(message));
}

std::string replyMessage(std::int64_t identifier, bool isSuccess) {
    VKTDictionary message = messageOfType("reply");
    message.set("id", identifier);
    message.set("isSuccess", isSuccess);
    return JSONText(std::move(message));
}

std::string sendableText(std::string_view text) {
    return std::string(vkt_isValidUTF8(text) ? text : std::string_view());
}

}  // namespace OMIDKorvonet1
