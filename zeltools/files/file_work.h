#pragma once
/// \file
/// `CFileWork`: a `CFileBase` whose physical file begins with a 32-byte
/// `FILE_MARK`. The mark lies outside every logical position: once the file
/// is open, position 0 is the first byte after the mark and the length
/// excludes it. Applications compare marks to tell whether two files (a
/// document and a work file made from it) belong together.
///
/// The mark is the one every `CFileBase` carries; the work-file operations
/// are what read and write it, at physical position 0 straight through the
/// system, beside the cache, which only ever holds logical bytes. Like the
/// rest of the file's state it is zeroed by `Close`.

#include "zeltools/files/file_base.h"

namespace zel {

class CMessageSink;

class CFileWork : public CFileBase {
public:
  /// The raw open of `CFileBase`, unchanged: no mark is read or written.
  using CFileBase::Open;

  /// Opens `name` as `CFileBase::Open` does, then reads the mark from the
  /// first 32 bytes. A file shorter than that (a new or emptied one) is given
  /// a fresh mark: the current time and length 0, written over its start, so
  /// its few old bytes are replaced. Then the logical file begins after the
  /// mark, with the read position at 0. Returns 1.
  ///
  /// A failed base open is reported as the base reports it (102, 108), then
  /// by message 101 naming `name`, in the sink of this call: 101 is the id
  /// by which callers of work files tell a failed open. An object that holds
  /// a file already gets the base's 101 alone, and its file stays open.
  /// Without a sink the base's message has been thrown. A file opened without
  /// write access that is too short for a mark cannot be given one: the open
  /// reports 103 (the file is read-only) and fails, leaving the file closed
  /// and untouched. A failed mark read reports 105, a failed mark write 107;
  /// the file is then closed too.
  unsigned char Open(const char* name, const char* mode, CMessageSink* sink = nullptr, unsigned char crash = 0);

  /// Stamps the mark with the current time and logical length, writes it at
  /// the file's start and flushes the file (`Flush`'s result). 1 at once,
  /// writing nothing, when the file is not open for writing or was opened by
  /// the raw open (its position 0 holds data, not a mark).
  unsigned char SetMark();
  /// 1 when all 32 bytes of this file's mark equal `other`.
  unsigned char Check(const FILE_MARK& other) const noexcept { return GetFileMark() == other ? 1 : 0; }
  /// The mark's time field (it may be changed; `SetMark` sets it to now).
  CTime* GetTime() noexcept { return &GetFileMark().time; }
  /// The mark as last read or written (zero when no file is open).
  const FILE_MARK& GetMark() const noexcept { return GetFileMark(); }

  /// Appends the logical contents of the work file `name` (without its
  /// mark), opened with mode "rs", this file's sink and crash flag 1. 0 when
  /// `name` does not exist.
  unsigned char AddFile(const char* name);

  /// Reads the mark of the work file `name` without marking it: the file is
  /// opened shared for reading only. `length` receives the file's logical
  /// length (physical length - 32), to compare with `mark.length`. A file
  /// shorter than a mark reports 110; otherwise failures are those of
  /// `CFileBase::Open` and `Read`. Returns 1 on success; with a sink, 0 after
  /// recording the failure.
  static unsigned char ReadMark(const char* name, FILE_MARK& mark, long long& length, CMessageSink* sink = nullptr);

private:
  unsigned char ReadMarkImage();
  unsigned char WriteMarkImage();
};

} // namespace zel
