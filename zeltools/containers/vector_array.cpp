#include "zeltools/containers/vector_array.h"

#include "zeltools/files/internal/payload_io.h"
#include "zeltools/files/block.h"
#include "zeltools/files/file_base.h"

namespace zel {

namespace internal {

template <class Record>
bool ListArray<Record>::WritePayload(CFileBase& file) const {
  PayloadWriter out(file);
  const unsigned int count = GetSize();
  out.PutCount(count);
  if (count != 0) {
    unsigned int total = 0; // wraps like the stored 32-bit field
    for (const Record& list : lists_)
      total += list.count;
    out.PutCount(total);
    for (const Record& list : lists_) {
      if constexpr (Traits::hasHead) {
        static_assert(sizeof(list.head) == 4, "heads are 32-bit on file");
        out.Put(&list.head, sizeof(list.head));
      }
      out.PutCount(list.count);
      out.PutPiece(list.elements, sizeof(Element) * list.count);
    }
  }
  return out.Finish();
}

template <class Record>
void ListArray<Record>::WriteBlockOf(CFileBase& file, DOCUMENT& doc) {
  WriteBlock(file, doc, false, [&] { return WritePayload(file); });
}

template <class Record>
bool ListArray<Record>::ReadPayload(CFileBase& file, long long position) {
  PayloadReader in(file, position);
  // Every list holds at least its count (and its head).
  constexpr std::size_t smallestList = Traits::hasHead ? 8 : 4;
  unsigned int count = 0;
  if (!in.Count(count, smallestList))
    return false;
  if (count != 0) {
    unsigned int total = 0;
    if (!in.Count(total, sizeof(Element)))
      return false;
    lists_.SetSize(count);
    // One portion for all the lists, unless the stored total lies; then
    // the allocator simply grows.
    SetPortionSize(PieceBytes(total, sizeof(Element)));
    for (Record& list : lists_) {
      if constexpr (Traits::hasHead) {
        if (!in.Value(list.head))
          return false;
      }
      unsigned int n = 0;
      if (!in.Count(n, sizeof(Element)))
        return false;
      list.count = n;
      list.elements = nullptr;
      if (n != 0) {
        list.elements = reinterpret_cast<Element*>(SetPortion(PieceBytes(n, sizeof(Element))));
        if (!in.Get(list.elements, sizeof(Element) * n))
          return false;
      }
    }
  }
  in.Finish();
  return true;
}

template <class Record>
unsigned char ListArray<Record>::Read(CFileBase& file, const DOCUMENT& doc) {
  Clear(1);
  if (!OpenBlock(file, doc))
    return doc.length == 0 ? 1 : 0;
  try {
    if (ReadPayload(file, doc.position))
      return 1;
  } catch (...) {
    Clear(1);
    throw;
  }
  Clear(1);
  return 0;
}

} // namespace internal

template <class T, class I>
void VectorArray<T, I>::Write(CFileBase& file, DOCUMENT& doc) {
  this->WriteBlockOf(file, doc);
  if (doc.length != 0)
    this->ClearModify();
}

template class internal::ListArray<SVectorArray<char, unsigned int>>;
template class internal::ListArray<SVectorArray<unsigned char, unsigned int>>;
template class internal::ListArray<SVectorArray<unsigned int, unsigned int>>;
template class internal::ListArray<SVectorArray<double, unsigned int>>;
template class internal::ListArray<SVectorArray<CTypeValue<unsigned char, unsigned int>, unsigned int>>;
template class internal::ListArray<SVectorArray<CTypeValue<unsigned short, double>, unsigned int>>;
template class internal::ListArray<SVectorHeadArray<unsigned int, unsigned int, unsigned int>>;

template class VectorArray<char, unsigned int>;
template class VectorArray<unsigned char, unsigned int>;
template class VectorArray<unsigned int, unsigned int>;
template class VectorArray<double, unsigned int>;
template class VectorArray<CTypeValue<unsigned char, unsigned int>, unsigned int>;
template class VectorArray<CTypeValue<unsigned short, double>, unsigned int>;
template class VectorHeadArray<unsigned int, unsigned int, unsigned int>;

} // namespace zel
