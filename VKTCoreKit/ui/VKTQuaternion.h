// Rotations in space, for spherical video.
//
// The axes are right-handed: x to the right, y up, z out of the picture towards the viewer; a camera that is
// not turned looks along -z. Angles are in radians and turn by the right-hand rule: about y to the left,
// about x upwards, about z counter-clockwise as the viewer sees it.
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"

/// A point or a direction.
struct VKTVector3 {
    double x = 0;
    double y = 0;
    double z = 0;

    friend bool operator==(const VKTVector3&, const VKTVector3&) = default;
};

/// How a camera is turned. The rotations happen about its own axes, first yaw, then pitch, then roll; seen
/// from the world that is roll first, then pitch, then yaw.
struct VKTEulerAngles {
    double yaw = 0;    ///< about y; positive looks to the left
    double pitch = 0;  ///< about x; positive looks up
    double roll = 0;   ///< about z; positive tilts the camera to the left, and the picture to the right

    friend bool operator==(const VKTEulerAngles&, const VKTEulerAngles&) = default;
};

struct VKTQuaternion;
VKT_EXPORT VKTQuaternion operator*(const VKTQuaternion& left, const VKTQuaternion& right);

/// A rotation, as w + xi + yj + zk with Hamilton's product. q and -q are the same rotation. A value; pure
/// functions, safe from any thread.
///
/// Operations that take rotations normalise what they are given, except for the product and the conjugate.
struct VKT_EXPORT VKTQuaternion {
    double w = 1;
    double x = 0;
    double y = 0;
    double z = 0;

    /// No rotation when the axis has no length or anything is not finite.
    static VKTQuaternion rotation(const VKTVector3& axis, double angle);

    /// Angles that are not finite count as 0.
    static VKTQuaternion fromAngles(const VKTEulerAngles& angles);

    /// The angles that make this rotation: pitch from -pi/2 to pi/2, yaw and roll above -pi and up to pi.
    /// Straight up and down, where yaw and roll are one turn, it is all in the yaw.
    [[nodiscard]] VKTEulerAngles angles() const;

    /// Of length 1; no rotation when there is nothing to make it of: all 0, or something not finite.
    [[nodiscard]] VKTQuaternion normalized() const;

    /// The opposite rotation, for one of length 1.
    [[nodiscard]] VKTQuaternion conjugate() const { return {w, -x, -y, -z}; }

    [[nodiscard]] VKTVector3 rotated(const VKTVector3& vector) const;

    /// The angle of the rotation that is left between both, from 0 to pi.
    [[nodiscard]] double angleTo(const VKTQuaternion& other) const;

    /// The share `t` of the shortest way between both, at constant speed; t is cut to 0 to 1, and is 0 when
    /// it is no number. Half a turn apart there are two ways, and it takes the one that the signs name.
    static VKTQuaternion slerp(const VKTQuaternion& from, const VKTQuaternion& to, double t);

    /// The rotation `right` followed by `left`, about axes that stand still.
    friend VKTQuaternion operator*(const VKTQuaternion& left, const VKTQuaternion& right);

    friend bool operator==(const VKTQuaternion&, const VKTQuaternion&) = default;
};
