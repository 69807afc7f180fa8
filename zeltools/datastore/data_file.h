#pragma once
/// \file
/// Fixed shapes of `CData` that applications use directly:
/// - `VDataFile`: whole files kept inside a document, one per line: the
///   line's text is the file's name (compared without case), base 0 its
///   bytes, the data block a 16-bit content code chosen by the caller.
/// - `VDblData`: named rows of doubles with a type byte.
/// - `CDataFile`, `CDblData`: the same tables holding one entry, for passing
///   one file or one row by value.
/// - `VDataByte`: a whole copy of any table.
/// All generic table operations (numbering from 1, `Compress`, `Write`/
/// `Read`, modify marks) apply unchanged.
///
/// Text forms. What `VDblData::Export` writes with blank separators
/// `VDblData::Import` reads back. A `VDataFile` entry names a disk file to
/// take in (one entry per call; the text after the name is not read), while
/// `VDataFile::Export` lists the stored bytes.
///
///     VDataFile entry:  number ':' file-name
///     VDblData rows:    { number ['/'] { NAME name | TYPE integer } ':'
///                         { value } (';' | end of text) }
///
/// Words are those of `CReadMemory::GetWord` with the delimiters ':' ';'
/// '/' (only ':' in a `VDataFile` entry, whose file name may hold folders):
/// a name with blanks or delimiters is written in double quotes. Keywords are
/// matched without case. A row without NAME has the empty name, without
/// TYPE type 0. A number may exceed the table's line count by at most the
/// text's length in bytes, so that a short text never makes a huge table.
///
/// `Export(n, out, c1, c2, c3)` prints one entry per line `n` (every line
/// for `n` 0), each beginning on a new line with "\n<number>/":
///
///     VDataFile:  number/"name" c1 content c1 byte-count c2 hex c3 hex ...
///     VDblData:   number/NAME c1 "name" c1 TYPE c1 type c1 : c2 value c3 value ... c2 ;
///
/// A separator 0 is left out; so is NAME with an empty name. A name holding
/// a double quote does not read back. Bytes are two upper-case hex digits; values
/// the shortest text that reads back as the same double. The report wraps
/// long entries at blanks, so a quoted name with blanks must fit its line
/// for the text to read back.
///
/// Disk operations take a folder and put each line's file in it under the
/// name part of the line's text (folders in the text are dropped; lines whose
/// names end alike share one file, the later line's bytes winning). A path
/// that does not fit `PathSize` bytes is reported with message 116, like a
/// folder that does not exist.

#include "zeltools/datastore/data.h"

namespace zel {

class CFilePrint;
class CPhrase;
class CReadMemory;
class VKZUINT;

class VDataFile : public CData {
public:
  /// `Init(2, 2, 1)`: a 2-byte content code, one byte list.
  VDataFile();

  /// Loads the disk file `name` with `AppendFile` (a line of that name, in
  /// any case, is reloaded; otherwise a line is added and removed again when
  /// the load fails, which throws). Sets the content code of the line.
  /// Returns the line, or 0 for a null or empty name.
  unsigned int Append(const char* name, unsigned short content);
  /// Adds a line holding `count` bytes. Returns its number.
  unsigned int Append(const char* name, unsigned int count, const void* bytes, unsigned short content);
  /// Appends line `n` of `src` (every line when `n` is 0); returns the
  /// first new number, 0 when nothing was appended.
  unsigned int Append(unsigned int n, const VDataFile& src);
  /// `n` 0 appends a line first; any other number outside the table gives
  /// 0. Otherwise the line takes the name, bytes and content code and its
  /// number is returned.
  unsigned int Replace(unsigned int n, const char* name, unsigned int count, const void* bytes, unsigned short content);
  /// Reloads line `n` from the disk file `name` (which becomes its text);
  /// 0 for no line, a failed load throws and leaves the line as it was.
  unsigned int Replace(unsigned int n, const char* name, unsigned short content);

  /// The content code; 0 for no line.
  unsigned short GetContent(unsigned int n) const noexcept;
  /// Sets the content code without touching the modify marks.
  void SetContent(unsigned int n, unsigned short content) noexcept;
  /// Marks the table changed (0x11).
  void Modify() noexcept { SetModify(0x11); }

  /// Reads one entry (see the file comment): the table grows to `number` − 1
  /// lines, then the file is taken in by `Append(name, 0)`, so that a new
  /// name lands on line `number` of a shorter table (a name already held
  /// reloads its own line; a longer table gets the file at its end). Returns that
  /// line; 0, with the table as it was, when the text is malformed, the
  /// number is 0, or the file cannot be loaded (a load failure throws after
  /// the growth is undone).
  unsigned int Import(const char* text, unsigned long length);
  /// Prints line `n` (every line for 0) in the layout of the file comment.
  void Export(unsigned int n, CFilePrint& out, char c1, char c2, char c3) const;

  /// Reloads every line whose file exists in `folder`; lines keep their
  /// names. Returns the number of lines reloaded. A vanished folder or a
  /// path too long throws message 116; nothing is changed then. A file that
  /// exists but cannot be read throws; its line stays as it was, lines
  /// before it are reloaded.
  unsigned int SetDisk(const char* folder);
  /// Checks every line against its file in `folder`. 1 when every file
  /// exists and holds exactly the line's bytes; otherwise the report
  /// "folder\nlist" (one "number name: missing" or "number name: differs"
  /// per line) goes to `messages`, or is thrown without one, and 0 is
  /// returned. A vanished folder is reported with message 116.
  unsigned char CheckDisk(const char* folder, CPhrase* messages = nullptr) const;
  /// The same check with each line's text taken as its full path; `lines`
  /// receives the numbers of the lines that are missing or differ. Returns
  /// their count.
  unsigned int CheckDisk(VKZUINT& lines) const;
  /// Writes every line's bytes to its file in `folder`; failures throw.
  void ExportDisk(const char* folder) const;
  /// Writes line `n`'s bytes to the file `path` (created or emptied).
  /// Failures go to `messages` (thrown without it); returns 1 on success,
  /// 0 on failure or for no line.
  unsigned char ExportDisk(unsigned int n, const char* path, CPhrase* messages) const;

  /// The older block layout, for readers of that format (`CData::WriteOld`):
  /// version (1 byte), line count (4; nothing more when 0), then per line
  /// the name with a 16-bit length and no zero, the content code (2), the
  /// byte count (4) and the bytes.
  void Write11(CFileBase& file, DOCUMENT_OLD& doc);

private:
  unsigned char CheckLine(unsigned int n, const char* path) const;
};

class VDblData : public CData {
public:
  /// Tolerance of the duplicate search of `Append`; relative, as
  /// `CompareDouble` takes it.
  static constexpr double DuplicateTolerance = 1e-6;

  /// `Init(16, 16, 1)`, base 0 of doubles (type 11); the data block holds
  /// the type byte first, the other 15 bytes stay zero.
  VDblData();

  unsigned char GetType(unsigned int n) const noexcept;
  void SetType(unsigned int n, unsigned char type);

  /// The first line, in order, with the same `type`, the same name (bytes,
  /// with case; any name when `name` is null) and `count` values each
  /// within `DuplicateTolerance` of the given ones; a new line when there
  /// is none. Returns the line.
  unsigned int Append(const char* name, unsigned int count, const double* values, unsigned char type);
  /// Overwrites line `n` (0 appends one); 0 for other numbers outside the
  /// table, else `n`.
  unsigned int Replace(unsigned int n, const char* name, unsigned int count, const double* values, unsigned char type);

  /// Reads rows to the end of the text (see the file comment); each row
  /// replaces its line, the table growing as needed. Returns the rows read,
  /// or 0 with the table as it was when the text is malformed.
  unsigned int Import(CReadMemory& text);
  /// Prints row `n` (every row for 0) in the layout of the file comment.
  void Export(unsigned int n, CFilePrint& out, char c1, char c2, char c3) const;
};

/// One file as a `VDataFile` of one line.
class CDataFile : public VDataFile {
public:
  CDataFile() = default;
  CDataFile(const char* name, unsigned int count, const void* bytes, unsigned short content);
  /// Line `n` of `src` (an empty table for no line).
  CDataFile(const VDataFile& src, unsigned int n);
  CDataFile(const CDataFile&) = default;
};

/// One row as a `VDblData` of one line.
class CDblData : public VDblData {
public:
  CDblData() = default;
  CDblData(const char* name, unsigned int count, const double* values, unsigned char type);
  /// Line `n` of `src` (an empty table for no line).
  CDblData(const VDblData& src, unsigned int n);
  CDblData(const CDblData&) = default;
};

/// A whole copy of any table, marks included.
class VDataByte : public CData {
public:
  VDataByte() = default;
  explicit VDataByte(const CData& src) { Copy(src, 1); }
  VDataByte& operator=(VDataByte src) {
    Copy(src, 1);
    return *this;
  }
};

} // namespace zel
