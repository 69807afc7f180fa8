#include "matrix_market.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>

#include <zlib.h>

namespace zeltool {

InputError::InputError(std::string file, unsigned long long line, const std::string& text)
    : std::runtime_error(file + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": " + text),
      file_(std::move(file)), line_(line), text_(text) {}

namespace {

// Deflate cannot expand its input by more than about 1032 times; with that,
// the compressed bytes left bound the text left, so that a count in a header
// can be weighed before the text behind it is decompressed.
constexpr unsigned long long DeflateMaxRatio = 1032;

bool IsGzip(std::string_view bytes) {
  return bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0x1f &&
         static_cast<unsigned char>(bytes[1]) == 0x8b;
}

// Lines of plain text, or of the text that a gzip stream inflates to, one at
// a time. A gzip line is assembled in a fixed buffer, so memory never depends
// on what the data claims.
class LineReader {
public:
  LineReader(std::string_view bytes, const std::string& name) : name_(name), gzip_(IsGzip(bytes)) {
    if (!gzip_) {
      window_ = bytes;
      return;
    }
    buffer_.resize(MaxLineLength + 64 * 1024);
    z_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    z_.avail_in = static_cast<uInt>(std::min<std::size_t>(bytes.size(), ~uInt{0}));
    restIn_ = bytes.size() - z_.avail_in;
    if (inflateInit2(&z_, 15 + 16) != Z_OK) // 16: a gzip wrapper, not zlib's
      throw InputError(name_, 0, "cannot start the gzip decoder");
    zOpen_ = true;
  }
  ~LineReader() {
    if (zOpen_)
      inflateEnd(&z_);
  }
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  /// The next line without its line end; false at the end of the text.
  bool Next(std::string_view& line) {
    for (;;) {
      const std::size_t end = window_.find('\n', scanned_);
      if (end != std::string_view::npos) {
        Take(line, end, end + 1);
        return true;
      }
      if (window_.size() > MaxLineLength)
        Fail(number_ + 1, "a line longer than " + std::to_string(MaxLineLength) + " bytes");
      scanned_ = window_.size();
      if (!More()) {
        if (window_.empty())
          return false;
        Take(line, window_.size(), window_.size());
        return true;
      }
    }
  }

  /// The next line that is neither blank nor a comment; false at the end.
  bool NextData(std::string_view& line) {
    while (Next(line)) {
      const std::size_t first = line.find_first_not_of(" \t");
      if (first != std::string_view::npos && line[first] != '%')
        return true;
    }
    return false;
  }

  unsigned long long Number() const noexcept { return number_; }

  /// An upper bound of the text bytes still to come.
  unsigned long long TextLeft() const noexcept {
    if (!gzip_)
      return window_.size();
    return window_.size() + (static_cast<unsigned long long>(z_.avail_in) + restIn_ + 64) * DeflateMaxRatio;
  }

  [[noreturn]] void Fail(unsigned long long line, const std::string& text) const {
    throw InputError(name_, line, text);
  }
  [[noreturn]] void Fail(const std::string& text) const { Fail(number_, text); }

private:
  void Take(std::string_view& line, std::size_t length, std::size_t consumed) {
    line = window_.substr(0, length);
    if (!line.empty() && line.back() == '\r')
      line.remove_suffix(1);
    window_.remove_prefix(consumed);
    scanned_ = 0;
    ++number_;
  }

  // Inflates more text behind the unread part of the window; false when
  // there is no more.
  bool More() {
    if (!gzip_)
      return false;
    const std::size_t kept = window_.size();
    if (kept != 0) // an empty window may have no bytes behind it at all
      std::memmove(buffer_.data(), window_.data(), kept);
    window_ = std::string_view(buffer_.data(), kept);
    for (;;) {
      if (streamEnd_) {
        if (z_.avail_in == 0 && restIn_ == 0)
          return false;
        // Another gzip member may follow (files joined with cat); anything
        // else is not part of the data.
        if (z_.avail_in < 2 || z_.next_in[0] != 0x1f || z_.next_in[1] != 0x8b)
          Fail(number_ + 1, "unexpected bytes after the end of the compressed data");
        inflateReset(&z_);
        streamEnd_ = false;
      }
      if (z_.avail_in == 0 && restIn_ > 0) {
        z_.avail_in = static_cast<uInt>(std::min<unsigned long long>(restIn_, ~uInt{0}));
        restIn_ -= z_.avail_in;
      }
      z_.next_out = reinterpret_cast<Bytef*>(buffer_.data() + kept);
      z_.avail_out = static_cast<uInt>(buffer_.size() - kept);
      const int status = inflate(&z_, Z_NO_FLUSH);
      const std::size_t produced = buffer_.size() - kept - z_.avail_out;
      if (status == Z_STREAM_END)
        streamEnd_ = true;
      else if (status == Z_DATA_ERROR || status == Z_NEED_DICT)
        Fail(number_ + 1, std::string("damaged compressed data (") + (z_.msg ? z_.msg : "gzip") + ")");
      else if (status == Z_MEM_ERROR)
        Fail(number_ + 1, "out of memory while decompressing");
      else if (produced == 0 && z_.avail_in == 0 && restIn_ == 0)
        Fail(number_ + 1, "the compressed data ends early: the .gz file is truncated");
      if (produced > 0) {
        window_ = std::string_view(buffer_.data(), kept + produced);
        return true;
      }
    }
  }

  std::string name_;
  bool gzip_;
  std::string_view window_; // text read but not yet returned
  std::size_t scanned_ = 0; // bytes of the window known to hold no line end
  unsigned long long number_ = 0;
  std::vector<char> buffer_;
  z_stream z_{};
  unsigned long long restIn_ = 0; // compressed bytes beyond what zlib's 32-bit count holds
  bool zOpen_ = false;
  bool streamEnd_ = false;
};

// The blank-separated words of a line.
class Words {
public:
  explicit Words(std::string_view line) : rest_(line) {}
  bool Next(std::string_view& word) {
    const std::size_t first = rest_.find_first_not_of(" \t");
    if (first == std::string_view::npos)
      return false;
    rest_.remove_prefix(first);
    const std::size_t end = std::min(rest_.find_first_of(" \t"), rest_.size());
    word = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return true;
  }

private:
  std::string_view rest_;
};

std::string Quoted(std::string_view word) {
  constexpr std::size_t shown = 40;
  std::string q = "'" + std::string(word.substr(0, shown));
  return q + (word.size() > shown ? "...'" : "'");
}

std::string Lower(std::string_view word) {
  std::string s(word);
  for (char& c : s)
    c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return s;
}

// An unsigned decimal integer filling the whole word.
bool ToCount(std::string_view word, unsigned long long& value) {
  const auto r = std::from_chars(word.data(), word.data() + word.size(), value);
  return r.ec == std::errc() && r.ptr == word.data() + word.size() && !word.empty();
}

// from_chars takes a minus sign but not a plus; "+-1" stays refused.
std::string_view WithoutPlus(std::string_view word) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-')
    word.remove_prefix(1);
  return word;
}

// A finite decimal number filling the whole word; `what` names it in errors.
double ToReal(const LineReader& in, std::string_view word, const char* what) {
  const std::string_view digits = WithoutPlus(word);
  double value = 0;
  const auto r = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || r.ptr != digits.data() + digits.size() ||
      (r.ec != std::errc() && r.ec != std::errc::result_out_of_range))
    in.Fail(Quoted(word) + " is not a number (" + what + ")");
  if (r.ec == std::errc::result_out_of_range) {
    // from_chars reports underflow and overflow alike; strtod tells them
    // apart (the word is known to be a decimal number, so the locale's
    // decimal point does not matter for the verdict, only the magnitude).
    const std::string text(word);
    value = std::strtod(text.c_str(), nullptr);
  }
  if (!std::isfinite(value))
    in.Fail(Quoted(word) + " is not a finite number (" + what + ")");
  return value;
}

double ToInteger(const LineReader& in, std::string_view word, const char* what) {
  const std::string_view digits = WithoutPlus(word);
  long long value = 0;
  const auto r = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || r.ec != std::errc() || r.ptr != digits.data() + digits.size())
    in.Fail(Quoted(word) + " is not an integer (" + what + ", the header says integer)");
  return static_cast<double>(value);
}

struct Header {
  std::string format, field, symmetry;
};

Header ReadHeader(LineReader& in) {
  std::string_view line;
  if (!in.Next(line))
    in.Fail(1, "the file is empty: no Matrix Market header");
  Words words(line);
  std::string_view banner, object, format, field, symmetry, extra;
  if (!words.Next(banner) || banner != "%%MatrixMarket")
    in.Fail("not a Matrix Market file: the first line must start with %%MatrixMarket");
  if (!words.Next(object) || !words.Next(format) || !words.Next(field) || !words.Next(symmetry))
    in.Fail("the header needs four words after %%MatrixMarket: matrix, format, field and symmetry");
  if (words.Next(extra))
    in.Fail("unexpected " + Quoted(extra) + " at the end of the header");
  if (Lower(object) != "matrix")
    in.Fail("the header describes a " + Quoted(object) + ", not a matrix");
  Header h{Lower(format), Lower(field), Lower(symmetry)};
  if (h.format != "coordinate" && h.format != "array")
    in.Fail("unknown format " + Quoted(format) + " in the header (coordinate or array)");
  if (h.field == "complex")
    in.Fail("complex matrices are not supported (real, integer or pattern)");
  if (h.field != "real" && h.field != "integer" && h.field != "pattern" && h.field != "double")
    in.Fail("unknown field " + Quoted(field) + " in the header (real, integer or pattern)");
  if (h.symmetry != "general" && h.symmetry != "symmetric" && h.symmetry != "skew-symmetric" &&
      h.symmetry != "hermitian")
    in.Fail("unknown symmetry " + Quoted(symmetry) + " in the header");
  if (h.field == "double")
    h.field = "real";
  return h;
}

// The counts of the size line: `want` of them, each a decimal integer.
std::vector<unsigned long long> ReadSizes(LineReader& in, std::size_t want) {
  std::string_view line;
  if (!in.NextData(line))
    in.Fail(in.Number() + 1, "the file ends before its size line");
  Words words(line);
  std::vector<unsigned long long> sizes;
  std::string_view word;
  while (words.Next(word)) {
    unsigned long long value = 0;
    if (sizes.size() == want)
      in.Fail("unexpected " + Quoted(word) + " after the " + std::to_string(want) + " numbers of the size line");
    if (!ToCount(word, value))
      in.Fail(Quoted(word) + " is not a count (the size line)");
    sizes.push_back(value);
  }
  if (sizes.size() != want)
    in.Fail("the size line needs " + std::to_string(want) + " counts, it has " + std::to_string(sizes.size()));
  return sizes;
}

// The solver numbers unknowns with 32-bit integers and keeps n + 1 of them.
constexpr unsigned long long MaxOrder = 0x7fffffff;

// Refuses a count of items whose shortest text takes `minBytes` (a line end
// included, which the last line may lack) when the text left cannot hold it.
void CheckRoom(const LineReader& in, unsigned long long count, unsigned long long minBytes, const char* what) {
  const unsigned long long room = (in.TextLeft() + 1) / minBytes;
  if (count > room)
    in.Fail("the size line announces " + std::to_string(count) + " " + what + ", but the rest of the file can hold at most " +
            std::to_string(room));
}

// Reserving follows the data: at most what the text can hold, and never a
// large block on the word of a header alone.
template <class T>
void ReserveFor(std::vector<T>& v, unsigned long long count) {
  v.reserve(static_cast<std::size_t>(std::min<unsigned long long>(count, 1u << 16)));
}

} // namespace

SymmetricMatrix ReadSymmetricMatrix(std::string_view bytes, const std::string& name) {
  LineReader in(bytes, name);
  const Header h = ReadHeader(in);
  if (h.format != "coordinate")
    in.Fail("the matrix must be in coordinate form, not " + h.format);
  if (h.symmetry != "symmetric")
    in.Fail("the matrix is not symmetric (the header says " + h.symmetry + "); only symmetric systems are solved");
  SymmetricMatrix m;
  m.field = h.field == "pattern" ? Field::Pattern : h.field == "integer" ? Field::Integer : Field::Real;
  const auto sizes = ReadSizes(in, 3);
  if (sizes[0] != sizes[1])
    in.Fail("the matrix is " + std::to_string(sizes[0]) + " x " + std::to_string(sizes[1]) + ", not square");
  if (sizes[0] == 0)
    in.Fail("the matrix has no rows");
  if (sizes[0] > MaxOrder)
    in.Fail("the order " + std::to_string(sizes[0]) + " is above the largest supported, " + std::to_string(MaxOrder));
  const unsigned long long n = sizes[0], count = sizes[2];
  if (count > n * (n + 1) / 2)
    in.Fail("the size line announces " + std::to_string(count) + " entries, more than the " +
            std::to_string(n * (n + 1) / 2) + " places of the lower triangle");
  // "1 1" or "1 1 1" and a line end.
  CheckRoom(in, count, m.field == Field::Pattern ? 4 : 6, "entries");
  m.n = static_cast<unsigned>(n);
  ReserveFor(m.lower, count);
  std::vector<unsigned long long> lines; // of the entries, for the duplicate check
  ReserveFor(lines, count);
  std::string_view line, word;
  for (unsigned long long k = 0; k < count; ++k) {
    if (!in.NextData(line))
      in.Fail(in.Number() + 1, "the file ends after " + std::to_string(k) + " of the " + std::to_string(count) +
                                   " entries that the size line announces");
    Words words(line);
    unsigned long long index[2] = {0, 0};
    for (int w = 0; w < 2; ++w) {
      const char* what = w == 0 ? "row index" : "column index";
      if (!words.Next(word))
        in.Fail(std::string("the entry has no ") + what);
      if (!ToCount(word, index[w]))
        in.Fail(Quoted(word) + " is not a " + what);
      if (index[w] < 1 || index[w] > n)
        in.Fail(std::string(what) + " " + std::to_string(index[w]) + " is outside 1.." + std::to_string(n));
    }
    if (index[1] > index[0])
      in.Fail("entry (" + std::to_string(index[0]) + ", " + std::to_string(index[1]) +
              ") is above the diagonal: a symmetric file stores the lower triangle");
    double value = 1.0;
    if (m.field != Field::Pattern) {
      if (!words.Next(word))
        in.Fail("the entry has no value");
      value = m.field == Field::Integer ? ToInteger(in, word, "the value") : ToReal(in, word, "the value");
    }
    if (words.Next(word))
      in.Fail("unexpected " + Quoted(word) + " after the entry");
    m.lower.push_back({static_cast<unsigned>(index[0] - 1), static_cast<unsigned>(index[1] - 1), value});
    lines.push_back(in.Number());
  }
  if (in.NextData(line))
    in.Fail("more entries than the " + std::to_string(count) + " that the size line announces");
  // A repeated entry would be summed by some readers and overwritten by
  // others; neither is safe to guess.
  std::vector<std::size_t> order(m.lower.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  auto key = [&](std::size_t k) { return std::make_pair(m.lower[k].row, m.lower[k].col); };
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return key(a) < key(b) || (key(a) == key(b) && a < b); });
  for (std::size_t k = 1; k < order.size(); ++k)
    if (key(order[k]) == key(order[k - 1]))
      in.Fail(lines[order[k]], "entry (" + std::to_string(m.lower[order[k]].row + 1) + ", " +
                                   std::to_string(m.lower[order[k]].col + 1) + ") is given again (first on line " +
                                   std::to_string(lines[order[k - 1]]) + ")");
  return m;
}

DenseColumns ReadDenseColumns(std::string_view bytes, const std::string& name) {
  LineReader in(bytes, name);
  const Header h = ReadHeader(in);
  if (h.format != "array")
    in.Fail("a right-hand side must be an array (dense) file, not " + h.format);
  if (h.field == "pattern")
    in.Fail("an array cannot have the field pattern");
  if (h.symmetry != "general")
    in.Fail("a right-hand side must be a general array, not " + h.symmetry);
  const auto sizes = ReadSizes(in, 2);
  if (sizes[0] == 0 || sizes[1] == 0)
    in.Fail("the array is empty (" + std::to_string(sizes[0]) + " x " + std::to_string(sizes[1]) + ")");
  if (sizes[0] > MaxOrder || sizes[1] > MaxOrder)
    in.Fail("the array is larger than the largest supported order, " + std::to_string(MaxOrder));
  const unsigned long long count = sizes[0] * sizes[1];
  CheckRoom(in, count, 2, "values"); // "1" and a line end
  DenseColumns d;
  d.rows = static_cast<unsigned>(sizes[0]);
  d.columns = static_cast<unsigned>(sizes[1]);
  ReserveFor(d.values, count);
  std::string_view line, word;
  for (unsigned long long k = 0; k < count; ++k) {
    if (!in.NextData(line))
      in.Fail(in.Number() + 1, "the file ends after " + std::to_string(k) + " of the " + std::to_string(count) +
                                   " values that the size line announces");
    Words words(line);
    words.Next(word); // a data line is not blank
    d.values.push_back(h.field == "integer" ? ToInteger(in, word, "a value") : ToReal(in, word, "a value"));
    if (words.Next(word))
      in.Fail("unexpected " + Quoted(word) + " after the value: an array file holds one value per line");
  }
  if (in.NextData(line))
    in.Fail("more values than the " + std::to_string(count) + " that the size line announces");
  return d;
}

std::string ReadFileBytes(const std::string& path) {
#if defined(_WIN32)
  const int fd = ::open(path.c_str(), O_RDONLY | O_BINARY); // no translation of line ends
#else
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
#endif
  if (fd < 0)
    throw InputError(path, 0, std::string("cannot open: ") + std::strerror(errno));
  struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};
  struct stat st {};
  if (::fstat(fd, &st) != 0)
    throw InputError(path, 0, std::string("cannot read: ") + std::strerror(errno));
  // Only a regular file has a size to trust; a device or a pipe could
  // stream without end.
  if (!S_ISREG(st.st_mode))
    throw InputError(path, 0, S_ISDIR(st.st_mode) ? "is a directory" : "is not a regular file");
  std::string bytes(static_cast<std::size_t>(st.st_size), '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = ::read(fd, bytes.data() + done, bytes.size() - done);
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      throw InputError(path, 0, std::string("cannot read: ") + std::strerror(errno));
    if (got == 0)
      break; // the file shrank while being read: take what is there
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

} // namespace zeltool
