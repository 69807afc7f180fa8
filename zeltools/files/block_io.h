#pragma once
/// \file
/// The block protocol that every persistent object follows: it appends its
/// payload as one contiguous block at the end of a file and describes the
/// block in a `DOCUMENT` (position, length); reading positions the file at
/// the record and reads the same payload back.
///
/// This header only names `CFileBase`: the container templates persist
/// through the non-template functions declared here, so that including a
/// container does not pull in the file class.
///
/// Files are where the library meets the outside world, so the reading side
/// never trusts a record or a count: a record outside the file, or a count
/// whose elements the rest of the file cannot hold, ends in message 110
/// through the file's reporting (thrown, or in its sink with false returned)
/// before anything is allocated for it.
///
/// Vector-like payloads are a 32-bit element count followed by the elements'
/// raw bytes (for `Vector<double>` 4 + 8n bytes).

#include <cstddef>
#include <type_traits>
#include <utility>

#include "zeltools/files/document.h"

namespace zel {

class CFileBase;

/// Where a block being written begins, and how many failures its file had
/// reported by then.
struct SBlockStart {
  long long position = 0;
  unsigned int errors = 0;
};

/// Notes the file's length and failure count before a payload is written.
SBlockStart BeginBlock(const CFileBase& file) noexcept;
/// Describes the block begun at `start` in `doc`: its position and the
/// growth of the file's length since. `doc` stays {0, 0} when the file
/// reported a failure (to its sink) meanwhile.
void EndBlock(const CFileBase& file, const SBlockStart& start, DOCUMENT& doc) noexcept;
/// Narrows a block record to the older 32-bit form; a block that starts or
/// extends beyond what 32 bits can describe reports 111 and leaves `doc`
/// {0, 0}.
void NarrowBlock(CFileBase& file, const DOCUMENT& wide, DOCUMENT_OLD& doc);

/// Writes one block: sets `doc` to {0, 0}; when `skip` (an empty object not
/// written on request) stops there; otherwise calls `write()`, which appends
/// the payload through the file, and sets `doc` to the file's length before
/// the call and the growth of the length across it. The length is measured,
/// not predicted, so a payload written in several pieces is described
/// exactly. `doc` is filled only after a successful write: when `write`
/// returns something that converts to false, or when the file reported a
/// failure (to its sink) meanwhile, `doc` stays {0, 0}.
template <class WritePayload>
void WriteBlock(CFileBase& file, DOCUMENT& doc, bool skip, WritePayload&& write) {
  doc = DOCUMENT{};
  if (skip)
    return;
  const SBlockStart start = BeginBlock(file);
  if constexpr (std::is_void<decltype(std::forward<WritePayload>(write)())>::value) {
    std::forward<WritePayload>(write)();
  } else {
    if (!std::forward<WritePayload>(write)())
      return;
  }
  EndBlock(file, start, doc);
}

/// `WriteBlock` for the older 32-bit record (see `NarrowBlock`).
template <class WritePayload>
void WriteBlockOld(CFileBase& file, DOCUMENT_OLD& doc, bool skip, WritePayload&& write) {
  DOCUMENT wide;
  WriteBlock(file, wide, skip, std::forward<WritePayload>(write));
  NarrowBlock(file, wide, doc);
}

/// Checks that `count` elements of `elementSize` bytes fit between the read
/// position and the end of the file; otherwise reports 110 and returns false
/// (when the file has a sink; without one it throws).
bool CheckRemaining(CFileBase& file, unsigned long long count, std::size_t elementSize);

/// Positions the file's read position at the start of the block `doc`.
/// False for an empty record (length 0: the caller clears itself and stops),
/// and for a record that does not lie inside the file (negative figures, or
/// position + length beyond the length), which reports 110.
bool OpenBlock(CFileBase& file, const DOCUMENT& doc);
/// The older 32-bit record, checked and opened by the same rule.
bool OpenBlockOld(CFileBase& file, const DOCUMENT_OLD& doc);

/// Reads a 32-bit little-endian count at `pos` (-1: the read position) and
/// checks that `count` × `elementSize` bytes remain after it (110
/// otherwise). False, with `count` 0, on any failure reported to a sink.
bool ReadCount(CFileBase& file, unsigned int& count, std::size_t elementSize, long long pos = -1);

/// Writes a 32-bit count at `pos` (-1: the end of the file); returns where
/// it went, or -1 after a failure reported to the file's sink.
long long WriteCount(CFileBase& file, unsigned int count, long long pos = -1);

/// What `WriteArray` returns when the file refused the write.
inline constexpr unsigned long long WriteArrayFailed = ~0ull;
/// Writes a vector-like payload: the 32-bit `count` at `pos` (-1: the end of
/// the file) and, when it is not 0, the `count` × `elementSize` bytes of
/// `data` right after it. Returns the position of the count, or
/// `WriteArrayFailed` after a failure reported to the file's sink. A count
/// above 2^32 - 1 cannot be stored and reports 111.
unsigned long long WriteArray(CFileBase& file, long long pos, const void* data, unsigned long long count,
                              std::size_t elementSize);
/// Reads `size` bytes at the read position into `data`; false after a
/// failure reported to the file's sink.
bool ReadBytes(CFileBase& file, void* data, unsigned long long size);
/// Moves the read position `size` bytes on (past stored images that are
/// not read back).
bool SkipBytes(CFileBase& file, unsigned long long size);

} // namespace zel
