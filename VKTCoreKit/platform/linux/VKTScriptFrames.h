// What the library and the host program of a world say to each other: frames of a length, a kind and bytes,
// in the byte order of the machine that both run on.
//
// Compiled into both, so it needs nothing but the standard library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

enum VKTScriptFrameKind : std::uint8_t {
    // To the host, each a turn: a name, a zero byte, and the script or the argument.
    VKTScriptFrameEvaluate = 1,
    VKTScriptFrameCall = 2,

    // From the host.
    VKTScriptFrameReady = 3,      ///< its version; everything that follows happens behind the fence
    VKTScriptFrameTurnBegin = 4,  ///< empty for a call
    VKTScriptFrameTurnEnd = 5,
    VKTScriptFrameMessage = 6,
    VKTScriptFrameException = 7,  ///< its description
    VKTScriptFrameEnd = 8,        ///< a byte with the error code, and its description; the last frame
};

/// Of what stands in this file: an installed host may be older or newer than the library.
inline constexpr std::string_view VKTScriptFrameVersion = "2";

/// The descriptor of the host's end of the connection.
inline constexpr int VKTScriptHostSocket = 3;

/// The host's last argument when it may run without a filter of system calls.
inline constexpr const char* VKTScriptHostWithoutFilter = "unfiltered";

/// Bytes of the longest frame that a host takes.
inline constexpr std::size_t VKTScriptLongestRequest = std::size_t{32} * 1024 * 1024;

struct VKTScriptFrame {
    VKTScriptFrameKind kind;
    std::string content;
};

inline std::string vkt_encodedScriptFrame(VKTScriptFrameKind kind, std::string_view content) {
    const auto length = static_cast<std::uint32_t>(content.size());
    std::string frame(sizeof length, '\0');
    std::memcpy(frame.data(), &length, sizeof length);
    frame += static_cast<char>(kind);
    frame += content;
    return frame;
}

/// Puts frames together from what arrives. A frame that says to be longer than `longest` spoils it for good.
class VKTScriptFrameReader {
  public:
    explicit VKTScriptFrameReader(std::size_t longest) : longest_(longest) {}

    void append(std::string_view bytes) { bytes_ += bytes; }

    /// Nothing until there is a whole one, and when it is spoilt.
    std::optional<VKTScriptFrame> next() {
        std::uint32_t length = 0;
        constexpr std::size_t header = sizeof length + 1;
        const std::string_view rest = std::string_view(bytes_).substr(taken_);
        if (rest.size() >= sizeof length) std::memcpy(&length, rest.data(), sizeof length);
        isSpoilt_ = isSpoilt_ || length > longest_;
        if (isSpoilt_ || rest.size() < header + length) {
            bytes_.erase(0, std::exchange(taken_, 0));
            return std::nullopt;
        }
        taken_ += header + length;
        const auto kind = static_cast<VKTScriptFrameKind>(static_cast<unsigned char>(rest[sizeof length]));
        return VKTScriptFrame{kind, std::string(rest.substr(header, length))};
    }

    [[nodiscard]] bool isSpoilt() const { return isSpoilt_; }

  private:
    const std::size_t longest_;
    std::string bytes_;
    std::size_t taken_ = 0;
    bool isSpoilt_ = false;
};
