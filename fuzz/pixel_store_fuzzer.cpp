// What stands under the key of the persistent pixel store.
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "ArchiveFuzzing.h"
#include "Fuzzing.h"
#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

namespace {

struct Memory : VKTKeyValueStore {
    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : std::optional<VKTValue>(found->second);
    }
    bool setValueForKey(const VKTValue& value, std::string_view key) override {
        if (value.isNull()) return values.erase(std::string(key)) == 1;
        values[std::string(key)] = value;
        return true;
    }
    std::map<std::string, VKTValue, std::less<>> values;
};

// Counts the messages and prints none.
struct LogCounter : VKTLogDataSource {
    bool logShouldLogMessageWithLevel(const VKTLog& /*logger*/, VKTLogLevel /*level*/) override {
        ++messages;
        return false;
    }
    int messages = 0;
};

void loadAndSave(std::string stored) {
    static const auto log = [] {
        auto counter = std::make_shared<LogCounter>();
        VKTLog::sharedInstance()->setDataSource(counter);
        return counter;
    }();
    log->messages = 0;
    const auto memory = std::make_shared<Memory>();
    const auto provider = VKTPersistentPixelStoreProvider::initWithKeyValueStore(memory);
    memory->values[provider->pixelStoreKey()] = VKTBytes{std::move(stored)};

    const auto first = VKTPixelStore::initWithProvider(provider);
    const bool isSetAside = memory->values.contains(provider->damagedPixelStoreKey());
    const int messages = log->messages;
    require(messages <= 1 && (messages == 1 || !isSetAside), "one message for whatever is lost");
    require(first->saveToDisk(), "what was loaded can be saved");
    const VKTValue saved = memory->values[provider->pixelStoreKey()];

    const auto second = VKTPixelStore::initWithProvider(provider);
    require(log->messages == messages, "what was saved can be loaded");
    require(second->allPixels().size() == first->allPixels().size(), "every pixel that was saved is loaded");
    require(second->saveToDisk() && memory->values[provider->pixelStoreKey()] == saved,
            "what was saved and loaded is the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = inputText(data, size);
    loadAndSave(std::string(input));
    loadAndSave(withChecksum(input));
    return 0;
}
