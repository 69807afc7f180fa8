#pragma once
/// \file
/// Conversion between the library's byte encoding, Windows-1251, and UTF-8,
/// for the edges of an application (terminals, logs, UTF-8 sources).

#include <string>
#include <string_view>

namespace zel {

/// Windows-1251 bytes to UTF-8. Every byte converts; 0x98, unassigned in
/// Windows-1251, becomes U+0098 so that the conversion round-trips.
std::string Cp1251ToUtf8(std::string_view text);

/// UTF-8 to Windows-1251. A character that Windows-1251 cannot show, and a
/// malformed UTF-8 sequence, become `replacement` (one byte each).
std::string Utf8ToCp1251(std::string_view text, char replacement = '?');

} // namespace zel
