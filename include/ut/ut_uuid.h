#pragma once

// Universally unique identifiers (RFC 4122): random (version 4) generation,
// the canonical text form and parsing.

#include <ut/ut_export.h>

#include "OdString.h"

#include <array>
#include <compare>
#include <cstdint>
#include <functional>

namespace ut {

class UT_EXPORT Uuid {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  // The nil identifier (all bits zero).
  Uuid() = default;
  explicit Uuid(const Bytes& bytes) : m_bytes(bytes) {}

  // A new random (version 4, variant 1) identifier from the operating
  // system's random source. Never throws: should that source fail, the
  // result is nil.
  static Uuid generate();

  // Parses the canonical form "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" (hex
  // digits in either case), optionally enclosed in braces as Windows writes
  // GUIDs. Anything else (other lengths, misplaced hyphens, white space,
  // unbalanced braces) is refused: false, and `uuid` is left untouched.
  static bool parse(const OdString& text, Uuid& uuid);

  // The canonical form in lower case, without braces (36 characters).
  OdString toString() const;
  // The Windows registry form: upper case in braces (38 characters).
  OdString toBracedString() const;

  bool isNil() const;
  const Bytes& bytes() const { return m_bytes; }

  // Byte-wise order, so the order of the canonical text forms.
  friend bool operator==(const Uuid& a, const Uuid& b) = default;
  friend std::strong_ordering operator<=>(const Uuid& a, const Uuid& b) = default;

 private:
  Bytes m_bytes{};
};

}  // namespace ut

template <>
struct std::hash<ut::Uuid> {
  std::size_t operator()(const ut::Uuid& uuid) const noexcept {
    std::size_t h = 0;
    for (std::uint8_t b : uuid.bytes()) h = h * 131 + b;
    return h;
  }
};
