#include "zeltools/text/read_memory.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "zeltools/errors/exception.h"
#include "zeltools/memory/memory.h"
#include "zeltools/text/letter_case.h"
#include "zeltools/text/number_text.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

// A set of byte values, tested per character by the word reader.
struct ByteSet {
  std::uint64_t bits[4] = {};
  constexpr void Add(unsigned char c) { bits[c >> 6] |= std::uint64_t{1} << (c & 63); }
  constexpr void Add(const char* chars) {
    for (; *chars != '\0'; ++chars)
      Add(static_cast<unsigned char>(*chars));
  }
  constexpr void Add(const ByteSet& other) {
    for (int i = 0; i < 4; ++i)
      bits[i] |= other.bits[i];
  }
  constexpr bool Has(unsigned char c) const { return (bits[c >> 6] >> (c & 63) & 1) != 0; }
};

constexpr ByteSet MakeSet(const char* chars) {
  ByteSet set;
  set.Add(chars);
  return set;
}

constexpr ByteSet blankSet = MakeSet(CReadMemory::Blanks);
constexpr ByteSet defaultDelimiterSet = MakeSet(CReadMemory::DefaultDelimiters);

// Delimiters of the number lists; the end and step of a range are read with
// the default set.
constexpr char listDelimiters[] = "-;/";
// Longest word of a number list, and the buffer holding it.
constexpr unsigned int listWordSize = 256 + 1;

// Index of the lowest set bit of a non-zero mask.
inline unsigned int LowestBit(std::uint64_t mask) {
#if defined(__GNUC__)
  return static_cast<unsigned int>(__builtin_ctzll(mask));
#else
  unsigned int i = 0;
  for (; (mask & 1) == 0; mask >>= 1)
    ++i;
  return i;
#endif
}

// Length of the prefix of the `max` bytes at `p` that holds no line feed,
// carriage return or zero: characters a line reader can take as they stand.
// Lines are mostly short, so the bytes are tested sixteen at a time where
// the processor has the vector instructions for it, else eight at a time in
// a word (bytes in memory order are the word's bytes from the lowest, as on
// every little-endian target the library builds for; the word test marks
// the first matching byte exactly, whatever it marks above it).
std::size_t PlainRun(const char* p, std::size_t max) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i lf = _mm_set1_epi8('\n');
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i zero = _mm_setzero_si128();
  const auto special = [&](std::size_t at) -> std::uint64_t {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + at));
    const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, lf), _mm_cmpeq_epi8(v, cr)), _mm_cmpeq_epi8(v, zero));
    return static_cast<unsigned int>(_mm_movemask_epi8(hit));
  };
  // Whole 64-byte blocks first: most lines end inside the first, so the
  // test after it is mostly decided the same way and rarely mispredicted.
  for (; i + 64 <= max; i += 64) {
    const std::uint64_t mask = special(i) | special(i + 16) << 16 | special(i + 32) << 32 | special(i + 48) << 48;
    if (mask != 0)
      return i + LowestBit(mask);
  }
  for (; i + 16 <= max; i += 16) {
    const std::uint64_t mask = special(i);
    if (mask != 0)
      return i + LowestBit(mask);
  }
#endif
  constexpr std::uint64_t ones = 0x0101010101010101ull;
  constexpr std::uint64_t highs = 0x8080808080808080ull;
  const auto zeroBytes = [](std::uint64_t v) { return (v - ones) & ~v & highs; };
  for (; i + 8 <= max; i += 8) {
    std::uint64_t w;
    std::memcpy(&w, p + i, 8);
    const std::uint64_t hit = zeroBytes(w) | zeroBytes(w ^ (ones * '\n')) | zeroBytes(w ^ (ones * '\r'));
    if (hit != 0)
      return i + LowestBit(hit) / 8;
  }
  for (; i < max; ++i)
    if (p[i] == '\n' || p[i] == '\r' || p[i] == '\0')
      return i;
  return max;
}

// The line reader's common case for a caller's buffer: the 64-byte blocks
// at `p` are scanned and stored to `out` as they are loaded, so a line costs
// no copy of its own. Only whole blocks within `max` bytes are touched (of
// the source and of `out`); the result is the offset of the first line feed,
// carriage return or zero, with the bytes before it in `out`, or `max` when
// none was found in the blocks scanned (then `out` holds nothing useful).
std::size_t CopyPlainRun(char* out, const char* p, std::size_t max) {
#if defined(__SSE2__)
  const __m128i lf = _mm_set1_epi8('\n');
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i zero = _mm_setzero_si128();
  const auto special = [&](__m128i v) -> std::uint64_t {
    const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, lf), _mm_cmpeq_epi8(v, cr)), _mm_cmpeq_epi8(v, zero));
    return static_cast<unsigned int>(_mm_movemask_epi8(hit));
  };
  for (std::size_t i = 0; i + 64 <= max; i += 64) {
    const auto* in = reinterpret_cast<const __m128i*>(p + i);
    const __m128i a = _mm_loadu_si128(in), b = _mm_loadu_si128(in + 1);
    const __m128i c = _mm_loadu_si128(in + 2), d = _mm_loadu_si128(in + 3);
    auto* to = reinterpret_cast<__m128i*>(out + i);
    _mm_storeu_si128(to, a);
    _mm_storeu_si128(to + 1, b);
    _mm_storeu_si128(to + 2, c);
    _mm_storeu_si128(to + 3, d);
    const std::uint64_t mask = special(a) | special(b) << 16 | special(c) << 32 | special(d) << 48;
    if (mask != 0)
      return i + LowestBit(mask);
  }
#else
  (void)out;
  (void)p;
#endif
  return max;
}

// Where the readers put their characters. `Empty` tells whether anything was
// taken (stored or cut off), `Stored` how many characters were kept.

// A caller's buffer of `size` bytes: at most size − 1 characters and the zero.
class BufferOut {
public:
  BufferOut(char* out, unsigned int size)
      : out_(size != 0 ? out : nullptr), limit_(out != nullptr && size != 0 ? size - 1u : 0u) {}
  void Clear() { stored_ = taken_ = 0; }
  bool Empty() const { return taken_ == 0; }
  std::size_t Stored() const { return stored_; }
  void Push(char c) {
    if (stored_ < limit_)
      out_[stored_++] = c;
    ++taken_;
  }
  void Append(const char* p, std::size_t n) {
    const std::size_t kept = std::min(n, limit_ - stored_);
    if (kept != 0)
      std::memcpy(out_ + stored_, p, kept);
    stored_ += kept;
    taken_ += n;
  }
  void Finish() {
    if (out_ != nullptr)
      out_[stored_] = '\0';
  }

private:
  char* out_;
  std::size_t limit_;
  std::size_t stored_ = 0;
  std::size_t taken_ = 0;
};

// A growing container of characters (std::vector<char> ends with a zero).
template <class Container>
class ContainerOut {
public:
  explicit ContainerOut(Container& out) : out_(out) {}
  void Clear() { out_.clear(); }
  bool Empty() const { return out_.empty(); }
  std::size_t Stored() const { return out_.size(); }
  void Push(char c) {
    GuardAllocation(out_.size() + 1, [&] { out_.push_back(c); });
  }
  void Append(const char* p, std::size_t n) {
    GuardAllocation(out_.size() + n, [&] {
      if constexpr (std::is_same_v<Container, std::string>)
        out_.append(p, n);
      else
        out_.insert(out_.end(), p, p + n);
    });
  }
  void Finish() {
    if constexpr (std::is_same_v<Container, std::vector<char>>)
      Push('\0');
  }

private:
  Container& out_;
};

int ClampToInt(std::size_t n) { return static_cast<int>(std::min<std::size_t>(n, INT_MAX)); }

bool ParseListValue(const char* word, int& value) { return CharInt(word, value) != 0; }
bool ParseListValue(const char* word, unsigned short& value) { return CharWord(word, value) != 0; }

} // namespace

void CReadMemory::Init(const char* text) noexcept {
  const std::size_t length = text != nullptr ? std::strlen(text) : 0;
  Reset(text, static_cast<unsigned int>(std::min<std::size_t>(length, UINT_MAX)), 0);
}

void CReadMemory::Init(const void* data, unsigned int length) noexcept {
  Reset(static_cast<const char*>(data), data != nullptr ? length : 0u, 0);
}

void CReadMemory::Read(void* dst, unsigned int n, int pos) {
  if (n == 0 || buffer_ == nullptr)
    return;
  const unsigned long long start = pos < 0 ? position_ : static_cast<unsigned int>(pos);
  if (start + n > length_)
    CrashMessage(110, "", "");
  std::memcpy(dst, buffer_ + start, n);
  position_ = static_cast<unsigned int>(start + n);
}

// --- lines -----------------------------------------------------------------------

template <class Out>
int CReadMemory::LineInto(Out& out, std::size_t limit, unsigned char skipEmpty) {
  for (;;) {
    out.Clear();
    bool any = false;
    std::size_t n = 0;
    for (;;) {
      if (position_ < length_ && n < limit) {
        const char* p = buffer_ + position_;
        const std::size_t run = PlainRun(p, std::min<std::size_t>(length_ - position_, limit - n));
        if (run != 0) {
          out.Append(p, run);
          position_ += static_cast<unsigned int>(run);
          n += run;
          any = true;
        }
      }
      if (position_ < length_ && buffer_[position_] == '\n') {
        ++position_;
        any = true;
        break;
      }
      const unsigned long long before = Tell();
      const int c = GetChar();
      if (c < 0)
        break;
      any = true;
      if (c == 0)
        break;
      if (n >= limit) {
        if (limit == 0)
          continue;  // nothing fits: the line is skipped whole
        Seek(before);
        break;
      }
      out.Push(static_cast<char>(c));
      ++n;
    }
    out.Finish();
    if (!any)
      return HasText() ? 0 : -1;
    if (n != 0 || skipEmpty == 0)
      return ClampToInt(n);
  }
}

int CReadMemory::GetString(char* out, unsigned int size, unsigned char skipEmpty) {
  // A whole plain line ending in a line feed inside the text, scanned and
  // stored in one pass; everything else takes the full rules.
  if (out != nullptr && size > 1 && position_ < length_) {
    const char* p = buffer_ + position_;
    const std::size_t max = std::min<std::size_t>(length_ - position_, size - 1u);
    const std::size_t run = CopyPlainRun(out, p, max);
    if (run < max && p[run] == '\n' && (run != 0 || skipEmpty == 0)) {
      out[run] = '\0';
      position_ += static_cast<unsigned int>(run + 1);
      return ClampToInt(run);
    }
  }
  BufferOut sink(out, size);
  return LineInto(sink, out != nullptr && size > 1 ? size - 1u : 0u, skipEmpty);
}

int CReadMemory::GetString(std::vector<char>& out, unsigned char skipEmpty) {
  ContainerOut<std::vector<char>> sink(out);
  return LineInto(sink, SIZE_MAX, skipEmpty);
}

int CReadMemory::GetString(std::string& out, unsigned char skipEmpty) {
  // The common case, a whole line of plain characters ending in a line feed
  // inside the window, in one step; everything else takes the full rules.
  if (position_ < length_) {
    const char* p = buffer_ + position_;
    const std::size_t left = length_ - position_;
    const std::size_t run = PlainRun(p, left);
    if (run < left && p[run] == '\n' && (run != 0 || skipEmpty == 0)) {
      out.clear();  // then the plain append: no overlap to consider
      GuardAllocation(run, [&] { out.append(p, run); });
      position_ += static_cast<unsigned int>(run + 1);
      return ClampToInt(run);
    }
  }
  ContainerOut<std::string> sink(out);
  return LineInto(sink, SIZE_MAX, skipEmpty);
}

int CReadMemory::GetString(CText& out, unsigned char skipEmpty) {
  std::string line;
  const int result = GetString(line, skipEmpty);
  out.Set(line.c_str());
  return result;
}

int CReadMemory::GetPhrase(std::vector<char>& out, signed char stop) {
  const int stopCode = static_cast<unsigned char>(stop);
  ContainerOut<std::vector<char>> sink(out);
  sink.Clear();
  int c = GetChar();
  if (c < 0) {
    sink.Finish();
    return -1;
  }
  if (c != 0 && c == stopCode) {
    sink.Push(static_cast<char>(c));
    c = 0;
  }
  for (; c > 0 && c != stopCode; c = GetChar())
    sink.Push(static_cast<char>(c));
  sink.Finish();
  return ClampToInt(out.size() - 1);
}

// --- words -----------------------------------------------------------------------

template <class Out>
int CReadMemory::WordInto(Out& out, const char* delimiters, unsigned char equalIsBlank) {
  const ByteSet delimiter = delimiters == nullptr ? defaultDelimiterSet : MakeSet(delimiters);
  // Characters that need a decision; runs of the others are taken whole.
  ByteSet special = delimiter;
  special.Add(blankSet);
  special.Add('\0');
  special.Add('"');
  if (equalIsBlank != 0)
    special.Add('=');
  out.Clear();
  for (;;) {
    std::size_t run = 0;
    while (position_ + run < length_ && !special.Has(static_cast<unsigned char>(buffer_[position_ + run])))
      ++run;
    if (run != 0) {
      out.Append(buffer_ + position_, run);
      position_ += static_cast<unsigned int>(run);
    }
    const unsigned long long before = Tell();
    int c = GetChar();
    if (c < 0)
      break;
    if (c == 0 || blankSet.Has(static_cast<unsigned char>(c)) || (c == '=' && equalIsBlank != 0)) {
      if (out.Empty())
        continue;
      break;
    }
    if (c == '"') {
      const int next = GetChar();
      if (next != '"') {
        if (!out.Empty()) {
          Seek(before);
          break;
        }
        for (int q = next; q > 0 && q != '"'; q = GetChar())
          if (q == ' ' || !blankSet.Has(static_cast<unsigned char>(q)))
            out.Push(static_cast<char>(q));
        out.Finish();
        return 0;
      }
    }
    if (delimiter.Has(static_cast<unsigned char>(c))) {
      if (!out.Empty()) {
        Seek(before);
        break;
      }
      out.Push(static_cast<char>(c));
      out.Finish();
      return c;
    }
    out.Push(static_cast<char>(c));
  }
  const bool none = out.Empty();
  out.Finish();
  return none ? -1 : 0;
}

int CReadMemory::GetWord(std::vector<char>& out, const char* delimiters, unsigned char equalIsBlank) {
  ContainerOut<std::vector<char>> sink(out);
  return WordInto(sink, delimiters, equalIsBlank);
}

int CReadMemory::GetWord(char* out, unsigned int size, const char* delimiters, unsigned char equalIsBlank) {
  BufferOut sink(out, size);
  return WordInto(sink, delimiters, equalIsBlank);
}

int CReadMemory::GetWord(std::string& out, const char* delimiters, unsigned char equalIsBlank) {
  ContainerOut<std::string> sink(out);
  return WordInto(sink, delimiters, equalIsBlank);
}

int CReadMemory::GetWord(CText& out, const char* delimiters, unsigned char equalIsBlank) {
  std::string word;
  const int result = GetWord(word, delimiters, equalIsBlank);
  out.Set(word.c_str());
  return result;
}

unsigned char CReadMemory::GetName(std::vector<char>& out, const char* delimiters) {
  if (GetWord(out, delimiters, 1) < 0 || StrCmpUp(out.data(), "NAME", 0) != 0)
    return 0;
  return GetWord(out, nullptr, 1) >= 0 && out.size() > 1 ? 1 : 0;
}

// --- number lists ------------------------------------------------------------------

template <class T>
int CReadMemory::ListInto(std::vector<T>& out) {
  out.clear();
  const auto add = [&](T v) { GuardAllocation((out.size() + 1) * sizeof(T), [&] { out.push_back(v); }); };
  GuardAllocation(16384 * sizeof(T), [&] { out.reserve(16384); });
  char word[listWordSize];
  T value{};
  for (;;) {
    const int r = GetWord(word, sizeof word, listDelimiters);
    if (r < 0 || r == ';')
      return 0;
    if (r == '/' || (r == 0 && std::strcmp(word, ")") == 0))
      return r == '/' ? '/' : ')';
    const bool run = r == 0 && (std::strcmp(word, "r") == 0 || std::strcmp(word, "R") == 0);
    if (r == '-' || run) {
      if (out.empty())
        return -1;
      T end{};
      T step = 1;
      if (GetWord(word, sizeof word) != 0 || !ParseListValue(word, end))
        return -1;
      if (run && (GetWord(word, sizeof word) != 0 || !ParseListValue(word, step) || step < 1))
        return -1;
      const long long last = out.back();
      const long long span = static_cast<long long>(end) - last;
      if (span < 1)
        continue;
      const unsigned long long added = static_cast<unsigned long long>((span - 1) / step) + 1;
      if (added > MaxListCount - out.size())
        return -1;
      for (long long k = 1; k <= span; k += step)
        add(static_cast<T>(last + k));
      continue;
    }
    if (r != 0 || !ParseListValue(word, value) || out.size() >= MaxListCount)
      return -1;
    add(value);
  }
}

int CReadMemory::GetListInt(std::vector<int>& out) { return ListInto(out); }

int CReadMemory::GetListWord(std::vector<unsigned short>& out) { return ListInto(out); }

// --- records -----------------------------------------------------------------------

template <class Out>
int CReadMemory::RecordInto(Out& out, int lengthType, int pos) {
  out.Clear();
  const std::size_t start = pos < 0 ? position_ : static_cast<unsigned int>(pos);
  bool fits = buffer_ != nullptr && start <= length_;
  std::size_t data = start;
  std::size_t count = 0;
  std::size_t end = 0;
  if (fits && lengthType == 0) {
    const void* zero = std::memchr(buffer_ + start, '\0', length_ - start);
    fits = zero != nullptr;
    if (fits) {
      count = static_cast<std::size_t>(static_cast<const char*>(zero) - (buffer_ + start));
      end = start + count + 1;
    }
  } else if (fits) {
    const std::size_t width = lengthType == 1 ? 1 : lengthType == 4 ? 4 : 2;
    fits = length_ - start >= width;
    if (fits) {
      for (std::size_t i = 0; i < width; ++i)
        count |= std::size_t{static_cast<unsigned char>(buffer_[start + i])} << (8 * i);
      data = start + width;
      fits = count <= length_ - data;
      end = data + count;
    }
  }
  if (!fits) {
    out.Finish();
    return -1;
  }
  out.Append(buffer_ + data, count);
  const int stored = ClampToInt(out.Stored());
  out.Finish();
  position_ = static_cast<unsigned int>(end);
  return stored;
}

int CReadMemory::ReadString(char* out, unsigned int size, int lengthType, int pos) {
  BufferOut sink(out, size);
  return RecordInto(sink, lengthType, pos);
}

int CReadMemory::ReadString(std::vector<char>& out, int lengthType, int pos) {
  ContainerOut<std::vector<char>> sink(out);
  return RecordInto(sink, lengthType, pos);
}

int CReadMemory::ReadString(std::string& out, int lengthType, int pos) {
  ContainerOut<std::string> sink(out);
  return RecordInto(sink, lengthType, pos);
}

int CReadMemory::ReadString(CText& out, int lengthType, int pos) {
  std::string text;
  const int result = ReadString(text, lengthType, pos);
  out.Set(text.c_str());
  return result;
}

} // namespace zel
