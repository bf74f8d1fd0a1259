#include <string>

#include "Fuzzing.h"
#include "VKTCoreKit/platform/linux/VKTContentDecoder.h"

namespace {

using Outcome = VKTContentDecoder::Outcome;

struct Result {
    Outcome outcome = Outcome::Decoded;
    bool isComplete = false;
    std::string body;
};

// The body comes in pieces of that many bytes.
Result decodeInPieces(std::string_view codings, std::string_view body, std::size_t pieceLength) {
    constexpr std::size_t outputLimit = std::size_t{1} << 20U;
    Result result;
    const auto decoder = VKTContentDecoder::decoderForCodings(codings);
    if (!decoder) return result;
    const auto keep = [&](std::string_view bytes) {
        result.body += bytes;
        return result.body.size() <= outputLimit;
    };
    while (!body.empty() && result.outcome == Outcome::Decoded) {
        const std::string_view piece = body.substr(0, pieceLength);
        result.outcome = decoder->decode(piece, keep);
        body.remove_prefix(piece.size());
    }
    result.isComplete = decoder->isComplete();
    return result;
}

}  // namespace

// The first line of the input is the value of Content-Encoding, the rest is the body.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = inputText(data, size);
    const std::size_t lineEnd = text.find('\n');
    if (lineEnd == std::string_view::npos) return 0;
    const std::string_view codings = text.substr(0, lineEnd);
    const std::string_view body = text.substr(lineEnd + 1);

    const Result whole = decodeInPieces(codings, body, body.size());
    const Result bytewise = decodeInPieces(codings, body, 1);
    const auto isTooMuch = [](const Result& result) {
        return result.outcome == Outcome::Refused || result.outcome == Outcome::TooLarge;
    };
    if (isTooMuch(whole) || isTooMuch(bytewise)) return 0;
    require(whole.outcome == bytewise.outcome, "the outcome does not depend on the pieces");
    if (whole.outcome != Outcome::Decoded) return 0;
    require(whole.body == bytewise.body, "the decoded body does not depend on the pieces");
    require(whole.isComplete == bytewise.isComplete, "the end does not depend on the pieces");
    return 0;
}
