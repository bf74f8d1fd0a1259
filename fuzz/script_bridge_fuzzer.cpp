#include "Fuzzing.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/detail/Bridge.h"

using namespace OMIDKorvonet1;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = inputText(data, size);
    require(vkt_isValidUTF8(sendableText(text)), "what is sent is UTF-8");
    const auto message = scriptMessageFromText(text);
    if (!message) return 0;

    require(vkt_isValidUTF8(message->text), "texts are UTF-8, cut or not");
    const bool isURL = message->type == ScriptMessage::SendURL || message->type == ScriptMessage::LoadScript;
    require(isURL || message->text.size() <= ScriptTextLimit, "texts are short");
    require(message->type != ScriptMessage::SetTimer || message->delay >= ShortestTimerDelay,
            "delays are not too short");
    require(message->delay <= std::chrono::hours(24), "delays are not too long");
    return 0;
}
