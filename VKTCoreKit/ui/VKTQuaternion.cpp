#include "VKTCoreKit/ui/VKTQuaternion.h"

#include <algorithm>
#include <cmath>

#include "VKTCoreKit/ui/VKTAngle.h"

namespace {

// The cosine of a pitch at which yaw and roll cannot be told apart.
constexpr double poleCosine = 1e-8;

// Without overflow and underflow on the way.
double lengthOf(const VKTQuaternion& q) {
    return std::hypot(std::hypot(q.w, q.x), std::hypot(q.y, q.z));
}

double distance(const VKTQuaternion& a, const VKTQuaternion& b) {
    return lengthOf({a.w - b.w, a.x - b.x, a.y - b.y, a.z - b.z});
}

double dot(const VKTQuaternion& a, const VKTQuaternion& b) {
    return a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z;
}

VKTQuaternion negated(const VKTQuaternion& q) {
    return {-q.w, -q.x, -q.y, -q.z};
}

// The sign of the same rotation that is nearer.
VKTQuaternion nearest(const VKTQuaternion& q, const VKTQuaternion& reference) {
    return dot(q, reference) < 0 ? negated(q) : q;
}

// Between unit quaternions as vectors, from 0 to pi. The arc cosine would lose half the digits of small ones.
double vectorAngle(const VKTQuaternion& a, const VKTQuaternion& b) {
    return 2 * std::atan2(distance(a, b), distance(a, negated(b)));
}

double angleOrZero(double angle) {
    return std::isfinite(angle) ? angle : 0;
}

}  // namespace

VKTQuaternion VKTQuaternion::rotation(const VKTVector3& axis, double angle) {
    const double length = std::hypot(axis.x, axis.y, axis.z);
    if (!(length > 0) || !std::isfinite(length) || !std::isfinite(angle)) return {};
    const double sine = std::sin(angle / 2);
    return VKTQuaternion{std::cos(angle / 2), axis.x / length * sine, axis.y / length * sine,
                         axis.z / length * sine}
        .normalized();
}

VKTQuaternion VKTQuaternion::fromAngles(const VKTEulerAngles& angles) {
    return rotation({0, 1, 0}, angleOrZero(angles.yaw)) * rotation({1, 0, 0}, angleOrZero(angles.pitch)) *
           rotation({0, 0, 1}, angleOrZero(angles.roll));
}

// From the entries of the rotation matrix, by row and column: the third column is where z goes.
VKTEulerAngles VKTQuaternion::angles() const {
    const VKTQuaternion q = normalized();
    const double m13 = 2 * (q.x * q.z + q.w * q.y);
    const double m23 = 2 * (q.y * q.z - q.w * q.x);
    const double m33 = 1 - 2 * (q.x * q.x + q.y * q.y);
    const double cosine = std::hypot(m13, m33);
    const double pitch = std::atan2(-m23, cosine);
    if (cosine < poleCosine) {
        const double m11 = 1 - 2 * (q.y * q.y + q.z * q.z);
        const double m31 = 2 * (q.x * q.z - q.w * q.y);
        return {vkt_wrappedAngle(std::atan2(-m31, m11)), pitch, 0};
    }
    const double m21 = 2 * (q.x * q.y + q.w * q.z);
    const double m22 = 1 - 2 * (q.x * q.x + q.z * q.z);
    return {vkt_wrappedAngle(std::atan2(m13, m33)), pitch, vkt_wrappedAngle(std::atan2(m21, m22))};
}

VKTQuaternion VKTQuaternion::normalized() const {
    const double largest = std::max({std::abs(w), std::abs(x), std::abs(y), std::abs(z)});
    const double length = lengthOf({w / largest, x / largest, y / largest, z / largest});
    if (!(length > 0) || !std::isfinite(length)) return {};
    return {w / largest / length, x / largest / length, y / largest / length, z / largest / length};
}

VKTVector3 VKTQuaternion::rotated(const VKTVector3& vector) const {
    const VKTQuaternion q = normalized();
    const VKTQuaternion turned = q * VKTQuaternion{0, vector.x, vector.y, vector.z} * q.conjugate();
    return {turned.x, turned.y, turned.z};
}

double VKTQuaternion::angleTo(const VKTQuaternion& other) const {
    const VKTQuaternion from = normalized();
    return std::min(2 * vectorAngle(from, nearest(other.normalized(), from)), VKTHalfTurn);
}

VKTQuaternion VKTQuaternion::slerp(const VKTQuaternion& from, const VKTQuaternion& to, double t) {
    const VKTQuaternion a = from.normalized();
    const VKTQuaternion b = nearest(to.normalized(), a);
    const double share = std::isnan(t) ? 0 : std::clamp(t, 0.0, 1.0);
    const double angle = vectorAngle(a, b);
    if (angle == 0) return a;
    const double ofA = std::sin((1 - share) * angle) / std::sin(angle);
    const double ofB = std::sin(share * angle) / std::sin(angle);
    return VKTQuaternion{ofA * a.w + ofB * b.w, ofA * a.x + ofB * b.x, ofA * a.y + ofB * b.y,
                         ofA * a.z + ofB * b.z}
        .normalized();
}

VKTQuaternion operator*(const VKTQuaternion& left, const VKTQuaternion& right) {
    return {left.w * right.w - left.x * right.x - left.y * right.y - left.z * right.z,
            left.w * right.x + left.x * right.w + left.y * right.z - left.z * right.y,
            left.w * right.y - left.x * right.z + left.y * right.w + left.z * right.x,
            left.w * right.z + left.x * right.y - left.y * right.x + left.z * right.w};
}
