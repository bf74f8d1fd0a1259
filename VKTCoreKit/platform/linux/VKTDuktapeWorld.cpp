#include "VKTCoreKit/platform/linux/VKTDuktapeWorld.h"

#include <duktape.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr std::size_t longestDescription = 1000;  // bytes

// What the engine adds to the language. Some of it would reach the engine's insides.
constexpr std::array additions{"Duktape", "CBOR", "Buffer", "TextEncoder", "TextDecoder", "performance"};

bool isHighSurrogate(char32_t point) {
    return point >= 0xD800 && point < 0xDC00;
}

bool isLowSurrogate(char32_t point) {
    return point >= 0xDC00 && point < 0xE000;
}

// Takes a code point off the front of a text that is not empty. Surrogates pass.
char32_t takeCodePoint(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) return lead;
    const std::size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < more) return replacement;
    char32_t point = lead & (0x3FU >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80) return replacement;
        point = (point << 6U) | (next & 0x3FU);
    }
    text.remove_prefix(more);
    const bool overlong = (more == 2 && point < 0x800) || (more == 3 && point < 0x10000);
    return overlong || point > 0x10FFFF ? replacement : point;
}

void append(char32_t point, std::string& text) {
    const auto put = [&](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    const auto putTail = [&](unsigned shift) { put(0x80U | ((point >> shift) & 0x3FU)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0U | (point >> 6U));
        putTail(0);
    } else if (point < 0x10000) {
        put(0xE0U | (point >> 12U));
        putTail(6);
        putTail(0);
    } else {
        put(0xF0U | (point >> 18U));
        putTail(12);
        putTail(6);
        putTail(0);
    }
}

// The engine keeps UTF-16 code units, each of them encoded like a code point.
std::string engineText(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const char32_t point = takeCodePoint(text);
        if (point < 0x10000) {
            append(point, result);
        } else {
            append(0xD7C0 + (point >> 10U), result);
            append(0xDC00 + (point & 0x3FFU), result);
        }
    }
    return result;
}

std::string plainText(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const char32_t point = takeCodePoint(text);
        if (!isHighSurrogate(point) && !isLowSurrogate(point)) {
            append(point, result);
            continue;
        }
        std::string_view rest = text;
        const char32_t next = rest.empty() ? replacement : takeCodePoint(rest);
        if (isHighSurrogate(point) && isLowSurrogate(next)) {
            append(0x10000 + ((point - 0xD800) << 10U) + (next - 0xDC00), result);
            text = rest;
        } else {
            append(replacement, result);
        }
    }
    return result;
}

// Counts what the engine holds, and refuses what would be too much.
class CountedHeap {
  public:
    // False when more is held already.
    bool setLimit(std::size_t limit) {
        limit_ = limit;
        return used_ <= limit;
    }

    void* resize(void* block, std::size_t size) {
        const std::size_t held = malloc_usable_size(block);
        void* resized = nullptr;
        if (size <= limit_ && used_ - held <= limit_ - size) resized = std::realloc(block, size);
        if (resized == nullptr) {
            refused_ = std::max(refused_, size);
            return nullptr;
        }
        used_ += malloc_usable_size(resized) - held;
        if (size >= refused_) refused_ = 0;
        return resized;
    }

    void release(void* block) {
        used_ -= malloc_usable_size(block);
        std::free(block);
    }

    // Whether the engine went without something, even after it had collected its garbage.
    [[nodiscard]] bool isExhausted() const { return refused_ > 0; }
    void forgetRefusals() { refused_ = 0; }
    [[nodiscard]] std::size_t limit() const { return limit_; }

  private:
    std::size_t limit_ = std::numeric_limits<std::size_t>::max();
    std::size_t used_ = 0;
    std::size_t refused_ = 0;
};

// What one protected call works on. The engine leaves such calls by longjmp, so they own nothing.
struct Turn {
    std::string_view text;  // a script, or an argument in JSON
    const char* name;       // of the script or the function
    std::array<char, longestDescription> description;
    std::size_t descriptionLength;
};

// Throws, with the script's place in it instead of this file's.
duk_ret_t fail(duk_context* context, duk_errcode_t code, const char* message) {
    duk_push_error_object_raw(context, code, nullptr, 0, "%s", message);
    return duk_throw(context);
}

duk_ret_t evaluateTurn(duk_context* context, void* data) {
    const auto& turn = *static_cast<const Turn*>(data);
    duk_push_string(context, turn.name);
    duk_compile_lstring_filename(context, 0, turn.text.data(), turn.text.size());
    duk_push_global_object(context);
    duk_call_method(context, 0);
    return 0;
}

duk_ret_t callTurn(duk_context* context, void* data) {
    const auto& turn = *static_cast<const Turn*>(data);
    duk_get_global_string(context, turn.name);
    if (duk_is_callable(context, -1) == 0) {
        return fail(context, DUK_ERR_TYPE_ERROR, "there is no such global function");
    }
    duk_push_lstring(context, turn.text.data(), turn.text.size());
    duk_json_decode(context, -1);
    duk_call(context, 1);
    return 0;
}

// Leaves what was thrown as text. Scripts may throw anything, with a toString of their own.
duk_ret_t describeTurn(duk_context* context, void* data) {
    auto& turn = *static_cast<Turn*>(data);
    duk_require_stack(context, 4);
    if (duk_is_error(context, 0) != 0) {
        duk_get_prop_string(context, 0, "fileName");
        duk_get_prop_string(context, 0, "lineNumber");
        const char* file = duk_get_string_default(context, 1, turn.name);
        duk_push_sprintf(context, "%s (%s:%d)", duk_safe_to_string(context, 0), file,
                         duk_get_int(context, 2));
    }
    duk_size_t length = 0;
    const char* text = duk_safe_to_lstring(context, -1, &length);
    turn.descriptionLength = std::min(length, turn.description.size());
    std::memcpy(turn.description.data(), text, turn.descriptionLength);
    return 0;
}

}  // namespace

class VKTDuktapeWorld::Engine {
  public:
    Engine(std::size_t memoryLimit, std::size_t messageLimit, MessageHandler onMessage)
        : messageLimit_(messageLimit), onMessage_(std::move(onMessage)) {
        start();
        // Not earlier: an engine that is refused memory while it starts recurses without end.
        const bool isWithin = heap_.setLimit(memoryLimit) && context_ != nullptr;
        if (!isWithin || run(prepareTurn, "", ""))
            end(VKTScriptErrorMemory, "the engine itself needs more than " + limitText());
    }

    ~Engine() {
        if (context_ != nullptr && setjmp(fatal_) == 0) duk_destroy_heap(context_);
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    std::optional<Failure> run(duk_safe_call_function body, std::string_view text, const std::string& name) {
        if (end_) return end_;
        heap_.forgetRefusals();
        Turn turn{.text = text, .name = name.c_str(), .description = {}, .descriptionLength = 0};
        const Outcome outcome = attempt(body, &turn, 0, 1);
        if (outcome == threw && attempt(describeTurn, &turn, 1, 0) == threw) turn.descriptionLength = 0;
        if (outcome == done) attempt(dropTurn, nullptr, 1, 0);
        if (context_ == nullptr) {
            end(heap_.isExhausted() ? VKTScriptErrorMemory : VKTScriptErrorEnded,
                "the engine gave up: " + std::string(fatalMessage_.data()) + memoryNote());
        }
        if (end_) return end_;
        if (outcome == done) return std::nullopt;
        std::string thrown = plainText({turn.description.data(), turn.descriptionLength});
        if (thrown.empty()) thrown = name + " threw what has no description";
        return Failure{VKTScriptErrorException, thrown + memoryNote()};
    }

  private:
    enum Outcome : std::uint8_t { done, threw, fatal };

    // The engine's heap after a fatal error is in no known state: it is left as it is, never touched again.
    // That costs at most the memory limit, once; returning to the engine is not allowed.
    Outcome attempt(duk_safe_call_function body, Turn* turn, duk_idx_t arguments, duk_idx_t results) {
        if (context_ == nullptr) return fatal;
        if (setjmp(fatal_) != 0) {
            context_ = nullptr;
            return fatal;
        }
        return duk_safe_call(context_, body, turn, arguments, results) == DUK_EXEC_SUCCESS ? done : threw;
    }

    void start() {
        if (setjmp(fatal_) != 0) return;
        context_ = duk_create_heap(allocate, reallocate, release, this, leave);
    }

    void end(VKTScriptErrorCode code, std::string description) {
        end_ = Failure{code, std::move(description)};
    }

    [[nodiscard]] std::string limitText() const {
        return std::to_string(heap_.limit()) + " bytes of memory (SDKLimits::memoryLimit)";
    }

    [[nodiscard]] std::string memoryNote() const {
        return heap_.isExhausted() ? "; it asked for more than " + limitText() : "";
    }

    static duk_ret_t prepareTurn(duk_context* context, void* /*data*/) {
        duk_push_global_object(context);
        for (const char* name : additions)
            duk_del_prop_string(context, -1, name);
        duk_push_c_function(context, postToHost, 1);
        duk_put_prop_string(context, -2, "postToHost");
        return 0;
    }

    static duk_ret_t dropTurn(duk_context* /*context*/, void* /*data*/) { return 0; }

    static duk_ret_t postToHost(duk_context* context) {
        duk_memory_functions functions;
        duk_get_memory_functions(context, &functions);
        duk_size_t length = 0;
        const char* text = duk_is_symbol(context, 0) != 0 ? nullptr : duk_get_lstring(context, 0, &length);
        if (text == nullptr) return fail(context, DUK_ERR_TYPE_ERROR, "postToHost takes one text");
        auto& engine = *static_cast<Engine*>(functions.udata);
        const Delivery delivery = engine.deliver({text, length});
        if (delivery == delivered) return 0;
        if (delivery == outOfMemory) return fail(context, DUK_ERR_RANGE_ERROR, "postToHost: out of memory");
        duk_push_error_object_raw(
            context, DUK_ERR_RANGE_ERROR, nullptr, 0,
            "postToHost: the message is longer than %lu bytes (SDKLimits::messageLimit)",
            static_cast<unsigned long>(engine.messageLimit_));
        return duk_throw(context);
    }

    enum Delivery : std::uint8_t { delivered, tooLong, outOfMemory };

    // No exception may pass through the engine.
    Delivery deliver(std::string_view text) noexcept {
        try {
            std::string message = plainText(text);
            if (message.size() > messageLimit_) return tooLong;
            onMessage_(std::move(message));
            return delivered;
        } catch (...) {
            return outOfMemory;
        }
    }

    static void* allocate(void* engine, duk_size_t size) { return reallocate(engine, nullptr, size); }

    static void* reallocate(void* engine, void* block, duk_size_t size) {
        if (size > 0) return static_cast<Engine*>(engine)->heap_.resize(block, size);
        release(engine, block);
        return nullptr;
    }

    static void release(void* engine, void* block) { static_cast<Engine*>(engine)->heap_.release(block); }

    [[noreturn]] static void leave(void* data, const char* message) {
        auto& engine = *static_cast<Engine*>(data);
        const std::string_view text = message == nullptr ? "no message" : message;
        text.copy(engine.fatalMessage_.data(), engine.fatalMessage_.size() - 1);
        std::longjmp(engine.fatal_, 1);
    }

    CountedHeap heap_;
    const std::size_t messageLimit_;
    const MessageHandler onMessage_;
    duk_context* context_ = nullptr;
    std::jmp_buf fatal_{};
    std::array<char, 128> fatalMessage_{};
    std::optional<Failure> end_;

    friend class VKTDuktapeWorld;
};

VKTDuktapeWorld::VKTDuktapeWorld(std::size_t memoryLimit, std::size_t messageLimit, MessageHandler onMessage)
    : engine_(std::make_unique<Engine>(memoryLimit, messageLimit, std::move(onMessage))) {}

VKTDuktapeWorld::~VKTDuktapeWorld() = default;

std::optional<VKTDuktapeWorld::Failure> VKTDuktapeWorld::evaluate(const std::string& script,
                                                                  const std::string& name) {
    return engine_->run(evaluateTurn, script, engineText(name));
}

std::optional<VKTDuktapeWorld::Failure> VKTDuktapeWorld::call(const std::string& function,
                                                              const std::string& argumentJSON) {
    return engine_->run(callTurn, engineText(argumentJSON), engineText(function));
}
