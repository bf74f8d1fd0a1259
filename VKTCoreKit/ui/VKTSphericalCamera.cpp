#include "VKTCoreKit/ui/VKTSphericalCamera.h"

#include <algorithm>
#include <cmath>

double VKTSphericalCamera::clampedPitch(double pitch) const {
    return std::clamp(pitch, -maximumPitch_, maximumPitch_);
}

VKTEulerAngles VKTSphericalCamera::angles() const {
    return {vkt_wrappedAngle(base_.yaw + dragYaw_), clampedPitch(base_.pitch + dragPitch_), base_.roll};
}

void VKTSphericalCamera::setAngles(const VKTEulerAngles& angles) {
    if (!std::isfinite(angles.yaw) || !std::isfinite(angles.pitch) || !std::isfinite(angles.roll)) return;
    base_ = {vkt_wrappedAngle(angles.yaw), clampedPitch(angles.pitch), vkt_wrappedAngle(angles.roll)};
    dragYaw_ = dragPitch_ = 0;
}

void VKTSphericalCamera::setAttitude(const VKTQuaternion& attitude, double screenRotation) {
    const bool isFinite = std::isfinite(attitude.w) && std::isfinite(attitude.x) &&
                          std::isfinite(attitude.y) && std::isfinite(attitude.z);
    if (!isFinite || !std::isfinite(screenRotation)) return;
    const VKTQuaternion upright = VKTQuaternion::rotation({1, 0, 0}, -VKTQuarterTurn);
    const VKTQuaternion screen = VKTQuaternion::rotation({0, 0, 1}, screenRotation);
    base_ = (upright * attitude.normalized() * screen).angles();
}

void VKTSphericalCamera::dragBy(VKTPoint translation, double viewHeight) {
    if (!(viewHeight > 0) || !std::isfinite(viewHeight)) return;
    // At the picture's middle; the picture lies in a plane, so that a point is worth less towards its edges.
    const double radiansPerPoint = 2 * std::tan(fieldOfView_ / 2) / viewHeight;
    const double yaw = translation.x * radiansPerPoint;
    const double pitch = translation.y * radiansPerPoint;
    if (!std::isfinite(yaw) || !std::isfinite(pitch)) return;
    dragYaw_ = vkt_wrappedAngle(dragYaw_ + yaw);
    dragPitch_ = clampedPitch(clampedPitch(base_.pitch + dragPitch_) + pitch) - base_.pitch;
}

void VKTSphericalCamera::setMaximumPitch(double maximumPitch) {
    if (std::isfinite(maximumPitch)) maximumPitch_ = std::clamp(maximumPitch, 0.0, VKTQuarterTurn);
}

void VKTSphericalCamera::setFieldOfView(double fieldOfView) {
    if (std::isfinite(fieldOfView))
        fieldOfView_ = std::clamp(fieldOfView, NarrowestFieldOfView, WidestFieldOfView);
}
