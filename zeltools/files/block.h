#pragma once
/// \file
/// The block protocol that every persistent object follows: it appends its
/// payload as one contiguous block at the end of a file and describes the
/// block in a `DOCUMENT` (position, length); reading positions the file at
/// the record and reads the same payload back.
///
/// Files are where the library meets the outside world, so the reading side
/// never trusts a record or a count: a record outside the file, or a count
/// whose elements the rest of the file cannot hold, ends in message 110
/// through the file's reporting (thrown, or in its sink with false returned)
/// before anything is allocated for it.
///
/// Vector-like payloads are a 32-bit element count followed by the elements'
/// raw bytes (for `Vector<double>` 4 + 8n bytes).

#include <climits>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"

namespace zel {

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
  const long long position = file.GetLength();
  const unsigned int errors = file.GetErrorCount();
  if constexpr (std::is_void<decltype(std::forward<WritePayload>(write)())>::value) {
    std::forward<WritePayload>(write)();
  } else {
    if (!std::forward<WritePayload>(write)())
      return;
  }
  if (file.GetErrorCount() != errors)
    return;
  doc.position = position;
  doc.length = file.GetLength() - position;
}

/// Checks that `count` elements of `elementSize` bytes fit between the read
/// position and the end of the file; otherwise reports 110 and returns false
/// (when the file has a sink; without one it throws).
inline bool CheckRemaining(CFileBase& file, unsigned long long count, std::size_t elementSize) {
  const long long left = file.GetLength() - file.GetPosRead();
  if (left >= 0 && (elementSize == 0 || count <= static_cast<unsigned long long>(left) / elementSize))
    return true;
  file.Message(110, "");
  return false;
}

/// Positions the file's read position at the start of the block `doc`.
/// False for an empty record (length 0: the caller clears itself and stops),
/// and for a record that does not lie inside the file (negative figures, or
/// position + length beyond the length), which reports 110.
inline bool OpenBlock(CFileBase& file, const DOCUMENT& doc) {
  const long long position = doc.position;
  const long long length = doc.length;
  if (length == 0)
    return false;
  const long long fileLength = file.GetLength();
  if (position < 0 || length < 0 || position > fileLength || length > fileLength - position) {
    file.Message(110, "");
    return false;
  }
  return file.SetPosRead(position) != 0;
}

/// The older 32-bit record, checked and opened by the same rule.
inline bool OpenBlockOld(CFileBase& file, const DOCUMENT_OLD& doc) {
  DOCUMENT wide;
  wide.position = doc.position;
  wide.length = doc.length;
  return OpenBlock(file, wide);
}

/// `WriteBlock` for the older 32-bit record: a block that starts or extends
/// beyond what 32 bits can describe reports 111 and leaves `doc` {0, 0}.
template <class WritePayload>
void WriteBlockOld(CFileBase& file, DOCUMENT_OLD& doc, bool skip, WritePayload&& write) {
  doc = DOCUMENT_OLD{};
  DOCUMENT wide;
  WriteBlock(file, wide, skip, std::forward<WritePayload>(write));
  if (wide.length == 0 && wide.position == 0)
    return;
  if (wide.position > static_cast<long long>(UINT_MAX) || wide.length > static_cast<long long>(UINT_MAX)) {
    file.Message(111, "");
    return;
  }
  doc.position = static_cast<unsigned int>(wide.position);
  doc.length = static_cast<unsigned int>(wide.length);
}

/// Reads a 32-bit little-endian count at `pos` (-1: the read position) and
/// checks that `count` × `elementSize` bytes remain after it (110
/// otherwise). False, with `count` 0, on any failure reported to a sink.
inline bool ReadCount(CFileBase& file, unsigned int& count, std::size_t elementSize, long long pos = -1) {
  count = 0;
  unsigned int stored = 0;
  if (!file.Read(&stored, sizeof stored, pos))
    return false;
  if (!CheckRemaining(file, stored, elementSize))
    return false;
  count = stored;
  return true;
}

} // namespace zel
