// A vector of three doubles for the scene of the virtual camera.
#pragma once

#include <cmath>

namespace nubrix {

struct Vec3 {
    double x;
    double y;
    double z;
};

inline Vec3 operator+(const Vec3 &a, const Vec3 &b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline Vec3 operator-(const Vec3 &a, const Vec3 &b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline Vec3 operator*(const Vec3 &a, double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}

inline double dot(const Vec3 &a, const Vec3 &b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline Vec3 normalized(const Vec3 &a)
{
    return a * (1.0 / std::sqrt(dot(a, a)));
}

}  // namespace nubrix
