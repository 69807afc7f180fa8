// The Windows-shaped file operations, built from the system table's single
// calls so that a replaced entry exercises the same retry and sharing rules
// as the real system.

#include <algorithm>
#include <cstdint>

#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel::platform {

void* OpenFile(const char* name, bool read, bool write, bool share, Creation creation) {
  auto& calls = Calls();
  const bool create = creation == Creation::OpenAlways || creation == Creation::CreateAlways;
  const bool createNew = creation == Creation::CreateNew;
  // A write-only request still asks for reading, so that the layer above can
  // read what it wrote (a work file's mark); a file that grants only writing
  // is then opened as asked.
  void* handle = calls.fileOpen(name, true, write, share, create, createNew);
  if (handle == nullptr && write && !read && GetLastError() == ErrorAccess)
    handle = calls.fileOpen(name, false, true, share, create, createNew);
  if (handle == nullptr)
    return nullptr;
  if (!calls.fileLock(handle, share)) {
    const unsigned int error = GetLastError();
    calls.fileClose(handle);
    SetLastError(error == ErrorLocked ? ErrorSharing : error);
    return nullptr;
  }
  if (creation == Creation::CreateAlways || creation == Creation::TruncateExisting) {
    if (!calls.fileTruncate(handle, 0)) {
      const unsigned int error = GetLastError();
      calls.fileClose(handle);
      SetLastError(error);
      return nullptr;
    }
  }
  SetLastError(0);
  return handle;
}

std::uint64_t ReadAt(void* handle, void* buffer, std::uint64_t bytes, std::int64_t offset) {
  auto& calls = Calls();
  auto* at = static_cast<unsigned char*>(buffer);
  std::uint64_t done = 0;
  while (done < bytes) {
    const auto ask = static_cast<std::size_t>(std::min<std::uint64_t>(bytes - done, SIZE_MAX >> 1));
    const std::int64_t n = calls.fileReadAt(handle, at + done, ask, offset + static_cast<std::int64_t>(done));
    if (n < 0) {
      if (GetLastError() == ErrorInterrupted)
        continue;
      break;
    }
    if (n == 0)
      break;
    done += static_cast<std::uint64_t>(n);
  }
  return done;
}

std::uint64_t WriteAt(void* handle, const void* buffer, std::uint64_t bytes, std::int64_t offset) {
  auto& calls = Calls();
  const auto* at = static_cast<const unsigned char*>(buffer);
  std::uint64_t done = 0;
  while (done < bytes) {
    const auto ask = static_cast<std::size_t>(std::min<std::uint64_t>(bytes - done, SIZE_MAX >> 1));
    const std::int64_t n = calls.fileWriteAt(handle, at + done, ask, offset + static_cast<std::int64_t>(done));
    if (n < 0) {
      if (GetLastError() == ErrorInterrupted)
        continue;
      break;
    }
    if (n == 0) {
      SetLastError(ErrorDiskFull);
      break;
    }
    done += static_cast<std::uint64_t>(n);
  }
  return done;
}

} // namespace zel::platform
