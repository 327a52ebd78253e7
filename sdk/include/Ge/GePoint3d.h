#pragma once

#include <cmath>

// A point in space. Plain value type: exact equality, component-wise
// arithmetic, Euclidean distance.
class OdGePoint3d {
 public:
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  constexpr OdGePoint3d() noexcept = default;
  constexpr OdGePoint3d(double xx, double yy, double zz) noexcept : x(xx), y(yy), z(zz) {}

  double distanceTo(const OdGePoint3d& other) const noexcept {
    return std::hypot(x - other.x, y - other.y, z - other.z);
  }
  // Equal within `tolerance` in distance.
  bool isEqualTo(const OdGePoint3d& other, double tolerance = 1e-10) const noexcept {
    return distanceTo(other) <= tolerance;
  }

  constexpr OdGePoint3d& operator+=(const OdGePoint3d& o) noexcept {
    x += o.x;
    y += o.y;
    z += o.z;
    return *this;
  }
  constexpr OdGePoint3d& operator-=(const OdGePoint3d& o) noexcept {
    x -= o.x;
    y -= o.y;
    z -= o.z;
    return *this;
  }
  constexpr OdGePoint3d& operator*=(double f) noexcept {
    x *= f;
    y *= f;
    z *= f;
    return *this;
  }
  constexpr OdGePoint3d& operator/=(double f) noexcept {
    x /= f;
    y /= f;
    z /= f;
    return *this;
  }

  friend constexpr OdGePoint3d operator+(OdGePoint3d a, const OdGePoint3d& b) noexcept { return a += b; }
  friend constexpr OdGePoint3d operator-(OdGePoint3d a, const OdGePoint3d& b) noexcept { return a -= b; }
  friend constexpr OdGePoint3d operator-(const OdGePoint3d& a) noexcept { return {-a.x, -a.y, -a.z}; }
  friend constexpr OdGePoint3d operator*(OdGePoint3d a, double f) noexcept { return a *= f; }
  friend constexpr OdGePoint3d operator*(double f, OdGePoint3d a) noexcept { return a *= f; }
  friend constexpr OdGePoint3d operator/(OdGePoint3d a, double f) noexcept { return a /= f; }
  friend constexpr bool operator==(const OdGePoint3d&, const OdGePoint3d&) noexcept = default;
};
