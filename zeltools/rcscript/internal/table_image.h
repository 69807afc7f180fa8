#pragma once
// String tables compiled into a shared object by the CMake helper
// `zel_add_string_tables` (cmake/ZelStringTables.cmake), and read back when
// `CResurce::Init` is given that shared object. Not part of the installed
// interface.
//
// The shared object exports two C symbols: `zel_string_tables_data`, the
// image below, and `zel_string_tables_size`, its size in bytes (an unsigned
// 64-bit integer). Stored layout, little-endian, nothing between fields:
//   8 bytes   "ZELSTR1\0"
//   u32       number of entries
//   entries:  u16 id, u16 language (1033 or 1049), u32 length, the text's
//             `length` Windows-1251 bytes (no terminator)
// An image comes from a file the library did not write, so the reader checks
// every count and length against the bytes that are left.

#include <cstddef>
#include <string>

#include "zeltools/rcscript/internal/rc_script.h"

namespace zel::internal {

inline constexpr const char* TableImageSymbol = "zel_string_tables_data";
inline constexpr const char* TableImageSizeSymbol = "zel_string_tables_size";

/// The image of `tables` in the layout above.
std::string EncodeTableImage(const ScriptTables& tables);

/// Reads an image into `tables`, replacing what they held. False, with
/// `tables` left as they were, when the image is damaged: a wrong mark, a count or length beyond the
/// bytes left, an unknown language, an id given twice, or trailing bytes.
bool DecodeTableImage(const unsigned char* data, std::size_t size, ScriptTables& tables);

} // namespace zel::internal
