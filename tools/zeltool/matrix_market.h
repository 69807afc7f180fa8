#pragma once
// The Matrix Market reader of zeltool: symmetric coordinate matrices (real,
// integer or pattern) and dense array columns for right-hand sides, plain or
// gzip-compressed. It depends on the standard library and zlib only, so that
// it can be fuzzed and reused without the rest of the program.
//
// Input is never trusted: every count, index and number is checked, and no
// allocation is larger than what the bytes read so far (or the bytes left)
// can justify. A header that announces 10^12 entries in a short file is
// refused before anything is allocated for them.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zeltool {

/// What is wrong with an input, and where: `line` is the 1-based line of the
/// (decompressed) text, 0 when the fault is not on a line (a missing file).
class InputError : public std::runtime_error {
public:
  InputError(std::string file, unsigned long long line, const std::string& text);
  const std::string& File() const noexcept { return file_; }
  unsigned long long Line() const noexcept { return line_; }
  /// The text without the file and line.
  const std::string& Text() const noexcept { return text_; }

private:
  std::string file_;
  unsigned long long line_;
  std::string text_;
};

/// The field of a matrix file's header.
enum class Field { Real, Integer, Pattern };

/// One stored entry of the lower triangle, 0-based, row >= col.
struct Entry {
  unsigned row;
  unsigned col;
  double value; // 1.0 for a pattern matrix
};

struct SymmetricMatrix {
  unsigned n = 0;
  Field field = Field::Real;
  std::vector<Entry> lower; // file order, diagonal included
};

/// Columns of a dense array file, one after another (the file's
/// column-major order).
struct DenseColumns {
  unsigned rows = 0;
  unsigned columns = 0;
  std::vector<double> values;
};

/// Reads a symmetric coordinate matrix from `bytes` (plain text, or gzip
/// data recognised by its magic bytes); `name` is the file name the errors
/// carry. Throws `InputError`.
SymmetricMatrix ReadSymmetricMatrix(std::string_view bytes, const std::string& name);

/// Reads a real or integer array (general) from `bytes`, as above.
DenseColumns ReadDenseColumns(std::string_view bytes, const std::string& name);

/// Reads a whole file into memory (it must be a regular file); throws
/// `InputError` naming it when it cannot.
std::string ReadFileBytes(const std::string& path);

/// Longest line accepted; the format's own limit is 1024 characters, and a
/// stream of bytes without line ends must not grow a line without bound.
constexpr std::size_t MaxLineLength = 64 * 1024;

} // namespace zeltool
