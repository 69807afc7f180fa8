#include "zeltools/containers/small_vectors.h"

#include <algorithm>
#include <cstring>

#include "zeltools/containers/compare.h"
#include "zeltools/containers/list_index.h"
#include "zeltools/memory/memory.h"

namespace zel {

void VKZUINT::InitOrder(unsigned int n, unsigned int start) {
  const std::size_t count = static_cast<std::size_t>(n) + 1; // n + 1 values, start through start + n
  GuardAllocation(count * sizeof(unsigned int), [&] { resize(count); });
  unsigned int value = start;
  for (std::size_t k = 0; k < count; ++k)
    (*this)[k] = value++;
}

void VKZUINT::Renumber(unsigned int n, const unsigned int* table) {
  if (table == nullptr)
    return;
  for (unsigned int& e : *this)
    e = e >= 1 && e <= n ? table[e - 1] : 0;
}

void VKZUINT::Remove(unsigned int n, const unsigned int* values, unsigned char dropZero) {
  if (n == 0)
    return;
  auto keepIf = [this](auto&& keep) { erase(std::remove_if(begin(), end(), [&](unsigned int e) { return !keep(e); }), end()); };
  if (n == 1) {
    const unsigned int value = values[0];
    keepIf([&](unsigned int e) { return e != value && (dropZero == 0 || e != 0); });
    return;
  }
  const unsigned int largest = *std::max_element(values, values + n);
  // A byte per possible value is the quick way while the table stays within
  // reach of the sizes involved; an outsized value (up to 4 G) would make it
  // gigabytes, so the values are then searched in sorted order instead.
  const std::size_t reasonable = std::max<std::size_t>(1u << 16, 8 * (size() + n));
  if (largest < reasonable) {
    Vector<unsigned char> marks;
    SetListByte(n, values, marks);
    if (dropZero != 0)
      marks[0] = 1;
    const std::size_t limit = marks.size();
    keepIf([&](unsigned int e) { return e >= limit || marks[e] == 0; });
    return;
  }
  std::vector<unsigned int> sorted(values, values + n);
  std::sort(sorted.begin(), sorted.end());
  keepIf([&](unsigned int e) {
    return !(dropZero != 0 && e == 0) && !std::binary_search(sorted.begin(), sorted.end(), e);
  });
}

unsigned int VKZUINT::Compress(unsigned char mode, unsigned char sorted, unsigned char keepDuplicates) {
  if (sorted == 0)
    std::sort(begin(), end());
  std::size_t counted = 0;
  unsigned int largest = 0;
  for (std::size_t k = 0; k < size(); ++k) {
    const unsigned int e = (*this)[k];
    if (e == 0 || (keepDuplicates == 0 && k != 0 && e == (*this)[k - 1]))
      continue;
    ++counted;
    largest = std::max(largest, e);
  }
  if (mode >= 254 && counted != size())
    clear();
  else
    resize(counted);
  return largest;
}

int VKZDOUBLE::Compare(const std::vector<double>& other) const {
  return CompareDouble(static_cast<unsigned int>(size()), data(), static_cast<unsigned int>(other.size()), other.data(),
                       Tolerance);
}

unsigned int VString::Append(const char* text) {
  if (text == nullptr)
    text = "";
  return Base::Append(static_cast<unsigned int>(std::strlen(text) + 1), text);
}

VString::Record* VString::Replace(unsigned int i, const char* text) {
  if (text == nullptr)
    text = "";
  return Base::Replace(i, static_cast<unsigned int>(std::strlen(text) + 1), text);
}

int VString::Compare(const VString& other) const noexcept {
  const unsigned int count = GetSize(), otherCount = other.GetSize();
  if (count != otherCount)
    return count < otherCount ? -1 : 1;
  for (unsigned int i = 0; i < count; ++i) {
    // Bounded by the lists' counts: a list set without its zero through the
    // array's own operations ends there as if it had one.
    const unsigned int na = GetElemSize(i), nb = other.GetElemSize(i);
    const auto* a = reinterpret_cast<const unsigned char*>(GetElemPoint(i));
    const auto* b = reinterpret_cast<const unsigned char*>(other.GetElemPoint(i));
    for (unsigned int k = 0;; ++k) {
      const unsigned char ca = k < na ? a[k] : 0;
      const unsigned char cb = k < nb ? b[k] : 0;
      if (ca != cb)
        return ca < cb ? -1 : 1;
      if (ca == 0)
        break;
    }
  }
  return 0;
}

} // namespace zel
