#include "VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "VKTCoreKit/platform/testing/contract/VKTMainLoopContract.h"
#include "VKTCoreKit/platform/testing/contract/VKTRunLoopContract.h"
#include "tests/support/VKTRecordedLog.h"

using namespace std::chrono_literals;

namespace {

std::shared_ptr<GMainContext> makeContext() {
    return {g_main_context_new(), g_main_context_unref};
}

std::shared_ptr<VKTRunLoop> makeLoopWithContext() {
    return vkt_makeGLibRunLoop(makeContext().get());
}

// The application runs its own g_main_loop, as if it knew no other way.
VKTMainLoopSubject subjectOfApplication() {
    const auto context = makeContext();
    return {.loop = vkt_makeGLibRunLoop(context.get()),
            .runUntil = [context](const std::function<bool()>& done) {
                struct Wait {
                    const std::function<bool()>& done;
                    const std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop;
                    int looks;  // one a millisecond
                } wait{done, {g_main_loop_new(context.get(), FALSE), g_main_loop_unref}, 5000};
                const auto look = [](gpointer data) -> gboolean {
                    auto& self = *static_cast<Wait*>(data);
                    if (self.done() || --self.looks == 0) g_main_loop_quit(self.loop.get());
                    return G_SOURCE_CONTINUE;
                };
                GSource* const source = g_timeout_source_new(1);
                g_source_set_callback(source, look, &wait, nullptr);
                g_source_attach(source, context.get());
                g_main_loop_run(wait.loop.get());
                g_source_destroy(source);
                g_source_unref(source);
                return done();
            }};
}

INSTANTIATE_TEST_SUITE_P(GLib, VKTRunLoopContract,
                         testing::Values(VKTRunLoopMaker{"glib", makeLoopWithContext},
                                         VKTRunLoopMaker{"default context",
                                                         [] { return vkt_makeGLibRunLoop(); }}));

INSTANTIATE_TEST_SUITE_P(
    GLib, VKTMainLoopContract,
    testing::Values(VKTMainLoopMaker{"glib", [] { return vkt_subjectOfRunLoop(makeLoopWithContext()); }},
                    VKTMainLoopMaker{"g_main_loop_run", subjectOfApplication}));

// A context that a thread of the application runs meanwhile.
class ApplicationThread {
  public:
    ApplicationThread() : thread_([this] { g_main_loop_run(loop_.get()); }) {
        while (g_main_loop_is_running(loop_.get()) == FALSE)
            std::this_thread::yield();
    }
    ~ApplicationThread() {
        g_main_loop_quit(loop_.get());
        thread_.join();
    }
    ApplicationThread(const ApplicationThread&) = delete;
    ApplicationThread& operator=(const ApplicationThread&) = delete;

    [[nodiscard]] GMainContext* context() const { return context_.get(); }

  private:
    const std::shared_ptr<GMainContext> context_ = makeContext();
    const std::shared_ptr<GMainLoop> loop_{g_main_loop_new(context_.get(), FALSE), g_main_loop_unref};
    std::thread thread_;
};

TEST(GLibRunLoop, BelongsToTheThreadOfTheApplicationWhichAloneRunsIt) {
    VKTRecordedLog log;
    std::latch isInTask(1);
    std::latch mayEnd(1);
    std::latch hasEnded(1);
    const ApplicationThread application;
    const auto loop = vkt_makeGLibRunLoop(application.context());
    loop->post([&] {
        isInTask.count_down();
        mayEnd.wait();
    });
    isInTask.wait();
    loop->post([&] {
        EXPECT_TRUE(loop->isCurrentThread());
        hasEnded.count_down();
    });
    EXPECT_FALSE(loop->isCurrentThread());
    loop->run();
    EXPECT_EQ(loop->drain(), 0U);
    EXPECT_FALSE(loop->runUntil([] { return false; }, 1h));
    mayEnd.count_down();
    hasEnded.wait();
    const auto lines = log.take();
    EXPECT_EQ(lines.size(), 3U);
    EXPECT_NE(lines.front().find("another thread runs the context"), std::string::npos) << lines.front();
}

TEST(GLibRunLoop, MayEndOnAnyThreadWhileItsTasksRun) {
    const ApplicationThread application;
    for (int round = 0; round < 100; ++round) {
        auto loop = vkt_makeGLibRunLoop(application.context());
        const auto held = std::make_shared<int>();
        std::latch started(1);
        loop->post([&started, held] { started.count_down(); });
        loop->post([held] {});
        loop->postAfter(1h, [held] {});
        started.wait();
        loop.reset();
        while (held.use_count() > 1)  // the second task may be running
            std::this_thread::yield();
    }
}

TEST(GLibRunLoop, ATaskMayDestroyItAndEndsItsRun) {
    const auto context = makeContext();
    auto loop = vkt_makeGLibRunLoop(context.get());
    const auto held = std::make_shared<int>();
    std::string log;
    VKTRunLoop& running = *loop;
    running.post([&log, &loop, held] {
        loop.reset();
        EXPECT_EQ(held.use_count(), 2) << "the other task is dropped at once";
        log += 'a';
    });
    running.post([&log, held] { log += 'x'; });
    running.run();
    EXPECT_EQ(log, "a");
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(g_main_context_pending(context.get()), FALSE) << "a source is left";
}

TEST(GLibRunLoop, AThrowingTaskEndsNothingButItself) {
    VKTRecordedLog log;
    const auto loop = makeLoopWithContext();
    bool hasRun = false;
    loop->post([] { throw std::runtime_error("of the player"); });
    loop->post([&] { hasRun = true; });
    EXPECT_EQ(loop->drain(), 2U);
    EXPECT_TRUE(hasRun);
    EXPECT_EQ(log.take().size(), 1U);
}

TEST(GLibRunLoop, LeavesTurnsToOtherSourcesAndRunsThem) {
    const auto context = makeContext();
    const auto loop = vkt_makeGLibRunLoop(context.get());
    int turns = 0;
    GSource* const source = g_timeout_source_new(0);
    g_source_set_callback(
        source, [](gpointer data) -> gboolean { return ++*static_cast<int*>(data) < 3; }, &turns, nullptr);
    g_source_attach(source, context.get());
    VKTTask again = [&] { loop->post(again); };
    loop->post(again);
    EXPECT_TRUE(loop->runUntil([&] { return turns == 3; }, 5s));
    g_source_unref(source);
}

}  // namespace
