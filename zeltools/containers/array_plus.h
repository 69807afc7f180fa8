#pragma once
/// \file
/// `CArrayPlus<T>`: a lean dynamic array of plain values (capacity, count,
/// storage) whose storage comes from the library's memory layer, and
/// `VArrayPlus<T>`: an array of such rows whose storage is cut from one
/// portion allocator and persists as one block.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <type_traits>

#include "zeltools/containers/type_value.h"
#include "zeltools/files/block_io.h"
#include "zeltools/files/internal/payload_io.h"
#include "zeltools/memory/allocator.h"
#include "zeltools/memory/memory.h"

namespace zel {

class CFileBase;

namespace internal {

template <class T>
struct IsTypeValue : std::false_type {};
template <class T1, class T2>
struct IsTypeValue<CTypeValue<T1, T2>> : std::true_type {};

/// The element count that a growth step asks for, computed without
/// wrapping: the five-quarters step of the arrays, cut back to exactly
/// `needed` where it would not fit 32 bits. Fails with message 202 when even
/// `needed` does not fit.
unsigned int GrowthStep(unsigned int count, std::uint64_t needed, unsigned int extra);

/// Throws message 202: a request above the memory layer's ceiling.
[[noreturn]] void RefuseRequest();

/// The bytes of `count` elements of `size` bytes as one allocator request.
/// Fails with message 202 when they exceed the memory layer's ceiling (and so
/// could neither be had nor counted in 32 bits).
inline unsigned int PieceBytes(std::uint64_t count, std::size_t size) {
  if (size != 0 && count > MemoryCeiling / size)
    RefuseRequest();
  return static_cast<unsigned int>(count * size);
}

} // namespace internal

/// A growable array of plain values with 0-based access.
///
/// Storage is obtained with `Memory` (zero-filled) and released with
/// `DoMemoryFree`, never with the standard allocator; `T` must therefore be
/// trivially copyable. Growth goes by five quarters: one element at a time
/// from empty, the capacities are 1, 4, 8, 13, 19, 26, ... The step is
/// figured without wrapping; near 2^32 elements, where five quarters would
/// not fit 32 bits, exactly what is needed is asked for, and beyond that the
/// growth fails with message 202.
///
/// Elements that come back into use within the capacity (`SetSize`) keep
/// what they held before; only `Zero`, `Init`, `Set` without a source,
/// `AddSize` within the capacity and a `Reserve` that does not reallocate
/// clear them. Indexes are not checked.
template <class T>
class CArrayPlus {
  static_assert(std::is_trivially_copyable<T>::value, "CArrayPlus holds plain values copied as bytes");

public:
  CArrayPlus() noexcept = default;
  /// Copies the elements (as `Set(other)`).
  CArrayPlus(const CArrayPlus& other) { Set(other); }
  CArrayPlus& operator=(const CArrayPlus& other) {
    if (this != &other)
      Set(other);
    return *this;
  }
  CArrayPlus(CArrayPlus&& other) noexcept { Swap(other); }
  CArrayPlus& operator=(CArrayPlus&& other) noexcept {
    if (this != &other) {
      Clear();
      Swap(other);
    }
    return *this;
  }
  ~CArrayPlus() { Clear(); }

  /// Number of elements in use.
  unsigned int GetSize() const noexcept { return count_; }
  /// Number of elements the storage holds.
  unsigned int GetMaxSize() const noexcept { return capacity_; }

  /// Element `i`, 0-based, unchecked.
  T& Get(unsigned int i) noexcept { return storage_[i]; }
  const T& Get(unsigned int i) const noexcept { return storage_[i]; }
  /// Element `i`, 0-based, unchecked; any integer type of index.
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  T& operator[](Index i) noexcept {
    return storage_[i];
  }
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  const T& operator[](Index i) const noexcept {
    return storage_[i];
  }
  /// The storage (null while the capacity is 0).
  operator T*() noexcept { return storage_; }
  operator const T*() const noexcept { return storage_; }
  T* begin() noexcept { return storage_; }
  T* end() noexcept { return storage_ + count_; }
  const T* begin() const noexcept { return storage_; }
  const T* end() const noexcept { return storage_ + count_; }

  /// When the capacity is below `n`, it becomes exactly `n` (the elements in
  /// use are kept, the rest read as zero). Otherwise, when `n` exceeds the
  /// count, the elements from the count up to `n` are zeroed. Exhaustion
  /// throws message 201 or 202 and leaves the array as it was.
  void Reserve(unsigned int n);
  void reserve(unsigned int n) { Reserve(n); }

  /// Grows the count by `n` zeroed elements. When they do not fit, the
  /// capacity becomes count × 5 / 4 + n, plus 2 when the count is not 0.
  void AddSize(unsigned int n);

  /// Makes the count `n`, growing by `AddSize` when the capacity is short.
  /// Within the capacity the elements that come back keep their old values.
  void SetSize(unsigned int n) {
    if (capacity_ < n)
      AddSize(n - count_);
    count_ = n;
  }
  void resize(unsigned int n) { SetSize(n); }

  /// Adds `value` at the end. When full, the capacity becomes
  /// count × 5 / 4 + 3 (1 for an empty array). `value` may be an element of
  /// this array.
  void Append(const T& value);

  /// Makes the array the `n` elements at `source` (zeros when null). When
  /// `n` exceeds the capacity, exactly `n` elements are allocated and the
  /// old contents dropped. `source` may point into this array.
  void Set(unsigned int n, const T* source);
  void Set(const CArrayPlus& other) {
    if (this != &other)
      Set(other.count_, other.storage_);
  }
  /// `Set(n, null)`, then every one of the `n` elements becomes `value`.
  void Init(unsigned int n, const T& value);

  /// Zeroes every element of the capacity; the count is kept.
  void Zero() noexcept {
    if (capacity_ != 0)
      std::memset(static_cast<void*>(storage_), 0, sizeof(T) * capacity_);
  }
  /// Count 0; the storage and the capacity are kept.
  void Free() noexcept { count_ = 0; }
  /// Releases the storage; capacity and count 0.
  void Clear() noexcept {
    DoMemoryFree(&storage_);
    capacity_ = 0;
    count_ = 0;
  }

  /// Releases the storage and takes the working buffer sized by
  /// `SetMaxSize(percent, bytes)` of the memory layer; the capacity becomes
  /// bytes / sizeof(T) and the count 0. The buffer is not zero-filled. When
  /// no buffer can be had the array is left empty.
  void MaxReserve(unsigned int percent);
  /// As `MaxReserve` with `SetMaxBuffer(size, bytes)`: the largest buffer not
  /// above `size` bytes that the heap gives.
  void SetMaxReserveBuffer(unsigned int size);

  /// Fewer elements orders first; with equal counts the first differing
  /// element decides. Floating elements are compared exactly; an element
  /// that is neither less, greater nor equal (a NaN) makes both `<` and `>`
  /// false.
  bool operator<(const CArrayPlus& other) const noexcept;
  bool operator>(const CArrayPlus& other) const noexcept { return other < *this; }
  /// Equal counts and every element equal (exactly).
  bool operator==(const CArrayPlus& other) const noexcept;

  /// Pairs only: sorts ascending by type, then value; with `unique`, equal
  /// neighbours are reduced to the first. The order of equal pairs is not
  /// kept. Pairs holding a NaN value sort after the others of their type and
  /// are never merged (a NaN equals nothing).
  template <class U = T, std::enable_if_t<internal::IsTypeValue<U>::value, int> = 0>
  void Sort(bool unique);

  /// Exchanges the contents of two arrays.
  void Swap(CArrayPlus& other) noexcept {
    std::swap(capacity_, other.capacity_);
    std::swap(count_, other.count_);
    std::swap(storage_, other.storage_);
  }

private:
  void ZeroRange(unsigned int from, unsigned int to) noexcept {
    if (to > from)
      std::memset(static_cast<void*>(storage_ + from), 0, sizeof(T) * (to - from));
  }
  void TakeBuffer(void* buffer, std::uint64_t bytes) noexcept {
    if (buffer == nullptr)
      return;
    storage_ = static_cast<T*>(buffer);
    capacity_ = static_cast<unsigned int>(bytes / sizeof(T));
  }

  unsigned int capacity_ = 0;
  unsigned int count_ = 0;
  T* storage_ = nullptr;
};

// ---------------------------------------------------------------------------

template <class T>
void CArrayPlus<T>::Reserve(unsigned int n) {
  if (capacity_ < n) {
    T* fresh = static_cast<T*>(Memory(n, sizeof(T)));
    if (count_ != 0)
      std::memcpy(static_cast<void*>(fresh), storage_, sizeof(T) * count_);
    DoMemoryFree(&storage_);
    storage_ = fresh;
    capacity_ = n;
  } else if (n > count_) {
    ZeroRange(count_, n);
  }
}

template <class T>
void CArrayPlus<T>::AddSize(unsigned int n) {
  if (n == 0)
    return;
  const std::uint64_t needed = static_cast<std::uint64_t>(count_) + n;
  if (needed > capacity_)
    Reserve(internal::GrowthStep(count_, needed, count_ != 0 ? 2u : 0u));
  else
    ZeroRange(count_, count_ + n);
  count_ += n;
}

template <class T>
void CArrayPlus<T>::Append(const T& value) {
  if (count_ == capacity_) {
    const T copy = value; // `value` may live in the storage about to move
    Reserve(internal::GrowthStep(count_, static_cast<std::uint64_t>(count_) + 1, count_ != 0 ? 2u : 0u));
    storage_[count_++] = copy;
    return;
  }
  storage_[count_++] = value;
}

template <class T>
void CArrayPlus<T>::Set(unsigned int n, const T* source) {
  if (n > capacity_) {
    T* fresh = static_cast<T*>(Memory(n, sizeof(T)));
    if (source != nullptr)
      std::memcpy(static_cast<void*>(fresh), source, sizeof(T) * n);
    DoMemoryFree(&storage_);
    storage_ = fresh;
    capacity_ = n;
  } else if (n != 0) {
    if (source == nullptr)
      ZeroRange(0, n);
    else if (source != storage_)
      std::memmove(static_cast<void*>(storage_), source, sizeof(T) * n);
  }
  count_ = n;
}

template <class T>
void CArrayPlus<T>::Init(unsigned int n, const T& value) {
  const T copy = value;
  Set(n, nullptr);
  std::fill(storage_, storage_ + n, copy);
}

template <class T>
void CArrayPlus<T>::MaxReserve(unsigned int percent) {
  Clear();
  std::uint64_t bytes = 0;
  void* buffer = SetMaxSize(percent, bytes);
  TakeBuffer(buffer, bytes);
}

template <class T>
void CArrayPlus<T>::SetMaxReserveBuffer(unsigned int size) {
  Clear();
  std::uint64_t bytes = 0;
  void* buffer = SetMaxBuffer(size, bytes);
  TakeBuffer(buffer, bytes);
}

template <class T>
bool CArrayPlus<T>::operator<(const CArrayPlus& other) const noexcept {
  if (count_ != other.count_)
    return count_ < other.count_;
  const std::less<T> less;
  for (unsigned int k = 0; k < count_; ++k) {
    if (less(storage_[k], other.storage_[k]))
      return true;
    if (!(storage_[k] == other.storage_[k]))
      return false;
  }
  return false;
}

template <class T>
bool CArrayPlus<T>::operator==(const CArrayPlus& other) const noexcept {
  if (count_ != other.count_)
    return false;
  for (unsigned int k = 0; k < count_; ++k)
    if (!(storage_[k] == other.storage_[k]))
      return false;
  return true;
}

template <class T>
template <class U, std::enable_if_t<internal::IsTypeValue<U>::value, int>>
void CArrayPlus<T>::Sort(bool unique) {
  if (count_ < 2)
    return;
  using Value = decltype(T::value);
  // A strict weak order even with NaN values (placed last within a type), so
  // that the sort cannot be led outside the array by them.
  std::sort(storage_, storage_ + count_, [](const T& a, const T& b) {
    const auto ta = a.type, tb = b.type;
    if (ta != tb)
      return ta < tb;
    const Value va = a.value, vb = b.value;
    if constexpr (std::is_floating_point<Value>::value) {
      if (std::isnan(va))
        return false;
      if (std::isnan(vb))
        return true;
    }
    return va < vb;
  });
  if (!unique)
    return;
  // Each element is compared with its predecessor in the sorted sequence,
  // which the packing may already have overwritten: keep it aside.
  T previous = storage_[0];
  unsigned int kept = 1;
  for (unsigned int k = 1; k < count_; ++k) {
    const T current = storage_[k];
    if (!(current == previous))
      storage_[kept++] = current;
    previous = current;
  }
  count_ = kept;
}

// ---------------------------------------------------------------------------

/// One row of a `VArrayPlus`: the same three words as a `CArrayPlus`
/// (capacity, count, storage), but its storage is a piece of the owning
/// array's allocator, so the row never frees it and is edited only through
/// the owning array.
template <class T>
struct SArrayPlusRow {
  unsigned int capacity;
  unsigned int count;
  T* storage;

  unsigned int GetSize() const noexcept { return count; }
  unsigned int GetMaxSize() const noexcept { return capacity; }
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  T& operator[](Index i) noexcept {
    return storage[i];
  }
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  const T& operator[](Index i) const noexcept {
    return storage[i];
  }
  operator T*() noexcept { return storage; }
  operator const T*() const noexcept { return storage; }
  T* begin() noexcept { return storage; }
  T* end() noexcept { return storage + count; }
  const T* begin() const noexcept { return storage; }
  const T* end() const noexcept { return storage + count; }
};

/// An array of rows of `T` whose storage is cut from one portion allocator:
/// thousands of short rows cost no allocations of their own and are
/// released together. Row numbers are 0-based and not checked.
///
/// A row that outgrows its storage gets a new piece; the old piece stays in
/// the allocator until `Free` or `Clear`.
///
/// Stored payload (little-endian, no header): the row count (32 bits), then
/// for each row its count (32 bits) and its elements, raw.
template <class T>
class VArrayPlus : protected KZAllocator {
  static_assert(std::is_trivially_copyable<T>::value, "rows hold plain values copied as bytes");

public:
  using Row = SArrayPlusRow<T>;

  VArrayPlus() noexcept = default;
  /// Copies every row into this array's own storage.
  VArrayPlus(const VArrayPlus& other) : KZAllocator() { Copy(other); }
  VArrayPlus& operator=(const VArrayPlus& other) {
    Copy(other);
    return *this;
  }
  VArrayPlus(VArrayPlus&& other) noexcept : KZAllocator(std::move(other)), rows_(std::move(other.rows_)) {}
  VArrayPlus& operator=(VArrayPlus&& other) noexcept {
    KZAllocator::operator=(std::move(other));
    rows_ = std::move(other.rows_);
    return *this;
  }
  ~VArrayPlus() = default;

  /// Makes this array a copy of `other` (rows packed into one portion).
  void Copy(const VArrayPlus& other);

  /// Number of rows.
  unsigned int GetSize() const noexcept { return rows_.GetSize(); }
  /// Makes the number of rows `n`; rows that come into use are empty.
  void SetSize(unsigned int n);

  /// Row `i`, 0-based, unchecked.
  Row* Get(unsigned int i) noexcept { return &rows_[i]; }
  const Row* Get(unsigned int i) const noexcept { return &rows_[i]; }
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  Row* operator[](Index i) noexcept {
    return &rows_[i];
  }
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  const Row* operator[](Index i) const noexcept {
    return &rows_[i];
  }

  /// Makes row `i` able to hold `n` elements: a row without storage gets
  /// exactly `n`, a row with storage n × 5 / 4 + 4; the elements in use are
  /// kept.
  void Reserve(unsigned int i, unsigned int n);
  /// Row `i` becomes the `n` elements at `source` (zeros when null); a new
  /// piece of exactly `n` elements when the row's capacity is short.
  /// `source` may point into this array.
  void Set(unsigned int i, unsigned int n, const T* source);
  /// Adds `value` at the end of row `i` (`Reserve(i, count + 1)` first).
  void Append(unsigned int i, const T& value);

  /// The memory the rows represent: for every row three 32-bit words plus
  /// its elements.
  unsigned long long GetFullSize() const noexcept;

  /// Drops every row and gives all row storage back to the allocator, which
  /// keeps one portion (of its former total) for reuse.
  void Free() {
    rows_.Clear();
    KZAllocator::Free();
  }
  /// Drops every row and releases all storage.
  void Clear() noexcept {
    rows_.Clear();
    KZAllocator::Clear();
  }

  /// The allocator that holds the rows' storage.
  const KZAllocator& GetAllocator() const noexcept { return *this; }

  /// Writes the row count at `pos` (-1: the end of the file) and appends the
  /// rows after the end of the file. Returns where the row count went, -1
  /// when the file reported a failure to its sink. Every plain element type
  /// is stored; others are refused when the array is declared.
  long long Write(CFileBase& file, long long pos);
  /// Writes the payload as a block at the end of the file, described by
  /// `doc`; with no rows and `always` 0 nothing is written and `doc` is
  /// {0, 0}. A failure reported to the file's sink also leaves {0, 0}.
  void Write(CFileBase& file, DOCUMENT& doc, unsigned char always);
  /// Reads a payload from `pos` (-1: the read position): the rows are set
  /// to what was stored, reusing their storage where it suffices. A damaged
  /// payload (a count the rest of the file cannot hold) reports 110 through
  /// the file and leaves the array empty. Returns 0 when a failure went to
  /// the file's sink.
  unsigned char Read(CFileBase& file, long long pos);
  /// Reads the block that `doc` describes; a record of length 0 empties the
  /// array, a record outside the file reports 110.
  unsigned char Read(CFileBase& file, const DOCUMENT& doc);

private:
  // Makes row `i` hold `n` elements without filling them (new storage is
  // zero, reused storage keeps its bytes).
  T* Resize(unsigned int i, unsigned int n);

  CArrayPlus<Row> rows_;
};

template <class T>
void VArrayPlus<T>::SetSize(unsigned int n) {
  const unsigned int old = rows_.GetSize();
  rows_.SetSize(n);
  for (unsigned int k = old; k < n; ++k)
    rows_[k] = Row{0, 0, nullptr};
}

template <class T>
void VArrayPlus<T>::Reserve(unsigned int i, unsigned int n) {
  Row& row = rows_[i];
  if (row.capacity >= n)
    return;
  const std::uint64_t capacity = row.capacity == 0 ? n : static_cast<std::uint64_t>(n) * 5 / 4 + 4;
  T* fresh = reinterpret_cast<T*>(SetPortion(internal::PieceBytes(capacity, sizeof(T))));
  if (row.count != 0)
    std::memcpy(static_cast<void*>(fresh), row.storage, sizeof(T) * row.count);
  row.storage = fresh;
  row.capacity = static_cast<unsigned int>(capacity);
}

template <class T>
T* VArrayPlus<T>::Resize(unsigned int i, unsigned int n) {
  Row& row = rows_[i];
  if (n > row.capacity) {
    row.storage = reinterpret_cast<T*>(SetPortion(internal::PieceBytes(n, sizeof(T))));
    row.capacity = n;
  }
  row.count = n;
  return row.storage;
}

template <class T>
void VArrayPlus<T>::Set(unsigned int i, unsigned int n, const T* source) {
  const unsigned int before = rows_[i].capacity;
  T* target = Resize(i, n);
  if (n == 0)
    return;
  if (source != nullptr)
    std::memmove(static_cast<void*>(target), source, sizeof(T) * n);
  else if (n <= before)
    std::memset(static_cast<void*>(target), 0, sizeof(T) * n); // a fresh piece is zero already
}

template <class T>
void VArrayPlus<T>::Append(unsigned int i, const T& value) {
  const T copy = value; // `value` may live in the row about to move
  Reserve(i, rows_[i].count + 1);
  Row& row = rows_[i];
  row.storage[row.count++] = copy;
}

template <class T>
unsigned long long VArrayPlus<T>::GetFullSize() const noexcept {
  unsigned long long size = 0;
  for (const Row& row : rows_)
    size += 3 * 4 + static_cast<unsigned long long>(row.count) * sizeof(T);
  return size;
}

template <class T>
void VArrayPlus<T>::Copy(const VArrayPlus& other) {
  if (this == &other)
    return;
  Clear();
  std::uint64_t elements = 0;
  for (const Row& row : other.rows_)
    elements += row.count;
  SetPortionSize(internal::PieceBytes(elements, sizeof(T)));
  SetSize(other.GetSize());
  for (unsigned int k = 0; k < other.GetSize(); ++k)
    Set(k, other.rows_[k].count, other.rows_[k].storage);
}

template <class T>
long long VArrayPlus<T>::Write(CFileBase& file, long long pos) {
  const unsigned int rows = GetSize();
  internal::PayloadWriter out(file);
  long long at = out.Position();
  if (pos == -1) {
    out.PutCount(rows);
  } else {
    at = WriteCount(file, rows, pos);
    if (at < 0)
      return -1;
  }
  for (const Row& row : rows_) {
    out.PutCount(row.count);
    out.PutPiece(row.storage, sizeof(T) * row.count);
  }
  return out.Finish() ? at : -1;
}

template <class T>
void VArrayPlus<T>::Write(CFileBase& file, DOCUMENT& doc, unsigned char always) {
  WriteBlock(file, doc, GetSize() == 0 && always == 0, [&] { return Write(file, -1) >= 0; });
}

template <class T>
unsigned char VArrayPlus<T>::Read(CFileBase& file, long long pos) {
  try {
    internal::PayloadReader in(file, pos);
    unsigned int rows = 0;
    bool ok = in.Count(rows, sizeof(unsigned int)); // every row holds at least its count
    if (ok)
      SetSize(rows);
    for (unsigned int k = 0; ok && k < rows; ++k) {
      unsigned int n = 0;
      ok = in.Count(n, sizeof(T));
      if (ok && n != 0)
        ok = in.Get(Resize(k, n), sizeof(T) * n);
      else
        Resize(k, 0);
    }
    if (!ok) {
      Clear();
      return 0;
    }
    in.Finish();
    return 1;
  } catch (...) {
    Clear();
    throw;
  }
}

template <class T>
unsigned char VArrayPlus<T>::Read(CFileBase& file, const DOCUMENT& doc) {
  if (!OpenBlock(file, doc)) {
    Clear();
    return doc.length == 0 ? 1 : 0;
  }
  return Read(file, doc.position);
}

// The element types whose arrays the library compiles once, for every
// user; any other plain type is compiled where it is used.
#define ZEL_ARRAY_PLUS_ELEMENTS(X)                                                                                    \
  X(char) X(unsigned char) X(unsigned short) X(int) X(unsigned int) X(long long) X(unsigned long long) X(float)       \
  X(double) X(char*) X(unsigned char*) X(unsigned short*) X(unsigned int*) X(double*) X(long long*)                  \
  X(unsigned long long*) X(void*) X(CTypeValue<unsigned char, double>) X(CTypeValue<unsigned short, double>)

#define ZEL_EXTERN_ARRAY_PLUS(...) extern template class CArrayPlus<__VA_ARGS__>;
ZEL_ARRAY_PLUS_ELEMENTS(ZEL_EXTERN_ARRAY_PLUS)
#undef ZEL_EXTERN_ARRAY_PLUS

} // namespace zel
