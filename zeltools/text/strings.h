#pragma once
/// \file
/// The library's strings and their vectors.
///
/// `CText` is the lean string: one pointer to a heap text, null for the
/// empty text, made for holding many short texts in vectors (`VCText`).
/// `KZText` keeps its characters and their terminating zero in a byte vector
/// and is made for texts edited by appending and stored as length-prefixed
/// records (`VKZText`, `_Vector<KZText>`).
///
/// Both treat an absent text and an empty one as the same text: every reader
/// gets a valid zero-terminated string, never null. Texts compare by their
/// bytes as unsigned values, the first differing byte deciding and a proper
/// prefix being the smaller (no case folding; Windows-1251 letters from 0xC0
/// on sort after the Latin ones).
///
/// Stored layouts (little-endian, nothing between fields):
/// - `CText::Write`: the characters, then 0x00 (a lone 0x00 for the empty
///   text).
/// - `KZText::Write`: u32 n (length + 1, or 0 for the empty text), then n
///   bytes, the last one 0x00.
/// - `_Vector<KZText>::Write` (and so `VKZText`): u32 count, then count
///   `KZText` records.
/// - `VCText::Write`: u32 count, then count strings in the form
///   `CFileBase::WriteString` gives them for the chosen mode (0: characters
///   and NUL; 1: u8 length; 2: u16 length; 4: u32 length; the prefixed forms
///   without NUL). `VCText::ReadWord` and `VKZText::ReadString` read the same
///   with a u16 count; the two count widths coexist in stored files.
///
/// Readers of stored texts check every count against the bytes left in the
/// file before they allocate (message 110 through the file otherwise). When
/// a failure went to the file's sink they return 0 and leave the object as
/// it was, except `VKZText::ReadString`, which empties its vector first.

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "zeltools/containers/vector.h"
#include "zeltools/files/document.h"

namespace zel {

class CFileBase;

/// A heap text that is null when empty. Its buffer comes from `Memory` and
/// holds exactly length + 1 bytes (more after `SetLength`).
class CText {
public:
  CText() noexcept = default;
  explicit CText(const char* text) { Set(text); }
  CText(const CText& other) { Set(other.text_); }
  CText(CText&& other) noexcept : text_(other.text_) { other.text_ = nullptr; }
  ~CText();
  CText& operator=(const CText& other) {
    Set(other.text_);
    return *this;
  }
  CText& operator=(CText&& other) noexcept;
  CText& operator=(const char* text) {
    Set(text);
    return *this;
  }
  CText& operator+=(const char* text) {
    Add(text);
    return *this;
  }
  CText& operator+=(const CText& other) {
    Add(other.text_);
    return *this;
  }

  /// Replaces the text with a copy of `text`; null or empty leaves it null.
  /// `text` may point into this text.
  void Set(const char* text);
  /// Appends `text` (null or empty: nothing). `text` may point into this
  /// text.
  void Add(const char* text);
  /// Cuts the text to `n` characters, or keeps it when it is not longer; the
  /// buffer then holds `n` + 1 bytes (zeros after the text), so a caller may
  /// fill it through `GetBuffer`. `n` = 0 leaves the text null.
  void SetLength(unsigned int n);
  /// Measured length in characters.
  unsigned int GetLength() const noexcept;

  /// The raw buffer: null for the empty text.
  char* GetBuffer() noexcept { return text_; }
  const char* GetBuffer() const noexcept { return text_; }
  /// The text; the empty string for a null text.
  operator const char*() const noexcept { return text_ != nullptr ? text_ : ""; }  // NOLINT(google-explicit-constructor)
  /// Character `i` (0-based, unchecked). On a null text every index gives
  /// one shared zero byte, which the caller must not change.
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  char& operator[](I i) noexcept {
    return text_ != nullptr ? text_[static_cast<std::size_t>(i)] : SharedZero();
  }
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  char operator[](I i) const noexcept {
    return text_ != nullptr ? text_[static_cast<std::size_t>(i)] : '\0';
  }

  /// 1 when the texts are the same bytes (null reads as ""), else 0.
  unsigned char operator==(const char* text) const noexcept;
  unsigned char operator==(const CText& other) const noexcept { return *this == other.text_; }
  unsigned char operator!=(const char* text) const noexcept { return !(*this == text); }
  unsigned char operator!=(const CText& other) const noexcept { return !(*this == other.text_); }
  /// 1 when this text orders before `text` by unsigned bytes.
  unsigned char operator<(const char* text) const noexcept;
  unsigned char operator<(const CText& other) const noexcept { return *this < other.text_; }

  /// Writes the characters and their zero at `pos` (-1: the end of the
  /// file, as for every write of the file); returns the position written,
  /// or -1 after a failure reported to the file's sink.
  long long Write(CFileBase& file, long long pos = -1) const;
  /// Appends the text with `CFileBase::WriteString(text, mode)`; its result.
  unsigned char WriteString(CFileBase& file, int mode) const;
  /// Reads what `Write` writes: a zero-terminated string at `pos` (-1: the
  /// read position). 1 on success; 0 with the text unchanged after a failure
  /// reported to the file's sink (a string without its zero before the end
  /// of the file is such a failure, message 110).
  unsigned char Read(CFileBase& file, long long pos = -1);
  /// Reads one string of the `CFileBase::WriteString` form `mode` at `pos`
  /// (-1: the read position); an empty string leaves the text null. Result
  /// as for `Read`.
  unsigned char ReadString(CFileBase& file, int mode, long long pos = -1);

private:
  static char& SharedZero() noexcept;
  char* text_ = nullptr;
};

static_assert(sizeof(CText) == sizeof(char*), "a CText is one pointer, so vectors of texts stay lean");

unsigned char operator==(const char* a, const CText& b) noexcept;
unsigned char operator!=(const char* a, const CText& b) noexcept;
unsigned char operator<(const char* a, const CText& b) noexcept;

/// A text kept in a byte vector: empty, or the characters followed by their
/// zero (size = length + 1; `SetLength` may leave zeros after the text).
class KZText {
public:
  KZText() = default;
  explicit KZText(const char* text) { Set(text); }
  KZText& operator=(const char* text) {
    Set(text);
    return *this;
  }
  KZText& operator+=(const KZText& other) {
    Add(static_cast<const char*>(other));
    return *this;
  }
  KZText& operator+=(const char* text) {
    Add(text);
    return *this;
  }
  KZText& operator+=(char c) {
    Add(c);
    return *this;
  }

  /// Replaces the text with a copy of `text`; null or empty empties the
  /// vector. `text` may point into this text.
  void Set(const char* text);
  /// Writes `text` with its zero over the vector's last byte (an empty
  /// vector counts as the one byte of its terminator), growing the vector
  /// by the length of `text`. Null or empty: nothing. After `SetLength` has
  /// made room beyond the text, the added characters go behind that room.
  void Add(const char* text);
  /// Appends one character; 0 changes nothing.
  void Add(char c);
  /// Resizes the vector to `n` + 1 bytes (new bytes zero) and ends it with a
  /// zero: a longer text is cut to `n` characters, a shorter one keeps its
  /// characters followed by zeros. The last byte is set even when the vector
  /// shrinks, because a non-empty vector always ends with its zero and every
  /// reader of the text relies on it.
  void SetLength(unsigned int n);
  /// Measured length in characters (up to the first zero).
  unsigned int GetLength() const noexcept;
  /// Bytes held: 0 for the empty text, else at least length + 1.
  unsigned int GetSize() const noexcept { return static_cast<unsigned int>(bytes_.size()); }
  /// The bytes, or null for the empty text.
  char* GetBuffer() noexcept { return bytes_.empty() ? nullptr : bytes_.data(); }

  /// The text; the empty string when the vector is empty.
  operator const char*() const noexcept { return bytes_.empty() ? "" : bytes_.data(); }  // NOLINT(google-explicit-constructor)

  /// Comparisons of the texts as for `CText`.
  unsigned char operator==(const char* text) const noexcept;
  unsigned char operator==(const KZText& other) const noexcept { return *this == static_cast<const char*>(other); }
  unsigned char operator!=(const KZText& other) const noexcept { return !(*this == other); }
  unsigned char operator<(const char* text) const noexcept;
  unsigned char operator<(const KZText& other) const noexcept { return *this < static_cast<const char*>(other); }

  /// Writes u32 size (0 for the empty text) at `pos` (-1: the end of the
  /// file) and the bytes at `pos` + 4; returns the position of the size, or
  /// -1 after a failure reported to the file's sink.
  long long Write(CFileBase& file, long long pos = -1) const;
  /// Reads a record written by `Write` at `pos` (-1: the read position). A
  /// damaged record keeps its characters up to the first zero. 1 on
  /// success; 0 with the text unchanged after a failure reported to the
  /// file's sink.
  unsigned char Read(CFileBase& file, long long pos = -1);

private:
  std::vector<char> bytes_;
};

/// A vector of `CText` with the text operations. Ordering (`Sort`,
/// `Compress`, `Order`, `Compare`) and equality (`Exist`, `Remove`) are those
/// of `CText`. Copies (constructor and `operator=`) copy every text, so the
/// two vectors own separate buffers; self-assignment changes nothing. The
/// generic stored form of `Vector` would hold buffer addresses, so it is
/// hidden here behind the text forms.
class VCText : public Vector<CText> {
public:
  using Vector<CText>::Vector;
  VCText() = default;

  /// Appends one text (null or empty: an empty text); returns its position.
  unsigned int Add(const char* text);
  /// `Vector<CText>::AddStr`: splitting a text into texts at a separator.
  using Vector<CText>::AddStr;

  /// Writes u32 count at `pos` (-1: the end of the file), then every text
  /// appended by `CFileBase::WriteString(text, mode)`. Returns the position
  /// of the count, or `WriteFailed` after a failure reported to the sink.
  unsigned long long Write(CFileBase& file, int mode, long long pos = -1) const;
  /// Does nothing for `pos` 0 (no list stored) and returns 1. Otherwise
  /// reads a u32 count at `pos` (-1: the read position) and that many
  /// strings of form `mode`, replacing the texts. 0 with the vector
  /// unchanged after a failure reported to the file's sink.
  unsigned char Read(CFileBase& file, long long pos, int mode);
  /// `Read` with a u16 count.
  unsigned char ReadWord(CFileBase& file, long long pos, int mode);

private:
  unsigned char ReadTexts(CFileBase& file, long long pos, int mode, unsigned int countBytes);
};

template <class T>
class _Vector;

/// A vector of `KZText` whose stored form holds the texts themselves.
template <>
class _Vector<KZText> : public Vector<KZText> {
public:
  using Vector<KZText>::Vector;
  _Vector() = default;

  /// Appends u32 count and every text's record at the end of the file;
  /// returns the position of the count, or `WriteFailed`.
  unsigned long long Write(CFileBase& file) const;
  /// Appends the vector as one block and describes it in `doc`; an empty
  /// vector writes nothing and leaves `doc` {0, 0}, as does a failure.
  void Write(CFileBase& file, DOCUMENT& doc) const;
  /// Reads what `Write(file)` wrote at `pos` (-1: the read position),
  /// replacing the texts. 0 with the vector unchanged after a failure
  /// reported to the file's sink.
  unsigned char Read(CFileBase& file, long long pos = -1);
  /// Reads the block `doc`; an empty record clears the vector.
  unsigned char Read(CFileBase& file, const DOCUMENT& doc);
};

/// A `_Vector<KZText>` that compresses itself and reads the 16-bit-counted
/// string lists.
class VKZText : public _Vector<KZText> {
public:
  using _Vector<KZText>::_Vector;
  VKZText() = default;

  /// Sorts the texts ascending and keeps one of each run of equal texts; a
  /// vector of fewer than two texts is left alone. 1 when texts were
  /// removed.
  unsigned char Compress();
  /// Empties the vector; for `pos` 0 stops there. Otherwise reads a u16
  /// count at `pos` and that many strings of form `mode`. 0, with the
  /// vector empty, after a failure reported to the file's sink.
  unsigned char ReadString(CFileBase& file, unsigned int pos, int mode);
};

extern template class Vector<CText>;
extern template class Vector<KZText>;

} // namespace zel
