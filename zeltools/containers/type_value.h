#pragma once
/// \file
/// `CTypeValue<T1, T2>`: a value tagged with a type code, packed without
/// padding because vectors of pairs are written to files byte for byte.

#include <type_traits>

namespace zel {

#pragma pack(push, 1)

/// A type code (`type`, an unsigned integer) and the value it qualifies.
///
/// Stored layout: `type` then `value`, little-endian, no padding between or
/// after them, so the record is exactly sizeof(T1) + sizeof(T2) bytes (3, 5,
/// 6, 8, 9 or 10 for the library's instantiations).
///
/// Order: by type first (unsigned), then by value compared as its own type
/// (signed for signed values, numeric for floating ones). Equality needs both
/// members equal; a NaN value is never equal to anything, itself included.
template <class T1, class T2>
struct CTypeValue {
  T1 type;
  T2 value;

  /// Type 0, value 0.
  constexpr CTypeValue() noexcept : type(0), value(0) {}
  constexpr CTypeValue(T1 t, T2 v) noexcept : type(t), value(v) {}
  constexpr CTypeValue(const CTypeValue&) noexcept = default;
  constexpr CTypeValue& operator=(const CTypeValue&) noexcept = default;
  ~CTypeValue() = default;

  // Members are read into locals first: a packed member cannot bind to a
  // reference safely on targets that trap on misaligned access.
  constexpr bool operator<(const CTypeValue& o) const noexcept {
    const T1 ta = type, tb = o.type;
    if (ta != tb) return ta < tb;
    const T2 va = value, vb = o.value;
    return va < vb;
  }
  constexpr bool operator>(const CTypeValue& o) const noexcept {
    const T1 ta = type, tb = o.type;
    if (ta != tb) return ta > tb;
    const T2 va = value, vb = o.value;
    return va > vb;
  }
  constexpr bool operator==(const CTypeValue& o) const noexcept {
    const T1 ta = type, tb = o.type;
    const T2 va = value, vb = o.value;
    return ta == tb && va == vb;
  }
  constexpr bool operator!=(const CTypeValue& o) const noexcept { return !(*this == o); }
};

#pragma pack(pop)

// Vectors of pairs are copied and written as raw bytes.
static_assert(std::is_trivially_copyable_v<CTypeValue<unsigned short, double>>, "pairs are plain bytes");

static_assert(sizeof(CTypeValue<unsigned char, int>) == 5, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned char, unsigned int>) == 5, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned char, unsigned short>) == 3, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned char, double>) == 9, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned short, double>) == 10, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned short, float>) == 6, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned short, unsigned int>) == 6, "stored pair layout");
static_assert(sizeof(CTypeValue<unsigned int, unsigned int>) == 8, "stored pair layout");

} // namespace zel
