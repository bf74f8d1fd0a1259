// Takes the content codings off the body of an HTTP answer.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

/// Codings taken off one body; a longer list is not decoded.
inline constexpr std::size_t VKTContentCodingLimit = 5;

/// Decodes gzip (with any number of members) and deflate (with zlib's frame, or bare as some servers send
/// it), piece by piece; what follows a complete stream and begins no other is ignored. Memory is bounded by
/// the number of codings, and no coding may yield more than `VKTHTTPBodyLimit`. One thread at a time.
class VKTContentDecoder {
  public:
    enum class Outcome : std::uint8_t { Decoded, Refused, Malformed, TooLarge };

    /// Takes decoded bytes; false to end the decoding with `Refused`.
    using Sink = std::function<bool(std::string_view bytes)>;

    /// `codings` is the value of Content-Encoding: the codings in the order in which they were applied.
    /// Null when there is nothing to decode: none is named, or one that is not known, whose body is delivered
    /// as it is.
    static std::unique_ptr<VKTContentDecoder> decoderForCodings(std::string_view codings);

    /// The next bytes of the body. Anything but `Decoded` is the end.
    Outcome decode(std::string_view bytes, const Sink& sink) { return decodeFrom(0, bytes, sink); }

    /// False while a coding still waits for its end: a body that ends there was cut off.
    [[nodiscard]] bool isComplete() const;

  private:
    class Inflater {
      public:
        explicit Inflater(bool isGzip) : isGzip_(isGzip) {}
        ~Inflater() { inflateEnd(&stream_); }
        Inflater(const Inflater&) = delete;
        Inflater& operator=(const Inflater&) = delete;

        /// The bytes must live until `next` has given them all.
        void setInput(std::string_view bytes);

        /// The next decoded bytes, in the buffer; empty when more input is needed. False when malformed.
        bool next(char* buffer, std::size_t size, std::string_view& decoded);

        [[nodiscard]] bool isWithinStream() const { return state_ == State::Within; }
        [[nodiscard]] std::uint64_t decodedLength() const { return decodedLength_; }

      private:
        enum class State : std::uint8_t { Fresh, Within, Ended, Ignoring };

        bool beginStream();
        bool beginNextMember();

        const bool isGzip_;
        State state_ = State::Fresh;
        std::uint64_t decodedLength_ = 0;
        z_stream stream_{};
    };

    // As deep as there are codings, VKTContentCodingLimit at most.
    Outcome decodeFrom(std::size_t stage, std::string_view bytes, const Sink& sink);

    std::vector<std::unique_ptr<Inflater>> stages_;  // the coding that was applied last comes first
};
