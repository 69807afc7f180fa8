#pragma once
/// \file
/// `CReadMemory`: reading a text held in memory character by character,
/// line by line or word by word, with the library's fixed rules for line
/// ends, blanks, quotes and delimiters. `CFileText` reads files by the same
/// rules (it is built on this class).
///
/// Rules shared by every reader:
/// - A carriage return (13) is never seen: it is skipped wherever it stands.
/// - A line feed (10) and a zero byte both end a line; `GetChar` gives 0 for
///   either.
/// - Blanks: space, line feed, tab, vertical tab, form feed, carriage return.
/// - Default delimiters (a null delimiter set): space = ! { } % & ( ) [ ]
///   * ? < > ^ ; : / , " and backslash. An empty set (not null) has no
///   delimiters. Space is in the set but, being a blank, never acts as a
///   delimiter; nor does '=' when it counts as a blank.
/// - No reader ever reads outside the text, and every reader advances or
///   reports the end (−1, or for the line readers `IsEnd`), so a reading
///   loop ends on any input. None throws except `Read`.
///
/// The text is not owned: the caller keeps it alive and unchanged while it is
/// read.

#include <cstddef>
#include <string>
#include <vector>

#include "zeltools/text/list_text.h"

namespace zel {

class CText;

class CReadMemory {
public:
  /// The blanks, in their order.
  static constexpr char Blanks[] = " \n\t\v\f\r";
  /// The default delimiters, in their order.
  static constexpr char DefaultDelimiters[] = " =!{}%&()[]*?<>^;:/,\"\\";

  /// Nothing to read.
  CReadMemory() noexcept = default;
  /// `Init(text)`.
  explicit CReadMemory(const char* text) noexcept { Init(text); }
  /// Copies share the text and copy the position.
  CReadMemory(const CReadMemory&) noexcept = default;
  CReadMemory& operator=(const CReadMemory&) noexcept = default;
  virtual ~CReadMemory() = default;

  /// Reads the zero-terminated `text` (null: nothing) from its start.
  void Init(const char* text) noexcept;
  /// Reads the `length` bytes at `data` (zeros included) from their start.
  void Init(const void* data, unsigned int length) noexcept;

  /// Bytes in the text.
  unsigned int GetLength() const noexcept { return length_; }
  /// Index of the next byte to read.
  unsigned int GetPosition() const noexcept { return position_; }
  /// 1 when nothing is left to read but carriage returns (passed over, as
  /// every reader does): no text, or every byte read. A file reader looks
  /// into the file for the next bytes.
  unsigned char IsEnd() {
    for (;; ++position_) {
      if (position_ >= length_ && !NextWindow())
        return 1;
      if (buffer_[position_] != '\r')
        return 0;
    }
  }
  /// Moves to `p` when `p` < the length; otherwise nothing changes.
  void SetPosition(unsigned int p) noexcept {
    if (p < length_)
      position_ = p;
  }
  /// The next byte, or null at the end or without a text.
  const char* GetPosBuf() const noexcept { return buffer_ != nullptr && position_ < length_ ? buffer_ + position_ : nullptr; }
  /// Steps back one byte (nothing at 0).
  void Return() noexcept {
    if (position_ > 0)
      --position_;
  }

  /// Copies `n` bytes from `pos` (negative: the position) to `dst` and moves
  /// behind them. Nothing for `n` 0 or without a text. Bytes beyond the end
  /// throw catalogue message 110 and copy nothing.
  void Read(void* dst, unsigned int n, int pos = -1);

  /// The next character as an unsigned byte value, carriage returns skipped,
  /// a line end given as 0; −1 at the end or without a text.
  int GetChar() {
    for (;;) {
      const int c = Next();
      if (c != '\r')
        return c == '\n' ? 0 : c;
    }
  }

  /// Reads one line into `out` of `size` bytes: characters up to a line end
  /// or the end, carriage returns dropped, at most `size` − 1 stored, always
  /// terminated. The line end is consumed; the rest of a line longer than
  /// `size` − 1 stays for the next call (a line of exactly `size` − 1
  /// characters is not longer: its line end is consumed with it). A `size`
  /// below 2 cannot hold a character: the line is skipped whole, so a loop
  /// still advances. With `skipEmpty`, empty lines are passed over. Returns
  /// the number of characters stored: 0 with `out` empty at the end (a final
  /// line end is not followed by an empty line), so a caller reading to the
  /// end asks `IsEnd` first; −1 only when there is no text at all (a null
  /// text, a file not open). Bytes of `out` behind the terminating zero may
  /// be overwritten (the line is copied in whole blocks).
  int GetString(char* out, unsigned int size, unsigned char skipEmpty = 0);
  /// The same without a limit: `out` holds the characters and a zero.
  int GetString(std::vector<char>& out, unsigned char skipEmpty = 0);
  int GetString(std::string& out, unsigned char skipEmpty = 0);
  int GetString(CText& out, unsigned char skipEmpty = 0);

  /// Reads characters up to `stop` (consumed, not stored), a line end
  /// (consumed) or the end into `out`, terminated. When the very first
  /// character is `stop`, `out` holds that one character. A `stop` of 0
  /// means the line end. Returns the number of characters stored, or −1 when
  /// the end came first.
  int GetPhrase(std::vector<char>& out, signed char stop);

  /// Reads one word into `out` (terminated) and returns 0, a delimiter's code
  /// (its unsigned byte value, with `out` holding it alone) or −1 at the end.
  /// Blanks and line ends before a word are skipped and after it end it
  /// (consumed); with `equalIsBlank`, '=' counts as a blank. A delimiter
  /// after word characters ends the word and is read by the next call. A
  /// double quote followed by another stands for one double-quote character
  /// (a delimiter in the default set). Otherwise a double quote opens a
  /// quoted word, which runs to the next double quote (consumed) or the line
  /// end or the end, keeping spaces and dropping tab, vertical tab and form
  /// feed; a quote after word characters ends the word and is read by the
  /// next call. So `"a" b"c` gives a, b, c and `say ""hi` gives say, ", hi.
  int GetWord(std::vector<char>& out, const char* delimiters = nullptr, unsigned char equalIsBlank = 0);
  /// The same into `out` of `size` bytes: a word longer than `size` − 1 is
  /// cut and the rest of it skipped (a delimiter always fits when `size` ≥ 2).
  int GetWord(char* out, unsigned int size, const char* delimiters = nullptr, unsigned char equalIsBlank = 0);
  int GetWord(std::string& out, const char* delimiters = nullptr, unsigned char equalIsBlank = 0);
  int GetWord(CText& out, const char* delimiters = nullptr, unsigned char equalIsBlank = 0);

  /// Reads a word (`equalIsBlank` set); when it is "NAME" in any case, reads
  /// the next word (default delimiters, `equalIsBlank` set) into `out` and
  /// returns 1 when that is not empty. Otherwise 0, with `out` holding the
  /// first word. 'NAME Beam1' and 'NAME=Beam1' both give 'Beam1'.
  unsigned char GetName(std::vector<char>& out, const char* delimiters = nullptr);

  /// Largest number of values a list read by `GetListInt`/`GetListWord` may
  /// hold (the limit of the number-list text form): a range that would go
  /// beyond is an error, found before anything is stored for it.
  static constexpr unsigned int MaxListCount = TextListMaxCount;

  /// Reads a number list into `out`: numbers separated by blanks, ranges
  /// "a - b" (a, a+1, …, b) and runs "a r b s". A run appends p + k for
  /// k = 1, 1 + s, 1 + 2s, … while k ≤ b − p, p being the last number read,
  /// so its first value is always p + 1: '5 r 20 5' gives 5, 6, 11, 16 (kept
  /// so that lists stored by earlier versions read the same). The list ends
  /// with ';' or the end (result 0), or with a lone '/' or ')' (result 47 or
  /// 41). Errors (result −1, `out` holding what was read before): a word that
  /// is not a number, a range or run not preceded by a number or without its
  /// end (or step), a step below 1, a value beyond the type, and a list that
  /// would exceed `MaxListCount` values. Words are cut at 256 bytes.
  int GetListInt(std::vector<int>& out);
  /// The same for values 0…65535.
  int GetListWord(std::vector<unsigned short>& out);

  /// Reads one string record at `pos` (negative: the position) in the form
  /// of `CFileBase::WriteString` with `lengthType` (0: characters and a zero;
  /// 1: u8 length; 4: u32 length; any other: u16 length; little-endian) into
  /// `out` of `size` bytes, cut to `size` − 1 characters and terminated, and
  /// moves behind the record. Returns the number of characters stored. A
  /// record that does not fit in the text (a form-0 string without its zero
  /// included) leaves `out` empty, the position unchanged, and returns −1.
  int ReadString(char* out, unsigned int size, int lengthType, int pos = -1);
  int ReadString(std::vector<char>& out, int lengthType, int pos = -1);
  int ReadString(std::string& out, int lengthType, int pos = -1);
  int ReadString(CText& out, int lengthType, int pos = -1);

protected:
  /// Readers over a larger source see it through a window of this class:
  /// `buffer_`/`length_`/`position_` describe the window, which starts at
  /// `base_` in the source. `NextWindow` moves the window behind the current
  /// one (false at the end); `MoveWindow` makes the next read start at an
  /// absolute position outside the window. Over memory the window is the
  /// whole text and neither is called with effect.
  virtual bool NextWindow() { return false; }
  /// Whether there is a source at all (a text, an open file).
  virtual bool HasText() const noexcept { return buffer_ != nullptr; }
  virtual void MoveWindow(unsigned long long absolute) {
    position_ = absolute < length_ ? static_cast<unsigned int>(absolute) : length_;
  }

  /// The next raw byte, or −1 at the end.
  int Next() {
    if (position_ < length_)
      return static_cast<unsigned char>(buffer_[position_++]);
    return NextWindow() ? static_cast<unsigned char>(buffer_[position_++]) : -1;
  }
  /// Absolute position of the next byte, and going back to one.
  unsigned long long Tell() const noexcept { return base_ + position_; }
  void Seek(unsigned long long absolute) {
    if (absolute >= base_ && absolute - base_ <= length_)
      position_ = static_cast<unsigned int>(absolute - base_);
    else
      MoveWindow(absolute);
  }
  /// Forgets the text (for a new source).
  void Reset(const char* buffer, unsigned int length, unsigned long long base) noexcept {
    buffer_ = buffer;
    length_ = length;
    position_ = 0;
    base_ = base;
  }

  const char* buffer_ = nullptr;
  unsigned int length_ = 0;
  unsigned int position_ = 0;
  unsigned long long base_ = 0;

private:
  template <class Out>
  int LineInto(Out& out, std::size_t limit, unsigned char skipEmpty);
  template <class Out>
  int WordInto(Out& out, const char* delimiters, unsigned char equalIsBlank);
  template <class Out>
  int RecordInto(Out& out, int lengthType, int pos);
  template <class T>
  int ListInto(std::vector<T>& out);
};

} // namespace zel
