// The program that runs one world, in a process of its own: vkt-script-host MEMORY MESSAGE SECONDS
// PARENT [unfiltered], with the limits of the engine's memory and of a message in bytes and of the processor
// time, and the process that started it; the last word where the system may have no filters of system calls.
// It speaks frames on its socket and ends with it.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "VKTCoreKit/platform/linux/VKTDuktapeWorld.h"
#include "VKTCoreKit/platform/linux/VKTScriptFrames.h"
#include "VKTCoreKit/platform/linux/host/Fence.h"

namespace {

// Above the engine's memory: the program, its libraries and stack, and requests, which are copied twice.
constexpr std::size_t ownAddressSpace = std::size_t{64} * 1024 * 1024 + 4 * VKTScriptLongestRequest;

[[noreturn]] void leave() {
    _exit(0);
}

void send(VKTScriptFrameKind kind, std::string_view content) {
    const std::string frame = vkt_encodedScriptFrame(kind, content);
    for (std::string_view rest = frame; !rest.empty();) {
        const ssize_t written = write(VKTScriptHostSocket, rest.data(), rest.size());
        if (written >= 0)
            rest.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            leave();
    }
}

[[noreturn]] void end(VKTScriptErrorCode code, std::string_view description) {
    std::string content(1, static_cast<char>(code));
    send(VKTScriptFrameEnd, content += description);
    leave();
}

void runTurn(VKTDuktapeWorld& world, const VKTScriptFrame& frame) {
    const std::size_t nameEnd = std::min(frame.content.find('\0'), frame.content.size());
    const std::string name = frame.content.substr(0, nameEnd);
    const std::string text = frame.content.substr(std::min(nameEnd + 1, frame.content.size()));
    send(VKTScriptFrameTurnBegin, frame.kind == VKTScriptFrameEvaluate ? "load" : "");
    const auto failure =
        frame.kind == VKTScriptFrameEvaluate ? world.evaluate(text, name) : world.call(name, text);
    if (failure && failure->code != VKTScriptErrorException) end(failure->code, failure->description);
    if (failure) send(VKTScriptFrameException, failure->description);
    send(VKTScriptFrameTurnEnd, "");
}

[[noreturn]] void runTurns(VKTDuktapeWorld& world) {
    VKTScriptFrameReader reader(VKTScriptLongestRequest);
    std::array<char, 16384> bytes{};
    for (;;) {
        const ssize_t received = read(VKTScriptHostSocket, bytes.data(), bytes.size());
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) leave();
        reader.append({bytes.data(), static_cast<std::size_t>(received)});
        while (const auto frame = reader.next())
            runTurn(world, *frame);
        if (reader.isSpoilt()) leave();
    }
}

std::size_t number(const char* text) {
    const std::string_view digits(text);
    std::size_t value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

}  // namespace

int main(int count, char** arguments) try {
    const bool mayLackFilter = count == 6 && std::string_view(arguments[5]) == VKTScriptHostWithoutFilter;
    if (count != 5 && !mayLackFilter) {
        std::fputs("vkt-script-host runs one script for VKTCoreKit, which starts it; there is no other use\n",
                   stderr);
        return EXIT_FAILURE;
    }
    const std::size_t memory = number(arguments[1]);
    vkt_offerToOutOfMemoryKiller();
    if (!vkt_detachFromParent(static_cast<int>(number(arguments[4])))) return EXIT_FAILURE;
    VKTDuktapeWorld world(memory, number(arguments[2]),
                          [](const std::string& message) { send(VKTScriptFrameMessage, message); });
    vkt_readTimeZone();
    // Blocks of memory are larger than what is asked for, hence twice.
    if (!vkt_limitResources(2 * memory + ownAddressSpace, number(arguments[3])))
        end(VKTScriptErrorUnavailable, "the system does not limit what the process may use");
    if (!vkt_limitSystemCalls() && !mayLackFilter) {
        end(VKTScriptErrorUnavailable,
            "the system does not filter system calls: the kernel lacks CONFIG_SECCOMP_FILTER, or a container "
            "forbids it; allow it, or set VKTScriptOptions::allowsMissingSystemCallFilter "
            "(SDK::setAllowsMissingSystemCallFilter) for scripts that you trust");
    }
    send(VKTScriptFrameReady, VKTScriptFrameVersion);
    runTurns(world);
} catch (const std::bad_alloc&) {
    end(VKTScriptErrorMemory, "the process needs more memory than allowed");
}
