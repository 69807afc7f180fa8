#pragma once
/// \file
/// Named vectors with the operations the rest of the library needs on their
/// element types: `VKZUINT` (lists of 1-based object numbers, 0 meaning
/// none), `VKZDOUBLE` (doubles compared with a tolerance) and `VString` (a
/// list of zero-terminated texts kept as an array of character lists).

#include <type_traits>
#include <vector>

#include "zeltools/containers/vector.h"
#include "zeltools/containers/vector_array.h"

namespace zel {

/// A `Vector<unsigned int>` of object numbers; 0 means no number.
class VKZUINT : public Vector<unsigned int> {
public:
  using Vector<unsigned int>::Vector;
  VKZUINT() = default;

  /// Makes the vector the n + 1 values start, start + 1, ..., start + n (one
  /// more than `n`, deliberately: `InitOrder(0, 5)` gives {5}).
  void InitOrder(unsigned int n, unsigned int start);

  /// Maps every element through `table` of `n` new numbers: an element e
  /// with 1 <= e <= n becomes table[e - 1], any other element becomes 0. A
  /// null `table` leaves the vector as it is.
  void Renumber(unsigned int n, const unsigned int* table);

  /// Removes every element equal to one of the `n` `values` (and, when
  /// `dropZero` is not 0, every 0), keeping the order of the rest; `n` 0
  /// does nothing. Several values are looked up in a byte table indexed by
  /// value; when the largest value would make that table much larger than
  /// the vector, a sorted copy of the values is searched instead, with the
  /// same result.
  void Remove(unsigned int n, const unsigned int* values, unsigned char dropZero);

  /// Counts the distinct non-zero numbers and returns the largest of them
  /// (0 when none). Unless `sorted` is not 0 the vector is sorted first. An
  /// element counts when it is not 0 and, unless `keepDuplicates` is not 0,
  /// differs from the element before it. No element is moved: the vector is
  /// cut to the counted number, so the operation suits vectors that are
  /// already free of zeros and repeats, which it sorts, measures and
  /// confirms. With `mode` 254 or more a vector whose count differs from its
  /// size is emptied instead, as the signal that it was not clean.
  unsigned int Compress(unsigned char mode, unsigned char sorted, unsigned char keepDuplicates);
};

/// A `Vector<double>` whose comparisons tolerate a relative difference of
/// 1e-6 between elements.
class VKZDOUBLE : public Vector<double> {
public:
  using Vector<double>::Vector;
  VKZDOUBLE() = default;

  /// Fixed tolerance of the comparisons.
  static constexpr double Tolerance = 1e-6;

  /// -1, 0 or 1: the shorter vector orders first; with equal sizes the
  /// first pair of elements that differ by more than the tolerance decides.
  int Compare(const std::vector<double>& other) const;
  bool operator==(const std::vector<double>& other) const { return Compare(other) == 0; }
  bool operator!=(const std::vector<double>& other) const { return Compare(other) != 0; }
  bool operator<(const std::vector<double>& other) const { return Compare(other) < 0; }
};

/// A list of zero-terminated texts: text k is list k of a
/// `VectorArray<char, unsigned int>`, holding its characters and its zero
/// (a list's count is the text's length + 1). Modify marks, persistence and
/// `Compress` are the array's.
///
/// Two numberings, both kept: `operator[]` counts texts from 0, `GetText`
/// from 1 (`GetText(1)` is `operator[](0)`). Neither checks its number.
class VString : public VectorArray<char, unsigned int> {
  using Base = VectorArray<char, unsigned int>;

public:
  VString() = default;

  void Copy(const VString& other) { Base::Copy(other); }

  /// Appends `text` (null counts as empty) as a new list with its zero;
  /// returns its number, 0-based.
  unsigned int Append(const char* text);
  VString& operator+=(const char* text) {
    Append(text);
    return *this;
  }
  /// Appends every text of `other` (which may be this object).
  void Append(const VString& other) { Base::Append(other); }
  VString& operator+=(const VString& other) {
    Append(other);
    return *this;
  }

  /// Text `i` (0-based) becomes `text`; a number out of range throws
  /// "Error in VectorArray".
  Record* Replace(unsigned int i, const char* text);

  /// Text `i`, counted from 0, unchecked ("" for a list never filled).
  template <class Index, std::enable_if_t<std::is_integral<Index>::value, int> = 0>
  const char* operator[](Index i) const noexcept {
    return TextOf(static_cast<unsigned int>(i));
  }
  /// Text `i`, counted from 1, unchecked.
  const char* GetText(unsigned int i) const noexcept { return TextOf(i - 1); }

  /// -1, 0 or 1: fewer texts order first; with as many texts, the first
  /// text that differs decides, compared byte by byte as unsigned
  /// characters up to its zero.
  int Compare(const VString& other) const noexcept;
  int operator==(const VString& other) const noexcept { return Compare(other) == 0; }
  int operator<(const VString& other) const noexcept { return Compare(other) < 0; }

private:
  const char* TextOf(unsigned int i) const noexcept {
    const char* text = Base::operator[](i)->elements;
    return text != nullptr ? text : "";
  }
};

} // namespace zel
