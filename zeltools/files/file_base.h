#pragma once
/// \file
/// `CFileBase`: the library's binary random-access file, addressed by 64-bit
/// logical byte positions, with one 16 KB cache for small reads and writes.
///
/// Errors are reported in one of two ways chosen at `Open`: thrown as a
/// `zel::Exception` (code 2) whose text names the file, or appended to a
/// caller's message sink (a `CPhrase`, see message_sink.h) with the
/// operation returning 0 (or -1). Operations on a
/// file that is not open return 0 (or -1) silently, except `Close`, `Delete`
/// and `Flush`, which return 1.
///
/// Position arguments: -1 is the default and means the read position for
/// reads and the end of the file (append) for writes. Other negative
/// positions are refused with message 106.
///
/// A `CFileBase` belongs to one thread at a time.

#include <cstddef>
#include <cstring>
#include <vector>

#include "zeltools/files/file_mark.h"
#include "zeltools/files/message_sink.h"

namespace zel {

/// The operating-system file behind a `CFileBase`: opaque, null when none.
using FileHandle = void*;

class CFileBase {
public:
  /// Bytes of the cache. Reads and writes below this size go through it;
  /// larger ones go straight to the system. Stored blocks are made of many
  /// small records, which is what this size is chosen for.
  static constexpr unsigned int CacheSize = 16384;
  /// Transfers of 4 GB and more go to the system in pieces of this size.
  static constexpr unsigned long long LargePiece = 0xFFFFEFFFull;
  /// Longest file name kept (the rest is cut).
  static constexpr unsigned int NameSize = 260;
  /// Bytes of the mark that every file object carries (see the work files).
  static constexpr unsigned int MarkBytes = FILE_MARK::Size;

  /// Access, sharing and creation values of the raw `Open`, numbered as the
  /// Windows ones so that callers' constants carry over.
  static constexpr unsigned int GenericRead = 0x80000000u;
  static constexpr unsigned int GenericWrite = 0x40000000u;
  static constexpr unsigned int ShareRead = 1;
  static constexpr unsigned int ShareWrite = 2;
  static constexpr unsigned int CreateNew = 1;
  static constexpr unsigned int CreateAlways = 2;
  static constexpr unsigned int OpenExisting = 3;
  static constexpr unsigned int OpenAlways = 4;
  static constexpr unsigned int TruncateExisting = 5;

  /// No file, no sink, crash flag 0.
  CFileBase() noexcept;
  /// Copies the state (positions, name, attributes, mark and cached bytes)
  /// onto a second handle of the same open file; the sink and the crash flag
  /// are not copied (null and 0). Bytes still waiting in `other`'s cache are
  /// written to the file first through the copy, and both caches are clean
  /// afterwards, so that neither object can later overwrite the other's
  /// newer bytes with them. A failure throws (and `other` keeps its bytes).
  CFileBase(const CFileBase& other);
  CFileBase& operator=(const CFileBase&) = delete;
  /// Closes the file, writing back the cache; never throws (a failure at
  /// this point is still recorded in the sink, if one is attached).
  virtual ~CFileBase();

  /// Forgets the file without closing it: zeroes the state (cache and mark
  /// included), sets the file pointer unknown and detaches the sink. The
  /// crash flag is kept, so it survives `Close`.
  void Init() noexcept;

  // --- opening and closing -------------------------------------------------

  /// Opens `name` by the letters of `mode` (first 8 characters, any case):
  /// "R" read; "W" write; "A" or "+" write keeping the contents; "S" share
  /// with other opens (without it the open fails while another holds the
  /// file, and holds others off). Writing creates a missing file; writing
  /// without "A"/"+" empties it. The file is positioned at 0.
  /// Failures: 101 when this object already has a file open (the first
  /// placeholder is the open file's name, which stays open and keeps its
  /// state), 102 when the system refuses, 108 when the length is unknown.
  /// `sink` and `crash` choose the reporting (see `Message`); the crash flag
  /// takes effect only once the open has succeeded. The sink is not owned and
  /// must outlive the open file (the destructor may still report to it).
  unsigned char Open(const char* name, const char* mode, CMessageSink* sink = nullptr, unsigned char crash = 0);
  /// The raw open with Windows-numbered `access` (GenericRead/GenericWrite),
  /// `share` (ShareRead/ShareWrite; 0 means exclusive) and `creation`. Sets
  /// the read and write attributes from `access` and reads the length. A
  /// refusal reports 102 once: with a sink, the system's text (type 11) and
  /// the message (type 3) are recorded and 0 returned.
  unsigned char Open(const char* name, unsigned int access, unsigned int share, unsigned int creation);
  /// Writes back the cache and closes; 1 when nothing was open. A failed
  /// close reports 131 (the object is reset all the same); with a sink, any
  /// failure on the way makes the result 0. The sink is detached.
  unsigned char Close();
  /// `Close`, then deletes the file by its name (failure: 132).
  unsigned char Delete();
  /// Writes back the cache and has the system put the file on its device
  /// (failure: 109).
  unsigned char Flush();

  // --- positions and length ------------------------------------------------

  long long GetLength() const noexcept { return length_; }
  long long GetPosRead() const noexcept { return readPos_; }
  /// The position the system's file pointer is known to stand at; -1 when
  /// unknown.
  long long GetPosition() const noexcept { return filePointer_; }
  const char* GetFileName() const noexcept { return name_; }
  FileHandle GetHandle() const noexcept { return handle_; }
  unsigned char AttributeRead() const noexcept { return read_; }
  unsigned char AttributeWrite() const noexcept { return write_; }
  /// Never set by the opens here (0).
  unsigned char AttributeShare() const noexcept { return share_; }

  /// Positions the system's file pointer at logical `pos`; nothing is done
  /// when it is known to stand there already. 0 when not open; failure 106.
  unsigned char SetSeek(long long pos);
  /// Sets the read position. A position inside the cache costs nothing;
  /// otherwise the file pointer is moved there. Positions past the end are
  /// accepted (the next read fails).
  unsigned char SetPosRead(long long pos);
  /// `SetPosRead(GetPosRead() - count)`.
  unsigned char SetPosReadBack(long long count);
  /// Re-reads the size from the system (failure: 108) after writing back the
  /// cache, empties the cache, sets the read position to 0 and returns the
  /// new length (-1 when not open or on failure).
  long long SetFileSize();
  /// Shortens (or keeps) the file: a greater length fails with 112. Writes
  /// back the cache, truncates (failure: 113), empties the cache and puts
  /// the read position at 0.
  unsigned char SetLength(long long newLength);
  /// Appends `count` zero bytes; returns where they begin (the old length),
  /// or -1 on failure or when not open.
  long long Add(unsigned long long count);

  // --- reading and writing -------------------------------------------------

  /// Uncached read of `size` bytes at `pos`. 1 on success (also for size 0).
  /// Failures: 104 not readable, 110 beyond the length, 105 the system read
  /// less. Bytes still waiting in an overlapping cache are written first, so
  /// what is read is what the file holds logically. Read position := end.
  unsigned char _Read(void* buffer, unsigned long long size, long long pos = -1);
  /// Uncached write; returns the position written at, -1 on failure (0 for
  /// size 0). A position beyond the length first fills the gap with zeros.
  /// Failures: 103 not writable, 107 the system wrote less (the length is
  /// then not advanced). An overlapping cache is written back first and then
  /// takes the new bytes, so a later cached read sees them.
  long long _Write(const void* buffer, unsigned long long size, long long pos = -1);
  /// Cached read: below `CacheSize` bytes, served from the cache (reloaded
  /// from `pos` when the range is not inside it); larger reads are `_Read`.
  /// Same results and messages as `_Read`.
  inline unsigned char Read(void* buffer, unsigned long long size, long long pos = -1);
  /// Cached write: below `CacheSize` bytes, gathered in the cache (which is
  /// written back when it must restart elsewhere); larger writes are
  /// `_Write`. Same results and messages as `_Write`; failures of a deferred
  /// write-back surface in the operation that performs it.
  inline long long Write(const void* buffer, unsigned long long size, long long pos = -1);

  /// Reads a 32-bit count n and then n bytes (the payload of a character
  /// vector) into `out`, sized to n. A count the rest of the file cannot
  /// hold fails with 110 before anything is allocated. `out` is unchanged
  /// on failure.
  unsigned char Read(std::vector<char>& out, long long pos = -1);
  /// Appends `text` (null: the empty string) at the end of the file with a
  /// length prefix chosen by `lengthType`: 0 none, the characters and their
  /// NUL; 1 one byte (text cut to 255); 4 four bytes; any other value two
  /// bytes (cut to 65,535); the prefixed forms have no NUL.
  /// Result: 1, or 0 when the write failed. Kept for compatibility with
  /// stored files and their writers: the prefixed forms take a prefix that
  /// lands at position 0 for a failure, so the first string of an empty
  /// file writes only its length and returns 0, and they do not notice a
  /// failure reported through a sink. An empty prefixed text writes only
  /// its prefix.
  unsigned char WriteString(const char* text, int lengthType);
  /// Reads a string of the layout above into `out`: its characters followed
  /// by one NUL. A length the rest of the file cannot hold fails with 110
  /// before anything is allocated; a NUL-terminated string without its NUL
  /// fails likewise. `out` is unchanged on failure.
  unsigned char ReadString(std::vector<char>& out, int lengthType, long long pos = -1);
  /// Reads a string of the layout above into `buffer` of `size` bytes; a
  /// longer string is cut to `size - 1` characters, always terminated (no
  /// bytes are stored when `size` is 0). The whole stored string is consumed
  /// either way, leaving the read position after it. Returns the number of
  /// characters stored, or -1 on failure.
  int ReadString(char* buffer, unsigned int size, int lengthType, long long pos = -1);
  /// Reads `count` 16-bit unsigned values and widens each to 32 bits.
  unsigned char ReadWordToInt(unsigned int* out, unsigned int count, long long pos = -1);
  /// Reads `count` 32-bit floats and widens each to double.
  unsigned char ReadFloatToDbl(double* out, unsigned int count, long long pos = -1);
  /// Appends `size` bytes of `source` from `pos` (-1: its read position) to
  /// the end of this file; a negative `size` means up to the end of the
  /// source. Errors are reported by the file they concern.
  unsigned char AddFileBase(CFileBase& source, long long pos, long long size);
  /// Appends the whole of the file `name`, opened with mode "rs", this
  /// file's sink and crash flag 1. 0 when it does not exist.
  unsigned char AddFile(const char* name);

  /// Reports catalogue message `id`, formatted with the file name and `text`
  /// (null: empty). Without a sink it throws. With a sink it appends the
  /// system's text for the last error, when there is one, as kind 11 (param1
  /// the error code), then the message as kind 3 (param1 the id); with the
  /// crash flag set it then throws the message as well. Returns 0.
  unsigned char Message(int id, const char* text);

  // --- extras --------------------------------------------------------------

  CMessageSink* GetSink() const noexcept { return sink_; }
  unsigned char GetCrash() const noexcept { return crash_; }
  /// How many failures this object has reported since it was made (thrown
  /// or not). Block writers compare it around a write to tell a failure that
  /// went to a sink.
  unsigned int GetErrorCount() const noexcept { return errors_; }
  /// 1 when the cache's invariants (listed in the implementation) hold,
  /// including those about the file's contents, which are read back to
  /// check them (the last error is kept). Builds with assertions check the
  /// invariants that need no system call after every operation that changes
  /// the cache; this call is for tests.
  unsigned char CheckCache() const noexcept;

protected:
  /// `Message` with the name, sink and crash flag given: for failures of an
  /// open, whose sink the object may not hold (yet or any more).
  unsigned char Report(int id, const char* name, const char* text, CMessageSink* sink, unsigned char crash);
  /// For the work-file layer, which must read a mark even from a file opened
  /// for writing only: `_Read` without the access check.
  unsigned char _ReadRaw(void* buffer, unsigned long long size, long long pos);
  FILE_MARK& GetFileMark() noexcept { return mark_; }
  const FILE_MARK& GetFileMark() const noexcept { return mark_; }
  unsigned char GetMarkSize() const noexcept { return markSize_; }
  /// Bytes at the start of the physical file that are not part of the
  /// logical file; logical position p is physical p + mark size.
  void SetMarkSize(unsigned char size) noexcept { markSize_ = size; }
  void SetLengthField(long long length) noexcept { length_ = length; }
  void SetPositionField(long long pos) noexcept { filePointer_ = pos; }
  void SetPosReadField(long long pos) noexcept { readPos_ = pos; }
  void SetShareAttribute(unsigned char share) noexcept { share_ = share; }

private:
  bool IsOpen() const noexcept { return handle_ != nullptr; }
  unsigned char ReadCached(void* buffer, unsigned long long size, long long pos);
  long long WriteCached(const void* buffer, unsigned long long size, long long pos);
  unsigned char BadPosition();
  unsigned char ReadChecked(void* buffer, unsigned long long size, long long pos, bool checkAccess);
  unsigned char ReadUncached(void* buffer, unsigned long long size, long long pos, bool checkAccess);
  unsigned char RawRead(void* buffer, unsigned long long size, long long pos);
  long long RawWrite(const void* buffer, unsigned long long size, long long pos);
  long long WriteThrough(const void* buffer, unsigned long long size, long long pos);
  long long PrepareWrite(long long pos);
  bool WriteBack();
  bool Overlaps(long long pos, unsigned long long size) const noexcept;
  void EmptyCache() noexcept;
  void CloseQuietly() noexcept;
  void CopyName(const char* name) noexcept;
  bool ReadLength(int lengthType, unsigned int& length, long long pos);
  bool ReadTerminated(std::vector<char>& out, long long pos);
  bool StateHolds() const noexcept;
  void DebugCheck() const noexcept;

  // Reset by Init (everything down to the cache state).
  FileHandle handle_;
  long long length_;
  long long readPos_;
  long long filePointer_;
  char name_[NameSize];
  unsigned char read_;
  unsigned char write_;
  unsigned char share_;
  FILE_MARK mark_;
  unsigned char markSize_;
  long long cachePos_;
  int cacheFill_;
  // Mutable so that a copy, which writes the copied object's pending bytes to
  // the file, can mark that object clean.
  mutable unsigned char dirty_;
  // Kept by Init (the sink is detached).
  CMessageSink* sink_ = nullptr;
  unsigned char crash_ = 0;
  unsigned int errors_ = 0;
  unsigned char cache_[CacheSize];
};

// The cached forms serve the common case inline, so that a record of a size
// known where it is written or read costs a copy of that size: a transfer of
// 1 to 16,383 bytes wholly inside the cache (reads), or starting inside its
// filled part or right at its end and staying within it (writes). The read
// and write attributes are only set while a file is open, and a filled cache
// lies inside the file, so these tests include every refusal of the full
// path. Everything else goes to the full path.

inline unsigned char CFileBase::Read(void* buffer, unsigned long long size, long long pos) {
  const long long at = pos == -1 ? readPos_ : pos;
  const unsigned long long offset = static_cast<unsigned long long>(at) - static_cast<unsigned long long>(cachePos_);
  const auto fill = static_cast<unsigned long long>(cacheFill_);
  if (read_ != 0 && size - 1 < CacheSize - 1 && offset <= fill && size <= fill - offset) {
    std::memcpy(buffer, cache_ + offset, static_cast<std::size_t>(size));
    readPos_ = at + static_cast<long long>(size);
    return 1;
  }
  return ReadCached(buffer, size, pos);
}

inline long long CFileBase::Write(const void* buffer, unsigned long long size, long long pos) {
  const long long at = pos == -1 ? length_ : pos;
  const unsigned long long offset = static_cast<unsigned long long>(at) - static_cast<unsigned long long>(cachePos_);
  if (write_ != 0 && size - 1 < CacheSize - 1 && offset <= static_cast<unsigned long long>(cacheFill_) &&
      offset + size <= CacheSize) {
    std::memcpy(cache_ + offset, buffer, static_cast<std::size_t>(size));
    const int end = static_cast<int>(offset + size);
    if (end > cacheFill_) {
      cacheFill_ = end;
      if (cachePos_ + end > length_)
        length_ = cachePos_ + end;
    }
    dirty_ = 1;
    return at;
  }
  return WriteCached(buffer, size, pos);
}

} // namespace zel
