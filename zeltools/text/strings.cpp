#include "zeltools/text/strings.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "zeltools/files/block.h"
#include "zeltools/files/file_base.h"
#include "zeltools/memory/memory.h"

namespace zel {

template class Vector<CText>;
template class Vector<KZText>;

static_assert(sizeof(unsigned int) == 4 && sizeof(unsigned short) == 2, "stored counts are 32 and 16 bits");

namespace {

const char* OrEmpty(const char* text) noexcept { return text != nullptr ? text : ""; }

int CompareBytes(const char* a, const char* b) noexcept {
  // strcmp compares as unsigned char, which is the order of the texts.
  return std::strcmp(OrEmpty(a), OrEmpty(b));
}

// Bytes a stored string of `mode` takes at least: its prefix, or the NUL.
std::size_t SmallestString(int mode) noexcept { return mode == 4 ? 4 : mode == 0 || mode == 1 ? 1 : 2; }

// Reads a u16 count at `pos` and checks that `count` strings of `mode` fit.
bool ReadWordCount(CFileBase& file, unsigned int& count, int mode, long long pos) {
  count = 0;
  unsigned char bytes[2] = {};
  if (!file.Read(bytes, sizeof bytes, pos))
    return false;
  const unsigned int stored = bytes[0] | static_cast<unsigned int>(bytes[1]) << 8;
  if (!CheckRemaining(file, stored, SmallestString(mode)))
    return false;
  count = stored;
  return true;
}

} // namespace

// --- CText ---------------------------------------------------------------------

CText::~CText() { DoMemoryFree(&text_); }

CText& CText::operator=(CText&& other) noexcept {
  if (this != &other) {
    DoMemoryFree(&text_);
    text_ = std::exchange(other.text_, nullptr);
  }
  return *this;
}

// One byte per thread, so that a caller's stray write through it neither
// races with other threads nor outlives the next access.
char& CText::SharedZero() noexcept {
  thread_local char zero = '\0';
  zero = '\0';
  return zero;
}

void CText::Set(const char* text) {
  char* copy = nullptr;
  if (text != nullptr && *text != '\0') {
    const std::size_t length = std::strlen(text);
    copy = static_cast<char*>(Memory(length + 1, 1));
    std::memcpy(copy, text, length);
  }
  DoMemoryFree(&text_);
  text_ = copy;
}

void CText::Add(const char* text) {
  if (text == nullptr || *text == '\0')
    return;
  if (text_ == nullptr) {
    Set(text);
    return;
  }
  const std::size_t old = std::strlen(text_);
  const std::size_t added = std::strlen(text);
  // `text` may lie in the buffer that the reallocation moves.
  const std::less_equal<const char*> le;
  const std::ptrdiff_t inside = le(text_, text) && le(text, text_ + old) ? text - text_ : -1;
  text_ = static_cast<char*>(ReAlloc(text_, old + added + 1, 1));
  std::memmove(text_ + old, inside >= 0 ? text_ + inside : text, added);
  text_[old + added] = '\0';
}

void CText::SetLength(unsigned int n) {
  if (n == 0) {
    DoMemoryFree(&text_);
    return;
  }
  char* resized = static_cast<char*>(Memory(std::size_t{n} + 1, 1));
  if (text_ != nullptr)
    std::memcpy(resized, text_, std::min<std::size_t>(std::strlen(text_), n));
  DoMemoryFree(&text_);
  text_ = resized;
}

unsigned int CText::GetLength() const noexcept {
  return text_ != nullptr ? static_cast<unsigned int>(std::strlen(text_)) : 0u;
}

unsigned char CText::operator==(const char* text) const noexcept { return CompareBytes(text_, text) == 0; }
unsigned char CText::operator<(const char* text) const noexcept { return CompareBytes(text_, text) < 0; }
unsigned char operator==(const char* a, const CText& b) noexcept { return b == a; }
unsigned char operator!=(const char* a, const CText& b) noexcept { return !(b == a); }
unsigned char operator<(const char* a, const CText& b) noexcept { return CompareBytes(a, b) < 0; }

long long CText::Write(CFileBase& file, long long pos) const {
  const char* text = *this;
  return file.Write(text, std::strlen(text) + 1, pos);
}

unsigned char CText::WriteString(CFileBase& file, int mode) const { return file.WriteString(text_, mode); }

unsigned char CText::Read(CFileBase& file, long long pos) { return ReadString(file, 0, pos); }

unsigned char CText::ReadString(CFileBase& file, int mode, long long pos) {
  std::vector<char> text;
  if (!file.ReadString(text, mode, pos))
    return 0;
  Set(text.data());
  return 1;
}

// --- KZText --------------------------------------------------------------------

void KZText::Set(const char* text) {
  if (text == nullptr || *text == '\0') {
    bytes_.clear();
    return;
  }
  const std::size_t size = std::strlen(text) + 1;
  std::vector<char> copy = GuardAllocation(size, [&] { return std::vector<char>(text, text + size); });
  bytes_.swap(copy);
}

void KZText::Add(const char* text) {
  if (text == nullptr || *text == '\0')
    return;
  const std::size_t length = std::strlen(text);
  const std::size_t k = bytes_.empty() ? 1 : bytes_.size();
  // `text` may lie in this vector.
  const std::vector<char> copy = GuardAllocation(length, [&] { return std::vector<char>(text, text + length); });
  GuardAllocation(k + length, [&] { bytes_.resize(k + length); });
  std::memcpy(bytes_.data() + (k - 1), copy.data(), length);
  bytes_.back() = '\0';
}

void KZText::Add(char c) {
  if (c == '\0')
    return;
  const std::size_t k = bytes_.empty() ? 1 : bytes_.size();
  GuardAllocation(k + 1, [&] { bytes_.resize(k + 1); });
  bytes_[k - 1] = c;
  bytes_[k] = '\0';
}

void KZText::SetLength(unsigned int n) {
  GuardAllocation(std::size_t{n} + 1, [&] { bytes_.resize(std::size_t{n} + 1); });
  bytes_[n] = '\0';
}

unsigned int KZText::GetLength() const noexcept {
  return static_cast<unsigned int>(std::strlen(static_cast<const char*>(*this)));
}

unsigned char KZText::operator==(const char* text) const noexcept { return CompareBytes(*this, text) == 0; }
unsigned char KZText::operator<(const char* text) const noexcept { return CompareBytes(*this, text) < 0; }

long long KZText::Write(CFileBase& file, long long pos) const {
  const auto size = static_cast<unsigned int>(bytes_.size());
  const long long at = file.Write(&size, sizeof size, pos);
  if (at < 0 || size == 0)
    return at;
  return file.Write(bytes_.data(), size, at + 4) < 0 ? -1 : at;
}

unsigned char KZText::Read(CFileBase& file, long long pos) {
  std::vector<char> record;
  if (!file.Read(record, pos))
    return 0;
  GuardAllocation(record.size() + 1, [&] { record.push_back('\0'); });
  Set(record.data());
  return 1;
}

// --- VCText --------------------------------------------------------------------

unsigned int VCText::Add(const char* text) {
  GuardAllocation((size() + 1) * sizeof(CText), [&] { emplace_back(text); });
  return GetSize();
}

unsigned long long VCText::Write(CFileBase& file, int mode, long long pos) const {
  if (size() > 0xFFFFFFFFu) {
    file.Message(111, "");
    return WriteFailed;
  }
  const auto count = static_cast<unsigned int>(size());
  const unsigned int errors = file.GetErrorCount();
  const long long at = file.Write(&count, sizeof count, pos);
  if (at < 0)
    return WriteFailed;
  // The prefixed string forms do not tell a failure that went to a sink: the
  // failure count does, and the first failure ends the list.
  for (const CText& text : *this) {
    text.WriteString(file, mode);
    if (file.GetErrorCount() != errors)
      return WriteFailed;
  }
  return static_cast<unsigned long long>(at);
}

unsigned char VCText::Read(CFileBase& file, long long pos, int mode) { return ReadTexts(file, pos, mode, 4); }

unsigned char VCText::ReadWord(CFileBase& file, long long pos, int mode) { return ReadTexts(file, pos, mode, 2); }

unsigned char VCText::ReadTexts(CFileBase& file, long long pos, int mode, unsigned int countBytes) {
  if (pos == 0)
    return 1;
  unsigned int count = 0;
  if (!(countBytes == 4 ? ReadCount(file, count, SmallestString(mode), pos) : ReadWordCount(file, count, mode, pos)))
    return 0;
  VCText texts;
  texts.SetSize(count);
  for (CText& text : texts)
    if (!text.ReadString(file, mode))
      return 0;
  swap(texts);
  return 1;
}

// --- _Vector<KZText> and VKZText ---------------------------------------------------

unsigned long long _Vector<KZText>::Write(CFileBase& file) const {
  if (size() > 0xFFFFFFFFu) {
    file.Message(111, "");
    return WriteFailed;
  }
  const auto count = static_cast<unsigned int>(size());
  const long long at = file.Write(&count, sizeof count, -1);
  if (at < 0)
    return WriteFailed;
  for (const KZText& text : *this)
    if (text.Write(file) < 0)
      return WriteFailed;
  return static_cast<unsigned long long>(at);
}

void _Vector<KZText>::Write(CFileBase& file, DOCUMENT& doc) const {
  WriteBlock(file, doc, empty(), [&] { return Write(file) != WriteFailed; });
}

unsigned char _Vector<KZText>::Read(CFileBase& file, long long pos) {
  unsigned int count = 0;
  if (!ReadCount(file, count, sizeof(unsigned int), pos))
    return 0;
  _Vector<KZText> texts;
  texts.SetSize(count);
  for (KZText& text : texts)
    if (!text.Read(file))
      return 0;
  swap(texts);
  return 1;
}

unsigned char _Vector<KZText>::Read(CFileBase& file, const DOCUMENT& doc) {
  if (doc.length == 0) {
    Clear();
    return 1;
  }
  return OpenBlock(file, doc) ? Read(file, -1) : 0;
}

unsigned char VKZText::Compress() {
  const std::size_t before = size();
  if (before < 2)
    return 0;
  Sort(true);
  return size() != before;
}

unsigned char VKZText::ReadString(CFileBase& file, unsigned int pos, int mode) {
  Clear();
  if (pos == 0)
    return 1;
  unsigned int count = 0;
  if (!ReadWordCount(file, count, mode, pos))
    return 0;
  SetSize(count);
  std::vector<char> text;
  for (KZText& entry : *this) {
    if (!file.ReadString(text, mode, -1)) {
      Clear();
      return 0;
    }
    entry.Set(text.data());
  }
  return 1;
}

} // namespace zel
