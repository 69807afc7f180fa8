#pragma once
/// \file
/// The element type codes of the untyped containers: one table from a type
/// code to the byte length of one element. `VBase::SetType` and the data
/// store's typed lists both size their elements from it, so a column written
/// by one is read back by the other with the same width.

#include <array>

namespace zel {

/// Highest type code with its own entry; every code above it means 4 bytes.
inline constexpr unsigned int kLastTypeCode = 44;

namespace internal {

/// Element length by type code 0..44. Code 0 has no fixed length (the caller
/// gives it). The odd lengths 3, 5, 6 and 9 are the packed type-value records
/// (codes 22, 23/31, 25, 24/41), which carry no padding.
inline constexpr std::array<unsigned char, kLastTypeCode + 1> kTypeElementLength = {
    0,                          // 0: caller-given
    1, 1, 1,                    // 1-3
    2, 2,                       // 4, 5
    4, 4,                       // 6, 7
    8, 8,                       // 8, 9
    4,                          // 10
    8,                          // 11: double
    4, 4, 4, 4, 4, 4, 4, 4, 4,  // 12-20
    2,                          // 21
    3,                          // 22
    5,                          // 23
    9,                          // 24
    6,                          // 25
    8,                          // 26
    12,                         // 27
    8,                          // 28
    12,                         // 29
    16,                         // 30
    5,                          // 31
    8, 8,                       // 32, 33
    12,                         // 34
    4, 4, 4, 4, 4, 4,           // 35-40
    9,                          // 41
    12, 12,                     // 42, 43
    16,                         // 44
};

} // namespace internal

/// Byte length of one element of type code `type`: `size` for code 0, the
/// table's length for codes 1..44, and 4 for every code above 44 (the table is
/// closed at 44 on purpose, so codes added by newer writers still read as
/// 4-byte values).
constexpr unsigned int TypeElementSize(unsigned int type, unsigned int size) noexcept {
  if (type == 0) return size;
  if (type > kLastTypeCode) return 4;
  return internal::kTypeElementLength[type];
}

} // namespace zel
