#pragma once
/// \file
/// `CFileMemory`: a `CFileBase` that can also map a whole open file into
/// memory, for reading or for writing in place.
///
/// The view covers the file as long as it was when mapped; it cannot make
/// the file longer (extend it first, e.g. with `Add`). The view and this
/// object's cache are separate: bytes written through `Write` reach the view
/// only after `Flush`, and bytes written through the view are seen by the
/// cached reads after `SetFileSize`. Changes made through a writable view
/// reach the file without further calls.

#include <cstddef>

#include "zeltools/files/file_base.h"

namespace zel {

class CFileMemory : public CFileBase {
public:
  /// The opens of `CFileBase`.
  using CFileBase::Open;

  CFileMemory() noexcept = default;
  /// A second handle on `other`'s file (see `CFileBase`'s copy); the copy has
  /// no view of its own.
  CFileMemory(const CFileMemory& other) : CFileBase(other) {}
  CFileMemory& operator=(const CFileMemory&) = delete;
  /// Unmaps the view, then closes the file.
  ~CFileMemory() override;

  /// Maps all of the open file `fileHandle` (usually `GetHandle()`),
  /// writable when `write` is not 0, and returns the view's first byte. A
  /// file opened for reading only gives read views: the mapping asks for no
  /// more access than the view needs. A
  /// view this object already holds is unmapped first. Null on any failure
  /// (no handle, an empty file, a file the system will not map with that
  /// access), with the last error set and no message raised; callers that
  /// report it have messages 117-119 for it.
  char* Open(void* fileHandle, int write);
  /// Unmaps the view, if any. The file stays open (`CFileBase::Close`
  /// closes it).
  void Close() noexcept;

  char* GetView() const noexcept { return view_; }
  /// Bytes of the view (0 when none).
  std::size_t GetViewSize() const noexcept { return viewBytes_; }

private:
  char* view_ = nullptr;
  std::size_t viewBytes_ = 0;
};

} // namespace zel
