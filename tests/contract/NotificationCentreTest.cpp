#include "VKTCoreKit/platform/VKTNotificationCentre.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

namespace {

class NotificationCentre : public testing::Test {
  protected:
    // An observer of "n" that leaves its mark.
    VKTNotificationToken observe(int mark) {
        return centre_->addObserver("n", [this, mark](const auto&) { heard_.push_back(mark); });
    }

    std::vector<int> heardAfterPost() {
        heard_.clear();
        centre_->post({"n", {}});
        return heard_;
    }

    std::optional<VKTNotificationCentre> centre_ = std::make_optional<VKTNotificationCentre>();
    std::vector<int> heard_;
};

TEST_F(NotificationCentre, DeliversByNameInOrderOfRegistrationWithTheInformation) {
    const auto first = observe(1);
    const auto other = centre_->addObserver("other", [](const auto&) { FAIL(); });
    const auto last = centre_->addObserver("n", [this](const VKTNotification& notification) {
        EXPECT_EQ(notification.userInfo, (VKTDictionary{{"key", 2}}));
        heard_.push_back(2);
    });
    centre_->post({"n", {{"key", 2}}});
    EXPECT_EQ(heard_, (std::vector{1, 2}));
}

TEST_F(NotificationCentre, ATokenUnregistersOnceWhereverItHasMoved) {
    auto kept = observe(1);
    VKTNotificationToken moved = std::move(kept);
    kept.reset();
    EXPECT_EQ(heardAfterPost(), std::vector{1});
    moved = observe(2);
    EXPECT_EQ(heardAfterPost(), std::vector{2});
    moved.reset();
    moved.reset();
    EXPECT_TRUE(heardAfterPost().empty());
    const auto survivor = observe(3);
    centre_.reset();
}

TEST_F(NotificationCentre, ObserversMayComeAndGoWhileItDelivers) {
    std::vector<VKTNotificationToken> tokens(4);
    tokens[0] = centre_->addObserver("n", [&](const auto&) {
        heard_.push_back(0);
        tokens[0].reset();  // itself, which runs
        tokens[2].reset();
        tokens[3] = observe(3);
    });
    tokens[1] = observe(1);
    tokens[2] = observe(2);
    EXPECT_EQ(heardAfterPost(), (std::vector{0, 1}));
    EXPECT_EQ(heardAfterPost(), (std::vector{1, 3}));
}

TEST_F(NotificationCentre, ThreadsRegisterAndPost) {
    const auto use = [this](const std::string& name) {
        int heard = 0;
        for (int round = 0; round < 100; ++round) {
            const auto token = centre_->addObserver(name, [&](const auto&) { ++heard; });
            centre_->post({name, {}});
        }
        EXPECT_EQ(heard, 100);
    };
    std::thread other(use, "other");
    use("own");
    other.join();
}

}  // namespace
