// A platform of the consumer's own, in small: fakes where a device has services, and the least that the
// library asks for where there is none. It reads one document, whatever it is given.
#include <VKTCoreKit/platform/VKTHeadlessView.h>
#include <VKTCoreKit/platform/VKTPlatform.h>
#include <VKTCoreKit/platform/VKTServices.h>
#include <VKTCoreKit/platform/testing/VKTFakeHTTPSession.h>
#include <VKTCoreKit/platform/testing/VKTFakeLocationServices.h>
#include <VKTCoreKit/platform/testing/VKTFakeReachabilityTarget.h>
#include <VKTCoreKit/platform/testing/VKTFixedRandomSource.h>
#include <VKTCoreKit/platform/testing/VKTManualRunLoop.h>
#include <VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h>
#include <VKTCoreKit/platform/testing/VKTScriptedXMLEventReader.h>
#include <VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace {

// Elements from the outermost to the innermost, with a text in that, and their ends.
void appendNested(std::vector<VKTXMLEvent>& events, std::vector<VKTXMLStartEvent> elements,
                  const char* text) {
    for (const VKTXMLStartEvent& element : elements)
        events.emplace_back(element);
    events.emplace_back(VKTXMLTextEvent{VKTXMLTextEvent::Characters, text});
    for (auto element = elements.rbegin(); element != elements.rend(); ++element)
        events.emplace_back(VKTXMLEndEvent{element->name});
}

std::unique_ptr<VKTXMLEventReader> makeReaderOfOneDocument(std::string_view) {
    std::vector<VKTXMLEvent> events{VKTXMLStartEvent{"VAST", {{"version", "3.0"}}},
                                    VKTXMLStartEvent{"Ad", {{"id", "1"}}}, VKTXMLStartEvent{"InLine", {}}};
    appendNested(events, {{"AdSystem", {}}}, "consumer");
    appendNested(events, {{"AdTitle", {}}}, "One ad");
    appendNested(events, {{"Impression", {}}}, "http://127.0.0.1/i");
    for (const char* name : {"Creatives", "Creative", "Linear"})
        events.emplace_back(VKTXMLStartEvent{name, {}});
    appendNested(events, {{"Duration", {}}}, "00:00:10");
    appendNested(
        events,
        {{"MediaFiles", {}},
         {"MediaFile",
          {{"type", "video/mp4"}, {"delivery", "progressive"}, {"width", "640"}, {"height", "360"}}}},
        "http://127.0.0.1/v.mp4");
    for (const char* name : {"Linear", "Creative", "Creatives", "InLine", "Ad", "VAST"})
        events.emplace_back(VKTXMLEndEvent{name});
    return std::make_unique<VKTScriptedXMLEventReader>(std::move(events));
}

// Runs what it takes on a thread of its own.
class ThreadQueue final : public VKTSerialQueue {
  public:
    ~ThreadQueue() override {
        post(nullptr);
        thread_.get_id() == std::this_thread::get_id() ? thread_.detach() : thread_.join();
    }
    ThreadQueue() = default;
    ThreadQueue(const ThreadQueue&) = delete;
    ThreadQueue& operator=(const ThreadQueue&) = delete;

    void post(VKTTask task) override {
        const std::lock_guard lock(state_->mutex);
        state_->tasks.push_back(std::move(task));
        state_->hasTask.notify_one();
    }
    [[nodiscard]] bool isCurrentThread() const override {
        return thread_.get_id() == std::this_thread::get_id();
    }

  private:
    struct State {
        std::mutex mutex;
        std::condition_variable hasTask;
        std::deque<VKTTask> tasks;
    };

    // Until the empty task.
    static void run(const std::shared_ptr<State>& state) {
        for (;;) {
            std::unique_lock lock(state->mutex);
            state->hasTask.wait(lock, [&] { return !state->tasks.empty(); });
            const VKTTask task = std::move(state->tasks.front());
            state->tasks.pop_front();
            lock.unlock();
            if (!task) return;
            task();
        }
    }

    const std::shared_ptr<State> state_ = std::make_shared<State>();
    std::thread thread_{run, state_};
};

// There are no scripts on this device.
class NoScripts : public VKTScriptExecutor {
  public:
    explicit NoScripts(VKTScriptHandlers handlers) {
        if (!handlers.onEnd) return;
        end_ = VKTPlatform::current().mainRunLoop->schedule(VKTTimeInterval(0), [onEnd = handlers.onEnd] {
            onEnd(VKTError(VKTScriptErrorDomain, VKTScriptErrorUnavailable));
        });
    }
    void evaluate(std::string, std::string) override {}
    void call(std::string, std::string) override {}

  private:
    std::unique_ptr<VKTRunLoopTimer> end_;
};

std::unique_ptr<VKTScriptExecutor> makeNoScripts(VKTScriptOptions, VKTScriptHandlers handlers) {
    return std::make_unique<NoScripts>(std::move(handlers));
}

}  // namespace

VKTPlatform vkt_makeDefaultPlatform(const VKTPlatformOptions&) {
    const auto mainRunLoop = std::make_shared<VKTSimulatedRunLoop>(1);
    const auto notificationCentre = std::make_shared<VKTNotificationCentre>();
    return {
        .clock = mainRunLoop,
        .random = std::make_shared<VKTFixedRandomSource>(),
        .HTTPSession = std::make_shared<VKTFakeHTTPSession>(),
        .mainRunLoop = mainRunLoop,
        .passbackPool = std::make_shared<VKTManualPool>(),
        .globalPool = std::make_shared<VKTManualPool>(),
        .keyValueStore = std::make_shared<VKTMemoryKeyValueStore>(),
        .notificationCentre = notificationCentre,
        .application = std::make_shared<VKTHeadlessApplication>(notificationCentre),
        .mainBundle = std::make_shared<VKTStringTableBundle>(),
        .device = std::make_shared<VKTSettableDevice>(),
        .locationServices = std::make_shared<VKTFakeLocationServices>(),
        .makeXMLEventReader = makeReaderOfOneDocument,
        .makeSerialQueue = [] { return std::make_unique<ThreadQueue>(); },
        .makeConcurrentPool = [](std::size_t) { return std::make_unique<VKTManualPool>(); },
        .makeKeyValueStore = [](const auto&,
                                const auto&) { return std::make_shared<VKTMemoryKeyValueStore>(); },
        .openKeyValueStore = [](const auto&, auto, const auto&) { return nullptr; },
        .makeReachabilityTarget = [](const auto&) { return std::make_shared<VKTFakeReachabilityTarget>(); },
        .makeScriptExecutor = makeNoScripts,
        .makeTrustedScriptExecutor = makeNoScripts};
}

std::optional<VKTValue> vkt_JSONValueWithData(std::string_view, std::optional<VKTError>*) {
    return std::nullopt;
}
std::optional<std::string> vkt_JSONStringWithValue(const VKTValue&) {
    return std::nullopt;
}
std::optional<std::string> vkt_prettyJSONStringWithValue(const VKTValue&) {
    return std::nullopt;
}
std::string vkt_MD5Digest(std::string_view) {
    return std::string(16, '\0');
}
std::chrono::seconds vkt_localOffsetFromUTC(VKTDate) {
    return std::chrono::seconds(0);
}
std::vector<std::string> vkt_callStackSymbols() {
    return {};
}
