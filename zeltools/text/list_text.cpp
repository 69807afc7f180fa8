#include "zeltools/text/list_text.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <cstring>

#include "zeltools/memory/memory.h"
namespace zel {
namespace {

// ---------------------------------------------------------------- writing

// The writer appends pieces (a blank, a number, a range end, a run) whole
// or not at all; a sink that refuses a piece stops the writer.
class BufferSink {
public:
  // `text` holds `size` ≥ 1 bytes; at most size − 2 characters are used.
  BufferSink(char* text, unsigned int size) : text_(text), limit_(size >= 2 ? size - 2u : 0u) { text_[0] = '\0'; }
  bool Put(const char* piece, std::size_t length) {
    if (length > limit_ - used_)
      return false;
    std::memcpy(text_ + used_, piece, length);
    used_ += length;
    text_[used_] = '\0';
    return true;
  }

private:
  char* text_;
  std::size_t limit_;
  std::size_t used_ = 0;
};

class VectorSink {
public:
  explicit VectorSink(std::vector<char>& text) : text_(text) { text_.clear(); }
  bool Put(const char* piece, std::size_t length) {
    GuardAllocation(text_.size() + length, [&] { text_.insert(text_.end(), piece, piece + length); });
    return true;
  }

private:
  std::vector<char>& text_;
};

// "%d" of an unsigned value: values above INT_MAX show as negative numbers.
std::size_t FormatInt(char* out, std::uint32_t value) {
  const std::int64_t shown = value <= 0x7FFFFFFFu ? std::int64_t{value} : std::int64_t{value} - (std::int64_t{1} << 32);
  return static_cast<std::size_t>(std::to_chars(out, out + 16, shown).ptr - out);
}

template <class T, class Sink>
bool WriteList(unsigned int n, const T* list, Sink& sink) {
  char piece[48];
  for (unsigned int i = 0; i < n; ++i) {
    if (i > 0 && !sink.Put(" ", 1))
      return false;
    const std::uint32_t value = list[i];
    if (value == 0)
      continue;
    if (!sink.Put(piece, FormatInt(piece, value)))
      return false;
    // A run needs this item and two more with the same difference d ≥ 0.
    if (i + 2 >= n)
      continue;
    const std::int64_t d = std::int64_t{list[i + 1]} - value;
    if (d < 0 || std::int64_t{list[i + 2]} - list[i + 1] != d)
      continue;
    unsigned int last = i + 2;
    while (last + 1 < n && std::int64_t{list[last + 1]} - list[last] == d)
      ++last;
    std::size_t length = 0;
    if (d >= 2) {
      piece[length++] = ' ';
      piece[length++] = 'r';
      piece[length++] = ' ';
      length += FormatInt(piece + length, list[last]);
      piece[length++] = ' ';
      length += FormatInt(piece + length, static_cast<std::uint32_t>(d));
      piece[length++] = ' ';
    } else {
      piece[length++] = '-';
      length += FormatInt(piece + length, list[last]);
    }
    if (!sink.Put(piece, length))
      return false;
    i = last;
  }
  return true;
}

template <class T>
int ListTextToBuffer(unsigned int n, const T* list, char* text, unsigned int size) {
  if (text == nullptr || size == 0)
    return 0;
  BufferSink sink(text, size);
  return WriteList(list != nullptr ? n : 0u, list, sink) ? 1 : 0;
}

template <class T>
int ListTextToVector(unsigned int n, const T* list, std::vector<char>& text) {
  VectorSink sink(text);
  WriteList(list != nullptr ? n : 0u, list, sink);
  GuardAllocation(text.size() + 1, [&] { text.push_back('\0'); });
  return 1;
}

// ---------------------------------------------------------------- reading

bool IsSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f' || c == ',';
}
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// One item of the text: first, first + step, … up to last.
struct Item {
  std::uint32_t first = 0, last = 0, step = 1;
  std::uint64_t Count() const { return (std::uint64_t{last} - first) / step + 1; }
};

class ListReader {
public:
  ListReader(const char* text, std::uint32_t maxValue) : p_(text != nullptr ? text : ""), maxValue_(maxValue) {}

  // Reads the next item. Returns false at the end of the text (`ok` true)
  // or on an error (`ok` false).
  bool Next(Item& item, bool& ok) {
    ok = true;
    SkipSeparators();
    if (*p_ == '\0')
      return false;
    ok = false;
    if (!ReadNumber(item.first))
      return false;
    item.last = item.first;
    item.step = 1;
    const char* afterFirst = p_;
    const bool blank = SkipSeparators();
    if (*p_ == '-' && (!blank || !IsDigit(p_[1]))) {
      ++p_;
      SkipSeparators();
      if (!ReadNumber(item.last))
        return false;
    } else if (*p_ == 'r' || *p_ == 'R') {
      ++p_;
      SkipSeparators();
      if (!ReadNumber(item.last))
        return false;
      SkipSeparators();
      if (!ReadNumber(item.step) || item.step == 0)
        return false;
    } else {
      p_ = afterFirst;
    }
    if (item.last < item.first || (*p_ != '\0' && !IsSeparator(*p_)))
      return false;
    ok = true;
    return true;
  }

private:
  bool SkipSeparators() {
    const char* start = p_;
    while (IsSeparator(*p_))
      ++p_;
    return p_ != start;
  }

  // [+-]digits as "%d" writes it; a negative number wraps to 2^32 − m.
  bool ReadNumber(std::uint32_t& value) {
    const bool negative = *p_ == '-';
    if (*p_ == '-' || *p_ == '+')
      ++p_;
    if (!IsDigit(*p_))
      return false;
    std::uint64_t magnitude = 0;
    for (; IsDigit(*p_); ++p_) {
      magnitude = magnitude * 10 + static_cast<unsigned int>(*p_ - '0');
      if (magnitude > 0xFFFFFFFFull)
        return false;
    }
    if (negative && magnitude > 0x80000000ull)
      return false;
    const std::uint64_t wrapped = negative && magnitude != 0 ? (std::uint64_t{1} << 32) - magnitude : magnitude;
    if (wrapped > maxValue_)
      return false;
    value = static_cast<std::uint32_t>(wrapped);
    return true;
  }

  const char* p_;
  std::uint32_t maxValue_;
};

// Reads `text` and hands every value to `store`, at most `maxCount` of them.
template <class T, class Store>
unsigned char ReadList(const char* text, std::uint64_t maxCount, Store store) {
  ListReader reader(text, std::numeric_limits<T>::max());
  std::uint64_t count = 0;
  Item item;
  bool ok = true;
  while (reader.Next(item, ok)) {
    // Sized before anything is stored: a huge range never allocates.
    if (item.Count() > maxCount - count)
      return 0;
    count += item.Count();
    for (std::uint64_t v = item.first; v <= item.last; v += item.step)
      store(static_cast<T>(v));
  }
  return ok ? 1 : 0;
}

template <class T>
unsigned char TextListToVector(const char* text, std::vector<T>& list, unsigned int maxCount) {
  list.clear();
  return ReadList<T>(text, maxCount, [&](T v) { GuardAllocation((list.size() + 1) * sizeof(T), [&] { list.push_back(v); }); });
}

template <class T>
unsigned char TextListToArray(const char* text, unsigned int& n, T* list, unsigned int size) {
  n = 0;
  return ReadList<T>(text, list != nullptr ? size : 0u, [&](T v) { list[n++] = v; });
}

} // namespace

int ListText(unsigned int n, const unsigned int* list, char* text, unsigned int size) {
  return ListTextToBuffer(n, list, text, size);
}
int ListText(unsigned int n, const unsigned short* list, char* text, unsigned int size) {
  return ListTextToBuffer(n, list, text, size);
}
int ListText(unsigned int n, const unsigned int* list, std::vector<char>& text) {
  return ListTextToVector(n, list, text);
}
int ListText(unsigned int n, const unsigned short* list, std::vector<char>& text) {
  return ListTextToVector(n, list, text);
}

unsigned char TextList(const char* text, std::vector<unsigned int>& list, unsigned int maxCount) {
  return TextListToVector(text, list, maxCount);
}
unsigned char TextList(const char* text, std::vector<unsigned short>& list, unsigned int maxCount) {
  return TextListToVector(text, list, maxCount);
}
unsigned char TextList(const char* text, unsigned int& n, unsigned int* list, unsigned int size) {
  return TextListToArray(text, n, list, size);
}
unsigned char TextList(const char* text, unsigned int& n, unsigned short* list, unsigned int size) {
  return TextListToArray(text, n, list, size);
}

} // namespace zel
