#pragma once
// The element order shared by the containers' Compare, Sort, Compress and
// Order, and the sorts that implement it.
//
// Pointers are ordered by address (std::less, which is total even for
// unrelated pointers); every other type by its own operator< and operator==.
// Arithmetic types sort by radix (internal/radix_sort.h). Everything else,
// including every type that is not trivially copyable, sorts by comparison
// with a merge sort: unlike a quicksort partition, a merge never steps outside
// its range when an element type's operator< is not a strict weak order (pairs
// holding NaNs, points whose operator< is always false), so such types give
// some order and never undefined behaviour.

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>
#include <type_traits>

#include "zeltools/containers/internal/radix_sort.h"
#include "zeltools/memory/memory.h"

namespace zel::internal {

template <class T>
bool ElementLess(const T& a, const T& b) {
  if constexpr (std::is_pointer_v<T>) {
    return std::less<T>()(a, b);
  } else {
    return static_cast<bool>(a < b);
  }
}

/// Exact equality: no tolerance, and a NaN equals nothing.
template <class T>
bool ElementEqual(const T& a, const T& b) {
  if constexpr (std::is_pointer_v<T>) {
    return a == b;
  } else {
    return static_cast<bool>(a == b);
  }
}

/// -1, 0 or 1; a null element orders before any other, two nulls are equal;
/// a pair that is neither less nor equal (a NaN on either side) gives 1.
template <class T>
int ElementCompare(const T* a, const T* b) {
  if (a == nullptr) return b == nullptr ? 0 : -1;
  if (b == nullptr) return 1;
  if (ElementLess(*a, *b)) return -1;
  if (ElementEqual(*a, *b)) return 0;
  return 1;
}

/// Sorts [first, last) ascending in the element order (not stable).
template <class T>
void SortElements(T* first, T* last) {
  if (last - first < 2) return;
  if constexpr (kRadixSortable<T>) {
    GuardAllocation(static_cast<std::uint64_t>(last - first) * sizeof(T), [&] { RadixSort(first, last); });
  } else {
    std::stable_sort(first, last, [](const T& a, const T& b) { return ElementLess(a, b); });
  }
}

/// `out[k]` receives the index + 1 of the k-th smallest of the `n` elements
/// at `values`.
template <class T>
void OrderElements(const T* values, std::size_t n, unsigned int* out) {
  if constexpr (kRadixSortable<T>) {
    GuardAllocation(static_cast<std::uint64_t>(n) * sizeof(T), [&] { RadixOrder(values, n, out); });
  } else {
    std::iota(out, out + n, 0u);
    std::stable_sort(out, out + n,
                     [values](unsigned int a, unsigned int b) { return ElementLess(values[a], values[b]); });
    for (std::size_t k = 0; k < n; ++k) ++out[k];
  }
}

} // namespace zel::internal
