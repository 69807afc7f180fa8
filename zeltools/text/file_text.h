#pragma once
/// \file
/// `CFileText`: a text file read with the rules of `CReadMemory` (characters,
/// lines, phrases, words, names, number lists) and written character by
/// character or string by string.
///
/// It is a `CFileBase`, opened the same way and reporting the same way: with
/// a `CPhrase` given to `Open` failures are recorded there (a failed read
/// then reads as the end of the text); without one they throw.
///
/// Reading goes through a window of its own (64 KB read from the file at a
/// time), so the readers work on memory and meet the file only once per
/// window. The reading position is its own (`GetTextPosition`), independent
/// of the file's read position. Writing appends at the end of the file
/// through the file's cache, which gathers the small pieces; nothing is held
/// back in this object, so closing the file in any way keeps every byte
/// written. Appending never disturbs the reading: text added behind the
/// window is read when the reader gets there.

#include "zeltools/files/file_base.h"
#include "zeltools/text/read_memory.h"

#include <vector>

namespace zel {

class CPhrase;

class CFileText : public CFileBase, private CReadMemory {
public:
  /// Bytes read from the file at a time.
  static constexpr unsigned int WindowSize = 65536;

  CFileText() = default;
  CFileText(const CFileText&) = delete;
  CFileText& operator=(const CFileText&) = delete;
  ~CFileText() override = default;

  /// `CFileBase::Open`, reading from the start of the file.
  unsigned char Open(const char* name, const char* mode, CPhrase* sink = nullptr, unsigned char crash = 0);
  /// `CFileBase::Close`, forgetting the window.
  unsigned char Close();

  /// Absolute position of the next character to read.
  long long GetTextPosition() const noexcept { return static_cast<long long>(Tell()); }
  /// Moves the reading to `pos`; a negative position is refused (0), a
  /// position at or beyond the end reads as the end.
  unsigned char SetTextPosition(long long pos);

  // Names both bases have mean the file's.
  using CFileBase::GetLength;
  using CFileBase::GetPosition;
  using CFileBase::Init;
  using CFileBase::Read;
  using CFileBase::ReadString;

  using CReadMemory::GetChar;
  using CReadMemory::GetListInt;
  using CReadMemory::GetListWord;
  using CReadMemory::GetName;
  using CReadMemory::GetPhrase;
  using CReadMemory::GetString;
  using CReadMemory::GetWord;
  using CReadMemory::IsEnd;

  /// Appends the byte `c` as it is (line ends included: the text keeps the
  /// line ends its writer puts). 1, or 0 after a failure reported to the
  /// sink.
  unsigned char PutChar(char c);
  /// Appends the characters of the zero-terminated `text` without its zero
  /// (null or empty: nothing): the file stays a text file, and a zero in it
  /// would read back as a line end. Result as for `PutChar`.
  unsigned char PutString(const char* text);

private:
  bool NextWindow() override;
  bool HasText() const noexcept override { return GetHandle() != nullptr; }
  void MoveWindow(unsigned long long absolute) override;

  std::vector<char> window_;
};

} // namespace zel
