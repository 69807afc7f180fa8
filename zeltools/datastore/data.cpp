#include "zeltools/datastore/data.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <memory>
#include <new>
#include <stdexcept>

#include "zeltools/containers/small_vectors.h"
#include "zeltools/containers/type_codes.h"
#include "zeltools/containers/vbase.h"
#include "zeltools/errors/exception.h"
#include "zeltools/files/block.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"
#include "zeltools/files/internal/payload_io.h"
#include "zeltools/memory/memory.h"
#include "zeltools/text/letter_case.h"
#include "zeltools/text/list_index.h"
#include "zeltools/text/phrase.h"

namespace zel {

namespace {

// Stored images: the 32-bit line counts a text pointer as 4 bytes and an
// SData as 8 (count + pointer); the payload head is version, quantity and
// full size (the older one: version and quantity).
constexpr unsigned int kStoredPointer = 4;
constexpr unsigned int kStoredSData = 8;
constexpr unsigned int kCountBytes = 4;
constexpr unsigned int kPayloadHead = 1 + kCountBytes + kCountBytes;
constexpr unsigned int kOldPayloadHead = 1 + kCountBytes;
static_assert(sizeof(unsigned int) == kCountBytes, "stored counts are 32-bit");
static_assert(sizeof(unsigned short) == 2, "older blocks count a text in 16 bits");
static_assert(kStoredSData == 2 * kCountBytes, "a stored SData is a count and a 32-bit pointer");
static_assert(kStoredPointer + kStoredSData * CData::MaxBases + 0xFFFFu > 0xFFFFu,
              "the stored line size wraps in 16 bits like the fields that hold it");
static_assert(alignof(SData) <= alignof(SDataLine), "line images are aligned for their pointers");

template <class F>
void Guarded(std::size_t bytes, F&& f) {
  try {
    f();
  } catch (const std::bad_alloc&) {
    CrashMessage(201, static_cast<long>(bytes));
  } catch (const std::length_error&) {
    CrashMessage(201, static_cast<long>(bytes));
  }
}

unsigned int TextLength(const char* text) noexcept { return text == nullptr ? 0u : static_cast<unsigned int>(std::strlen(text)); }

// Lists are read through typed pointers (the number list as unsigned
// ints), so every piece must start aligned for its elements. Pieces taken
// while editing are rounded up to the widest alignment; a packed portion,
// which holds exactly the full size, instead keeps its pieces in groups of
// falling alignment: 8, 4, 2, then 1 (texts and odd sizes).
constexpr unsigned int kPieceAlign = 8;
constexpr unsigned int kGroups = 4;

unsigned int Rounded(unsigned long long bytes) {
  if (bytes > 0xFFFFFFFFull - (kPieceAlign - 1))
    CrashMessage(202);
  return static_cast<unsigned int>((bytes + kPieceAlign - 1) / kPieceAlign * kPieceAlign);
}

// The group of a list of `size`-byte elements: by the lowest set bit.
unsigned int Group(unsigned int size) noexcept {
  const unsigned int align = size & (~size + 1u);
  return align >= 8 ? 0u : align == 4 ? 1u : align == 2 ? 2u : 3u;
}
constexpr unsigned int kTextGroup = kGroups - 1;

// The bytes of a table's shape fields, gathered without the heap so that
// comparing tables cannot fail.
class ShapeBytes {
public:
  template <class T>
  void Put(const T& value) noexcept {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(bytes_ + size_, &value, sizeof value);
    size_ += sizeof value;
  }
  const unsigned char* data() const noexcept { return bytes_; }
  std::size_t size() const noexcept { return size_; }

private:
  unsigned char bytes_[64] = {};
  std::size_t size_ = 0;
};

} // namespace

// --- shape --------------------------------------------------------------------

CData::CData() noexcept = default;

CData::CData(const CData& other) : KZAllocator() { Copy(other, 1); }

CData& CData::operator=(const CData& other) {
  if (this != &other)
    Copy(other, 1);
  return *this;
}

CData::~CData() = default;

void CData::Init(unsigned short dataSize, unsigned short dataLength, unsigned char quantityBase) {
  KZAllocator::Clear();
  quantityBase_ = std::min<unsigned char>(quantityBase, MaxBases);
  quantity_ = 0;
  version_ = 0;
  modify_ = 0;
  numList_ = NoNumList;
  dataSize_ = dataSize;
  dataLength_ = std::min(dataLength, dataSize);
  dataOffset_ = static_cast<unsigned short>(kStoredPointer + kStoredSData * quantityBase_);
  lineSize_ = static_cast<unsigned short>(dataOffset_ + dataSize_);
  for (unsigned char b = 0; b < MaxBases; ++b) {
    type_[b] = 2;
    size_[b] = static_cast<unsigned short>(TypeElementSize(2, 0));
  }
  type_[MaxBases] = 1;
  size_[MaxBases] = static_cast<unsigned short>(TypeElementSize(1, 0));
  imageDataOffset_ = static_cast<unsigned int>(sizeof(SDataLine) + sizeof(SData) * quantityBase_);
  constexpr unsigned int align = alignof(SDataLine);
  stride_ = (imageDataOffset_ + dataSize_ + align - 1) / align * align;
  fullSize_ = 0;
  lines_.clear();
  ResizeLines(0);
}

void CData::ClearLines() {
  KZAllocator::Clear();
  lines_.clear();
  fullSize_ = 0;
  ResizeLines(0);
}

void CData::Clear() {
  if (quantity_ != 0)
    modify_ |= 0x11;
  ClearLines();
}

void CData::Copy(const CData& src, unsigned char flag) {
  if (this == &src)
    return;
  // Everything that can fail happens on copies first, so a failed copy
  // leaves this table as it was.
  std::vector<unsigned char> lines;
  Guarded(src.lines_.size(), [&] { lines = src.lines_; });
  KZAllocator fresh;
  fullSize_ = src.PackLines(fresh, lines.data(), src.quantity_);
  Swap(fresh);
  DropIndex();
  lines_.swap(lines);
  quantity_ = src.quantity_;
  quantityBase_ = src.quantityBase_;
  numList_ = src.numList_;
  lineSize_ = src.lineSize_;
  dataOffset_ = src.dataOffset_;
  dataSize_ = src.dataSize_;
  dataLength_ = src.dataLength_;
  std::copy(std::begin(src.size_), std::end(src.size_), size_);
  std::copy(std::begin(src.type_), std::end(src.type_), type_);
  stride_ = src.stride_;
  imageDataOffset_ = src.imageDataOffset_;
  version_ = src.version_;
  if (flag != 0) {
    modify_ = src.modify_;
  } else {
    modify_ = 0x11;
    if (fullSize_ != 0)
      modify_ |= 0x22;
  }
}

void CData::SetTypeBase(unsigned char base, unsigned char type, unsigned short size) {
  if (base > MaxBases)
    return;
  type_[base] = type;
  size_[base] = static_cast<unsigned short>(TypeElementSize(type, size));
  DropIndex();
}

void CData::SetNumList(unsigned char n) noexcept {
  if (n <= quantityBase_ || n == NoNumList)
    numList_ = n;
  DropIndex();
}

unsigned int CData::GetSize() const noexcept {
  const std::size_t lines = lines_.size() / stride_;
  return lines == 0 ? 0u : static_cast<unsigned int>(lines - 1);
}

unsigned int CData::GetMaxSize() const noexcept {
  return static_cast<unsigned int>(lines_.capacity() / stride_) - 1u;
}

void CData::ResizeLines(unsigned int count) {
  const std::size_t bytes = (static_cast<std::size_t>(count) + 1) * stride_;
  DropIndex();
  Guarded(bytes, [&] { lines_.resize(bytes); });
  quantity_ = count;
}

void CData::RecountLines() noexcept { quantity_ = GetSize(); }

void CData::SetMaxSize(unsigned int n) {
  const std::size_t bytes = (static_cast<std::size_t>(n) + 1) * stride_;
  Guarded(bytes, [&] { lines_.reserve(bytes); });
}

void CData::SetSize(unsigned int n) {
  if (n != quantity_)
    modify_ |= 0x11;
  ResizeLines(n);
}

unsigned int CData::AddSize(unsigned int k) {
  if (k == 0)
    return 0;
  if (k > 0xFFFFFFFEu - quantity_)
    CrashMessage(201, static_cast<long>(-1));
  ResizeLines(quantity_ + k);
  modify_ |= 0x11;
  return quantity_ - k + 1;
}

// --- lines ----------------------------------------------------------------------

SDataLine* CData::Get(unsigned int n) noexcept {
  return ValidLine(n) ? reinterpret_cast<SDataLine*>(LineBytes(n)) : nullptr;
}

const SDataLine* CData::Get(unsigned int n) const noexcept {
  return ValidLine(n) ? reinterpret_cast<const SDataLine*>(LineBytes(n)) : nullptr;
}

void* CData::GetData(unsigned int n) noexcept { return ValidLine(n) ? LineBytes(n) + imageDataOffset_ : nullptr; }

const void* CData::GetData(unsigned int n) const noexcept {
  return ValidLine(n) ? LineBytes(n) + imageDataOffset_ : nullptr;
}

void CData::SetData(unsigned int n, const void* data) {
  if (!ValidLine(n) || data == nullptr || dataLength_ == 0)
    return;
  unsigned char* target = LineBytes(n) + imageDataOffset_;
  if (std::memcmp(target, data, dataLength_) == 0)
    return;
  std::memmove(target, data, dataLength_);
  modify_ |= 0x11;
}

const char* CData::GetText(unsigned int n) const noexcept {
  const SDataLine* line = Get(n);
  return line == nullptr || line->text == nullptr ? "" : line->text;
}

void CData::SetText(unsigned int n, const char* text) {
  SDataLine* line = Get(n);
  if (line == nullptr)
    return;
  if (text == nullptr || *text == '\0') {
    if (line->text != nullptr && *line->text != '\0')
      modify_ |= 0x22;
    line->text = nullptr;
    return;
  }
  if (StrCmpUp(text, line->text, 0) == 0)
    return;
  const unsigned int length = TextLength(text);
  if (TextLength(line->text) < length) {
    // The piece is taken before the line pointer is re-read: the text may
    // live in this allocator but never in the line vector.
    auto* piece = reinterpret_cast<char*>(
        KZAllocator::SetPortion(Rounded(static_cast<unsigned long long>(length + 1u) * size_[MaxBases])));
    std::memcpy(piece, text, length + 1u);
    Get(n)->text = piece;
  } else {
    std::memmove(line->text, text, length + 1u);
  }
  modify_ |= 0x22;
}

unsigned int CData::Append(unsigned int k, const void* lines) {
  if (k == 0 || lines == nullptr)
    return 0;
  const auto* source = static_cast<const unsigned char*>(lines);
  std::vector<unsigned char> copy;
  if (!lines_.empty() && source >= lines_.data() && source < lines_.data() + lines_.size()) {
    Guarded(static_cast<std::size_t>(k) * stride_, [&] { copy.assign(source, source + static_cast<std::size_t>(k) * stride_); });
    source = copy.data();
  }
  const unsigned int first = AddSize(k);
  for (unsigned int i = 0; i < k; ++i)
    Replace(first + i, source + static_cast<std::size_t>(i) * stride_);
  return first;
}

unsigned int CData::Append(const void* line, const char* text) {
  if (line == nullptr)
    return 0;
  std::vector<unsigned char> copy(static_cast<const unsigned char*>(line), static_cast<const unsigned char*>(line) + stride_);
  const unsigned int n = AddSize(1);
  Replace(n, copy.data(), text);
  return n;
}

unsigned int CData::Append(const CData& src, unsigned int count, const unsigned int* list) {
  const unsigned int total = count == 0 ? src.quantity_ : count;
  unsigned int first = 0;
  for (unsigned int i = 0; i < total; ++i) {
    const unsigned int line = count == 0 ? i + 1 : (list == nullptr ? 0u : list[i]);
    if (!src.ValidLine(line))
      continue;
    const unsigned int n = Append(line, src);
    if (first == 0)
      first = n;
  }
  return first;
}

unsigned int CData::Append(unsigned int n, const CData& src) {
  if (!src.ValidLine(n))
    return 0;
  const unsigned int target = AddSize(1);
  Replace(target, src, n);
  return target;
}

unsigned char CData::Replace(unsigned int n, const void* line) {
  if (!ValidLine(n) || line == nullptr)
    return 0;
  std::vector<unsigned char> image(static_cast<const unsigned char*>(line), static_cast<const unsigned char*>(line) + stride_);
  SetText(n, reinterpret_cast<const SDataLine*>(image.data())->text);
  if (dataLength_ > 0)
    SetData(n, image.data() + imageDataOffset_);
  for (unsigned char b = 0; b < quantityBase_; ++b) {
    const SData* base = BaseOf(image.data(), b);
    ReplaceBase(n, b, base->count, base->list);
  }
  return 1;
}

unsigned char CData::Replace(unsigned int n, const void* line, const char* text) {
  if (Replace(n, line) == 0)
    return 0;
  SetText(n, text);
  return 1;
}

unsigned char CData::Replace(unsigned int n, const CData& src, unsigned int line) {
  if (!ValidLine(n) || !src.ValidLine(line))
    return 0;
  // The source line is read through a copy: when `src` is this table the
  // edits below may move the line vector.
  std::vector<unsigned char> image(src.LineBytes(line), src.LineBytes(line) + src.stride_);
  SetText(n, reinterpret_cast<const SDataLine*>(image.data())->text);
  if (dataLength_ > 0) {
    std::vector<unsigned char> data(LineBytes(n) + imageDataOffset_, LineBytes(n) + imageDataOffset_ + dataLength_);
    std::memcpy(data.data(), image.data() + src.imageDataOffset_, std::min(dataLength_, src.dataLength_));
    SetData(n, data.data());
  }
  for (unsigned char b = 0; b < quantityBase_; ++b) {
    const SData* base = b < src.quantityBase_ ? src.BaseOf(image.data(), b) : nullptr;
    if (base != nullptr && src.size_[b] == size_[b])
      ReplaceBase(n, b, base->count, base->list);
    else
      ReplaceBase(n, b, 0, nullptr);
  }
  return 1;
}

void CData::Zero(unsigned int first, unsigned int last) {
  const unsigned int lines = GetSize();
  if (first == 0)
    first = 1;
  if (last == 0 || last > lines)
    last = lines;
  if (first > last)
    return;
  for (unsigned int n = first; n <= last; ++n)
    if (GetText(n)[0] != '\0')
      modify_ |= 0x22;
  std::memset(LineBytes(first), 0, static_cast<std::size_t>(last - first + 1) * stride_);
  modify_ |= 0x11;
}

void CData::Erase(unsigned int first, unsigned int last) {
  if (first == 0)
    first = 1;
  if (last == 0)
    last = first;
  if (last > quantity_)
    last = quantity_;
  if (first > last)
    return;
  DropIndex();
  lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(first) * stride_),
               lines_.begin() + static_cast<std::ptrdiff_t>((static_cast<std::size_t>(last) + 1) * stride_));
  RecountLines();
  modify_ |= 0x11;
}

void CData::EraseType(unsigned char type, int offset) {
  if (offset < 0 || static_cast<unsigned int>(offset) >= dataSize_)
    return;
  for (unsigned int n = quantity_; n >= 1; --n) {
    if (LineBytes(n)[imageDataOffset_ + static_cast<unsigned int>(offset)] == type)
      Erase(n, n);
  }
}

void CData::EraseEmpty() {
  if (numList_ >= quantityBase_)
    return;
  for (unsigned int n = quantity_; n >= 1; --n) {
    const SData* base = GetBase(n, numList_);
    const auto* list = static_cast<const unsigned int*>(base->list);
    if (std::all_of(list, list + base->count, [](unsigned int v) { return v == 0; }))
      Erase(n, n);
  }
  RecountLines();
}

// --- bases --------------------------------------------------------------------

SData* CData::BaseOf(unsigned char* line, unsigned char base) const noexcept {
  return reinterpret_cast<SData*>(line + sizeof(SDataLine) + sizeof(SData) * base);
}

const SData* CData::BaseOf(const unsigned char* line, unsigned char base) const noexcept {
  return reinterpret_cast<const SData*>(line + sizeof(SDataLine) + sizeof(SData) * base);
}

SData* CData::GetBase(unsigned int n, unsigned char base) noexcept {
  return ValidLine(n) && base < quantityBase_ ? BaseOf(LineBytes(n), base) : nullptr;
}

const SData* CData::GetBase(unsigned int n, unsigned char base) const noexcept {
  return ValidLine(n) && base < quantityBase_ ? BaseOf(LineBytes(n), base) : nullptr;
}

void* CData::SetBase(unsigned char base, unsigned int count, const void* src) {
  if (base > MaxBases || count == 0)
    return nullptr;
  const unsigned long long bytes = static_cast<unsigned long long>(count) * size_[base];
  unsigned char* piece = KZAllocator::SetPortion(Rounded(bytes));
  if (src != nullptr)
    std::memcpy(piece, src, static_cast<std::size_t>(bytes));
  return piece;
}

void CData::AppendBase(unsigned int n, unsigned char base, unsigned int count, const void* src) {
  SData* data = GetBase(n, base);
  if (data == nullptr || count == 0)
    return;
  const unsigned int size = size_[base];
  const unsigned int old = data->count;
  if (count > 0xFFFFFFFFu - old)
    CrashMessage(202);
  auto* piece = static_cast<unsigned char*>(SetBase(base, old + count, nullptr));
  if (old != 0)
    std::memcpy(piece, data->list, static_cast<std::size_t>(old) * size);
  if (src != nullptr)
    std::memcpy(piece + static_cast<std::size_t>(old) * size, src, static_cast<std::size_t>(count) * size);
  data->list = piece;
  data->count = old + count;
  modify_ |= 0x11;
}

void CData::ReplaceBase(unsigned int n, unsigned char base, unsigned int count, const void* src) {
  SData* data = GetBase(n, base);
  if (data == nullptr)
    return;
  modify_ |= 0x11;
  if (count == 0) {
    data->count = 0;
    data->list = nullptr;
    return;
  }
  const std::size_t bytes = static_cast<std::size_t>(count) * size_[base];
  if (count <= data->count && data->list != nullptr) {
    if (src == nullptr)
      std::memset(data->list, 0, bytes);
    else
      std::memmove(data->list, src, bytes);
  } else {
    data->list = SetBase(base, count, src);
  }
  data->count = count;
}

void CData::GetList(unsigned int n, unsigned int& count, unsigned int*& list) noexcept {
  SData* data = GetBase(n, numList_);
  count = data == nullptr ? 0u : data->count;
  list = count == 0 ? nullptr : static_cast<unsigned int*>(data->list);
}

unsigned int CData::GetList(unsigned int n) const noexcept {
  const SData* data = GetBase(n, numList_);
  return data == nullptr ? 0u : data->count;
}

unsigned int CData::GetList(unsigned int n, std::vector<unsigned int>& out) const {
  out.clear();
  GetList(out, n);
  return static_cast<unsigned int>(out.size());
}

unsigned char CData::GetList(std::vector<unsigned int>& out, unsigned int n) const {
  const SData* data = GetBase(n, numList_);
  if (data == nullptr || data->count == 0)
    return 0;
  const auto* list = static_cast<const unsigned int*>(data->list);
  Guarded(data->count * sizeof(unsigned int), [&] { out.insert(out.end(), list, list + data->count); });
  return 1;
}

unsigned char CData::GetPosList(unsigned int n, unsigned int* pos) const {
  if (pos == nullptr)
    return 0;
  std::fill(pos, pos + n, 0u);
  if (numList_ >= quantityBase_)
    return 0;
  // Lines in increasing order, so a later (higher) line overwrites.
  for (unsigned int line = 1; line <= quantity_; ++line) {
    const SData* data = BaseOf(LineBytes(line), numList_);
    const auto* list = static_cast<const unsigned int*>(data->list);
    for (unsigned int i = 0; i < data->count; ++i)
      if (list[i] != 0 && list[i] <= n)
        pos[list[i] - 1] = line;
  }
  return 1;
}

// Scanning stays the answer for a look-up or three between changes; past
// that the sort pays for itself.
constexpr unsigned int kIndexAfterLookups = 4;

void CData::BuildIndex() const noexcept {
  try {
    std::vector<std::pair<unsigned int, unsigned int>> entries;
    std::size_t total = 0;
    for (unsigned int line = 1; line <= quantity_; ++line)
      total += BaseOf(LineBytes(line), numList_)->count;
    entries.reserve(total);
    for (unsigned int line = 1; line <= quantity_; ++line) {
      const SData* data = BaseOf(LineBytes(line), numList_);
      const auto* list = static_cast<const unsigned int*>(data->list);
      for (unsigned int i = 0; i < data->count; ++i)
        entries.emplace_back(list[i], line);
    }
    std::sort(entries.begin(), entries.end());
    // Of the entries of one number the last holds the highest line.
    std::size_t kept = 0;
    for (const auto& e : entries) {
      if (kept != 0 && entries[kept - 1].first == e.first)
        entries[kept - 1].second = e.second;
      else
        entries[kept++] = e;
    }
    entries.resize(kept);
    index_.swap(entries);
    indexed_ = true;
  } catch (...) {
    // Without memory for the index the scan still answers.
    indexed_ = false;
  }
}

unsigned int CData::GetNumber(unsigned int number) const noexcept {
  if (numList_ >= quantityBase_ || quantity_ == 0)
    return 0;
  if (!indexed_ && ++lookups_ >= kIndexAfterLookups)
    BuildIndex();
  if (indexed_) {
    const auto at = std::lower_bound(index_.begin(), index_.end(), std::make_pair(number, 0u));
    return at != index_.end() && at->first == number ? at->second : 0u;
  }
  for (unsigned int line = quantity_; line >= 1; --line) {
    const SData* data = BaseOf(LineBytes(line), numList_);
    const auto* list = static_cast<const unsigned int*>(data->list);
    if (std::find(list, list + data->count, number) != list + data->count)
      return line;
  }
  return 0;
}

void CData::RemoveList(unsigned int n, unsigned int count, const unsigned int* list, unsigned char firstOnly) {
  SData* data = GetBase(n, numList_);
  if (data == nullptr || data->count == 0 || count == 0 || list == nullptr)
    return;
  auto* values = static_cast<unsigned int*>(data->list);
  // Listed numbers above the line's largest cannot match, so the scratch
  // marks stop there: their size is bounded by what the line holds.
  const unsigned int largest = std::min(*std::max_element(list, list + count),
                                        *std::max_element(values, values + data->count));
  if (largest == 0xFFFFFFFFu)
    CrashMessage(202);
  const unsigned int marksSize = largest + 1u;
  // The marks are the last piece of this allocator and go back at once.
  auto* marks = KZAllocator::SetPortion(marksSize);
  for (unsigned int i = 0; i < count; ++i)
    if (list[i] <= largest)
      marks[list[i]] = 1;
  unsigned int kept = 0;
  for (unsigned int i = 0; i < data->count; ++i) {
    const unsigned int v = values[i];
    if (v <= largest && marks[v] != 0) {
      if (firstOnly != 0)
        marks[v] = 0;
      continue;
    }
    values[kept++] = v;
  }
  KZAllocator::ReturnPortion(marksSize);
  if (kept != data->count) {
    data->count = kept;
    if (kept == 0)
      data->list = nullptr;
    modify_ |= 0x11;
  }
}

void CData::RemoveList(unsigned int count, const unsigned int* list, unsigned char firstOnly) {
  for (unsigned int n = 1; n <= quantity_; ++n)
    RemoveList(n, count, list, firstOnly);
}

void CData::Renumber(unsigned int n, const unsigned int* table) {
  if (numList_ == NoNumList || n == 0)
    return;
  modify_ |= 0x11;
  if (numList_ >= quantityBase_ || table == nullptr)
    return;
  for (unsigned int line = 1; line <= quantity_; ++line) {
    SData* data = BaseOf(LineBytes(line), numList_);
    auto* values = static_cast<unsigned int*>(data->list);
    unsigned int kept = 0;
    for (unsigned int i = 0; i < data->count; ++i)
      if (values[i] >= 1 && values[i] <= n)
        values[kept++] = table[values[i] - 1];
    data->count = kept;
    if (kept == 0)
      data->list = nullptr;
  }
}

void CData::CheckIndex(unsigned int n, unsigned char base) {
  if (base == 100) {
    if (numList_ == NoNumList)
      return;
    base = numList_;
  }
  if (base >= quantityBase_)
    return;
  for (unsigned int line = 1; line <= quantity_; ++line) {
    SData* data = BaseOf(LineBytes(line), base);
    if (data->count == 0)
      continue;
    const unsigned int before = data->count;
    CheckListIndex(data->count, static_cast<unsigned int*>(data->list), n);
    if (data->count != before)
      modify_ |= 0x11;
    if (data->count == 0)
      data->list = nullptr;
  }
}

void CData::Heritage(unsigned int number, unsigned int count, const unsigned int* list, int mode) {
  if (count == 0 || quantity_ == 0 || list == nullptr || numList_ >= quantityBase_)
    return;
  for (unsigned int line = 1; line <= quantity_; ++line) {
    const unsigned char kind = dataSize_ == 0 ? 0 : LineBytes(line)[imageDataOffset_];
    if (mode == 0 && kind >= HeritageClass)
      continue;
    if (mode != 0 && mode != -1 && kind < HeritageClass)
      continue;
    const SData* data = BaseOf(LineBytes(line), numList_);
    const auto* values = static_cast<const unsigned int*>(data->list);
    if (std::find(values, values + data->count, number) != values + data->count)
      AppendBase(line, numList_, count, list);
  }
}

// --- comparison -------------------------------------------------------------------

namespace {
int Sign(int v) noexcept { return (v > 0) - (v < 0); }
template <class T>
int Order(T a, T b) noexcept { return (a > b) - (a < b); }
} // namespace

int CData::Compare(unsigned int n, const CData& src, unsigned int m, unsigned char flags) const noexcept {
  const bool here = ValidLine(n);
  const bool there = src.ValidLine(m);
  if (!here || !there)
    return Order(here, there);
  const unsigned char* a = LineBytes(n);
  const unsigned char* b = src.LineBytes(m);
  if ((flags & CompareText) != 0) {
    if (const int r = Sign(StrCmpUp(GetText(n), src.GetText(m), 0)))
      return r;
  }
  if ((flags & CompareData) != 0) {
    const unsigned short common = std::min(dataLength_, src.dataLength_);
    if (const int r = Sign(std::memcmp(a + imageDataOffset_, b + src.imageDataOffset_, common)))
      return r;
    if (const int r = Order(dataLength_, src.dataLength_))
      return r;
  }
  if ((flags & CompareBases) != 0) {
    const unsigned char bases = std::max(quantityBase_, src.quantityBase_);
    for (unsigned char i = 0; i < bases; ++i) {
      const SData empty;
      const SData* x = i < quantityBase_ ? BaseOf(a, i) : &empty;
      const SData* y = i < src.quantityBase_ ? src.BaseOf(b, i) : &empty;
      if (const int r = Order(x->count, y->count))
        return r;
      if (x->count == 0)
        continue;
      if (const int r = Order(size_[i], src.size_[i]))
        return r;
      if (const int r = Sign(std::memcmp(x->list, y->list, static_cast<std::size_t>(x->count) * size_[i])))
        return r;
    }
  }
  return 0;
}

int CData::Compare(const CData& src) const noexcept {
  if (const int r = Order(quantity_, src.quantity_))
    return r;
  // The shape fields as their little-endian bytes, in declared order.
  auto shape = [](const CData& d) noexcept {
    ShapeBytes out;
    out.Put(d.quantityBase_);
    out.Put(d.numList_);
    out.Put(d.lineSize_);
    out.Put(d.dataOffset_);
    out.Put(d.dataSize_);
    out.Put(d.dataLength_);
    out.Put(d.size_);
    out.Put(d.type_);
    return out;
  };
  const ShapeBytes a = shape(*this);
  const ShapeBytes b = shape(src);
  static_assert(sizeof quantityBase_ + sizeof numList_ + 4 * sizeof lineSize_ + sizeof size_ + sizeof type_ <= 64,
                "ShapeBytes holds every shape field");
  if (const int r = Sign(std::memcmp(a.data(), b.data(), a.size())))
    return r;
  for (unsigned int n = 1; n <= quantity_; ++n)
    if (const int r = Compare(n, src, n, CompareAll))
      return r;
  return 0;
}

unsigned int CData::Union(const CData& src, unsigned int count, const unsigned int* list) {
  if (&src == this)
    return 0;
  const unsigned int total = count == 0 ? src.quantity_ : count;
  unsigned int appended = 0;
  for (unsigned int i = 0; i < total; ++i) {
    const unsigned int line = count == 0 ? i + 1 : (list == nullptr ? 0u : list[i]);
    if (!src.ValidLine(line))
      continue;
    bool found = false;
    for (unsigned int n = 1; n <= quantity_ && !found; ++n)
      found = Compare(n, src, line, CompareAll) == 0;
    if (!found) {
      Append(line, src);
      ++appended;
    }
  }
  return appended;
}

// --- packing ------------------------------------------------------------------------

unsigned int CData::FullSize(const unsigned char* lines, unsigned int quantity) const noexcept {
  unsigned int full = 0;
  for (unsigned int n = 1; n <= quantity; ++n) {
    const unsigned char* line = lines + static_cast<std::size_t>(n) * stride_;
    const char* text = reinterpret_cast<const SDataLine*>(line)->text;
    if (text != nullptr && *text != '\0')
      full += TextLength(text) + 1u;
    for (unsigned char b = 0; b < quantityBase_; ++b)
      full += BaseOf(line, b)->count * size_[b];
  }
  return full;
}

unsigned int CData::GetFullSize() const noexcept { return FullSize(lines_.data(), quantity_); }

unsigned int CData::PackLines(KZAllocator& target, unsigned char* lines, unsigned int quantity) const {
  // The one allocation comes before any pointer is rewritten, so a failure
  // leaves `lines` pointing at the old pieces.
  unsigned int group[kGroups] = {};
  for (unsigned int n = 1; n <= quantity; ++n) {
    const unsigned char* line = lines + static_cast<std::size_t>(n) * stride_;
    const char* text = reinterpret_cast<const SDataLine*>(line)->text;
    if (text != nullptr && *text != '\0')
      group[kTextGroup] += TextLength(text) + 1u;
    for (unsigned char b = 0; b < quantityBase_; ++b)
      group[Group(size_[b])] += BaseOf(line, b)->count * size_[b];
  }
  const unsigned int full = group[0] + group[1] + group[2] + group[3];
  unsigned char* cursor[kGroups] = {full == 0 ? nullptr : target.SetPortion(full)};
  for (unsigned int g = 1; g < kGroups; ++g)
    cursor[g] = cursor[g - 1] == nullptr ? nullptr : cursor[g - 1] + group[g - 1];
  for (unsigned int n = 1; n <= quantity; ++n) {
    unsigned char* line = lines + static_cast<std::size_t>(n) * stride_;
    auto* head = reinterpret_cast<SDataLine*>(line);
    if (head->text != nullptr && *head->text != '\0') {
      const unsigned int length = TextLength(head->text) + 1u;
      std::memcpy(cursor[kTextGroup], head->text, length);
      head->text = reinterpret_cast<char*>(cursor[kTextGroup]);
      cursor[kTextGroup] += length;
    } else {
      head->text = nullptr;
    }
    for (unsigned char b = 0; b < quantityBase_; ++b) {
      SData* data = BaseOf(line, b);
      if (data->count == 0) {
        data->list = nullptr;
        continue;
      }
      const std::size_t bytes = static_cast<std::size_t>(data->count) * size_[b];
      unsigned char*& at = cursor[Group(size_[b])];
      std::memcpy(at, data->list, bytes);
      data->list = at;
      at += bytes;
    }
  }
  return full;
}

void CData::Compress() {
  if (quantity_ == 0 || GetPortionCount() < 2)
    return;
  KZAllocator fresh;
  fullSize_ = PackLines(fresh, lines_.data(), quantity_);
  Swap(fresh);
}

void CData::Compress(unsigned short type, int offset, unsigned int count, const unsigned int* list,
                     unsigned int& newQuantity, VKZUINT* map) {
  const unsigned int old = quantity_;
  std::vector<unsigned char> drop;
  Guarded(old + 1u, [&] { drop.assign(static_cast<std::size_t>(old) + 1, 0); });
  if (list != nullptr)
    for (unsigned int i = 0; i < count; ++i)
      if (ValidLine(list[i]))
        drop[list[i]] = 1;
  if (offset >= 0 && static_cast<unsigned int>(offset) < dataSize_)
    for (unsigned int n = 1; n <= old; ++n)
      if (LineBytes(n)[imageDataOffset_ + static_cast<unsigned int>(offset)] == type)
        drop[n] = 1;
  if (map != nullptr)
    map->SetSize(old);
  unsigned int kept = 0;
  for (unsigned int n = 1; n <= old; ++n) {
    if (drop[n] != 0) {
      if (map != nullptr)
        (*map)[n - 1] = 0;
      continue;
    }
    ++kept;
    if (kept != n)
      std::memcpy(LineBytes(kept), LineBytes(n), stride_);
    if (map != nullptr)
      (*map)[n - 1] = kept;
  }
  if (kept != old) {
    DropIndex();
    lines_.resize((static_cast<std::size_t>(kept) + 1) * stride_);
    RecountLines();
    modify_ |= 0x11;
  }
  newQuantity = quantity_;
  if (quantity_ != 0 && GetPortionCount() != 0) {
    KZAllocator fresh;
    fullSize_ = PackLines(fresh, lines_.data(), quantity_);
    Swap(fresh);
  } else if (quantity_ == 0) {
    KZAllocator::Clear();
    fullSize_ = 0;
  }
}

void CData::CompressNotApplied() { CrashMessage(301); }

unsigned int CData::Compress(unsigned short type, int offset, unsigned int count, const unsigned int* list) {
  unsigned int left = 0;
  Compress(type, offset, count, list, left, nullptr);
  return left;
}

unsigned int CData::Compress(unsigned short type, int offset, unsigned int count, const unsigned int* list,
                             VKZUINT& map) {
  unsigned int left = 0;
  Compress(type, offset, count, list, left, &map);
  return left;
}

// --- files kept as lines ----------------------------------------------------------

void CData::ModifyFile(unsigned int n) noexcept {
  if (ValidLine(n))
    modify_ |= 0x11;
}

unsigned char CData::ReplaceFileA(unsigned int n, const char* name, CPhrase* sink) {
  if (!ValidLine(n) || name == nullptr || *name == '\0' || quantityBase_ == 0)
    return 0;
  CFileBase file;
  if (file.Open(name, "rs", sink, sink == nullptr ? 1 : 0) == 0)
    return 0;
  const long long length = file.GetLength();
  if (length > 0xFFFFFFFFll / size_[0]) {
    file.Message(110, "");
    return 0;
  }
  const auto count = static_cast<unsigned int>(length / size_[0]);
  std::vector<unsigned char> bytes;
  Guarded(static_cast<std::size_t>(length), [&] { bytes.resize(static_cast<std::size_t>(length)); });
  if (length != 0 && file.Read(bytes.data(), static_cast<unsigned long long>(length), 0) == 0)
    return 0;
  SetText(n, name);
  ReplaceBase(n, 0, count, bytes.data());
  return 1;
}

unsigned int CData::AppendFile(const char* name, CPhrase* sink) {
  if (name == nullptr || *name == '\0')
    return 0;
  for (unsigned int n = 1; n <= quantity_; ++n)
    if (StrCmpUp(GetText(n), name, 0) == 0)
      return ReplaceFileA(n, name, sink) != 0 ? n : 0;
  // A load that fails, reported or thrown, takes its new line away again.
  const unsigned int n = AddSize(1);
  unsigned int loaded = 0;
  try {
    loaded = ReplaceFileA(n, name, sink);
  } catch (...) {
    Erase(n, n);
    throw;
  }
  if (loaded == 0) {
    Erase(n, n);
    return 0;
  }
  return n;
}

// --- persistence ----------------------------------------------------------------------

// What sets the two stored layouts apart (see the header): the current block
// keeps every data block ahead of the lines and a full size to check them
// by; the older one keeps per line a 16-bit counted text, a fixed part (the
// data block or an element of a caller's vector) and the lists a mask keeps.
struct SStoredLayout {
  bool current = true;
  unsigned int fixedWidth = 0;
  const VBase* fixedIn = nullptr;
  VBase* fixedOut = nullptr;
  bool stored[CData::MaxBases] = {true, true, true, true, true};
};

namespace {

// A character '0' at index b of `mask` leaves base b out of an older block;
// a null or shorter mask leaves everything in.
SStoredLayout OldLayout(const char* mask, unsigned int fixedWidth) {
  SStoredLayout layout;
  layout.current = false;
  layout.fixedWidth = fixedWidth;
  for (unsigned int b = 0; mask != nullptr && b < CData::MaxBases && mask[b] != '\0'; ++b)
    layout.stored[b] = mask[b] != '0';
  return layout;
}

constexpr unsigned int kMaxOldText = 0xFFFF; // the older block counts a text in 16 bits

} // namespace

void CData::WritePayload(CFileBase& file, const SStoredLayout& layout) const {
  // The payload writer stops at the first failure, so that a full device is
  // reported once (the block's record stays empty through the file's count).
  internal::PayloadWriter out(file);
  const auto put = [&out](const auto& value) { out.Put(&value, sizeof value); };
  put(version_);
  put(quantity_);
  if (layout.current) {
    put(GetFullSize());
    for (unsigned int n = 1; n <= quantity_ && dataLength_ > 0; ++n)
      out.Put(LineBytes(n) + imageDataOffset_, dataLength_);
  }
  for (unsigned int n = 1; n <= quantity_; ++n) {
    const unsigned char* line = LineBytes(n);
    const char* text = reinterpret_cast<const SDataLine*>(line)->text;
    const unsigned int length = TextLength(text);
    if (layout.current) {
      out.Put(text, length);
      put('\0');
    } else {
      const auto kept = static_cast<unsigned short>(std::min(length, kMaxOldText));
      put(kept);
      out.Put(text, kept);
      const unsigned char* fixed = layout.fixedIn == nullptr ? line + imageDataOffset_ : layout.fixedIn->Get(n);
      static constexpr unsigned char zeros[256] = {};
      if (fixed != nullptr)
        out.Put(fixed, layout.fixedWidth);
      else
        for (std::size_t left = layout.fixedWidth; left > 0; left -= std::min(left, sizeof zeros))
          out.Put(zeros, std::min(left, sizeof zeros));
    }
    for (unsigned char b = 0; b < quantityBase_; ++b) {
      if (!layout.stored[b])
        continue;
      const SData* data = BaseOf(line, b);
      out.PutCount(data->count);
      out.Put(data->list, static_cast<std::size_t>(data->count) * size_[b]);
    }
  }
  out.Finish();
}

void CData::Write(CFileBase& file, DOCUMENT& doc, unsigned char flag) {
  if (quantity_ == 0 && flag == 0) {
    doc = DOCUMENT{};
    return;
  }
  if ((modify_ & 0x11) != 0)
    Compress();
  WriteBlock(file, doc, false, [&] { WritePayload(file, SStoredLayout{}); });
  // A block that failed is not saved: the table stays marked changed.
  if (doc.length != 0)
    modify_ = 0;
}

void CData::WriteOld(CFileBase& file, DOCUMENT_OLD& doc, const char* mask) {
  WriteBlockOld(file, doc, false, [&] { WritePayload(file, OldLayout(mask, dataLength_)); });
  if (doc.length != 0)
    modify_ = 0;
}

void CData::WriteOld(CFileBase& file, DOCUMENT_OLD& doc, const VBase& fixed, const char* mask) {
  SStoredLayout layout = OldLayout(mask, fixed.GetLength());
  layout.fixedIn = &fixed;
  WriteBlockOld(file, doc, false, [&] { WritePayload(file, layout); });
  if (doc.length != 0)
    modify_ = 0;
}

unsigned char CData::ReadPayload(CFileBase& file, const unsigned char* block, std::size_t length,
                                 const SStoredLayout& layout) {
  // Two walks over the block in memory: the first checks every count and
  // text against the block and sums the pieces, so that nothing is
  // allocated for a damaged block; the second fills one portion.
  auto damaged = [&] {
    ClearLines();
    return file.Message(110, "");
  };
  const std::size_t head = layout.current ? kPayloadHead : kOldPayloadHead;
  if (length < head)
    return damaged();
  const unsigned char version = block[0];
  unsigned int quantity = 0;
  unsigned int full = 0;
  std::memcpy(&quantity, block + 1, 4);
  if (layout.current)
    std::memcpy(&full, block + 5, 4);
  unsigned int lists = 0;
  for (unsigned char b = 0; b < quantityBase_; ++b)
    lists += layout.stored[b] ? 1u : 0u;
  // The fewest bytes a line can take: an empty text and empty lists.
  const std::size_t perLine =
      layout.current ? 1u + dataLength_ + kCountBytes * lists : 2u + layout.fixedWidth + kCountBytes * lists;
  if (quantity > (length - head) / perLine)
    return damaged();
  const std::size_t linesStart = head + (layout.current ? static_cast<std::size_t>(quantity) * dataLength_ : 0u);
  unsigned long long group[kGroups] = {};
  unsigned char* cursor[kGroups] = {};
  auto walk = [&](bool fill) {
    std::size_t at = linesStart;
    for (unsigned int n = 1; n <= quantity; ++n) {
      unsigned char* line = fill ? LineBytes(n) : nullptr;
      const unsigned char* chars = block + at;
      std::size_t text = 0;
      if (layout.current) {
        const void* zero = at < length ? std::memchr(chars, 0, length - at) : nullptr;
        if (zero == nullptr)
          return false;
        text = static_cast<std::size_t>(static_cast<const unsigned char*>(zero) - chars);
        at += text + 1;
        if (fill && dataLength_ > 0)
          std::memcpy(line + imageDataOffset_, block + head + static_cast<std::size_t>(n - 1) * dataLength_, dataLength_);
      } else {
        unsigned short kept = 0;
        if (length - at < 2)
          return false;
        std::memcpy(&kept, chars, 2);
        chars += 2;
        at += 2;
        // A zero inside a counted text was never written: it would cut the text.
        if (kept > length - at || std::memchr(chars, 0, kept) != nullptr)
          return false;
        text = kept;
        at += text;
        if (length - at < layout.fixedWidth)
          return false;
        if (fill && layout.fixedWidth > 0)
          std::memcpy(layout.fixedOut != nullptr ? layout.fixedOut->Get(n) : line + imageDataOffset_, block + at,
                      layout.fixedWidth);
        at += layout.fixedWidth;
      }
      if (text != 0) {
        if (fill) {
          std::memcpy(cursor[kTextGroup], chars, text);
          reinterpret_cast<SDataLine*>(line)->text = reinterpret_cast<char*>(cursor[kTextGroup]);
          cursor[kTextGroup] += text + 1;
        } else {
          group[kTextGroup] += text + 1;
        }
      }
      for (unsigned char b = 0; b < quantityBase_; ++b) {
        if (!layout.stored[b])
          continue;
        unsigned int count = 0;
        if (length - at < kCountBytes)
          return false;
        std::memcpy(&count, block + at, kCountBytes);
        at += kCountBytes;
        const unsigned long long bytes = static_cast<unsigned long long>(count) * size_[b];
        if (bytes > length - at)
          return false;
        unsigned char*& to = cursor[Group(size_[b])];
        if (!fill) {
          group[Group(size_[b])] += bytes;
        } else if (bytes != 0) {
          std::memcpy(to, block + at, static_cast<std::size_t>(bytes));
          SData* data = BaseOf(line, b);
          data->count = count;
          data->list = to;
          to += bytes;
        }
        at += static_cast<std::size_t>(bytes);
      }
    }
    return at == length;
  };
  const bool whole = walk(false);
  const unsigned long long sum = group[0] + group[1] + group[2] + group[3];
  if (!whole || sum > 0xFFFFFFFFull || (layout.current && sum != full))
    return damaged();
  ResizeLines(quantity);
  if (layout.fixedOut != nullptr)
    layout.fixedOut->SetSize(quantity);
  cursor[0] = sum == 0 ? nullptr : KZAllocator::SetPortion(static_cast<unsigned int>(sum));
  for (unsigned int g = 1; g < kGroups; ++g)
    cursor[g] = cursor[g - 1] == nullptr ? nullptr : cursor[g - 1] + group[g - 1];
  walk(true);
  version_ = version;
  fullSize_ = static_cast<unsigned int>(sum);
  modify_ = 0;
  return 1;
}

namespace {
struct MemoryFree {
  void operator()(unsigned char* block) const noexcept { DoMemoryFree(&block); }
};
// The heap's zero-filled memory, not a vector: its pages are first touched
// by the read itself instead of by a fill ahead of it.
using BlockBytes = std::unique_ptr<unsigned char, MemoryFree>;

// Reads the whole block into memory; the record was checked against the
// file's length by `OpenBlock`, so the buffer is bounded by the file.
bool ReadBlockBytes(CFileBase& file, long long length, BlockBytes& bytes) {
  bytes.reset(static_cast<unsigned char*>(Memory(static_cast<std::uint64_t>(length), 1)));
  return file.Read(bytes.get(), static_cast<unsigned long long>(length)) != 0;
}
} // namespace

unsigned char CData::ReadBlock(CFileBase& file, const DOCUMENT& doc, const SStoredLayout& layout) {
  ClearLines();
  modify_ = 0;
  if (doc.length == 0)
    return 1;
  BlockBytes bytes;
  if (!OpenBlock(file, doc) || !ReadBlockBytes(file, doc.length, bytes))
    return 0;
  return ReadPayload(file, bytes.get(), static_cast<std::size_t>(doc.length), layout);
}

unsigned char CData::Read(CFileBase& file, const DOCUMENT& doc, unsigned int) {
  return ReadBlock(file, doc, SStoredLayout{});
}

unsigned char CData::ReadOld(CFileBase& file, const DOCUMENT_OLD& doc, const char* mask) {
  return ReadBlock(file, DOCUMENT{doc.position, doc.length}, OldLayout(mask, dataLength_));
}

unsigned char CData::ReadOld(CFileBase& file, const DOCUMENT_OLD& doc, VBase& fixed, const char* mask) {
  SStoredLayout layout = OldLayout(mask, fixed.GetLength());
  layout.fixedOut = &fixed;
  return ReadBlock(file, DOCUMENT{doc.position, doc.length}, layout);
}

// --- _CData ---------------------------------------------------------------------------

void _CData::Init(unsigned short dataSize, unsigned short dataLength, unsigned char quantityBase, unsigned int sizeHead) {
  CData::Init(dataSize, dataLength, quantityBase);
  head_.clear();
  Guarded(sizeHead, [&] { head_.assign(sizeHead, 0); });
}

void _CData::Clear() {
  CData::Clear();
  std::fill(head_.begin(), head_.end(), 0);
}

void _CData::Copy(const _CData& src, unsigned char flag) {
  if (this == &src)
    return;
  CData::Copy(src, flag);
  Guarded(src.head_.size(), [&] { head_ = src.head_; });
}

void _CData::SetHead(const void* head, unsigned int size) {
  if (head == nullptr)
    return;
  const std::size_t n = std::min<std::size_t>(size, head_.size());
  if (n == 0 || std::memcmp(head_.data(), head, n) == 0)
    return;
  std::memmove(head_.data(), head, n);
  modify_ |= 0x11;
}

void _CData::Write(CFileBase& file, DOCUMENT& doc, unsigned char flag) {
  if (GetQuantity() == 0 && flag == 0)
    return;
  if (version_ < 2)
    version_ = 2;
  const unsigned char marks = modify_;
  if (GetQuantity() == 0) {
    doc = DOCUMENT{};
  } else {
    CData::Write(file, doc, flag);
    if (doc.length == 0)
      return; // failed and reported: a head there would follow no block
  }
  // The table is saved only with its head: a head that fails takes back the
  // record and the marks, so that no reader looks for it behind the block.
  const unsigned int errors = file.GetErrorCount();
  const auto size = static_cast<unsigned int>(head_.size());
  const auto unsaved = [&] {
    doc = DOCUMENT{};
    modify_ = marks;
  };
  try {
    if (file.Write(&size, sizeof size) >= 0 && size != 0)
      file.Write(head_.data(), size);
  } catch (...) {
    unsaved();
    throw;
  }
  if (file.GetErrorCount() != errors)
    unsaved();
}

unsigned char _CData::Read(CFileBase& file, const DOCUMENT& doc, unsigned int flag) {
  std::fill(head_.begin(), head_.end(), 0);
  if (CData::Read(file, doc, flag) == 0)
    return 0;
  if (version_ < 2 || doc.length == 0)
    return 1;
  // A head that cannot be read takes the table with it: never half a read.
  auto readHead = [&] {
    unsigned int stored = 0;
    if (!ReadCount(file, stored, 1, doc.position + doc.length))
      return false;
    const unsigned int n = std::min<unsigned int>(stored, static_cast<unsigned int>(head_.size()));
    return n == 0 || file.Read(head_.data(), n) != 0;
  };
  bool read = false;
  try {
    read = readHead();
  } catch (...) {
    ClearLines();
    std::fill(head_.begin(), head_.end(), 0);
    throw;
  }
  if (!read) {
    ClearLines();
    std::fill(head_.begin(), head_.end(), 0);
  }
  return read ? 1 : 0;
}

} // namespace zel
