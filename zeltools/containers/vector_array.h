#pragma once
/// \file
/// Arrays of variable-length lists: `VectorArray<T, I>` holds a numbered
/// sequence of lists of `T`; `VectorHeadArray<T, I, H>` keeps one more value,
/// the head, beside each list. List contents live in the portions of the
/// array's own allocator; the array tracks whether it changed since it was
/// last saved and persists as one block.
///
/// Lists are numbered from 0. Pointers to list contents stay valid until the
/// list is given more elements than it had (`Replace`), or the array is
/// cleared, compressed, read or destroyed.
///
/// Stored payload (little-endian, no header):
///   list count (32 bits); when 0 the block ends here;
///   total number of elements over all lists (32 bits);
///   for each list: [head (32 bits), head arrays only] count (32 bits),
///   then the count elements, raw.
/// An empty array still writes its 4-byte block.
///
/// Modify marks: every change ORs 0x11 into the mark byte; the low nibble
/// means changed since all marks were cleared, the high nibble changed since
/// the owner's last save point (`ClearModifyLast`).

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "zeltools/containers/array_plus.h"
#include "zeltools/containers/type_value.h"
#include "zeltools/errors/exception.h"
#include "zeltools/files/document.h"
#include "zeltools/memory/allocator.h"

namespace zel {

class CFileBase;

/// One list of a `VectorArray`: its element count and its elements (null
/// for a list never filled).
template <class T, class I>
struct SVectorArray {
  I count;
  T* elements;
};

/// One list of a `VectorHeadArray`: count, head value, elements.
template <class T, class I, class H>
struct SVectorHeadArray {
  I count;
  H head;
  T* elements;
};

namespace internal {

template <class Record>
struct ListTraits;
template <class T, class I>
struct ListTraits<SVectorArray<T, I>> {
  using Element = T;
  using Head = void;
  static constexpr bool hasHead = false;
};
template <class T, class I, class H>
struct ListTraits<SVectorHeadArray<T, I, H>> {
  using Element = T;
  using Head = H;
  static constexpr bool hasHead = true;
};

/// What the two arrays of lists share; `Record` is the list record.
template <class Record>
class ListArray : protected KZAllocator {
  using Traits = ListTraits<Record>;

public:
  using Element = typename Traits::Element;
  static_assert(std::is_trivially_copyable<Element>::value, "lists hold plain values copied as bytes");
  static_assert(std::is_same<decltype(Record::count), unsigned int>::value, "list counts are 32-bit on file");

  ListArray() noexcept = default;
  /// Copies every list into this array's own portions (see `Copy`).
  ListArray(const ListArray& other) : KZAllocator() { Copy(other); }
  ListArray& operator=(const ListArray& other) {
    Copy(other);
    return *this;
  }
  ListArray(ListArray&& other) noexcept
      : KZAllocator(std::move(other)), lists_(std::move(other.lists_)), modify_(other.modify_) {
    other.modify_ = 0;
  }
  ListArray& operator=(ListArray&& other) noexcept {
    if (this != &other) {
      KZAllocator::operator=(std::move(other));
      lists_ = std::move(other.lists_);
      modify_ = other.modify_;
      other.modify_ = 0;
    }
    return *this;
  }
  ~ListArray() = default;

  /// Makes this array a copy of `other`: the lists packed in order into one
  /// portion, and the same modify marks.
  void Copy(const ListArray& other);

  /// Number of lists.
  unsigned int GetSize() const noexcept { return lists_.GetSize(); }
  /// Sets the number of lists; new lists are empty, lists beyond `n` are
  /// dropped (their storage stays in the allocator until `Clear` or
  /// `Compress`). Marks the array changed when the number changes.
  void SetSize(unsigned int n);

  /// The record of list `i`, unchecked.
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  Record* operator[](Index i) noexcept {
    return &lists_[i];
  }
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  const Record* operator[](Index i) const noexcept {
    return &lists_[i];
  }

  /// Count of list `i`; 0 when there is no list `i`.
  unsigned int GetElemSize(unsigned int i) const noexcept { return i < GetSize() ? lists_[i].count : 0; }
  /// Elements of list `i`; null when there is no list `i`.
  Element* GetElemPoint(unsigned int i) noexcept { return i < GetSize() ? lists_[i].elements : nullptr; }
  const Element* GetElemPoint(unsigned int i) const noexcept { return i < GetSize() ? lists_[i].elements : nullptr; }

  /// Appends every list of `other` (which may be this array) in order.
  void Append(const ListArray& other);

  /// Storage from the array's allocator, as `KZAllocator::SetPortion`.
  using KZAllocator::SetPortion;

  /// `full` 1: releases the record table and all portions. Any other value:
  /// drops every list but keeps the record table, and keeps one portion for
  /// reuse (the only one, rewound, or one of the former total). Both clear
  /// the modify marks.
  void Clear(unsigned char full = 1);

  /// Repacks all list contents into one portion, in list order, and
  /// releases the old portions. Nothing is done when the allocator holds
  /// one portion or none. Contents and marks are unchanged; pointers to list
  /// contents are not.
  void Compress();

  unsigned char GetModify() const noexcept { return modify_; }
  void SetModify(unsigned char bits) noexcept { modify_ = static_cast<unsigned char>(modify_ | bits); }
  /// The upper four bits of the marks.
  unsigned char GetModifyLast() const noexcept { return static_cast<unsigned char>(modify_ & 0xF0); }
  /// Clears the upper four bits, keeping the lower ones.
  void ClearModifyLast() noexcept { modify_ = static_cast<unsigned char>(modify_ & 0x0F); }
  void ClearModify() noexcept { modify_ = 0; }

  /// Reads the block `doc` describes. The array is emptied first (marks
  /// cleared); a record of length 0 leaves it empty. The lists are read into
  /// one portion sized from the stored total. A record outside the file or a
  /// damaged payload (a count that the rest of the file cannot hold) reports
  /// 110 through the file and leaves the array empty. Returns 0 when a
  /// failure went to the file's sink.
  unsigned char Read(CFileBase& file, const DOCUMENT& doc);

  /// The allocator holding the list contents.
  const KZAllocator& GetAllocator() const noexcept { return *this; }

protected:
  static constexpr unsigned char Changed = 0x11;

  /// Sets list `i` (see the arrays' `Replace`); `head` is ignored for arrays
  /// without heads.
  Record* ReplaceList(unsigned int i, const void* head, unsigned int n, const Element* source, const char* crashText);
  /// Adds one list set as by `ReplaceList`; returns its number.
  unsigned int AppendList(const void* head, unsigned int n, const Element* source);
  /// Writes the payload as one block at the end of the file, described by
  /// `doc` ({0, 0} when the file reported a failure to its sink).
  void WriteBlockOf(CFileBase& file, DOCUMENT& doc);

private:
  bool WritePayload(CFileBase& file) const;
  bool ReadPayload(CFileBase& file, long long position);

  CArrayPlus<Record> lists_;
  unsigned char modify_ = 0;
};

} // namespace internal

/// An array of lists of `T`; `I` is the 32-bit count type.
template <class T, class I>
class VectorArray : public internal::ListArray<SVectorArray<T, I>> {
  using Base = internal::ListArray<SVectorArray<T, I>>;

public:
  using Base::Base;
  using Record = SVectorArray<T, I>;

  /// Sets list `i` to the `n` elements at `source`. Storage is reused when
  /// `n` is not above the list's count, otherwise a new piece is taken (the
  /// old one stays in the allocator). With a null `source` the elements are
  /// left as the storage holds them (zeros for new storage), for the caller
  /// to fill. The array is marked changed unless the count and the contents
  /// are the same as before. `source` may point into this array.
  /// A list number not below `GetSize()` throws "Error in VectorArray".
  Record* Replace(unsigned int i, unsigned int n, const T* source) {
    return this->ReplaceList(i, nullptr, n, source, "Error in VectorArray");
  }
  /// Adds a list set as by `Replace`; returns its number (the old count).
  unsigned int Append(unsigned int n, const T* source) { return this->AppendList(nullptr, n, source); }
  /// Appends every list of `other` in order.
  void Append(const VectorArray& other) { Base::Append(other); }

  /// Writes the array as one block at the end of the file, described by
  /// `doc` (an empty array writes its 4-byte count). A successful write
  /// clears the modify marks; a failure reported to the file's sink leaves
  /// `doc` {0, 0} and the marks as they were.
  void Write(CFileBase& file, DOCUMENT& doc);
};

/// An array of lists of `T`, each with a head value of type `H`.
template <class T, class I, class H>
class VectorHeadArray : public internal::ListArray<SVectorHeadArray<T, I, H>> {
  using Base = internal::ListArray<SVectorHeadArray<T, I, H>>;

public:
  using Base::Base;
  using Record = SVectorHeadArray<T, I, H>;

  /// The head of list `i`; for a list number out of range, one spare value
  /// shared by all arrays of this type (writes to it are kept there only).
  H& GetElemHead(unsigned int i) noexcept {
    static H spare{};
    return i < this->GetSize() ? (*this)[i]->head : spare;
  }

  /// As `VectorArray::Replace`, with the head; a different head also marks
  /// the array changed. Throws "Error in VectorHeadArray" for a list number
  /// out of range.
  Record* Replace(unsigned int i, H head, unsigned int n, const T* source) {
    return this->ReplaceList(i, &head, n, source, "Error in VectorHeadArray");
  }
  unsigned int Append(H head, unsigned int n, const T* source) { return this->AppendList(&head, n, source); }
  void Append(const VectorHeadArray& other) { Base::Append(other); }

  /// Writes the array as one block (heads before counts on file). Unlike
  /// `VectorArray::Write`, the modify marks are left as they are: the
  /// owners of head arrays clear them at their own save points.
  void Write(CFileBase& file, DOCUMENT& doc) { this->WriteBlockOf(file, doc); }
};

// ---------------------------------------------------------------------------

namespace internal {

template <class Record>
void ListArray<Record>::SetSize(unsigned int n) {
  const unsigned int old = GetSize();
  if (n == old)
    return;
  lists_.SetSize(n);
  for (unsigned int k = old; k < n; ++k)
    lists_[k] = Record{};
  modify_ |= Changed;
}

template <class Record>
Record* ListArray<Record>::ReplaceList(unsigned int i, const void* head, unsigned int n, const Element* source,
                                       const char* crashText) {
  if (i >= GetSize())
    Crash(crashText);
  Record& list = lists_[i];
  Element* target = list.elements;
  if (n > list.count) {
    // A new piece; the old one stays where it is, so `source` may still
    // point into it.
    target = reinterpret_cast<Element*>(SetPortion(PieceBytes(n, sizeof(Element))));
  }
  bool changed = n != list.count;
  if constexpr (Traits::hasHead) {
    typename Traits::Head newHead;
    std::memcpy(&newHead, head, sizeof newHead);
    if (!(newHead == list.head)) {
      changed = true;
      list.head = newHead;
    }
  }
  if (!changed && n != 0 && source != nullptr && list.elements != nullptr &&
      std::memcmp(source, list.elements, sizeof(Element) * n) != 0)
    changed = true;
  if (source != nullptr && n != 0 && source != target)
    std::memmove(static_cast<void*>(target), source, sizeof(Element) * n);
  list.elements = target;
  list.count = n;
  if (changed)
    modify_ |= Changed;
  return &list;
}

template <class Record>
unsigned int ListArray<Record>::AppendList(const void* head, unsigned int n, const Element* source) {
  PieceBytes(n, sizeof(Element)); // refuse an impossible list before anything changes
  const unsigned int index = GetSize();
  SetSize(index + 1);
  ReplaceList(index, head, n, source, "");
  return index;
}

template <class Record>
void ListArray<Record>::Append(const ListArray& other) {
  const unsigned int count = other.GetSize(); // fixed first: `other` may be this array
  for (unsigned int k = 0; k < count; ++k) {
    const Record list = other.lists_[k]; // a copy: the record table may move
    if constexpr (Traits::hasHead)
      AppendList(&list.head, list.count, list.elements);
    else
      AppendList(nullptr, list.count, list.elements);
  }
}

template <class Record>
void ListArray<Record>::Copy(const ListArray& other) {
  if (this == &other)
    return;
  Clear(1);
  std::uint64_t elements = 0;
  for (const Record& list : other.lists_)
    elements += list.count;
  SetPortionSize(PieceBytes(elements, sizeof(Element)));
  lists_.SetSize(other.GetSize());
  for (unsigned int k = 0; k < other.GetSize(); ++k) {
    Record list = other.lists_[k];
    if (list.count != 0) {
      auto* target = reinterpret_cast<Element*>(SetPortion(PieceBytes(list.count, sizeof(Element))));
      std::memcpy(static_cast<void*>(target), list.elements, sizeof(Element) * list.count);
      list.elements = target;
    } else {
      list.elements = nullptr;
    }
    lists_[k] = list;
  }
  modify_ = other.modify_;
}

template <class Record>
void ListArray<Record>::Clear(unsigned char full) {
  if (full == 1) {
    lists_.Clear();
    KZAllocator::Clear();
  } else {
    lists_.Zero();
    lists_.Free();
    KZAllocator::Free();
  }
  modify_ = 0;
}

template <class Record>
void ListArray<Record>::Compress() {
  if (GetPortionCount() <= 1)
    return;
  std::uint64_t elements = 0;
  for (const Record& list : lists_)
    elements += list.count;
  KZAllocator packed;
  packed.SetPortionSize(PieceBytes(elements, sizeof(Element)));
  for (Record& list : lists_) {
    if (list.count == 0) {
      list.elements = nullptr;
      continue;
    }
    auto* target = reinterpret_cast<Element*>(packed.SetPortion(PieceBytes(list.count, sizeof(Element))));
    std::memcpy(static_cast<void*>(target), list.elements, sizeof(Element) * list.count);
    list.elements = target;
  }
  // Records past the count point into the old portions: they are zeroed
  // before coming back into use, and cleared here so nothing points there.
  for (unsigned int k = GetSize(); k < lists_.GetMaxSize(); ++k)
    lists_[k] = Record{};
  KZAllocator::Swap(packed); // the old portions go with `packed`
}

} // namespace internal

extern template class internal::ListArray<SVectorArray<char, unsigned int>>;
extern template class internal::ListArray<SVectorArray<unsigned char, unsigned int>>;
extern template class internal::ListArray<SVectorArray<unsigned int, unsigned int>>;
extern template class internal::ListArray<SVectorArray<double, unsigned int>>;
extern template class internal::ListArray<SVectorArray<CTypeValue<unsigned char, unsigned int>, unsigned int>>;
extern template class internal::ListArray<SVectorArray<CTypeValue<unsigned short, double>, unsigned int>>;
extern template class internal::ListArray<SVectorHeadArray<unsigned int, unsigned int, unsigned int>>;

extern template class VectorArray<char, unsigned int>;
extern template class VectorArray<unsigned char, unsigned int>;
extern template class VectorArray<unsigned int, unsigned int>;
extern template class VectorArray<double, unsigned int>;
extern template class VectorArray<CTypeValue<unsigned char, unsigned int>, unsigned int>;
extern template class VectorArray<CTypeValue<unsigned short, double>, unsigned int>;
extern template class VectorHeadArray<unsigned int, unsigned int, unsigned int>;

} // namespace zel
