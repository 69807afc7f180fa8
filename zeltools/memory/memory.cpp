#include "zeltools/memory/memory.h"

#include <cstring>

#include "zeltools/errors/exception.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

constexpr std::uint64_t BufferSizeCap = 0x7FFFFFFFull;
constexpr std::uint64_t SystemReserve = 0x80000000ull;
constexpr std::uint64_t FallbackBuffer = 0x40000000ull;
constexpr double BackOffFactor = 1.189207115002721; // 2^(1/4)

// Every block starts with this header; callers see the bytes after it. The
// size lets growth zero-fill exactly the new tail, whatever the allocator
// rounded the block up to. 16 bytes keep the caller's bytes aligned as the
// system allocator aligns its own.
struct alignas(16) BlockHeader {
  std::uint64_t bytes;
  std::uint64_t reserved;
};
static_assert(sizeof(BlockHeader) == 16, "block header keeps caller bytes 16-aligned");

BlockHeader* HeaderOf(void* block) noexcept { return static_cast<BlockHeader*>(block) - 1; }

// The ceiling is checked on the product read as a signed value, so a product
// with its top bit set slips past it; such a request reaches the heap with
// its low 32 bits, as the 32-bit heap interface saw it. Both kept for
// compatibility with callers that size their requests by this rule.
void CheckCeiling(std::uint64_t product) {
  const auto signedProduct = static_cast<std::int64_t>(product);
  if (signedProduct > 0 && product > MemoryCeiling)
    CrashMessage(202);
}

std::uint64_t HeapBytes(std::uint64_t product) noexcept {
  return static_cast<std::int64_t>(product) < 0 ? (product & 0xFFFFFFFFull) : product;
}

void* NewBlock(std::uint64_t bytes, bool zero) noexcept {
  auto& calls = platform::Calls();
  void* raw = zero ? calls.allocateZero(sizeof(BlockHeader) + bytes) : calls.allocate(sizeof(BlockHeader) + bytes);
  if (raw == nullptr)
    return nullptr;
  auto* header = static_cast<BlockHeader*>(raw);
  header->bytes = bytes;
  header->reserved = 0;
  return header + 1;
}

} // namespace

void FailStandardRequest(std::uint64_t bytes, bool tooLarge) {
  if (tooLarge)
    CrashMessage(202);
  CrashMessage(201, static_cast<long>(bytes));
}

void* CMemory::_Memory(std::uint64_t count, std::uint64_t size) {
  const std::uint64_t product = count * size;
  CheckCeiling(product);
  if (product == 0)
    return nullptr;
  return NewBlock(HeapBytes(product), true);
}

void* CMemory::Memory(std::uint64_t count, std::uint64_t size) {
  void* block = _Memory(count, size);
  if (block == nullptr)
    CrashMessage(201, static_cast<long>(count * size));
  return block;
}

void* CMemory::ReAlloc(void* block, std::uint64_t count, std::uint64_t size) {
  const std::uint64_t product = count * size;
  CheckCeiling(product);
  if (block == nullptr) {
    void* fresh = product == 0 ? nullptr : NewBlock(HeapBytes(product), true);
    if (fresh == nullptr)
      CrashMessage(201, static_cast<long>(product));
    return fresh;
  }
  if (product == 0) {
    DoMemoryFree(&block);
    return nullptr;
  }
  const std::uint64_t bytes = HeapBytes(product);
  BlockHeader* header = HeaderOf(block);
  const std::uint64_t oldBytes = header->bytes;
  void* raw = platform::Calls().reallocate(header, sizeof(BlockHeader) + bytes);
  if (raw == nullptr)
    CrashMessage(201, static_cast<long>(size)); // the size argument, not the product: kept as callers expect it
  header = static_cast<BlockHeader*>(raw);
  header->bytes = bytes;
  if (bytes > oldBytes)
    std::memset(reinterpret_cast<unsigned char*>(header + 1) + oldBytes, 0, bytes - oldBytes);
  return header + 1;
}

void CMemory::DoMemoryFree(void** block) noexcept {
  if (block == nullptr || *block == nullptr)
    return;
  platform::Calls().release(HeaderOf(*block));
  *block = nullptr;
}

void* CMemory::SetMaxBuffer(unsigned int size, std::uint64_t& actual) {
  actual = size;
  while (actual != 0) {
    if (void* block = NewBlock(actual, false))
      return block;
    actual = static_cast<std::uint64_t>(static_cast<double>(actual) / BackOffFactor);
  }
  return nullptr;
}

void* CMemory::SetMaxSize(unsigned int percent, std::uint64_t& actual) {
  std::uint64_t total = 0, available = 0;
  platform::Calls().physicalMemory(total, available);
  const std::uint64_t target = MaxBufferTarget(percent, total, available);
  void* block = SetMaxBuffer(static_cast<unsigned int>(target), actual);
  actual = actual * 98 / 100;
  return block;
}

std::uint64_t CMemory::GetMaxSize(unsigned int percent) {
  std::uint64_t actual = 0;
  void* block = SetMaxSize(percent, actual);
  DoMemoryFree(&block);
  return actual < MinimumMaxSize ? MinimumMaxSize : actual;
}

std::uint64_t MaxBufferTarget(unsigned int percent, std::uint64_t total, std::uint64_t available) noexcept {
  if (percent == 0)
    percent = 25;
  else if (percent >= 80)
    percent = 75;
  std::uint64_t target = percent * total / 100;
  if (target > 0xFFFFFFFFull || target >= BufferSizeCap)
    target = BufferSizeCap;
  if (available > SystemReserve) {
    const std::uint64_t spare = available - SystemReserve;
    if (target > spare)
      target = spare <= FallbackBuffer ? FallbackBuffer : spare;
  } else if (total > SystemReserve) {
    target = FallbackBuffer;
  }
  return target;
}

CMemory& ProcessMemory() noexcept {
  static CMemory instance;
  return instance;
}

void* _Memory(std::uint64_t count, std::uint64_t size) { return ProcessMemory()._Memory(count, size); }
void* Memory(std::uint64_t count, std::uint64_t size) { return ProcessMemory().Memory(count, size); }
void* ReAlloc(void* block, std::uint64_t count, std::uint64_t size) { return ProcessMemory().ReAlloc(block, count, size); }
void DoMemoryFree(void** block) noexcept { ProcessMemory().DoMemoryFree(block); }
void* SetMaxBuffer(unsigned int size, std::uint64_t& actual) { return ProcessMemory().SetMaxBuffer(size, actual); }
void* SetMaxSize(unsigned int percent, std::uint64_t& actual) { return ProcessMemory().SetMaxSize(percent, actual); }
std::uint64_t GetMaxSize(unsigned int percent) { return ProcessMemory().GetMaxSize(percent); }

} // namespace zel
