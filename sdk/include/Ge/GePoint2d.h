#pragma once

#include <cmath>

// A point in the plane. Plain value type: exact equality, component-wise
// arithmetic, Euclidean distance.
class OdGePoint2d {
 public:
  double x = 0.0;
  double y = 0.0;

  constexpr OdGePoint2d() noexcept = default;
  constexpr OdGePoint2d(double xx, double yy) noexcept : x(xx), y(yy) {}

  double distanceTo(const OdGePoint2d& other) const noexcept { return std::hypot(x - other.x, y - other.y); }
  // Equal within `tolerance` in distance.
  bool isEqualTo(const OdGePoint2d& other, double tolerance = 1e-10) const noexcept {
    return distanceTo(other) <= tolerance;
  }

  constexpr OdGePoint2d& operator+=(const OdGePoint2d& o) noexcept {
    x += o.x;
    y += o.y;
    return *this;
  }
  constexpr OdGePoint2d& operator-=(const OdGePoint2d& o) noexcept {
    x -= o.x;
    y -= o.y;
    return *this;
  }
  constexpr OdGePoint2d& operator*=(double f) noexcept {
    x *= f;
    y *= f;
    return *this;
  }
  constexpr OdGePoint2d& operator/=(double f) noexcept {
    x /= f;
    y /= f;
    return *this;
  }

  friend constexpr OdGePoint2d operator+(OdGePoint2d a, const OdGePoint2d& b) noexcept { return a += b; }
  friend constexpr OdGePoint2d operator-(OdGePoint2d a, const OdGePoint2d& b) noexcept { return a -= b; }
  friend constexpr OdGePoint2d operator-(const OdGePoint2d& a) noexcept { return {-a.x, -a.y}; }
  friend constexpr OdGePoint2d operator*(OdGePoint2d a, double f) noexcept { return a *= f; }
  friend constexpr OdGePoint2d operator*(double f, OdGePoint2d a) noexcept { return a *= f; }
  friend constexpr OdGePoint2d operator/(OdGePoint2d a, double f) noexcept { return a /= f; }
  friend constexpr bool operator==(const OdGePoint2d&, const OdGePoint2d&) noexcept = default;
};
