#pragma once
/// \file
/// `VBase`: a vector of fixed-length elements whose length is chosen at run
/// time from a type code (see type_codes.h). The data store keeps its typed
/// columns in it.

#include <cstddef>
#include <vector>

namespace zel {

class CFileBase;

/// Elements are `GetLength()` bytes each, stored back to back. Positions are
/// 1-based with 0 meaning none; out-of-range positions give null, 0 or no
/// effect. Source pointers may point into the vector itself.
///
/// A new `VBase` has type code 0 and length 1 (a vector of bytes). A length of
/// 0 (`SetType(0, 0)`) is allowed: such a vector holds no elements, and
/// appending to it adds no bytes.
///
/// Growth and copies fail as the memory layer does (message 201, or 202).
class VBase {
public:
  VBase() = default;
  VBase(const VBase& other);
  VBase& operator=(const VBase& other);
  VBase(VBase&&) noexcept = default;
  VBase& operator=(VBase&&) noexcept = default;
  ~VBase() = default;

  /// Bytes per element.
  unsigned short GetLength() const noexcept { return length_; }
  /// The element type code.
  unsigned short GetType() const noexcept { return type_; }
  /// Stores `type` and takes the element length from the type-code table
  /// (`size` is used for code 0 only). The bytes held are kept; the count is
  /// re-measured in the new length.
  void SetType(unsigned short type, unsigned short size);

  /// Element count: bytes held divided by the length (0 for length 0).
  unsigned int GetSize() const noexcept;
  unsigned int GetQuantity() const noexcept { return GetSize(); }
  /// Capacity in elements; 0 when no storage is held.
  unsigned int GetMaxSize() const noexcept;

  /// First byte of element `i` (1-based), or null when out of range.
  unsigned char* Get(unsigned int i) noexcept;
  const unsigned char* Get(unsigned int i) const noexcept;

  /// Exactly `n` elements; new bytes are zero.
  void SetSize(unsigned int n);
  /// Reserves room for `n` elements; `SetMaxSize(0)` empties the vector and
  /// keeps its capacity.
  void SetMaxSize(unsigned int n);
  /// Grows by `n` zero elements; returns the old count + 1.
  unsigned int AddSize(unsigned int n);
  /// Appends the `n` elements at `src` (null stands for zero bytes); returns
  /// the old count + 1.
  unsigned int Append(unsigned int n, const void* src);
  /// Appends the bytes of `other` as they are (callers keep the element
  /// lengths equal); returns the old count + 1.
  unsigned int Append(const VBase& other);
  VBase& operator+=(const VBase& other) {
    Append(other);
    return *this;
  }
  /// Makes the vector exactly the `n` elements at `src` (null: zero bytes).
  void Set(unsigned int n, const void* src);
  /// Copies element `i` from `src`. 0 when `i` is out of range, else 1.
  unsigned char Replace(unsigned int i, const void* src);
  /// Copies `j - i + 1` elements from `src` into positions `i` to `j`. 0,
  /// with nothing copied, when `j < i`, `i` is 0 or `j` is above the count.
  unsigned char Replace(unsigned int i, unsigned int j, const void* src);
  /// Removes positions `i` to `j` with the rules of `Vector<T>::Erase`:
  /// `Erase(0, 0)` clears, `j` 0 means `i` alone, bounds in either order, a
  /// first bound of 0 counts as 1, the last bound is clamped to the count,
  /// and a first bound above the count does nothing.
  void Erase(unsigned int i, unsigned int j);
  /// Removes all elements and releases the storage.
  void Clear() noexcept;
  /// Same as assignment: type, length and bytes.
  void Copy(const VBase& other) { *this = other; }

  /// 1 when the type codes, the lengths and the bytes are all equal, else 0.
  int operator==(const VBase& other) const noexcept;
  /// Lexicographic order of the bytes as unsigned values only; type and
  /// length are not consulted. (So two vectors can be unequal by `==` while
  /// neither is less than the other.)
  bool operator<(const VBase& other) const noexcept;

  /// Reads, at the file's read position, a 32-bit byte count and that many
  /// bytes, which become the vector's bytes (type and length are not part of
  /// this payload and stay). A count the rest of the file cannot hold
  /// reports message 110 and leaves the vector as it was.
  void Read(CFileBase& file);

  /// The bytes, for the data store's own layout.
  const std::vector<unsigned char>& Bytes() const noexcept { return data_; }

private:
  std::size_t ByteOffset(unsigned int n) const noexcept { return static_cast<std::size_t>(n) * length_; }

  std::vector<unsigned char> data_;
  unsigned short length_ = 1;
  unsigned short type_ = 0;
};

} // namespace zel
