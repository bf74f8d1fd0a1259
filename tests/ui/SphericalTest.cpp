#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

#include "VKTCoreKit/ui/VKTSphericalCamera.h"

namespace {

constexpr double pi = std::numbers::pi;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

double distance(const VKTVector3& a, const VKTVector3& b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

// What the header says of axes, signs and order.
TEST(Quaternion, TurnsAsAnnounced) {
    const std::tuple<const char*, VKTEulerAngles, VKTVector3, VKTVector3> table[] = {
        {"yaw: to the left", {pi / 2, 0, 0}, {-1, 0, 0}, {0, 1, 0}},
        {"pitch: up", {0, pi / 2, 0}, {0, 1, 0}, {0, 0, 1}},
        {"roll: to the left", {0, 0, pi / 2}, {0, 0, -1}, {-1, 0, 0}},
        {"yaw before pitch", {pi / 2, pi / 2, 0}, {0, 1, 0}, {1, 0, 0}},
        {"pitch before roll", {0, pi / 2, pi / 2}, {0, 1, 0}, {-1, 0, 0}}};
    for (const auto& [what, angles, ahead, up] : table) {
        const VKTQuaternion q = VKTQuaternion::fromAngles(angles);
        EXPECT_NEAR(distance(q.rotated({0, 0, -1}), ahead), 0, 1e-12) << what;
        EXPECT_NEAR(distance(q.rotated({0, 1, 0}), up), 0, 1e-12) << what;
    }
}

TEST(Quaternion, AnglesGoThereAndBack) {
    for (int i = 0; i < 9 * 6 * 3; ++i) {
        const double pitches[] = {-pi / 2, -pi / 2 + 1e-6, -1, 0, pi / 2 - 1e-6, pi / 2};
        const double rolls[] = {-3.1, 0, 2};
        const VKTEulerAngles angles{i / 18 * 0.75 - 3, pitches[i % 6], rolls[i / 6 % 3]};
        const VKTQuaternion q = VKTQuaternion::fromAngles(angles);
        const VKTEulerAngles back = q.angles();
        EXPECT_NEAR(VKTQuaternion::fromAngles(back).angleTo(q), 0, 1e-8) << i;
        EXPECT_NEAR(back.pitch, angles.pitch, 1e-12) << i;
        EXPECT_NEAR(back.roll, std::abs(angles.pitch) == pi / 2 ? 0 : angles.roll, 1e-9) << i;
    }
}

TEST(Quaternion, NormalizesWhatIsDegenerate) {
    for (const VKTQuaternion& q : {VKTQuaternion{0, 0, 0, 0}, {1, NaN, 0, 0}, {0, infinity, 0, 0}})
        EXPECT_EQ(q.normalized(), VKTQuaternion());
    for (const double size : {1e-310, 1e-160, 1.0, 1e308})
        EXPECT_NEAR((VKTQuaternion{size, size, size, -size}.normalized().z), -0.5, 1e-12) << size;
}

TEST(Quaternion, SlerpTakesTheShortestWayAtConstantSpeed) {
    const VKTQuaternion from = VKTQuaternion::fromAngles({1, 0.5, -2});
    for (const double angle : {0.0, 1e-12, 1e-7, 0.01, 1.0, 3.1}) {
        const auto turned = [&](double by) { return VKTQuaternion::rotation({1, 2, -2}, by) * from; };
        for (const double t : {0.0, 0.25, 0.5, 1.0, 7.0}) {
            const VKTQuaternion expected = turned(angle * std::min(t, 1.0));
            for (const VKTQuaternion& to : {turned(angle), turned(angle) * VKTQuaternion{-1}})
                EXPECT_NEAR(VKTQuaternion::slerp(from, to, t).angleTo(expected), 0, 1e-14) << angle;
        }
    }
    EXPECT_NEAR(VKTQuaternion::slerp({}, {0, 1, 0, 0}, 0.5).angleTo({}), pi / 2, 1e-12) << "half a turn";
}

TEST(SphericalCamera, FollowsTheFinger) {
    VKTSphericalCamera camera;
    camera.setFieldOfView(pi / 2);
    camera.setMaximumPitch(1);
    camera.dragBy({5, 5000}, 1000);
    EXPECT_NEAR(camera.angles().yaw, 0.01, 1e-12) << "the picture goes right, the camera left";
    EXPECT_EQ(camera.angles().pitch, 1) << "the picture goes down, the camera up and no further";
    camera.dragBy({0, -50}, 1000);
    EXPECT_NEAR(camera.angles().pitch, 0.9, 1e-12) << "the way back is felt at once";
    camera.setAngles({3 * pi, 2, -pi});
    camera.dragBy({NaN, 1}, 1000);
    camera.dragBy({1, 1}, 0);
    camera.setAngles({NaN, 0, 0});
    camera.setAttitude({NaN, 0, 0, 0});
    EXPECT_EQ(camera.angles(), (VKTEulerAngles{pi, 1, pi})) << "in the limits; nothing after it counts";
}

TEST(SphericalCamera, FollowsTheDevice) {
    const VKTQuaternion upright = VKTQuaternion::rotation({1, 0, 0}, pi / 2);
    VKTSphericalCamera camera;
    camera.setAttitude(VKTQuaternion::rotation({0, 0, 1}, 0.5) * upright);
    const VKTVector3 left{-std::sin(0.5), 0, -std::cos(0.5)};
    EXPECT_NEAR(distance(camera.lookDirection(), left), 0, 1e-12);
    // A quarter turn clockwise: the picture has to go the other way to stand upright.
    camera.setAttitude(upright * VKTQuaternion::rotation({0, 0, 1}, -pi / 2), pi / 2);
    EXPECT_NEAR(camera.orientation().angleTo({}), 0, 1e-12);
    camera.dragBy({0, -100}, 1000);
    camera.setAttitude(upright);
    EXPECT_NEAR(camera.angles().pitch, -0.2 * std::tan(camera.fieldOfView() / 2), 1e-12) << "the drag stays";
}

}  // namespace
