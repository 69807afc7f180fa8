#pragma once
/// \file
/// `FILE_MARK`: the 32 bytes at the start of a work file that record when it
/// was last marked and how long it then was.

#include <cstddef>
#include <type_traits>

#include "zeltools/files/file_time.h"

namespace zel {

/// Stored layout, little-endian, 32 bytes:
///   0  8  time of marking, seconds since 1970 UTC (signed)
///   8  8  logical length of the file when it was marked (signed)
///  16 16  not written by the work files; zero in a new one
/// The fields are taken as they stand: a damaged mark reads as whatever
/// numbers its bytes hold and is never trusted for a position.
struct FILE_MARK {
  static constexpr unsigned int Size = 32;

  CTime time;
  long long length = 0;
  unsigned char reserved[16] = {};

  /// Writes the stored image into `image` (32 bytes).
  void Store(unsigned char* image) const noexcept {
    PutLittle(image, static_cast<unsigned long long>(time.GetTime()));
    PutLittle(image + 8, static_cast<unsigned long long>(length));
    for (std::size_t i = 0; i < sizeof reserved; ++i)
      image[16 + i] = reserved[i];
  }
  /// The mark whose stored image is `image` (32 bytes).
  static FILE_MARK Load(const unsigned char* image) noexcept {
    FILE_MARK mark;
    mark.time = CTime(static_cast<long long>(GetLittle(image)));
    mark.length = static_cast<long long>(GetLittle(image + 8));
    for (std::size_t i = 0; i < sizeof mark.reserved; ++i)
      mark.reserved[i] = image[16 + i];
    return mark;
  }
  /// All 32 stored bytes equal.
  friend bool operator==(const FILE_MARK& a, const FILE_MARK& b) noexcept {
    for (std::size_t i = 0; i < sizeof a.reserved; ++i)
      if (a.reserved[i] != b.reserved[i])
        return false;
    return a.time == b.time && a.length == b.length;
  }
  friend bool operator!=(const FILE_MARK& a, const FILE_MARK& b) noexcept { return !(a == b); }

private:
  static void PutLittle(unsigned char* at, unsigned long long value) noexcept {
    for (int i = 0; i < 8; ++i)
      at[i] = static_cast<unsigned char>(value >> (8 * i));
  }
  static unsigned long long GetLittle(const unsigned char* at) noexcept {
    unsigned long long value = 0;
    for (int i = 0; i < 8; ++i)
      value |= static_cast<unsigned long long>(at[i]) << (8 * i);
    return value;
  }
};
static_assert(sizeof(FILE_MARK) == FILE_MARK::Size && std::is_standard_layout_v<FILE_MARK>,
              "FILE_MARK is its 32 stored bytes, nothing between the fields");

} // namespace zel
