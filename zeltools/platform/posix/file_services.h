#pragma once
// The POSIX entries of the system table for mapped files, disk space, file
// times, the clock and calendar, the executable's path and running helper
// programs. Each sets the thread's last error as the table
// promises. Only system_calls.cpp includes this header.

#include <cstddef>
#include <cstdint>

#include "zeltools/platform/platform.h"

namespace zel::platform::posix {

void* FileMap(void* handle, std::size_t bytes, bool write) noexcept;
bool FileUnmap(void* view, std::size_t bytes) noexcept;
bool DiskFree(const char* path, std::uint64_t& bytes) noexcept;
bool FileTimes(void* handle, const char* name, FileStamps& stamps) noexcept;
std::int64_t TimeNow() noexcept;
bool LocalCalendar(std::int64_t seconds, CalendarTime& fields) noexcept;
bool ExecutablePath(char* path, std::size_t size) noexcept;
int RunProgram(const char* const* arguments, char* output, std::size_t size, std::size_t& length) noexcept;

} // namespace zel::platform::posix
