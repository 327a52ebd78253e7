#pragma once

#include "OdString.h"
#include "SdkExport.h"

#include <compare>
#include <cstdint>

// A drawing object's persistent 64-bit handle. The value 0 is the null handle.
class UTSDK_EXPORT OdDbHandle {
 public:
  constexpr OdDbHandle() noexcept = default;
  constexpr OdDbHandle(std::uint64_t value) noexcept : m_value(value) {}
  // Parses 1 to 16 hexadecimal digits (either case). Anything else (empty
  // text, other characters, more digits) gives the null handle.
  explicit OdDbHandle(const OdString& hex);

  constexpr bool isNull() const noexcept { return m_value == 0; }
  constexpr std::uint64_t value() const noexcept { return m_value; }
  constexpr explicit operator std::uint64_t() const noexcept { return m_value; }

  // Upper-case hexadecimal without leading zeros ("0" for the null handle).
  OdString ascii() const;

  friend constexpr bool operator==(const OdDbHandle&, const OdDbHandle&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const OdDbHandle&, const OdDbHandle&) noexcept = default;

 private:
  std::uint64_t m_value = 0;
};
