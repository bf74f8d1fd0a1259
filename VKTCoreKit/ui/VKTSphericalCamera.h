// Where the viewer of a spherical video looks.
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTRect.h"
#include "VKTCoreKit/ui/VKTAngle.h"
#include "VKTCoreKit/ui/VKTQuaternion.h"

/// A camera in the middle of the sphere, turned by a device's attitude, by dragging, or by both: the drag is
/// added to what the attitude says. Axes and signs are those of VKTQuaternion.h. Whatever is not finite is
/// ignored.
///
/// A value; one thread at a time.
class VKT_EXPORT VKTSphericalCamera {
  public:
    static constexpr double NarrowestFieldOfView = vkt_radiansFromDegrees(20);
    static constexpr double WidestFieldOfView = vkt_radiansFromDegrees(120);

    /// The angles that the camera has now: pitch within the limit, yaw and roll above -pi and up to pi.
    [[nodiscard]] VKTEulerAngles angles() const;
    [[nodiscard]] VKTQuaternion orientation() const { return VKTQuaternion::fromAngles(angles()); }

    /// Of length 1.
    [[nodiscard]] VKTVector3 lookDirection() const { return orientation().rotated({0, 0, -1}); }

    /// Puts the camera there and forgets attitude and drag.
    void setAngles(const VKTEulerAngles& angles);

    /// How the device stands in a frame with z upwards, as motion sensors report it: y ahead (where the video
    /// has its middle), x to the right; the device's own axes are x to the right and y up on its face, z out
    /// of it. `screenRotation` is how far the picture's upward direction is turned from the device's y,
    /// counter-clockwise as the viewer sees it. The drag stays.
    void setAttitude(const VKTQuaternion& attitude, double screenRotation = 0);

    /// A finger, or keys that stand for one, moved the picture by so many points in a view of that height:
    /// what is in the middle of the picture keeps to the finger. A drag beyond the largest pitch is lost, so
    /// that the way back is felt at once.
    void dragBy(VKTPoint translation, double viewHeight);

    /// How far up and down the camera goes, from 0 to pi/2 (at first).
    void setMaximumPitch(double maximumPitch);
    [[nodiscard]] double maximumPitch() const { return maximumPitch_; }

    /// Of the picture's height; cut to the limits above. At first 75 degrees.
    void setFieldOfView(double fieldOfView);
    [[nodiscard]] double fieldOfView() const { return fieldOfView_; }

  private:
    [[nodiscard]] double clampedPitch(double pitch) const;

    VKTEulerAngles base_;
    double dragYaw_ = 0;
    double dragPitch_ = 0;
    double maximumPitch_ = VKTQuarterTurn;
    double fieldOfView_ = vkt_radiansFromDegrees(75);
};
