#include "zeltools/containers/vbase.h"

#include "zeltools/containers/internal/erase_positions.h"

#include <algorithm>
#include <cstring>

#include "zeltools/containers/type_codes.h"
#include "zeltools/files/block.h"
#include "zeltools/memory/memory.h"

namespace zel {

namespace {

std::vector<unsigned char> CopyBytes(const unsigned char* from, std::size_t bytes) {
  return GuardAllocation(bytes, [&] { return std::vector<unsigned char>(from, from + bytes); });
}

} // namespace

VBase::VBase(const VBase& other)
    : data_(CopyBytes(other.data_.data(), other.data_.size())), length_(other.length_), type_(other.type_) {}

VBase& VBase::operator=(const VBase& other) {
  if (this != &other) {
    data_ = CopyBytes(other.data_.data(), other.data_.size());
    length_ = other.length_;
    type_ = other.type_;
  }
  return *this;
}

void VBase::SetType(unsigned short type, unsigned short size) {
  type_ = type;
  length_ = static_cast<unsigned short>(TypeElementSize(type, size));
}

unsigned int VBase::GetSize() const noexcept {
  return length_ == 0 ? 0 : static_cast<unsigned int>(data_.size() / length_);
}

unsigned int VBase::GetMaxSize() const noexcept {
  return length_ == 0 ? 0 : static_cast<unsigned int>(data_.capacity() / length_);
}

unsigned char* VBase::Get(unsigned int i) noexcept {
  return i == 0 || i > GetSize() ? nullptr : data_.data() + ByteOffset(i - 1);
}

const unsigned char* VBase::Get(unsigned int i) const noexcept {
  return i == 0 || i > GetSize() ? nullptr : data_.data() + ByteOffset(i - 1);
}

void VBase::SetSize(unsigned int n) {
  GuardAllocation(ByteOffset(n), [&] { data_.resize(ByteOffset(n)); });
}

void VBase::SetMaxSize(unsigned int n) {
  if (n == 0) {
    data_.clear();
  } else {
    GuardAllocation(ByteOffset(n), [&] { data_.reserve(ByteOffset(n)); });
  }
}

unsigned int VBase::AddSize(unsigned int n) {
  const unsigned int first = GetSize() + 1;
  // Whole elements only: a tail left by a change of length is cut first.
  const std::size_t bytes = ByteOffset(first - 1 + n);
  GuardAllocation(bytes, [&] { data_.resize(bytes); });
  return first;
}

unsigned int VBase::Append(unsigned int n, const void* src) {
  const unsigned int first = GetSize() + 1;
  const std::size_t bytes = ByteOffset(n);
  if (bytes == 0) return first;
  const std::size_t at = ByteOffset(first - 1);
  if (src == nullptr) {
    GuardAllocation(at + bytes, [&] { data_.resize(at + bytes); });
    return first;
  }
  // src may point into data_, which the resize can move.
  const std::vector<unsigned char> copy = CopyBytes(static_cast<const unsigned char*>(src), bytes);
  GuardAllocation(at + bytes, [&] { data_.resize(at + bytes); });
  std::memcpy(data_.data() + at, copy.data(), bytes);
  return first;
}

unsigned int VBase::Append(const VBase& other) {
  const unsigned int first = GetSize() + 1;
  GuardAllocation(data_.size() + other.data_.size(), [&] {
    if (&other == this) {
      const std::vector<unsigned char> copy(data_);
      data_.insert(data_.end(), copy.begin(), copy.end());
    } else {
      data_.insert(data_.end(), other.data_.begin(), other.data_.end());
    }
  });
  return first;
}

void VBase::Set(unsigned int n, const void* src) {
  const std::size_t bytes = ByteOffset(n);
  if (src == nullptr) {
    GuardAllocation(bytes, [&] { data_.assign(bytes, 0); });
    return;
  }
  std::vector<unsigned char> copy = CopyBytes(static_cast<const unsigned char*>(src), bytes);
  data_.swap(copy);
}

unsigned char VBase::Replace(unsigned int i, const void* src) { return Replace(i, i, src); }

unsigned char VBase::Replace(unsigned int i, unsigned int j, const void* src) {
  if (j < i || i == 0 || j > GetSize()) return 0;
  unsigned char* dst = data_.data() + ByteOffset(i - 1);
  const std::size_t bytes = ByteOffset(j - i + 1);
  if (src == nullptr) {
    std::memset(dst, 0, bytes);
  } else {
    std::memmove(dst, src, bytes);
  }
  return 1;
}

void VBase::Erase(unsigned int i, unsigned int j) {
  const internal::EraseAction action = internal::ErasePositions(i, j, GetSize());
  if (action == internal::EraseAction::Clear)
    Clear();
  if (action != internal::EraseAction::Range)
    return;
  data_.erase(data_.begin() + static_cast<std::ptrdiff_t>(ByteOffset(i - 1)),
              data_.begin() + static_cast<std::ptrdiff_t>(ByteOffset(j)));
}

void VBase::Clear() noexcept {
  std::vector<unsigned char> empty;
  data_.swap(empty);
}

int VBase::operator==(const VBase& other) const noexcept {
  return type_ == other.type_ && length_ == other.length_ && data_ == other.data_ ? 1 : 0;
}

void VBase::Read(CFileBase& file) {
  unsigned int count = 0;
  if (!ReadCount(file, count, 1)) return;
  GuardAllocation(count, [&] { data_.resize(count); });
  if (count != 0) file.Read(data_.data(), count);
}

bool VBase::operator<(const VBase& other) const noexcept { return data_ < other.data_; }

} // namespace zel
