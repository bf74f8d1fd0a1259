#include "VKTCoreKit/tracking/VKTPixelObserver.h"

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"
#include "tests/tracking/TrackingFixture.h"

namespace {

std::string nameOf(VKTPixelPassProblem problem) {
    return problem == VKTPixelPassFolded     ? "folded"
           : problem == VKTPixelPassNoThread ? "no thread"
                                             : "stopped";
}

std::string nameOf(VKTEventURLProblem problem) {
    switch (problem) {
        case VKTEventURLTooLong:
            return "too long";
        case VKTEventURLInvalid:
            return "invalid";
        case VKTEventURLOfGoneEvent:
            return "gone event";
        case VKTEventURLWithoutCode:
            break;
    }
    return "without code";
}

// "tried start 2": what was told, of which pixel, and with what.
class Recorder : public VKTPixelObserver {
  public:
    void pixelAdded(const std::shared_ptr<VKTPixel>& pixel) override { note("added", *pixel); }
    void pixelFolded(const std::shared_ptr<VKTPixel>& pixel) override { note("folded", *pixel); }
    void pixelTried(const std::shared_ptr<VKTPixel>& pixel) override {
        note("tried", *pixel, " " + std::to_string(pixel->attempts()));
    }
    void pixelDelivered(const std::shared_ptr<VKTPixel>& pixel,
                        const VKTURLSessionResponse& response) override {
        note("delivered", *pixel, answerOf(response));
    }
    void pixelRefused(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse& response,
                      bool isTriedAgain) override {
        note("refused", *pixel, answerOf(response) + (isTriedAgain ? "" : " for ever"));
    }
    void pixelExpired(const std::shared_ptr<VKTPixel>& pixel) override { note("expired", *pixel); }
    void pixelsNotSaved() override { add("not saved"); }
    void pixelPassNotRun(VKTPixelPassProblem problem) override { add("pass " + nameOf(problem)); }
    void pixelURLFailed(const VKTPixelURLFailure& failure) override {
        add(failure.origin + " " + nameOf(failure.problem) + (failure.isCalled ? ", called: " : ": ") +
            failure.url.absoluteString());
    }

    Texts take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(texts_, {});
    }

  private:
    static std::string answerOf(const VKTURLSessionResponse& response) {
        if (response.error()) return " " + std::to_string(response.error()->code());
        return response.response() ? " " + std::to_string(response.response()->statusCode) : "";
    }

    void note(const std::string& what, const VKTPixel& pixel, const std::string& with = "") {
        add(what + " " + (pixel.isRestored() ? "earlier" : pixel.origin()) + with);
    }
    void add(std::string text) {
        const std::lock_guard lock(mutex_);
        texts_.push_back(std::move(text));
    }

    std::mutex mutex_;
    Texts texts_;
};

// The system has no thread for it.
struct RefusingQueue : VKTSerialQueue {
    void post(VKTTask /*task*/) override {}
    [[nodiscard]] bool tryPost(VKTTask /*task*/) override { return false; }
    [[nodiscard]] bool isCurrentThread() const override { return false; }
};

std::shared_ptr<VKTPixel> pixelOf(const std::string& origin) {
    return VKTPixel::initWithUrl(urlOf("http://h/" + origin), origin);
}

// Answers that are no statuses.
constexpr int thrown = 0;  // by the session
constexpr int late = 1;    // a status of 500, a day later

class PixelObserver : public TrackingFixture {
  protected:
    PixelObserver() {
        pixelManager->setObserver(recorder_);
        test_.HTTPSession->setHandler([this](const auto&) {
            if (answer_ == thrown) throw std::runtime_error("of the session");
            if (answer_ < 0) return VKTFakeHTTPAnswer::withError(static_cast<VKTURLErrorCode>(answer_));
            if (answer_ == late) test_.clock->advance(VKTTimeInterval(86401));
            return VKTFakeHTTPAnswer::withStatus(answer_ == late ? 500 : answer_);
        });
    }

    void pass(int answer = 200) {
        answer_ = answer;
        pixelManager->callPixels();
        sent();
    }

    const std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();

  private:
    int answer_ = 200;
};

TEST_F(PixelObserver, HearsWhatBecomesOfAPixel) {
    struct Row {
        const char* name;
        std::vector<int> answers;  // one pass each
        Texts heard;
    };
    const std::vector<Row> rows{
        {"delivered", {200}, {"tried p 1", "delivered p 200"}},
        {"a dead URL", {404}, {"tried p 1", "delivered p 404"}},
        {"refused first", {500, 200}, {"tried p 1", "refused p 500", "tried p 2", "delivered p 200"}},
        {"no answer",
         {VKTURLErrorCannotConnectToHost, 200},
         {"tried p 1", "refused p -1004", "tried p 2", "delivered p 200"}},
        {"a throw", {thrown, 200}, {"tried p 1", "refused p", "tried p 2", "delivered p 200"}},
        {"expired", {late, 200}, {"tried p 1", "refused p 500 for ever", "expired p"}},
    };
    for (const Row& row : rows) {
        pixelManager->addPixel(pixelOf("p"));
        EXPECT_EQ(recorder_->take(), Texts{"added p"}) << row.name;
        for (const int answer : row.answers)
            pass(answer);
        EXPECT_EQ(recorder_->take(), row.heard) << row.name;
    }
}

TEST_F(PixelObserver, HearsOfPixelsThatWereNotAddedNow) {
    const auto pixel = pixelOf("p");
    pixelManager->addPixels({pixel, pixel, nullptr});
    EXPECT_EQ(recorder_->take(), (Texts{"added p", "folded p"}));
    pixel->setStatus(VKTPixelStatusSuccess);
    const std::string archive = vkt_archivedData(*pixelOf("p"));
    pixelManager->pixelStore()->addPixel(vkt_unarchivedObject<VKTPixel>(archive));
    pass();
    EXPECT_EQ(recorder_->take(), (Texts{"tried earlier 1", "delivered earlier 200"}))
        << "but not that what was sent elsewhere has expired";
}

TEST_F(PixelObserver, HearsThatADeliveryIsNotRecorded) {
    const auto disk = std::make_shared<VKTMemoryKeyValueStore>();
    const auto store =
        VKTPixelStore::initWithProvider(VKTPersistentPixelStoreProvider::initWithKeyValueStore(disk));
    const auto manager = VKTPixelManager::initWithPixelStore(store, pixelManager->urlSession());
    manager->setObserver(recorder_);
    manager->addPixel(pixelOf("p"));
    disk->setFailsWrites(true);
    manager->callPixels();
    sent();
    EXPECT_EQ(recorder_->take(), (Texts{"added p", "tried p 1", "delivered p 200", "not saved", "not saved"}))
        << "after the delivery, and at the end of the pass";
}

TEST_F(PixelObserver, HearsOfPassesThatDoNotRun) {
    for (std::size_t i = 0; i < VKTPixelWaitingPassLimit + 2; ++i)
        pixelManager->callPixels();
    EXPECT_EQ(recorder_->take(), (Texts{"pass folded", "pass folded"}));
    sent();
    pixelManager->addPixel(pixelOf("p"));
    pixelManager->callPixels();
    pixelManager.reset();
    EXPECT_EQ(recorder_->take(), (Texts{"added p", "pass stopped"}));
}

TEST_F(PixelObserver, HearsThatThereIsNoThreadAndNoCallerHearsWhatTheHandlerThrows) {
    test_.platform.makeSerialQueue = [] { return std::make_unique<RefusingQueue>(); };
    const VKTScopedPlatform scope(test_.platform);
    const auto manager =
        VKTPixelManager::initWithPixelStore(pixelManager->pixelStore(), pixelManager->urlSession());
    manager->setObserver(recorder_);
    manager->callPixels();
    EXPECT_NO_THROW(
        manager->callPixelsWithCompletionHandler([] { throw std::runtime_error("of the player"); }));
    EXPECT_EQ(recorder_->take(), (Texts{"pass no thread", "pass no thread"}));
}

TEST_F(PixelObserver, HearsOfURLsThatCannotBeFilledOrAreNotCalled) {
    const std::string longValue(VKTEventURLLengthLimit, '-');
    const auto events = managerOf({event("start", "http://e/%5BLONG%5D"), event("mute", "http://e/$blank"),
                                   event("stop", "http://e/[LONG]")},
                                  {{"LONG", longValue}});
    events->trackEvent("start", {});
    events->trackEvent("mute", {{"${blank}", " "}});
    events->trackEvent("stop", {});
    events->trackEventByReference(event("start", "http://e/%5BLONG%5D"), {}, {}, true);
    EXPECT_EQ(recorder_->take(), (Texts{"start too long, called: http://e/%5BLONG%5D", "added start",
                                        "mute invalid, called: http://e/$blank", "added mute", "added stop",
                                        "start gone event: http://e/%5BLONG%5D"}));

    const auto lists = VKTVASTPixelManager::initWithPixelManager(pixelManager, {{"BLANK", " "}});
    const std::vector<VKTVASTURL> urls{*VKTVASTURL::initWithString("http://h/[BLANK]"),
                                       *VKTVASTURL::initWithString("http://h/b")};
    const VKTPixels called = lists->callVASTPixels(urls, {}, "impression");
    ASSERT_EQ(called.size(), 2U);
    EXPECT_EQ(called[1]->url().absoluteString(), "http://h/b");
    EXPECT_EQ(lists->callVASTErrorPixels({urls[1]}, 303).size(), 1U);
    EXPECT_TRUE(lists->callVASTErrorPixels({urls[1]}, -1).empty());
    EXPECT_EQ(recorder_->take(),
              (Texts{"impression invalid, called: http://h/%5BBLANK%5D", "added impression",
                     "added impression", "added error", "error without code: http://h/b"}));
}

TEST_F(PixelObserver, MayTrackTheEventWhosePixelItHearsOf) {
    struct Tracking : VKTPixelObserver {
        void pixelAdded(const std::shared_ptr<VKTPixel>& pixel) override {
            EXPECT_FALSE(manager->pixelManager()->pixelStore()->isPixelInStore(*pixel))
                << "a pass could be told of first";
            manager->trackEvent("start", {});
        }
        std::shared_ptr<VKTTrackingEventManager> manager;
    };
    const auto observer = std::make_shared<Tracking>();
    observer->manager = managerOf({event("start", "http://1")});
    pixelManager->setObserver(observer);
    observer->manager->trackEvent("start", {});
    EXPECT_EQ(pixelManager->allPixels().size(), 1U);
}

TEST_F(PixelObserver, IsHeldWeaklyAndMayThrow) {
    struct Throwing : VKTPixelObserver {
        void pixelAdded(const std::shared_ptr<VKTPixel>& /*pixel*/) override {
            throw std::runtime_error("1");
        }
        void pixelTried(const std::shared_ptr<VKTPixel>& /*pixel*/) override { throw 2; }
        void pixelDelivered(const std::shared_ptr<VKTPixel>& /*pixel*/,
                            const VKTURLSessionResponse& /*response*/) override {
            throw std::runtime_error("3");
        }
    };
    auto observer = std::make_shared<Throwing>();
    pixelManager->setObserver(observer);
    pixelManager->addPixel(pixelOf("p"));
    pass();
    EXPECT_TRUE(pixelManager->allPixels().empty());
    const std::weak_ptr<Throwing> held = observer;
    observer.reset();
    EXPECT_TRUE(held.expired());
    pixelManager->addPixel(pixelOf("p"));
    pass();
    EXPECT_TRUE(pixelManager->allPixels().empty());
}

// Writes its letter for each pixel that is added; the first time it does something else besides.
struct Lettered : VKTPixelObserver {
    Lettered(char theLetter, std::string& theHeard) : letter(theLetter), heard(theHeard) {}
    void pixelAdded(const std::shared_ptr<VKTPixel>& /*pixel*/) override {
        heard += letter;
        if (const auto once = std::exchange(doOnce, nullptr)) once();
    }
    const char letter;
    std::string& heard;
    std::function<void()> doOnce;
};

TEST_F(PixelObserver, SeveralHearInTheirOrderWhateverOneOfThemDoes) {
    std::string letters;
    std::shared_ptr<Lettered> a, b, c, d;  // a is set, b and c are added
    struct Row {
        const char* name;
        std::function<void()> actionOfB;
        std::string heardThen;  // of this pixel
        std::string heardNext;  // of another
    };
    const std::vector<Row> rows{
        {"nothing", nullptr, "abc", "abc"},
        {"throws", [] { throw std::runtime_error("of b"); }, "abc", "abc"},
        {"adds d", [&] { pixelManager->addObserver(d); }, "abc", "abcd"},
        {"adds null", [&] { pixelManager->addObserver(nullptr); }, "abc", "abc"},
        {"adds itself again", [&] { pixelManager->addObserver(b); }, "abc", "abc"},
        {"adds the set one", [&] { pixelManager->addObserver(a); }, "abc", "abc"},
        {"sets d", [&] { pixelManager->setObserver(d); }, "abc", "bcd"},
        {"sets none", [&] { pixelManager->setObserver(nullptr); }, "abc", "bc"},
        {"sets an added one", [&] { pixelManager->setObserver(c); }, "abc", "bc"},
        {"removes itself", [&] { pixelManager->removeObserver(b); }, "abc", "ac"},
        {"removes one before it is told", [&] { pixelManager->removeObserver(c); }, "ab", "ab"},
        {"removes the set one", [&] { pixelManager->removeObserver(a); }, "abc", "abc"},
        {"removes one that is not there", [&] { pixelManager->removeObserver(d); }, "abc", "abc"},
        {"adds d in place of c", [&] { pixelManager->removeObserver(c), pixelManager->addObserver(d); }, "ab",
         "abd"},
        {"lets go of one", [&] { c.reset(); }, "ab", "ab"},
        {"lets go of itself", [&] { b.reset(); }, "abc", "ac"},
        {"lets go of the manager", [&] { pixelManager.reset(); }, "abc", ""},
    };
    for (const auto& row : rows) {
        int letter = 'a';
        for (auto* each : {&a, &b, &c, &d})
            *each = std::make_shared<Lettered>(static_cast<char>(letter++), letters);
        pixelManager->setObserver(a);
        pixelManager->addObserver(b);
        pixelManager->addObserver(c);
        b->doOnce = row.actionOfB;
        pixelManager->addPixel(pixelOf("p"));
        EXPECT_EQ(std::exchange(letters, ""), row.heardThen) << row.name;
        if (pixelManager) pixelManager->addPixel(pixelOf("p"));
        EXPECT_EQ(std::exchange(letters, ""), row.heardNext) << row.name;
    }
}

TEST_F(PixelObserver, ThoseThatAreGoneAreForgottenWithNoLockHeld) {
    std::size_t forgotten = 0;
    // Ends with the last weak reference to its observer.
    const auto ofApplication = [&](VKTPixelObserver* /*deleter*/) {
        pixelManager->setObserver(nullptr);
        ++forgotten;
    };
    constexpr std::size_t breaks = 300;
    for (std::size_t i = 0; i < breaks; ++i) {
        const std::shared_ptr<VKTPixelObserver> mark(nullptr, ofApplication);
        pixelManager->addObserver({new Recorder, [mark](VKTPixelObserver* observer) { delete observer; }});
        EXPECT_GE(forgotten + 1, i);
    }
    pixelManager->addPixel(pixelOf("p"));
    EXPECT_EQ(forgotten, breaks);
}

// Over threads, as in a player.
class PixelObserverThreads : public testing::Test {
  protected:
    PixelObserverThreads() {
        test_.platform.random = realPlatform_.random;
        scope_.emplace(test_.platform);
    }

    std::shared_ptr<VKTPixelManager> managerOver(const std::shared_ptr<VKTFakeHTTPSession>& http) const {
        return VKTPixelManager::initWithPixelStore(
            VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()),
            VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http)));
    }

    const VKTPlatform realPlatform_ = VKTPlatform::current();
    VKTTestPlatform test_ = vkt_makeTestPlatform();
    std::optional<VKTScopedPlatform> scope_;
};

TEST_F(PixelObserverThreads, OthersMayComeAndGoWhilePassesRun) {
    test_.HTTPSession->setHandler([](const auto&) { return VKTFakeHTTPAnswer::withStatus(200); });
    const auto manager = managerOver(test_.HTTPSession);
    // Each delivery of a "first" adds a "second".
    struct Adding : VKTPixelObserver {
        void pixelDelivered(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse&) override {
            if (pixel->origin() != "first") return;
            ++added;
            manager->addPixel(pixelOf("second"));
            manager->callPixels();
        }
        VKTPixelManager* manager = nullptr;
        std::atomic<std::size_t> added = 0;
    };
    struct Counting : VKTPixelObserver {
        void pixelDelivered(const std::shared_ptr<VKTPixel>&, const VKTURLSessionResponse&) override {
            ++delivered;
        }
        std::size_t delivered = 0;
    };
    const auto staying = std::make_shared<Counting>();
    manager->addObserver(staying);
    const auto adding = std::make_shared<Adding>();
    adding->manager = manager.get();
    std::atomic<bool> isOver = false;
    std::thread setter([&] {
        while (!isOver) {
            const auto passing = std::make_shared<Recorder>();
            manager->addObserver(passing);
            manager->setObserver(adding);
            manager->removeObserver(passing);
            manager->setObserver(std::make_shared<Recorder>());
            manager->addObserver(std::make_shared<Recorder>());
        }
        manager->setObserver(nullptr);
    });
    constexpr std::size_t count = 300;
    for (std::size_t i = 0; i < count; ++i) {
        manager->addPixel(pixelOf("first"));
        manager->callPixels();
    }
    const auto waitForPass = [&] {
        std::promise<void> ended;
        manager->callPixelsWithCompletionHandler([&] { ended.set_value(); });
        ended.get_future().wait();
    };
    waitForPass();
    isOver = true;
    setter.join();
    waitForPass();
    EXPECT_TRUE(manager->allPixels().empty());
    EXPECT_EQ(test_.HTTPSession->requests().size(), count + adding->added);
    EXPECT_EQ(staying->delivered, count + adding->added);
}

TEST_F(PixelObserverThreads, OfTwoPixelsWithOneIDThatAreAddedAtOnceOneIsAdded) {
    const auto manager = managerOver(test_.HTTPSession);
    const auto first = pixelOf("first");
    struct Adding : Recorder {
        void pixelAdded(const std::shared_ptr<VKTPixel>& pixel) override {
            Recorder::pixelAdded(pixel);
            if (!std::exchange(isFirst, false)) return;
            manager->addPixel(pixel);
            std::thread([&] {
                manager->addPixel(VKTPixel::initWithID(pixel->ID(), urlOf("http://h/second"),
                                                       pixel->expirationDate(), VKTPixelStatusPending));
            }).join();
        }
        VKTPixelManager* manager = nullptr;
        bool isFirst = true;
    };
    const auto adding = std::make_shared<Adding>();
    adding->manager = manager.get();
    manager->setObserver(adding);
    manager->addPixel(first);
    EXPECT_EQ(adding->take(), (Texts{"added first", "folded first", "folded "}));
    EXPECT_EQ(manager->allPixels(), VKTPixels{first});
    manager->pixelStore()->deletePixel(*first);
    manager->addPixel(first);
    EXPECT_EQ(adding->take(), Texts{"added first"}) << "not folded into one that is gone";
}

TEST_F(PixelObserverThreads, HearsTheEndOfAManagerThatIsDestroyedInTheMiddle) {
    const auto http = std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    auto manager = managerOver(http);
    const auto recorder = std::make_shared<Recorder>();
    manager->setObserver(recorder);
    manager->addPixels({pixelOf("a"), pixelOf("b")});
    manager->callPixels();
    while (http->requests().empty())
        std::this_thread::yield();
    std::thread deliverer([&] {
        while (!http->hasCancelled())
            std::this_thread::yield();
        http->deliverNext();
    });
    manager.reset();
    deliverer.join();
    const Texts heard = recorder->take();
    ASSERT_EQ(heard.size(), 5U);
    EXPECT_EQ(heard[2], "tried a 1");
    EXPECT_TRUE(heard[3].starts_with("refused a -")) << heard[3];
    EXPECT_EQ(heard[4], "pass stopped");
}

TEST_F(PixelObserverThreads, ItAndAHandlerMayLetGoOfTheManagerOnItsWorker) {
    struct Owner : VKTPixelObserver {
        void pixelTried(const std::shared_ptr<VKTPixel>& /*pixel*/) override {
            isSet.wait();
            manager.reset();
        }
        std::shared_ptr<VKTPixelManager> manager;
        std::shared_future<void> isSet;
    };
    for (const bool isObserving : {true, false}) {
        const auto owner = std::make_shared<Owner>();
        std::promise<void> isSet;
        std::promise<void> isLast;
        owner->isSet = isSet.get_future();
        owner->manager = managerOver(test_.HTTPSession);
        if (isObserving) owner->manager->setObserver(owner);
        owner->manager->addPixels({pixelOf("a"), pixelOf("b")});
        owner->manager->callPixelsWithCompletionHandler([&] {
            owner->isSet.wait();
            owner->manager.reset();
        });
        owner->manager->callPixelsWithCompletionHandler([&] { isLast.set_value(); });
        isSet.set_value();
        isLast.get_future().wait();
        EXPECT_FALSE(owner->manager);
    }
}

}  // namespace
