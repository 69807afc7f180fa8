#pragma once
/// \file
/// Globally unique identifiers and their text form.

#include <cstdint>
#include <string>

namespace zel {

/// A 128-bit identifier in its stored layout: a 32-bit, two 16-bit fields
/// (little-endian in files) and eight bytes.
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "GUID is stored as 16 bytes");

inline bool operator==(const GUID& a, const GUID& b) noexcept {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3)
    return false;
  for (int i = 0; i < 8; ++i)
    if (a.Data4[i] != b.Data4[i])
      return false;
  return true;
}
inline bool operator!=(const GUID& a, const GUID& b) noexcept { return !(a == b); }

/// The registry form "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}": braces,
/// upper-case hexadecimal, Data1, Data2, Data3, then Data4[0..1] and
/// Data4[2..7]; always 38 characters.
std::string GuidToString(const GUID& guid);

/// Reads exactly that form (hexadecimal digits of either case; braces
/// required; no blanks, nothing before or after). Returns 1 with `guid` set,
/// or 0 with `guid` unchanged.
unsigned char StringToGuid(const char* text, GUID& guid);

} // namespace zel
