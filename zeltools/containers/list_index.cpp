#include "zeltools/containers/list_index.h"

#include <algorithm>
#include <cstddef>

#include "zeltools/memory/memory.h"

namespace zel {

void CheckListIndex(unsigned int& n, unsigned int* list, unsigned int max) {
  unsigned int kept = 0;
  for (unsigned int i = 0; i < n; ++i)
    if (list[i] != 0 && list[i] <= max)
      list[kept++] = list[i];
  n = kept;
}

void RenumberListIndex(unsigned int& n, unsigned int* list, unsigned int max, const unsigned int* newNumber) {
  unsigned int kept = 0;
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned int v = list[i];
    if (v > max)
      continue;
    list[kept] = newNumber[v];
    if (list[kept] != 0)
      ++kept;
  }
  n = kept;
}

unsigned char RemoveListIndex(unsigned int& n, unsigned int* list, unsigned int count, const unsigned int* removed) {
  if (n == 0 || count == 0 || removed == nullptr)
    return 0;
  const unsigned int* end = removed + count;
  const bool sorted = std::is_sorted(removed, end);
  unsigned int kept = 0;
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned int v = list[i];
    const bool drop = sorted ? std::binary_search(removed, end, v) : std::find(removed, end, v) != end;
    if (!drop)
      list[kept++] = v;
  }
  const bool changed = kept != n;
  n = kept;
  return changed ? 1 : 0;
}

void SetListByte(unsigned int n, const unsigned int* list, Vector<unsigned char>& marks) {
  if (n == 0)
    return;
  const unsigned int largest = *std::max_element(list, list + n);
  const std::size_t count = std::size_t{largest} + 1;
  GuardAllocation(count, [&] { marks.resize(count, 0); });
  for (unsigned int i = 0; i < n; ++i)
    marks[list[i]] = 1;
}

} // namespace zel
