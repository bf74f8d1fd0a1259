#include "VKTCoreKit/platform/linux/VKTContentDecoder.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTHTTPSession.h"

namespace {

constexpr std::size_t pieceLength = std::size_t{16} * 1024;

constexpr Bytef gzipFirstByte = 0x1F;

// Of zlib's frame, "deflate with a window"; no bare stream begins so, since its padding bits are zero.
bool isFirstByteOfZlib(Bytef byte) {
    return (byte & 0x0FU) == Z_DEFLATED;
}

}  // namespace

std::unique_ptr<VKTContentDecoder> VKTContentDecoder::decoderForCodings(std::string_view codings) {
    auto decoder = std::make_unique<VKTContentDecoder>();
    auto& stages = decoder->stages_;
    for (const std::string_view piece : vkt_split(codings, ',')) {
        const std::string_view coding = vkt_trimmed(piece);
        if (coding.empty() || vkt_equalsIgnoringCase(coding, "identity")) continue;
        const bool isGzip =
            vkt_equalsIgnoringCase(coding, "gzip") || vkt_equalsIgnoringCase(coding, "x-gzip");
        const bool isKnown = isGzip || vkt_equalsIgnoringCase(coding, "deflate");
        if (!isKnown || stages.size() == VKTContentCodingLimit) return nullptr;
        stages.insert(stages.begin(), std::make_unique<Inflater>(isGzip));
    }
    return stages.empty() ? nullptr : std::move(decoder);
}

bool VKTContentDecoder::isComplete() const {
    return std::none_of(stages_.begin(), stages_.end(),
                        [](const auto& stage) { return stage->isWithinStream(); });
}

VKTContentDecoder::Outcome VKTContentDecoder::decodeFrom(std::size_t stage, std::string_view bytes,
                                                         const Sink& sink) {
    if (stage == stages_.size()) return sink(bytes) ? Outcome::Decoded : Outcome::Refused;
    Inflater& inflater = *stages_[stage];
    inflater.setInput(bytes);
    std::array<char, pieceLength> buffer;  // NOLINT(*-member-init): filled before it is read
    while (true) {
        std::string_view decoded;
        if (!inflater.next(buffer.data(), buffer.size(), decoded)) return Outcome::Malformed;
        if (decoded.empty()) return Outcome::Decoded;
        const Outcome outcome = decodeFrom(stage + 1, decoded, sink);
        if (outcome != Outcome::Decoded) return outcome;
        // The sink has its own limit; this one is for what is decoded in between.
        if (inflater.decodedLength() > VKTHTTPBodyLimit) return Outcome::TooLarge;
    }
}

void VKTContentDecoder::Inflater::setInput(std::string_view bytes) {
    // zlib's interface predates const; it only reads here.
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
}

bool VKTContentDecoder::Inflater::next(char* buffer, std::size_t size, std::string_view& decoded) {
    while (stream_.avail_in > 0 || state_ == State::Within) {
        if (state_ == State::Fresh && !beginStream()) return false;
        if (state_ != State::Within && !beginNextMember()) return true;
        stream_.next_out = reinterpret_cast<Bytef*>(buffer);
        stream_.avail_out = static_cast<uInt>(size);
        const int status = inflate(&stream_, Z_NO_FLUSH);
        if (status == Z_STREAM_END) {
            state_ = State::Ended;
        } else if (status != Z_OK && status != Z_BUF_ERROR) {
            return false;
        }
        decoded = {buffer, size - stream_.avail_out};
        decodedLength_ += decoded.size();
        if (!decoded.empty() || status == Z_BUF_ERROR) return true;
    }
    return true;
}

bool VKTContentDecoder::Inflater::beginStream() {
    // Some servers send zlib's frame and call it gzip.
    constexpr int gzipOrZlib = MAX_WBITS + 32;
    const int deflate = isFirstByteOfZlib(*stream_.next_in) ? MAX_WBITS : -MAX_WBITS;
    state_ = State::Within;
    return inflateInit2(&stream_, isGzip_ ? gzipOrZlib : deflate) == Z_OK;
}

// False when what follows is no other member: it is ignored, whatever comes after it.
bool VKTContentDecoder::Inflater::beginNextMember() {
    const bool isMember = state_ == State::Ended && isGzip_ && *stream_.next_in == gzipFirstByte;
    state_ = isMember && inflateReset(&stream_) == Z_OK ? State::Within : State::Ignoring;
    return state_ == State::Within;
}
