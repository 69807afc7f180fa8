#include "zeltools/memory/allocator.h"

#include <cstdint>
#include <utility>

#include "zeltools/memory/memory.h"

namespace zel {

// Invariants:
//  1. the current portion is the last entry of the table, and cursor_ lies in
//     it with free_ bytes after it (cursor_ null and free_ 0 while count_ is 0);
//  2. the bytes of the current portion from cursor_ + dirty_ to its end are
//     zero. Portions from `Memory` come zero-filled (dirty_ 0), so handing
//     out a piece costs no zeroing until the portion is reused after `Free`
//     or is a working buffer, which the memory layer does not clear; then
//     pieces are zeroed as they are handed out. Zeroing only what may be
//     dirty saves writing every byte twice on first use.

KZAllocator& KZAllocator::operator=(const KZAllocator&) noexcept {
  Clear();
  return *this;
}

KZAllocator::KZAllocator(KZAllocator&& other) noexcept { Swap(other); }

KZAllocator& KZAllocator::operator=(KZAllocator&& other) noexcept {
  if (this != &other) {
    Clear();
    Swap(other);
  }
  return *this;
}

KZAllocator::~KZAllocator() { Clear(); }

void KZAllocator::Swap(KZAllocator& other) noexcept {
  std::swap(capacity_, other.capacity_);
  std::swap(count_, other.count_);
  std::swap(portions_, other.portions_);
  std::swap(free_, other.free_);
  std::swap(total_, other.total_);
  std::swap(used_, other.used_);
  std::swap(cursor_, other.cursor_);
  std::swap(dirty_, other.dirty_);
}

void KZAllocator::AppendPortion(unsigned char* portion, unsigned int size) {
  if (count_ == capacity_) {
    // The table grows as the library's arrays do: five quarters plus three.
    const unsigned int capacity = capacity_ == 0 ? 1u : capacity_ * 5u / 4u + 3u;
    // ReAlloc keeps the old table on failure, so a throw here loses nothing
    // but the portion, which the caller still owns.
    portions_ = static_cast<unsigned char**>(ReAlloc(portions_, capacity, sizeof(unsigned char*)));
    capacity_ = capacity;
  }
  portions_[count_++] = portion;
  cursor_ = portion;
  free_ = size;
  total_ += size;
  dirty_ = 0;
}

unsigned char* KZAllocator::SetPortionSize(unsigned int size) {
  if (size == 0)
    return nullptr;
  if (free_ < size) {
    void* portion = Memory(static_cast<std::uint64_t>(size) + ReadSlack, 1);
    try {
      AppendPortion(static_cast<unsigned char*>(portion), size);
    } catch (...) {
      DoMemoryFree(&portion);
      throw;
    }
  }
  return cursor_;
}

unsigned char* KZAllocator::SetPortionSlow(unsigned int n) {
  if (n == 0)
    return cursor_;
  // max(n, used / 4) > free here, so this always opens a fresh portion, which
  // comes zero-filled from the memory layer (dirty_ 0).
  const unsigned int quarter = used_ / 4u;
  SetPortionSize(n > quarter ? n : quarter);
  unsigned char* piece = cursor_;
  cursor_ += n;
  free_ -= n;
  used_ += n;
  return piece;
}

char* KZAllocator::SetPortion(const char* text) {
  const std::size_t length = text == nullptr ? 0 : std::strlen(text);
  return reinterpret_cast<char*>(SetPortion(static_cast<unsigned int>(length + 1)));
}

void* KZAllocator::Set(unsigned int count, const void* source, unsigned int size) {
  const unsigned int bytes = count * size;
  unsigned char* piece = SetPortion(bytes);
  if (source != nullptr && bytes != 0)
    std::memcpy(piece, source, bytes);
  return piece;
}

unsigned char* KZAllocator::SetByte(unsigned int n, const unsigned char* source) {
  return static_cast<unsigned char*>(Set(n, source, sizeof(unsigned char)));
}

unsigned short* KZAllocator::SetWord(unsigned int n, const unsigned short* source) {
  return static_cast<unsigned short*>(Set(n, source, sizeof(unsigned short)));
}

unsigned int* KZAllocator::SetUINT(unsigned int n, const unsigned int* source) {
  return static_cast<unsigned int*>(Set(n, source, sizeof(unsigned int)));
}

double* KZAllocator::SetDbl(unsigned int n, const double* source) {
  return static_cast<double*>(Set(n, source, sizeof(double)));
}

void KZAllocator::ReturnPortion(unsigned int n) noexcept {
  if (count_ == 0)
    return;
  const auto handedOut = static_cast<std::size_t>(cursor_ - portions_[count_ - 1]);
  if (n > handedOut)
    n = static_cast<unsigned int>(handedOut);
  cursor_ -= n;
  free_ += n;
  used_ -= n;
  std::memset(cursor_, 0, n);
  if (dirty_ != 0)
    dirty_ += n;
}

void KZAllocator::SetMaxPortion(unsigned int percent) {
  std::uint64_t size = 0;
  void* buffer = SetMaxSize(percent, size);
  if (buffer == nullptr || size == 0) {
    DoMemoryFree(&buffer);
    return;
  }
  // `size` is 98 per cent of the buffer, so the rest covers the read slack
  // unless the buffer is tiny. The working buffer is capped below 2 GB, so
  // its size fits 32 bits.
  if (size < 50u * ReadSlack)
    size = size > ReadSlack ? size - ReadSlack : 0;
  if (size == 0) {
    DoMemoryFree(&buffer);
    return;
  }
  try {
    AppendPortion(static_cast<unsigned char*>(buffer), static_cast<unsigned int>(size));
    dirty_ = free_;
  } catch (...) {
    DoMemoryFree(&buffer);
    throw;
  }
}

void KZAllocator::Free() {
  if (count_ == 1) {
    // Everything up to the high-water mark may hold data now.
    dirty_ += static_cast<unsigned int>(cursor_ - portions_[0]);
    cursor_ = portions_[0];
    free_ = total_;
    used_ = 0;
    return;
  }
  const unsigned int former = total_;
  Clear();
  SetPortionSize(former);
}

void KZAllocator::Clear() noexcept {
  for (unsigned int i = 0; i < count_; ++i)
    DoMemoryFree(&portions_[i]);
  DoMemoryFree(&portions_);
  capacity_ = 0;
  count_ = 0;
  free_ = 0;
  total_ = 0;
  used_ = 0;
  cursor_ = nullptr;
  dirty_ = 0;
}

} // namespace zel
