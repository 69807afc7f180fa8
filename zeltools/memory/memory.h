#pragma once
/// \file
/// Zero-filled heap memory with a per-request ceiling, and the sizing of large
/// working buffers against physical memory.
///
/// A request is always count × size as an unsigned 64-bit (wrapping) product.
/// Blocks obtained here are released only with `DoMemoryFree` (or shrunk to
/// nothing by `ReAlloc`): each block carries its own size so that growth can
/// be zero-filled.

#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

namespace zel {

/// Largest single request, in bytes (2,415,919,104). Requests above it fail
/// with message 202, whose text speaks of 4 GB; both are kept as they are
/// because applications match on the text and size their requests by it.
inline constexpr std::uint64_t MemoryCeiling = 0x90000000ull;
/// Smallest result of `GetMaxSize`.
inline constexpr std::uint64_t MinimumMaxSize = 65536;

/// The allocation layer. It has no data of its own; one process-wide
/// instance (`ProcessMemory`) serves the free functions of the same names.
class CMemory {
public:
  /// Zero-filled block of count × size bytes; null for a zero product or when
  /// the heap refuses. Fails with message 202 above the ceiling.
  void* _Memory(std::uint64_t count, std::uint64_t size);
  /// As `_Memory`, but a null result fails with message 201 and the product
  /// (a zero product included: `Memory(0, n)` fails reporting 0 bytes).
  void* Memory(std::uint64_t count, std::uint64_t size);
  /// Resizes `block` to count × size bytes; growth is zero-filled. A null
  /// `block` allocates (failing with 201 and the product, zero included); a
  /// zero product frees `block` and returns null; a failed resize reports 201
  /// with the `size` argument and leaves `block` valid and owned by the caller.
  void* ReAlloc(void* block, std::uint64_t count, std::uint64_t size);
  /// Frees `*block` and sets it to null; a null pointer is ignored.
  void DoMemoryFree(void** block) noexcept;
  /// The largest block not above `size` bytes that the heap gives (not
  /// zero-filled), backing off by 2^(1/4) after each refusal; `actual` gets
  /// the size obtained. Null (and `actual` 0) when nothing could be had or
  /// `size` is 0.
  void* SetMaxBuffer(unsigned int size, std::uint64_t& actual);
  /// Sizes the working buffer from `percent` of physical memory (see
  /// `MaxBufferTarget`) and obtains it; `actual` is 98 per cent of its size.
  void* SetMaxSize(unsigned int percent, std::uint64_t& actual);
  /// `SetMaxSize`, freeing the block at once; never less than 65,536.
  std::uint64_t GetMaxSize(unsigned int percent);
};

/// The process-wide instance behind the free functions.
CMemory& ProcessMemory() noexcept;

void* _Memory(std::uint64_t count, std::uint64_t size);
void* Memory(std::uint64_t count, std::uint64_t size);
void* ReAlloc(void* block, std::uint64_t count, std::uint64_t size);
void DoMemoryFree(void** block) noexcept;
void* SetMaxBuffer(unsigned int size, std::uint64_t& actual);
void* SetMaxSize(unsigned int percent, std::uint64_t& actual);
std::uint64_t GetMaxSize(unsigned int percent);

/// Fails as the memory layer fails for a request of `bytes` that a standard
/// container could not meet: message 202 when the request is beyond what a
/// container can hold at all (`tooLarge`), otherwise message 201 with the
/// bytes.
[[noreturn]] void FailStandardRequest(std::uint64_t bytes, bool tooLarge);

/// Runs `work`, which grows standard containers or strings, so that their
/// failures leave as the library's: `std::bad_alloc` becomes message 201
/// with `bytes` (what the work asks for, as near as the caller can say) and
/// `std::length_error` message 202. Every other exception passes unchanged.
/// Only the failure path costs anything.
template <class Work>
decltype(auto) GuardAllocation(std::uint64_t bytes, Work&& work) {
  try {
    return std::forward<Work>(work)();
  } catch (const std::bad_alloc&) {
    FailStandardRequest(bytes, false);
  } catch (const std::length_error&) {
    FailStandardRequest(bytes, true);
  }
}

/// Typed convenience for `DoMemoryFree`.
template <class T>
void DoMemoryFree(T** block) noexcept {
  void* p = *block;
  DoMemoryFree(&p);
  *block = nullptr;
}

/// The size, in bytes, that `SetMaxSize` asks the heap for, as a pure
/// function of the requested share and the physical memory figures:
/// percent 0 means 25 and 80 or more means 75; the share of `total` is capped
/// at 0x7FFFFFFF; when more than 2 GB is available the target is cut to what
/// exceeds those 2 GB (but not below 1 GB), and on a machine of more than
/// 2 GB with at most 2 GB available it is 1 GB.
std::uint64_t MaxBufferTarget(unsigned int percent, std::uint64_t total, std::uint64_t available) noexcept;

} // namespace zel
