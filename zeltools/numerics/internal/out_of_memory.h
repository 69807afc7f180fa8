#pragma once
// Working storage of the numerics that comes from the standard allocator:
// when it cannot be had, the caller hears of it through the library's own
// exception (message 201 with the size asked for), never std::bad_alloc.

#include <cstddef>
#include <new>

#include "zeltools/errors/exception.h"

namespace zel::numerics {

[[noreturn]] inline void OutOfMemory(std::size_t bytes) { CrashMessage(201, static_cast<long>(bytes)); }

/// Runs `work`; a std::bad_alloc from it becomes message 201 for `bytes`.
template <class Work>
decltype(auto) WithoutForeignExceptions(std::size_t bytes, Work&& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    OutOfMemory(bytes);
  }
}

} // namespace zel::numerics
