#include "zeltools/files/file_memory.h"

#include <cstdint>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/platform.h"

namespace zel {

CFileMemory::~CFileMemory() { Close(); }

char* CFileMemory::Open(void* fileHandle, int write) {
  Close();
  if (fileHandle == nullptr) {
    SetLastError(platform::ErrorBadHandle);
    return nullptr;
  }
  std::int64_t size = 0;
  if (!platform::Calls().fileSize(fileHandle, size))
    return nullptr;
  // An empty file has nothing to map (the system refuses a view of no bytes).
  if (size <= 0 || static_cast<std::uint64_t>(size) > SIZE_MAX) {
    SetLastError(size <= 0 ? platform::ErrorInvalid : platform::ErrorTooLarge);
    return nullptr;
  }
  const auto bytes = static_cast<std::size_t>(size);
  void* view = platform::Calls().fileMap(fileHandle, bytes, write != 0);
  if (view == nullptr)
    return nullptr;
  view_ = static_cast<char*>(view);
  viewBytes_ = bytes;
  return view_;
}

void CFileMemory::Close() noexcept {
  if (view_ == nullptr)
    return;
  // An unmap fails only for an address that is not a view; nothing is left
  // to undo either way.
  platform::Calls().fileUnmap(view_, viewBytes_);
  view_ = nullptr;
  viewBytes_ = 0;
}

} // namespace zel
