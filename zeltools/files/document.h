#pragma once
/// \file
/// `DOCUMENT` and `DOCUMENT_OLD`: where one stored block lies in a file.
///
/// Both records are stored in files exactly as declared here: little-endian
/// fields, packed, nothing between them. A record of position 0 and length 0
/// stands for no block (an empty object that was not written).

#include <type_traits>

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "stored records are little-endian and are read by copying their bytes"
#endif

namespace zel {

#pragma pack(push, 1)

/// One stored block: logical position of its first byte and its length.
struct DOCUMENT {
  long long position = 0;
  long long length = 0;
};

/// The older 32-bit form of the same record.
struct DOCUMENT_OLD {
  unsigned int position = 0;
  unsigned int length = 0;
};

#pragma pack(pop)

static_assert(sizeof(long long) == 8 && sizeof(unsigned int) == 4, "stored field widths");
static_assert(sizeof(DOCUMENT) == 16, "DOCUMENT is stored as 16 bytes");
static_assert(sizeof(DOCUMENT_OLD) == 8, "DOCUMENT_OLD is stored as 8 bytes");
static_assert(std::is_trivially_copyable<DOCUMENT>::value && std::is_trivially_copyable<DOCUMENT_OLD>::value,
              "records are written and read as raw bytes");

} // namespace zel
