#include "zeltools/text/phrase.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <ostream>
#include <string>
#include <utility>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/internal/catalogue.h"
#include "zeltools/errors/language.h"
#include "zeltools/files/block.h"
#include "zeltools/files/file_base.h"
#include "zeltools/memory/memory.h"

namespace zel {
namespace {

// Stream reads of counts that came from outside grow their storage as the
// bytes arrive, this much at a time, so a damaged count meets the end of the
// stream before it can size an allocation.
constexpr std::size_t StreamChunk = 1u << 16;

void PutU32(std::ostream& out, unsigned int value) {
  const char bytes[4] = {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
                         static_cast<char>(value >> 24)};
  out.write(bytes, 4);
}

bool GetBytes(std::istream& in, void* buffer, std::size_t size) {
  in.read(static_cast<char*>(buffer), static_cast<std::streamsize>(size));
  return static_cast<std::size_t>(in.gcount()) == size && !in.fail();
}

bool GetU32(std::istream& in, unsigned int& value) {
  unsigned char bytes[4] = {};
  if (!GetBytes(in, bytes, 4))
    return false;
  value = static_cast<unsigned int>(bytes[0]) | static_cast<unsigned int>(bytes[1]) << 8 |
          static_cast<unsigned int>(bytes[2]) << 16 | static_cast<unsigned int>(bytes[3]) << 24;
  return true;
}

unsigned int LoadU32(const unsigned char* bytes) {
  return static_cast<unsigned int>(bytes[0]) | static_cast<unsigned int>(bytes[1]) << 8 |
         static_cast<unsigned int>(bytes[2]) << 16 | static_cast<unsigned int>(bytes[3]) << 24;
}

void StoreU32(unsigned char* bytes, unsigned int value) {
  for (int i = 0; i < 4; ++i)
    bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

} // namespace

// --- CPhraseText -------------------------------------------------------------

CPhraseText::CPhraseText(const CPhraseText& other)
    : kind(other.kind), param1(other.param1), param2(other.param2), mark(other.mark),
      list(GuardAllocation(sizeof(unsigned int) * other.list.size(), [&] { return other.list; })) {
  SetText(other.text_);
}

CPhraseText::CPhraseText(CPhraseText&& other) noexcept
    : kind(other.kind), param1(other.param1), param2(other.param2), mark(other.mark), list(std::move(other.list)),
      text_(std::exchange(other.text_, nullptr)) {}

CPhraseText& CPhraseText::operator=(const CPhraseText& other) {
  if (this != &other) {
    CPhraseText copy(other);
    *this = std::move(copy);
  }
  return *this;
}

CPhraseText& CPhraseText::operator=(CPhraseText&& other) noexcept {
  if (this != &other) {
    DoMemoryFree(&text_);
    text_ = std::exchange(other.text_, nullptr);
    kind = other.kind;
    param1 = other.param1;
    param2 = other.param2;
    mark = other.mark;
    list = std::move(other.list);
  }
  return *this;
}

CPhraseText::~CPhraseText() { DoMemoryFree(&text_); }

void CPhraseText::SetText(const char* text) {
  if (text == text_)
    return;
  char* copy = nullptr;
  if (text != nullptr) {
    const std::size_t length = std::strlen(text);
    copy = static_cast<char*>(Memory(length + 1, 1));
    std::memcpy(copy, text, length);
  }
  DoMemoryFree(&text_);
  text_ = copy;
}

void CPhraseText::Set(const char* text, unsigned char kindValue, unsigned int param1Value, unsigned int param2Value,
                      unsigned int markValue, unsigned int count, const unsigned int* numbers) {
  kind = kindValue;
  param1 = param1Value;
  param2 = static_cast<unsigned short>(param2Value);
  mark = static_cast<unsigned char>(markValue);
  if (numbers != nullptr)
    GuardAllocation(std::uint64_t{sizeof(unsigned int)} * count, [&] { list.assign(numbers, numbers + count); });
  else
    list.clear();
  SetText(text);
}

void CPhraseText::PackToStream(std::ostream& out) const {
  const std::size_t length = text_ != nullptr ? std::strlen(text_) + 1 : 0;
  PutU32(out, static_cast<unsigned int>(length));
  if (length > 0)
    out.write(text_, static_cast<std::streamsize>(length));
  const char scalars[4] = {static_cast<char>(kind), static_cast<char>(mark), static_cast<char>(param2),
                           static_cast<char>(param2 >> 8)};
  out.write(scalars, 4);
  PutU32(out, param1);
  PutU32(out, static_cast<unsigned int>(list.size()));
  for (const unsigned int number : list)
    PutU32(out, number);
}

unsigned char CPhraseText::UnPackFromStream(std::istream& in) {
  unsigned int length = 0;
  bool ok = GetU32(in, length);
  std::string text;
  while (ok && text.size() < length) {
    const std::size_t piece = std::min<std::size_t>(length - text.size(), StreamChunk);
    const std::size_t at = text.size();
    GuardAllocation(at + piece, [&] { text.resize(at + piece); });
    ok = GetBytes(in, &text[at], piece);
  }
  unsigned char scalars[4] = {};
  unsigned int first = 0;
  unsigned int count = 0;
  ok = ok && GetBytes(in, scalars, 4) && GetU32(in, first) && GetU32(in, count);
  std::vector<unsigned int> numbers;
  while (ok && numbers.size() < count) {
    unsigned char bytes[4 * 1024];
    const std::size_t piece = std::min<std::size_t>(count - numbers.size(), sizeof bytes / 4);
    ok = GetBytes(in, bytes, 4 * piece);
    GuardAllocation(sizeof(unsigned int) * (numbers.size() + piece), [&] {
      for (std::size_t i = 0; ok && i < piece; ++i)
        numbers.push_back(LoadU32(bytes + 4 * i));
    });
  }
  if (!ok) {
    in.setstate(std::ios::failbit);
    return 0;
  }
  // The stored text carries its NUL; a damaged one without it is cut at
  // its last byte so the text stays terminated.
  if (length > 0)
    text.back() = '\0';
  SetText(length > 0 ? text.c_str() : nullptr);
  kind = scalars[0];
  mark = scalars[1];
  param2 = static_cast<unsigned short>(scalars[2] | scalars[3] << 8);
  param1 = first;
  list.swap(numbers);
  return 1;
}

// --- CPhrase ---------------------------------------------------------------------

CPhrase::CPhrase(const CPhrase& other)
    : std::vector<CPhraseText>(GuardAllocation(sizeof(CPhraseText) * other.size(),
                                               [&] { return static_cast<const std::vector<CPhraseText>&>(other); })),
      CMessageSink(other) {}

CPhrase& CPhrase::operator=(const CPhrase& other) {
  if (this != &other) {
    CPhrase copy(other);
    *this = std::move(copy);
  }
  return *this;
}

void CPhrase::Append(const char* text, unsigned char kind, unsigned int param1, unsigned int param2) {
  CPhraseText message;
  message.Set(text, kind, param1, param2, 0, 0, nullptr);
  GuardAllocation(sizeof message * (size() + 1), [&] { push_back(std::move(message)); });
}

void CPhrase::AppendMessage(const char* text, unsigned char kind, unsigned int param1, unsigned int param2) {
  Append(text, kind, param1, param2);
}

void CPhrase::Append(unsigned int id, unsigned char kind, unsigned int param1, unsigned int param2) {
  char text[internal::CatalogueTextSize];
  internal::LibraryString(id, GetThreadUILanguage(), text, sizeof text);
  Append(text, kind, param1, param2);
}

void CPhrase::Append(const char* text, unsigned char kind, unsigned int param1, const unsigned int* list,
                     unsigned char mark, unsigned int count, unsigned int param2) {
  CPhraseText message;
  message.Set(text, kind, param1, param2, mark, count, list);
  GuardAllocation(sizeof message * (size() + 1), [&] { push_back(std::move(message)); });
}

void CPhrase::Append(const CPhrase& other, unsigned char replace) {
  GuardAllocation(sizeof(CPhraseText) * (size() + other.size()), [&] {
    if (&other == this) {
      if (replace == 0) {
        const CPhrase copy(other);
        insert(end(), copy.begin(), copy.end());
      }
      return;
    }
    if (replace != 0)
      clear();
    insert(end(), other.begin(), other.end());
  });
}

void CPhrase::AppendSystem() {
  std::string text;
  GuardAllocation(Exception::DescriptionSize, [&] { CrashLastError(text); });
  if (text.empty())
    return;
  // The system's texts end with a line break; the message does not.
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
    text.pop_back();
  Append(text.c_str(), KindSystem, 0, 0);
}

void CPhrase::CheckList(std::vector<unsigned int>& out) const {
  std::vector<unsigned int> numbers;
  for (const CPhraseText& message : *this)
    GuardAllocation(sizeof(unsigned int) * (numbers.size() + message.list.size()),
                    [&] { numbers.insert(numbers.end(), message.list.begin(), message.list.end()); });
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  out.swap(numbers);
}

void CPhrase::CheckList(unsigned int& count, unsigned int* list) const {
  std::vector<unsigned int> numbers;
  CheckList(numbers);
  if (list == nullptr) {
    count = static_cast<unsigned int>(numbers.size());
    return;
  }
  const std::size_t stored = std::min<std::size_t>(count, numbers.size());
  std::copy_n(numbers.begin(), stored, list);
  count = static_cast<unsigned int>(stored);
}

void CPhrase::PackToStream(std::ostream& out) const {
  PutU32(out, static_cast<unsigned int>(size()));
  for (const CPhraseText& message : *this)
    message.PackToStream(out);
}

unsigned char CPhrase::UnPackFromStream(std::istream& in) {
  unsigned int count = 0;
  if (!GetU32(in, count)) {
    in.setstate(std::ios::failbit);
    return 0;
  }
  std::vector<CPhraseText> messages;
  for (unsigned int i = 0; i < count; ++i) {
    CPhraseText message;
    if (!message.UnPackFromStream(in))
      return 0;
    GuardAllocation(sizeof message * (messages.size() + 1), [&] { messages.push_back(std::move(message)); });
  }
  std::vector<CPhraseText>::swap(messages);
  return 1;
}

// --- the stored block ------------------------------------------------------------

namespace {

// Per message at least: a 2-byte text length, the 8 scalar bytes and a
// 4-byte list count.
constexpr std::size_t SmallestStoredMessage = 2 + 8 + 4;

} // namespace

unsigned char WritePhrase(CPhrase& phrase, CFileBase& file, DOCUMENT& doc) {
  bool ok = true;
  WriteBlock(file, doc, phrase.empty(), [&] {
    // The prefixed string form does not tell a failure that went to a sink,
    // so the failure count does; the first failure ends the block. Stopping
    // there also keeps `message` valid when `phrase` is the file's sink.
    const unsigned int errors = file.GetErrorCount();
    unsigned char head[4];
    StoreU32(head, phrase.GetQuantity());
    ok = file.Write(head, 4, -1) >= 0;
    for (std::size_t i = 0; ok && i < phrase.size(); ++i) {
      const CPhraseText& message = phrase[i];
      file.WriteString(message.GetText(), 2);
      if (file.GetErrorCount() != errors)
        return false;
      unsigned char packed[12];
      packed[0] = message.kind;
      StoreU32(packed + 1, message.param1);
      packed[5] = static_cast<unsigned char>(message.param2);
      packed[6] = static_cast<unsigned char>(message.param2 >> 8);
      packed[7] = message.mark;
      StoreU32(packed + 8, static_cast<unsigned int>(message.list.size()));
      ok = file.Write(packed, sizeof packed, -1) >= 0;
      if (ok && !message.list.empty())
        ok = file.Write(message.list.data(), message.list.size() * sizeof(unsigned int), -1) >= 0;
    }
    return ok;
  });
  return phrase.empty() || doc.length > 0 ? 1 : 0;
}

unsigned char ReadPhrase(CPhrase& phrase, CFileBase& file, DOCUMENT& doc) {
  if (doc.length == 0)
    return 1;
  if (!OpenBlock(file, doc))
    return 0;
  unsigned int count = 0;
  if (!ReadCount(file, count, SmallestStoredMessage))
    return 0;
  CPhrase messages;
  GuardAllocation(sizeof(CPhraseText) * count, [&] { messages.reserve(count); });
  std::vector<char> text;
  for (unsigned int i = 0; i < count; ++i) {
    if (!file.ReadString(text, 2, -1))
      return 0;
    unsigned char packed[8];
    if (!file.Read(packed, sizeof packed, -1))
      return 0;
    CPhraseText message;
    message.SetText(text.data());
    message.kind = packed[0];
    message.param1 = LoadU32(packed + 1);
    message.param2 = static_cast<unsigned short>(packed[5] | packed[6] << 8);
    message.mark = packed[7];
    unsigned int listCount = 0;
    if (!ReadCount(file, listCount, sizeof(unsigned int)))
      return 0;
    GuardAllocation(std::uint64_t{sizeof(unsigned int)} * listCount, [&] { message.list.resize(listCount); });
    if (listCount > 0 && !file.Read(message.list.data(), listCount * sizeof(unsigned int), -1))
      return 0;
    messages.push_back(std::move(message));
  }
  static_cast<std::vector<CPhraseText>&>(phrase).swap(messages);
  return 1;
}

} // namespace zel
