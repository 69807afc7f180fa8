#pragma once
// Radix sorting of arithmetic elements (integers, IEEE float and double) for
// the containers' Sort, Compress and Order.
//
// Every element is mapped to an unsigned key of its own width whose unsigned
// order is the element order: unsigned integers as they are, signed integers
// with the sign bit flipped, floating values with the sign bit flipped when
// positive and all bits flipped when negative. Equal integers have equal keys,
// so a sort by key is a sort by value. For floating values the only elements
// with equal value and different keys are -0.0 and +0.0; the key puts -0.0
// first, which is one of the orders a sort by value may give.
//
// NaNs have no place in the value order (every comparison with one is false),
// so they are taken out before the radix passes and placed after all other
// values, in no particular order among themselves. That matches the element
// comparison as far as it can be matched: Compare(NaN, x) is 1, "after".
//
// The sort itself is a least-significant-digit radix sort: one pass over the
// data counts every digit of every key, then one stable scatter per digit,
// skipping the digits that are the same in every key. Digits are 8 bits, so a
// pass scatters into 256 streams: measured on 10 million keys, 4 passes of 8
// bits beat 3 passes of 11 bits by a third for 32-bit keys, and 8 passes beat
// 6 passes of 11 bits or 4 of 16 bits for 64-bit keys, because 2048 or 65536
// scatter targets no longer stay in the caches.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

namespace zel::internal {

template <std::size_t Bytes>
struct UnsignedOfSize;
template <>
struct UnsignedOfSize<1> {
  using type = std::uint8_t;
};
template <>
struct UnsignedOfSize<2> {
  using type = std::uint16_t;
};
template <>
struct UnsignedOfSize<4> {
  using type = std::uint32_t;
};
template <>
struct UnsignedOfSize<8> {
  using type = std::uint64_t;
};

/// True for the element types that sort by key: integers (not bool) and IEEE
/// single and double floating values.
template <class T>
inline constexpr bool kRadixSortable =
    (std::is_integral_v<T> && !std::is_same_v<T, bool> &&
     (sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8)) ||
    (std::is_floating_point_v<T> && std::numeric_limits<T>::is_iec559 && (sizeof(T) == 4 || sizeof(T) == 8));

template <class T>
struct RadixKey {
  using Key = typename UnsignedOfSize<sizeof(T)>::type;
  static constexpr Key kTop = static_cast<Key>(Key{1} << (8 * sizeof(T) - 1));

  /// The order-preserving key of a value (not meaningful for NaN).
  static Key Of(T v) noexcept {
    if constexpr (std::is_floating_point_v<T>) {
      Key bits;
      std::memcpy(&bits, &v, sizeof bits);
      return (bits & kTop) != 0 ? static_cast<Key>(~bits) : static_cast<Key>(bits | kTop);
    } else if constexpr (std::is_signed_v<T>) {
      return static_cast<Key>(static_cast<Key>(v) ^ kTop);
    } else {
      return static_cast<Key>(v);
    }
  }
};

template <class T>
bool IsNaN(T v) noexcept {
  if constexpr (std::is_floating_point_v<T>) {
    return v != v;
  } else {
    (void)v;
    return false;
  }
}

/// Uninitialised storage for `n` trivially copyable items.
template <class Item>
class ScratchBuffer {
  static_assert(std::is_trivially_copyable_v<Item>, "scratch items are copied as bytes");

public:
  explicit ScratchBuffer(std::size_t n) : size_(n), data_(std::allocator<Item>().allocate(n)) {}
  ~ScratchBuffer() { std::allocator<Item>().deallocate(data_, size_); }
  ScratchBuffer(const ScratchBuffer&) = delete;
  ScratchBuffer& operator=(const ScratchBuffer&) = delete;
  Item* get() const noexcept { return data_; }

private:
  std::size_t size_;
  Item* data_;
};

/// Below this count a comparison sort is cheaper than clearing and summing
/// the digit counters.
inline constexpr std::size_t kRadixMinCount = 1024;

/// Stable LSD radix sort of `n` items by `keyOf(item)` (an unsigned `Key`),
/// using `buffer` (room for `n` items) as the other half of each pass.
template <class Key, class Item, class KeyOf>
void LsdRadixSort(Item* items, std::size_t n, Item* buffer, KeyOf keyOf) {
  constexpr unsigned kKeyBits = 8 * sizeof(Key);
  constexpr unsigned kDigitBits = 8;
  constexpr unsigned kPasses = (kKeyBits + kDigitBits - 1) / kDigitBits;
  constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;
  constexpr Key kMask = static_cast<Key>(kBuckets - 1);
  if (n < 2) return;

  std::vector<std::size_t> counts(kPasses * kBuckets, 0);
  for (std::size_t i = 0; i < n; ++i) {
    const Key k = keyOf(items[i]);
    for (unsigned p = 0; p < kPasses; ++p) ++counts[p * kBuckets + ((k >> (p * kDigitBits)) & kMask)];
  }

  Item* src = items;
  Item* dst = buffer;
  for (unsigned p = 0; p < kPasses; ++p) {
    std::size_t* offsets = counts.data() + p * kBuckets;
    const unsigned shift = p * kDigitBits;
    if (offsets[(keyOf(src[0]) >> shift) & kMask] == n) continue;  // this digit is the same everywhere
    std::size_t sum = 0;
    for (std::size_t b = 0; b < kBuckets; ++b) {
      const std::size_t c = offsets[b];
      offsets[b] = sum;
      sum += c;
    }
    for (std::size_t i = 0; i < n; ++i) {
      const Item item = src[i];
      dst[offsets[(keyOf(item) >> shift) & kMask]++] = item;
    }
    std::swap(src, dst);
  }
  if (src != items) std::memcpy(static_cast<void*>(items), src, n * sizeof(Item));
}

/// Sorts [first, last) ascending by value, NaNs last.
template <class T>
void RadixSort(T* first, T* last) {
  static_assert(kRadixSortable<T>);
  using Key = typename RadixKey<T>::Key;
  if constexpr (std::is_floating_point_v<T>) {
    last = std::partition(first, last, [](T v) { return !IsNaN(v); });
  }
  const auto n = static_cast<std::size_t>(last - first);
  if (n < kRadixMinCount) {
    std::sort(first, last, [](T a, T b) { return a < b; });
    return;
  }
  ScratchBuffer<T> buffer(n);
  LsdRadixSort<Key>(first, n, buffer.get(), [](T v) { return RadixKey<T>::Of(v); });
}

/// Writes to `out[k]` the 0-based index + 1 of the k-th smallest of the `n`
/// values at `values`; equal values keep their index order, NaNs come last
/// in index order. `n` must fit the unsigned int positions.
template <class T>
void RadixOrder(const T* values, std::size_t n, unsigned int* out) {
  static_assert(kRadixSortable<T>);
  using Key = typename RadixKey<T>::Key;
  std::size_t valid = 0;
  std::vector<unsigned int> nans;
  if (n < kRadixMinCount) {
    for (std::size_t i = 0; i < n; ++i) {
      if (IsNaN(values[i])) {
        nans.push_back(static_cast<unsigned int>(i));
      } else {
        out[valid++] = static_cast<unsigned int>(i);
      }
    }
    std::stable_sort(out, out + valid, [values](unsigned int a, unsigned int b) { return values[a] < values[b]; });
    for (std::size_t k = 0; k < valid; ++k) ++out[k];
  } else if constexpr (sizeof(Key) <= 4) {
    // Key and index share one 64-bit word: the key in the high half, the
    // index in the low half; only the key's digits are sorted on.
    std::vector<std::uint64_t> items(n);
    for (std::size_t i = 0; i < n; ++i) {
      if (IsNaN(values[i])) {
        nans.push_back(static_cast<unsigned int>(i));
      } else {
        items[valid++] = (std::uint64_t{RadixKey<T>::Of(values[i])} << 32) | i;
      }
    }
    ScratchBuffer<std::uint64_t> buffer(valid);
    LsdRadixSort<Key>(items.data(), valid, buffer.get(),
                      [](std::uint64_t item) { return static_cast<Key>(item >> 32); });
    for (std::size_t k = 0; k < valid; ++k) out[k] = static_cast<unsigned int>(items[k] & 0xFFFFFFFFu) + 1;
  } else {
    struct Item {
      Key key;
      unsigned int index;
    };
    std::vector<Item> items(n);
    for (std::size_t i = 0; i < n; ++i) {
      if (IsNaN(values[i])) {
        nans.push_back(static_cast<unsigned int>(i));
      } else {
        items[valid++] = Item{RadixKey<T>::Of(values[i]), static_cast<unsigned int>(i)};
      }
    }
    ScratchBuffer<Item> buffer(valid);
    LsdRadixSort<Key>(items.data(), valid, buffer.get(), [](const Item& item) { return item.key; });
    for (std::size_t k = 0; k < valid; ++k) out[k] = items[k].index + 1;
  }
  for (std::size_t k = 0; k < nans.size(); ++k) out[valid + k] = nans[k] + 1;
}

} // namespace zel::internal
