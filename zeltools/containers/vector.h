#pragma once
/// \file
/// `Vector<T>`: the library's general value container, a `std::vector<T>`
/// with 1-based access, range editing, sorting, compaction and persistence.
///
/// Positions are 1-based with 0 meaning none (`Get`, `Compare(i, j)`,
/// `Replace`, `Erase`, the results of `Append`, `AddSize` and `Order`);
/// `operator[]` and `SetValue` are 0-based. Out-of-range positions are not
/// errors: accessors give null and modifiers do nothing.
///
/// Element order (used by `Compare`, `Sort`, `Compress` and `Order`):
/// pointers by address; other types by their own `operator<` and
/// `operator==`, exactly (no tolerance). A NaN is neither less than nor equal
/// to anything, so `Compare` gives 1 for it on either side; `Sort`, `Compress`
/// and `Order` place NaNs after every other value (as `Compare(NaN, x)`, 1,
/// says), in no particular order among themselves, and never merge them as
/// duplicates. Integer and floating element types sort by radix; all others by
/// comparison, and an element type whose `operator<` is not a strict order
/// (a pair holding a NaN, a point whose `<` is always false) still gets some
/// order, never undefined behaviour.
///
/// Growth fails as the memory layer does (message 201, or 202 for a request
/// beyond what a vector can hold), never with a standard exception; the
/// members inherited from `std::vector` keep the standard's failures.
///
/// Every source pointer may point into the vector itself: such sources are
/// copied before the vector changes. Element types that are not trivially
/// copyable are only ever copied, moved and destroyed as objects.
///
/// Stored payload (`Write`/`Read`): a 32-bit little-endian element count,
/// then count × sizeof(T) bytes, the elements as they lie in memory. No
/// header, version or checksum.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "zeltools/containers/internal/element_order.h"
#include "zeltools/containers/internal/erase_positions.h"
#include "zeltools/files/block_io.h"
#include "zeltools/memory/memory.h"

namespace zel {

template <class T>
class Vector : public std::vector<T> {
  using Base = std::vector<T>;

public:
  using Base::Base;
  Vector() = default;
  Vector(const Vector& other) : Base(Grow(other.size(), [&] { return Base(other); })) {}
  Vector(Vector&&) noexcept = default;
  Vector& operator=(const Vector& other) {
    Set(other);
    return *this;
  }
  Vector& operator=(Vector&&) noexcept = default;
  ~Vector() = default;
  /// A copy of (or the storage of) a plain standard vector.
  Vector(const Base& other) : Base(Grow(other.size(), [&] { return Base(other); })) {}  // NOLINT(google-explicit-constructor)
  Vector(Base&& other) noexcept : Base(std::move(other)) {}  // NOLINT(google-explicit-constructor)

  // --- size and access --------------------------------------------------

  /// Element count.
  unsigned int GetSize() const noexcept { return static_cast<unsigned int>(this->size()); }
  /// Element count (same as `GetSize`).
  unsigned int GetQuantity() const noexcept { return GetSize(); }

  /// Element `i` (1-based), or null when `i` is 0 or above the count.
  T* Get(unsigned int i) noexcept { return InRange(i) ? this->data() + (i - 1) : nullptr; }
  const T* Get(unsigned int i) const noexcept { return InRange(i) ? this->data() + (i - 1) : nullptr; }

  /// The first element, or null for an empty vector.
  operator T*() noexcept { return this->empty() ? nullptr : this->data(); }
  operator const T*() const noexcept { return this->empty() ? nullptr : this->data(); }

  /// Element `i`, 0-based and unchecked, for any integer index type.
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  T& operator[](I i) noexcept {
    return Base::operator[](static_cast<std::size_t>(i));
  }
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  const T& operator[](I i) const noexcept {
    return Base::operator[](static_cast<std::size_t>(i));
  }

  /// 1 when some element equals `value` exactly.
  unsigned char Exist(const T& value) const {
    for (const T& e : *this) {
      if (internal::ElementEqual(e, value)) return 1;
    }
    return 0;
  }

  // --- growth and shrinking ---------------------------------------------

  /// Appends the `n` elements at `src` (a null `src` stands for `n`
  /// value-initialised elements). Returns the old count + 1, also for `n` 0.
  unsigned int Append(unsigned int n, const T* src) {
    const unsigned int first = GetSize() + 1;
    if (n == 0) return first;
    Grow(this->size() + n, [&] {
      if (src == nullptr) {
        this->resize(this->size() + n);
      } else if (Aliases(src)) {
        const Base copy(src, src + n);
        this->insert(this->end(), copy.begin(), copy.end());
      } else {
        this->insert(this->end(), src, src + n);
      }
    });
    return first;
  }
  /// Appends one element; returns its position.
  unsigned int Append(const T& value) {
    const unsigned int first = GetSize() + 1;
    Grow(this->size() + 1, [&] { this->push_back(value); });
    return first;
  }
  /// Appends all elements of `other` (which may be this vector); returns the
  /// old count + 1.
  unsigned int Append(const std::vector<T>& other) {
    const unsigned int first = GetSize() + 1;
    Grow(this->size() + other.size(), [&] {
      if (&other == this) {
        const Base copy(other);
        this->insert(this->end(), copy.begin(), copy.end());
      } else {
        this->insert(this->end(), other.begin(), other.end());
      }
    });
    return first;
  }
  Vector& operator+=(const T& value) {
    Append(value);
    return *this;
  }
  Vector& operator+=(const std::vector<T>& other) {
    Append(other);
    return *this;
  }

  /// Grows by `n` copies of `fill`; returns the old count + 1.
  unsigned int AddSize(unsigned int n, const T& fill) {
    const unsigned int first = GetSize() + 1;
    const T copy(fill);
    Grow(this->size() + n, [&] { this->insert(this->end(), n, copy); });
    return first;
  }
  /// Grows by `n` value-initialised elements; returns the old count + 1.
  unsigned int AddSize(unsigned int n) {
    const unsigned int first = GetSize() + 1;
    Grow(this->size() + n, [&] { this->resize(this->size() + n); });
    return first;
  }

  /// Exactly `n` elements; new ones are `fill`.
  void SetSize(unsigned int n, const T& fill) {
    const T copy(fill);
    Grow(n, [&] { this->resize(n, copy); });
  }
  /// Exactly `n` elements; new ones are value-initialised.
  void SetSize(unsigned int n) {
    Grow(n, [&] { this->resize(n); });
  }

  /// For `n` > 0 reserves room for `n` elements (never shrinks, count
  /// unchanged). `SetMaxSize(0)` empties the vector and keeps its capacity.
  void SetMaxSize(unsigned int n) {
    if (n == 0) {
      this->clear();
    } else {
      Grow(n, [&] { this->reserve(n); });
    }
  }

  /// Makes the vector exactly the `n` elements at `src` (a null `src` stands
  /// for `n` value-initialised elements).
  void Set(unsigned int n, const T* src) {
    Grow(n, [&] {
      if (src == nullptr) {
        this->assign(n, T());
      } else if (Aliases(src)) {
        Base copy(src, src + n);
        this->swap(copy);
      } else {
        this->assign(src, src + n);
      }
    });
  }
  /// Makes the vector a copy of `other`.
  void Set(const std::vector<T>& other) {
    if (&other != this) Grow(other.size(), [&] { this->assign(other.begin(), other.end()); });
  }
  /// Same as `Set(other)`.
  void Copy(const std::vector<T>& other) { Set(other); }

  /// Resizes to `n` and zeroes every element.
  void SetZero(unsigned int n) {
    SetSize(n);
    SetZero();
  }
  /// Zeroes the bytes of every element. Types that are not trivially copyable
  /// get a value-initialised element instead (for texts: the empty text),
  /// which is what zero bytes stand for in them.
  void SetZero() {
    if (this->empty()) return;
    if constexpr (std::is_trivially_copyable_v<T>) {
      std::memset(static_cast<void*>(this->data()), 0, this->size() * sizeof(T));
    } else {
      std::fill(this->begin(), this->end(), T());
    }
  }

  /// Fills the 0-based range from `i` to `j` inclusive with `value`.
  ///
  /// A `j` of 0 means the single element `i` (so `SetValue(v, 0, 0)` sets
  /// element 0 and `SetValue(v, 2, 0)` element 2); otherwise the bounds may
  /// come in either order. Both bounds are clamped to the count, not to the
  /// count − 1: a range reaching past the end designates the slot just after
  /// the last element as well. That slot holds no element and is not
  /// written, so such a range fills up to the last element, and one lying
  /// wholly beyond the end fills nothing. An empty vector is left alone.
  void SetValue(const T& value, unsigned int i, unsigned int j) {
    const std::size_t n = this->size();
    if (n == 0) return;
    if (j == 0) j = i;
    // (std::min) and (std::max): the Windows headers may define min and max as macros.
    const std::size_t lo = std::min<std::size_t>((std::min)(i, j), n);
    const std::size_t hi = std::min<std::size_t>(std::min<std::size_t>((std::max)(i, j), n), n - 1);
    if (lo > hi) return;
    const T copy(value);
    std::fill(this->begin() + static_cast<std::ptrdiff_t>(lo), this->begin() + static_cast<std::ptrdiff_t>(hi + 1),
              copy);
  }

  /// Stores `value` at position `i` (skipped when the element already equals
  /// it). 0 when `i` is 0 or above the count, else 1.
  unsigned char Replace(unsigned int i, const T& value) {
    T* e = Get(i);
    if (e == nullptr) return 0;
    if (!internal::ElementEqual(*e, value)) *e = value;
    return 1;
  }
  /// Copies the `j - i + 1` elements at `src` into positions `i` to `j` (a
  /// null `src` stands for value-initialised elements). 0, with nothing
  /// copied, when `j < i`, and also when `i` is 0 or `j` is above the count
  /// (a range outside the vector is refused rather than written past its
  /// end); else 1.
  unsigned char Replace(unsigned int i, unsigned int j, const T* src) {
    if (j < i || i == 0 || j > this->size()) return 0;
    T* dst = this->data() + (i - 1);
    const std::size_t n = std::size_t{j} - i + 1;
    if (src == nullptr) {
      std::fill(dst, dst + n, T());
    } else if (Aliases(src)) {
      const Base copy = Grow(n, [&] { return Base(src, src + n); });
      std::copy(copy.begin(), copy.end(), dst);
    } else {
      std::copy(src, src + n, dst);
    }
    return 1;
  }

  /// Removes positions `i` to `j`. `Erase(0, 0)` clears as `Clear()`; a `j`
  /// of 0 means the single position `i`; bounds in either order; a first
  /// bound of 0 counts as 1; nothing happens when the first bound is above
  /// the count; the last is clamped to the count.
  void Erase(unsigned int i, unsigned int j) {
    const internal::EraseAction action = internal::ErasePositions(i, j, GetSize());
    if (action == internal::EraseAction::Clear)
      Clear();
    if (action != internal::EraseAction::Range)
      return;
    this->erase(this->begin() + (i - 1), this->begin() + j);
  }

  /// Removes every element equal to `value`, keeping the order of the rest.
  void Remove(const T& value) {
    const T copy(value);
    this->erase(std::remove_if(this->begin(), this->end(),
                               [&copy](const T& e) { return internal::ElementEqual(e, copy); }),
                this->end());
  }
  /// `Remove` for each of the `n` values at `values` in turn.
  void Remove(unsigned int n, const T* values) {
    if (values == nullptr || n == 0) return;
    if (Aliases(values)) {
      const Base copy = Grow(n, [&] { return Base(values, values + n); });
      for (const T& v : copy) Remove(v);
    } else {
      for (unsigned int k = 0; k < n; ++k) Remove(values[k]);
    }
  }
  /// `Remove` for each element of `other` in turn.
  void Remove(const std::vector<T>& other) {
    if (&other == this) {
      const Base copy = Grow(other.size(), [&] { return Base(other); });
      for (const T& v : copy) Remove(v);
    } else {
      for (const T& v : other) Remove(v);
    }
  }

  /// Removes all elements and releases the storage (capacity 0).
  void Clear() noexcept {
    Base empty;
    this->swap(empty);
  }

  /// For a vector of bytes holding one zero-terminated text: appends `text`
  /// (null reads as empty). A non-empty vector first has its last element
  /// (the old terminator) overwritten by `separator`, or dropped when
  /// `separator` is 0. Returns the length of the joined text.
  template <class U = T, std::enable_if_t<std::is_integral_v<U> && sizeof(U) == 1 && !std::is_same_v<U, bool>, int> = 0>
  unsigned int AddStr(const char* text, char separator) {
    const std::size_t len = text == nullptr ? 0 : std::strlen(text);
    std::size_t m = this->size();
    // text may lie in this vector
    const std::vector<char> copy = Grow(m + len, [&] { return std::vector<char>(text, text + len); });
    if (m > 0) {
      if (separator != 0) {
        this->back() = static_cast<U>(separator);
      } else {
        --m;
      }
    }
    Grow(m + len + 1, [&] { this->resize(m + len + 1); });
    if (len != 0) std::memcpy(this->data() + m, copy.data(), len);
    (*this)[m + len] = 0;
    return static_cast<unsigned int>(m + len);
  }

  /// For a vector of texts (elements made from a `const char*`): splits
  /// `text` at every `separator` and appends the pieces in order as they
  /// stand (not trimmed, empty pieces kept), so that joining the appended
  /// texts with `separator` gives `text` back; a 0 separator appends `text`
  /// whole, and a null or empty `text` appends one empty text. Returns the
  /// new count (the position of the last piece).
  template <class U = T, std::enable_if_t<!std::is_arithmetic_v<U> && std::is_constructible_v<U, const char*>, int> = 0>
  unsigned int AddStr(const char* text, char separator) {
    const std::string whole(text != nullptr ? text : "");  // `text` may lie in one of the texts
    std::size_t start = 0;
    for (;;) {
      const std::size_t end = separator != '\0' ? whole.find(separator, start) : std::string::npos;
      this->emplace_back(whole.substr(start, end == std::string::npos ? std::string::npos : end - start).c_str());
      if (end == std::string::npos)
        break;
      start = end + 1;
    }
    return static_cast<unsigned int>(this->size());
  }

  // --- ordering -----------------------------------------------------------

  /// -1, 0 or 1 for the elements at `a` and `b`: a null element orders
  /// first (two nulls are equal); a NaN on either side gives 1.
  static int Compare(const T* a, const T* b) { return internal::ElementCompare(a, b); }
  /// `Compare(Get(i), Get(j))`: out-of-range positions count as missing.
  template <class I, class J,
            std::enable_if_t<std::is_integral_v<I> && std::is_integral_v<J>, int> = 0>
  int Compare(I i, J j) const {
    return internal::ElementCompare(At(i), At(j));
  }
  /// Lexicographic: -1 when this vector orders before `other`, 1 after, 0
  /// for the same elements; a proper prefix orders first.
  int Compare(const std::vector<T>& other) const {
    const std::size_t n = (std::min)(this->size(), other.size());
    for (std::size_t k = 0; k < n; ++k) {
      const int c = internal::ElementCompare(this->data() + k, other.data() + k);
      if (c != 0) return c;
    }
    if (this->size() == other.size()) return 0;
    return this->size() < other.size() ? -1 : 1;
  }

  /// Sorts ascending (not stable); with `unique`, equal neighbours are
  /// reduced to the first of them.
  void Sort(bool unique = false) {
    if (this->empty()) return;
    Sort(this->data(), this->data() + this->size(), unique);
  }
  /// Sorts the range [first, last) of this vector's storage. With `unique`,
  /// the kept elements are packed to the front of the range and the
  /// duplicates removed from the vector, so elements after `last` move down.
  /// A range that does not lie within the storage is left alone.
  void Sort(T* first, T* last, bool unique) {
    if (this->empty() || first == nullptr || last == nullptr) return;
    const std::less_equal<const T*> le;
    const T* begin = this->data();
    if (!le(begin, first) || !le(first, last) || !le(last, begin + this->size())) return;
    if (last - first < 2) return;
    internal::SortElements(first, last);
    if (!unique) return;
    // Element k is kept when it differs from element k - 1 of the sorted
    // range; the decision for k + 1 is taken before k is moved away.
    T* w = first + 1;
    bool keep = !internal::ElementEqual(first[1], first[0]);
    for (T* r = first + 1; r != last; ++r) {
      const bool keepNext = r + 1 != last && !internal::ElementEqual(r[1], r[0]);
      if (keep) {
        if (w != r) *w = std::move(*r);
        ++w;
      }
      keep = keepNext;
    }
    const auto from = this->begin() + (w - begin);
    const auto to = this->begin() + (last - begin);
    this->erase(from, to);
  }

  /// `Sort(first, last, unique)` for iterators of this vector.
  void Sort(typename Base::iterator first, typename Base::iterator last, bool unique) {
    if (first == last) return;
    T* const begin = this->data();
    Sort(begin + (first - this->begin()), begin + (last - this->begin()), unique);
  }

  /// Fills `out` with the 1-based positions of the elements in ascending
  /// order of value (NaNs last); the vector is unchanged.
  void Order(std::vector<unsigned int>& out) const {
    GuardAllocation(std::uint64_t{sizeof(unsigned int)} * this->size(), [&] { out.resize(this->size()); });
    if (!this->empty()) internal::OrderElements(this->data(), this->size(), out.data());
  }

  /// Sorts, then drops the elements equal to `*excluded` (when given) and,
  /// with `unique`, each element equal to its predecessor in the sorted
  /// sequence. Returns 1 when the count changed, 0 when not; an empty vector
  /// returns 1 at once.
  ///
  /// Kept for compatibility: the smallest element is carried over only when
  /// `excluded` is given and differs from it. Without `excluded` the
  /// smallest element is always dropped, so a vector of distinct values
  /// loses its smallest one and the result is 1.
  int Compress(bool unique, const T* excluded) {
    const std::size_t n = this->size();
    if (n == 0) return 1;
    std::optional<T> ex;
    if (excluded != nullptr) ex.emplace(*excluded);  // excluded may lie in this vector
    internal::SortElements(this->data(), this->data() + n);
    T* a = this->data();
    const auto dropped = [&](std::size_t k) {
      return (ex && internal::ElementEqual(a[k], *ex)) || (unique && internal::ElementEqual(a[k], a[k - 1]));
    };
    std::size_t w = (ex && !internal::ElementEqual(a[0], *ex)) ? 1 : 0;
    bool drop = n > 1 && dropped(1);
    for (std::size_t k = 1; k < n; ++k) {
      const bool dropNext = k + 1 < n && dropped(k + 1);  // before a[k] is moved away
      if (!drop) {
        if (w != k) a[w] = std::move(a[k]);
        ++w;
      }
      drop = dropNext;
    }
    this->erase(this->begin() + static_cast<std::ptrdiff_t>(w), this->end());
    return w != n ? 1 : 0;
  }

  // --- persistence ----------------------------------------------------------

  /// What the positional `Write` returns when the file refused the write
  /// (the file's −1).
  static constexpr unsigned long long WriteFailed = WriteArrayFailed;

  /// Writes the payload with its count at `pos` (−1: the end of the file)
  /// and, when the count is not 0, the elements at that position + 4.
  /// Returns the position of the count, or `WriteFailed` after a failure
  /// that the file reported to its sink. A vector of more than 2^32 − 1
  /// elements cannot be described by the count and reports message 111.
  ///
  /// Element types that are not trivially copyable (texts holding a
  /// pointer) write their object images, which mean nothing when read back.
  unsigned long long Write(CFileBase& file, long long pos) const {
    return WriteArray(file, pos, static_cast<const void*>(this->data()), this->size(), sizeof(T));
  }

  /// Appends the payload as a new block and describes it in `doc` (position,
  /// and the growth of the file's length). `doc` is {0, 0} when the vector
  /// is empty and `always` is 0 (nothing is written) and after a failed
  /// write. `option` is not used by this container.
  void Write(CFileBase& file, DOCUMENT& doc, unsigned char always, unsigned char option = 0) const {
    (void)option;
    WriteBlock(file, doc, this->empty() && always == 0, [&] { return Write(file, -1) != WriteFailed; });
  }

  /// Reads a payload with its count at `pos` (any negative value: the
  /// current read position). The count is checked against what is left of
  /// the file before anything is allocated: a count the file cannot hold
  /// reports message 110 and leaves the vector as it was. After the count
  /// the vector is resized to it (new elements value-initialised) and the
  /// elements are read into it; a failed element read leaves the new count
  /// with what the file supplied. Element types that are not trivially
  /// copyable are not overwritten by stored images: they become `count`
  /// value-initialised elements and the images are skipped.
  void Read(CFileBase& file, long long pos) {
    unsigned int count = 0;
    if (!ReadCount(file, count, sizeof(T), pos < 0 ? -1 : pos)) return;
    if constexpr (std::is_trivially_copyable_v<T>) {
      SetSize(count);
      if (count != 0) ReadBytes(file, static_cast<void*>(this->data()), std::size_t{count} * sizeof(T));
    } else {
      Base fresh = Grow(count, [&] { return Base(count); });
      this->swap(fresh);
      SkipBytes(file, std::size_t{count} * sizeof(T));
    }
  }

  /// Reads the block that `doc` describes: a record of length 0 clears the
  /// vector (as `Clear`); a record that does not lie inside the file reports
  /// message 110 and leaves the vector as it was.
  void Read(CFileBase& file, const DOCUMENT& doc) {
    if (doc.length == 0) {
      Clear();
      return;
    }
    if (!OpenBlock(file, doc)) return;
    Read(file, -1);
  }

private:
  // Growth to `count` elements through the standard vector.
  template <class Work>
  static decltype(auto) Grow(std::size_t count, Work&& work) {
    return GuardAllocation(static_cast<std::uint64_t>(count) * sizeof(T), std::forward<Work>(work));
  }

  bool InRange(unsigned long long i) const noexcept { return i != 0 && i <= this->size(); }

  template <class I>
  const T* At(I i) const noexcept {
    if constexpr (std::is_signed_v<I>) {
      if (i <= 0) return nullptr;
    }
    const auto u = static_cast<unsigned long long>(i);
    return InRange(u) ? this->data() + (u - 1) : nullptr;
  }

  /// True when `p` points at one of this vector's elements.
  bool Aliases(const T* p) const noexcept {
    if (this->empty()) return false;
    const T* begin = this->data();
    return std::less_equal<const T*>()(begin, p) && std::less<const T*>()(p, begin + this->size());
  }
};

} // namespace zel
