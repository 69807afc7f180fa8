#include "zeltools/containers/array_plus.h"

#include "zeltools/containers/internal/payload_io.h"
#include "zeltools/errors/exception.h"
#include "zeltools/files/block.h"
#include "zeltools/files/file_base.h"

namespace zel {

namespace internal {

// The five-quarters step is figured in 64 bits: a 32-bit product would wrap
// for counts above 858,993,459 and ask for less than is needed.
unsigned int GrowthStep(unsigned int count, std::uint64_t needed, unsigned int extra) {
  const std::uint64_t step = static_cast<std::uint64_t>(count) * 5 / 4 + (needed - count) + extra;
  if (step <= 0xFFFFFFFFull)
    return static_cast<unsigned int>(step);
  if (needed <= 0xFFFFFFFFull)
    return static_cast<unsigned int>(needed);
  CrashMessage(202);
}

void RefuseRequest() { CrashMessage(202); }

} // namespace internal

template <class T>
long long VArrayPlus<T>::Write(CFileBase& file, long long pos) {
  const unsigned int rows = GetSize();
  internal::PayloadWriter out(file);
  long long at = -1;
  if (pos == -1) {
    at = file.GetLength();
    out.PutCount(rows);
  } else {
    at = file.Write(&rows, sizeof rows, pos);
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

template class CArrayPlus<char>;
template class CArrayPlus<unsigned char>;
template class CArrayPlus<unsigned short>;
template class CArrayPlus<int>;
template class CArrayPlus<unsigned int>;
template class CArrayPlus<long long>;
template class CArrayPlus<unsigned long long>;
template class CArrayPlus<float>;
template class CArrayPlus<double>;
template class CArrayPlus<char*>;
template class CArrayPlus<unsigned char*>;
template class CArrayPlus<unsigned short*>;
template class CArrayPlus<unsigned int*>;
template class CArrayPlus<double*>;
template class CArrayPlus<long long*>;
template class CArrayPlus<unsigned long long*>;
template class CArrayPlus<void*>;
template class CArrayPlus<CTypeValue<unsigned char, double>>;
template class CArrayPlus<CTypeValue<unsigned short, double>>;

template class VArrayPlus<double>;
template class VArrayPlus<float>;
template class VArrayPlus<unsigned int>;
template class VArrayPlus<unsigned short>;

} // namespace zel
