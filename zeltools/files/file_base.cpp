// The random-access file and its cache.
//
// Cache invariants (all checked by CheckCache; those that need no system
// call, 1 to 3 and 6, are asserted by DebugCheck after every operation that
// changes the cache in builds with assertions):
//  1. 0 <= cacheFill_ <= CacheSize. A closed file has an empty, clean cache.
//  2. A filled cache lies inside the logical file:
//     0 <= cachePos_ and cachePos_ + cacheFill_ <= length_.
//  3. A dirty cache is filled and belongs to a writable file; a file opened
//     only for reading never holds dirty bytes (the cached forms refuse the
//     transfer before touching the cache).
//  4. Clean cached bytes equal the file's bytes at the same logical
//     positions. Uncached writes keep this by writing a dirty cache back
//     first and then copying their own bytes into the overlapping part.
//     (Checked where the handle can read.)
//  5. Every logical byte lies in the physical file or in the dirty cache, so
//     a write-back never leaves a hole; uncached reads that overlap a dirty
//     cache write it back first.
//  6. length_ >= 0, and filePointer_ is -1 (unknown) or a logical position
//     the system's pointer was put at; it only saves positioning calls.
//
// A small write joins the cache when it starts inside the filled part or
// right at its end and stays within CacheSize of the cache's start; this is
// what turns a run of appended records into one system call per 16 KB.
//
// Every logical position p is physical p + markSize_.

#include "zeltools/files/file_base.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/internal/runtime_format.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/memory/memory.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

// Transfers below this go to the system in one call; larger ones in pieces
// of LargePiece bytes, the largest a 32-bit transfer count allowed.
constexpr unsigned long long FourGB = 0x100000000ull;
// Scratch size for copying between files.
constexpr unsigned long long CopyChunk = 1ull << 20;

// Message kinds in a sink.
constexpr unsigned char KindSystemText = 11;
constexpr unsigned char KindMessage = 3;

// Zeros for Add: a constant block instead of a scratch allocation, so that
// extending a file can never fail for want of memory.
constexpr unsigned char Zeros[CFileBase::CacheSize] = {};

// [pos, pos + size) lies inside [0, length).
bool Fits(long long pos, unsigned long long size, long long length) noexcept {
  return pos >= 0 && pos <= length && size <= static_cast<unsigned long long>(length - pos);
}

// The catalogue texts are printf formats; they come from the library's own
// tables, never from the caller.
void FormatMessageText(char* buffer, std::size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  ZEL_RUNTIME_FORMAT_BEGIN
  std::vsnprintf(buffer, size, format, args);
  ZEL_RUNTIME_FORMAT_END
  va_end(args);
}

// Frees a Memory block on scope exit.
struct ScratchBlock {
  void* block = nullptr;
  ~ScratchBlock() { DoMemoryFree(&block); }
};

} // namespace

// --- construction ----------------------------------------------------------

CFileBase::CFileBase() noexcept { Init(); }

CFileBase::CFileBase(const CFileBase& other) {
  Init();
  if (other.handle_ == nullptr) {
    std::memcpy(name_, other.name_, sizeof name_);
    return;
  }
  void* duplicate = platform::Calls().fileDuplicate(other.handle_);
  if (duplicate == nullptr)
    Report(102, other.name_, "", nullptr, 0);
  handle_ = duplicate;
  length_ = other.length_;
  readPos_ = other.readPos_;
  filePointer_ = -1;
  std::memcpy(name_, other.name_, sizeof name_);
  read_ = other.read_;
  write_ = other.write_;
  share_ = other.share_;
  mark_ = other.mark_;
  markSize_ = other.markSize_;
  cachePos_ = other.cachePos_;
  cacheFill_ = other.cacheFill_;
  std::memcpy(cache_, other.cache_, static_cast<std::size_t>(cacheFill_));
  dirty_ = other.dirty_;
  try {
    WriteBack();
  } catch (...) {
    CloseQuietly();
    throw;
  }
  // The pending bytes are now in the file, and the copied object's cache equals
  // it: left dirty, its later write-back would put these old bytes over
  // whatever the copy writes meanwhile.
  other.dirty_ = 0;
  DebugCheck();
}

CFileBase::~CFileBase() {
  if (!IsOpen())
    return;
  try {
    WriteBack();
  } catch (...) {
    // A destructor has no caller to report to; the failure was recorded in
    // the sink if there was one.
  }
  CloseQuietly();
}

void CFileBase::Init() noexcept {
  handle_ = nullptr;
  length_ = 0;
  readPos_ = 0;
  filePointer_ = -1;
  std::memset(name_, 0, sizeof name_);
  read_ = write_ = share_ = 0;
  mark_ = FILE_MARK{};
  markSize_ = 0;
  cachePos_ = 0;
  cacheFill_ = 0;
  dirty_ = 0;
  std::memset(cache_, 0, sizeof cache_);
  sink_ = nullptr;
}

void CFileBase::CopyName(const char* name) noexcept {
  if (name == name_)
    return;
  std::memset(name_, 0, sizeof name_);
  if (name != nullptr)
    std::strncpy(name_, name, sizeof name_ - 1);
}

void CFileBase::CloseQuietly() noexcept {
  if (handle_ != nullptr)
    platform::Calls().fileClose(handle_);
  Init();
}

// --- reporting -------------------------------------------------------------

unsigned char CFileBase::Message(int id, const char* text) { return Report(id, name_, text, sink_, crash_); }

unsigned char CFileBase::Report(int id, const char* name, const char* text, CMessageSink* sink, unsigned char crash) {
  ++errors_;
  if (text == nullptr)
    text = "";
  const auto messageId = static_cast<unsigned int>(id);
  if (sink == nullptr)
    CrashMessage(messageId, name, text);
  const unsigned int code = GetLastError();
  char buffer[Exception::DescriptionSize] = {};
  GuardAllocation(sizeof buffer, [&] {
    std::string system;
    CrashLastError(system);
    if (!system.empty())
      sink->AppendMessage(system.c_str(), KindSystemText, code, 0);
    std::string format;
    GetLibraryMessage(messageId, format);
    FormatMessageText(buffer, sizeof buffer, format.c_str(), name, text);
    sink->AppendMessage(buffer, KindMessage, messageId, 0);
  });
  if (crash != 0)
    Crash(buffer);
  return 0;
}

// A negative logical position (other than the default -1) is what the system
// refuses as an invalid seek; with a mark it could otherwise reach the mark.
unsigned char CFileBase::BadPosition() {
  filePointer_ = -1;
  SetLastError(platform::ErrorInvalid);
  return Message(106, "");
}

// --- opening and closing -----------------------------------------------------

unsigned char CFileBase::Open(const char* name, const char* mode, CMessageSink* sink, unsigned char crash) {
  // The open file keeps its state (its sink and mark size included); the
  // failure goes to the sink of this call.
  if (IsOpen())
    return Report(101, name_, "", sink, crash_);
  sink_ = sink;
  markSize_ = 0;
  CopyName(name);

  bool share = false, keep = false, write = false, read = false;
  for (int i = 0; mode != nullptr && i < 8 && mode[i] != '\0'; ++i) {
    char c = mode[i];
    if (c >= 'a' && c <= 'z')
      c = static_cast<char>(c - 'a' + 'A');
    share |= c == 'S';
    keep |= c == '+' || c == 'A';
    write |= c == 'W';
    read |= c == 'R';
  }
  write |= keep;
  const unsigned int access = (write ? GenericWrite : 0u) | (read ? GenericRead : 0u);
  const unsigned int shareMode = share ? ((write ? ShareWrite : 0u) | (read ? ShareRead : 0u)) : 0u;
  if (!Open(name_, access, shareMode, write ? OpenAlways : OpenExisting))
    return 0;
  // A failure past this point leaves no file open.
  try {
    if (write && !keep) {
      if (!SetLength(0)) {
        CloseQuietly();
        return 0;
      }
    } else {
      filePointer_ = -1;
      if (!SetSeek(0)) {
        CloseQuietly();
        return 0;
      }
    }
  } catch (...) {
    CloseQuietly();
    throw;
  }
  sink_ = sink;
  crash_ = crash;
  DebugCheck();
  return 1;
}

unsigned char CFileBase::Open(const char* name, unsigned int access, unsigned int share, unsigned int creation) {
  if (IsOpen())
    return Report(101, name_, "", sink_, crash_);
  CopyName(name);
  const bool read = (access & GenericRead) != 0;
  const bool write = (access & GenericWrite) != 0;
  if (creation < CreateNew || creation > TruncateExisting) {
    SetLastError(platform::ErrorInvalid);
    return Message(102, "");
  }
  void* handle = platform::OpenFile(name_, read, write, share != 0, static_cast<platform::Creation>(creation));
  if (handle == nullptr)
    return Message(102, "");
  handle_ = handle;
  read_ = read ? 1 : 0;
  write_ = write ? 1 : 0;
  std::int64_t size = 0;
  if (!platform::Calls().fileSize(handle_, size)) {
    const unsigned int error = GetLastError();
    platform::Calls().fileClose(handle_);
    handle_ = nullptr;
    read_ = write_ = 0;
    SetLastError(error);
    return Message(108, "");
  }
  length_ = size;
  filePointer_ = -1;
  readPos_ = 0;
  EmptyCache();
  DebugCheck();
  return 1;
}

unsigned char CFileBase::Close() {
  if (!IsOpen())
    return 1;
  // Without a sink a failed write-back throws here and leaves the file open
  // with its cache, so nothing is lost; with one, the failure is recorded
  // and the file closed all the same.
  const unsigned char written = WriteBack() ? 1 : 0;
  const bool closed = platform::Calls().fileClose(handle_);
  handle_ = nullptr;
  if (!closed) {
    char name[NameSize];
    std::memcpy(name, name_, sizeof name);
    CMessageSink* sink = sink_;
    const unsigned int error = GetLastError();
    Init();
    SetLastError(error);
    return Report(131, name, "", sink, crash_);
  }
  Init();
  return written;
}

unsigned char CFileBase::Delete() {
  if (!IsOpen())
    return 1;
  char name[NameSize];
  std::memcpy(name, name_, sizeof name);
  CMessageSink* sink = sink_;
  const unsigned char closed = Close();
  if (!platform::Calls().fileRemove(name))
    return Report(132, name, "", sink, crash_);
  return closed;
}

unsigned char CFileBase::Flush() {
  if (!IsOpen())
    return 1;
  if (!WriteBack())
    return 0;
  if (!platform::Calls().fileSync(handle_))
    return Message(109, "");
  return 1;
}

// --- positions and length ----------------------------------------------------

unsigned char CFileBase::SetSeek(long long pos) {
  if (!IsOpen())
    return 0;
  if (pos == filePointer_)
    return 1;
  if (pos < 0)
    return BadPosition();
  filePointer_ = pos;
  if (!platform::Calls().fileSeek(handle_, pos + markSize_)) {
    filePointer_ = -1;
    return Message(106, "");
  }
  return 1;
}

unsigned char CFileBase::SetPosRead(long long pos) {
  if (!IsOpen())
    return 0;
  if (pos >= cachePos_ && pos - cachePos_ < cacheFill_) {
    readPos_ = pos;
    return 1;
  }
  if (!SetSeek(pos))
    return 0;
  readPos_ = filePointer_;
  return 1;
}

unsigned char CFileBase::SetPosReadBack(long long count) {
  if ((count > 0 && readPos_ < LLONG_MIN + count) || (count < 0 && readPos_ > LLONG_MAX + count))
    return IsOpen() ? BadPosition() : 0;
  return SetPosRead(readPos_ - count);
}

long long CFileBase::SetFileSize() {
  if (!IsOpen())
    return -1;
  // The system's size is only the truth once the cache has reached the file;
  // the cache itself may be stale if another process changed the file.
  if (!WriteBack())
    return -1;
  std::int64_t size = 0;
  if (!platform::Calls().fileSize(handle_, size)) {
    Message(108, "");
    return -1;
  }
  EmptyCache();
  length_ = std::max<long long>(0, size - markSize_);
  filePointer_ = -1;
  readPos_ = 0;
  SetSeek(0);
  DebugCheck();
  return length_;
}

unsigned char CFileBase::SetLength(long long newLength) {
  if (!IsOpen())
    return 0;
  if (!WriteBack())
    return 0;
  if (newLength > length_)
    return Message(112, "");
  if (!SetSeek(newLength))
    return 0;
  if (!platform::Calls().fileTruncate(handle_, newLength + markSize_))
    return Message(113, "");
  SetSeek(0);
  length_ = newLength;
  readPos_ = 0;
  EmptyCache();
  DebugCheck();
  return 1;
}

long long CFileBase::Add(unsigned long long count) {
  if (!IsOpen())
    return -1;
  const long long start = length_;
  while (count > 0) {
    const unsigned long long piece = std::min<unsigned long long>(count, CacheSize);
    if (Write(Zeros, piece, -1) < 0)
      return -1;
    count -= piece;
  }
  return start;
}

// --- cache -------------------------------------------------------------------

bool CFileBase::Overlaps(long long pos, unsigned long long size) const noexcept {
  if (cacheFill_ == 0 || size == 0)
    return false;
  if (pos >= cachePos_)
    return pos - cachePos_ < cacheFill_;
  return static_cast<unsigned long long>(cachePos_ - pos) < size;
}

void CFileBase::EmptyCache() noexcept {
  cachePos_ = 0;
  cacheFill_ = 0;
  dirty_ = 0;
}

bool CFileBase::WriteBack() {
  if (!dirty_)
    return true;
  if (RawWrite(cache_, static_cast<unsigned long long>(cacheFill_), cachePos_) < 0)
    return false;
  dirty_ = 0;
  return true;
}

bool CFileBase::StateHolds() const noexcept {
  if (cacheFill_ < 0 || cacheFill_ > static_cast<int>(CacheSize))
    return false;
  if (!IsOpen() && (cacheFill_ != 0 || dirty_ != 0))
    return false;
  if (cacheFill_ > 0 && (cachePos_ < 0 || cachePos_ > length_ - cacheFill_))
    return false;
  if (dirty_ && (cacheFill_ == 0 || write_ == 0))
    return false;
  return filePointer_ >= -1 && length_ >= 0;
}

unsigned char CFileBase::CheckCache() const noexcept {
  if (!StateHolds())
    return 0;
  if (!IsOpen())
    return 1;
  // The look at the file must not disturb what a caller reads afterwards.
  const unsigned int error = GetLastError();
  std::int64_t size = 0;
  bool holds = platform::Calls().fileSize(handle_, size);
  const long long physical = size - markSize_;
  if (holds && physical < length_)
    holds = dirty_ != 0 && cachePos_ <= physical && cachePos_ + cacheFill_ >= length_;
  if (holds && !dirty_ && cacheFill_ > 0 && read_) {
    unsigned char file[CacheSize];
    const auto fill = static_cast<std::size_t>(cacheFill_);
    holds = platform::ReadAt(handle_, file, fill, cachePos_ + markSize_) == fill && std::memcmp(file, cache_, fill) == 0;
  }
  SetLastError(error);
  return holds ? 1 : 0;
}

void CFileBase::DebugCheck() const noexcept { assert(StateHolds()); }

// --- transfers -----------------------------------------------------------------

unsigned char CFileBase::RawRead(void* buffer, unsigned long long size, long long pos) {
  if (!SetSeek(pos))
    return 0;
  auto* out = static_cast<unsigned char*>(buffer);
  const long long physical = pos + markSize_;
  unsigned long long done = 0;
  while (done < size) {
    const unsigned long long piece = size < FourGB ? size : std::min(size - done, LargePiece);
    if (platform::ReadAt(handle_, out + done, piece, physical + static_cast<long long>(done)) != piece) {
      filePointer_ = -1;
      return Message(105, "");
    }
    done += piece;
  }
  readPos_ = filePointer_ = pos + static_cast<long long>(size);
  return 1;
}

long long CFileBase::RawWrite(const void* buffer, unsigned long long size, long long pos) {
  if (!SetSeek(pos))
    return -1;
  const auto* in = static_cast<const unsigned char*>(buffer);
  const long long physical = pos + markSize_;
  unsigned long long done = 0;
  while (done < size) {
    const unsigned long long piece = size < FourGB ? size : std::min(size - done, LargePiece);
    if (platform::WriteAt(handle_, in + done, piece, physical + static_cast<long long>(done)) != piece) {
      filePointer_ = -1;
      Message(107, "");
      return -1;
    }
    done += piece;
  }
  const long long end = pos + static_cast<long long>(size);
  length_ = std::max(length_, end);
  filePointer_ = end;
  return pos;
}

unsigned char CFileBase::ReadChecked(void* buffer, unsigned long long size, long long pos, bool checkAccess) {
  if (checkAccess && !read_)
    return Message(104, "");
  if (pos < 0)
    return BadPosition();
  if (!Fits(pos, size, length_))
    return Message(110, "");
  if (dirty_ && Overlaps(pos, size) && !WriteBack())
    return 0;
  const unsigned char result = RawRead(buffer, size, pos);
  DebugCheck();
  return result;
}

// A write that bypasses the cache must not leave stale bytes in it: a dirty
// cache is written back first (else its old bytes would later overwrite the
// new ones), and the overlapping part then takes the new bytes, so a later
// cached read returns them.
long long CFileBase::WriteThrough(const void* buffer, unsigned long long size, long long pos) {
  const bool overlaps = Overlaps(pos, size);
  if (overlaps && !WriteBack())
    return -1;
  const long long result = RawWrite(buffer, size, pos);
  if (overlaps) {
    if (result < 0) {
      EmptyCache();
    } else {
      const long long from = std::max(pos, cachePos_);
      const long long to = std::min(pos + static_cast<long long>(size), cachePos_ + cacheFill_);
      std::memcpy(cache_ + (from - cachePos_), static_cast<const unsigned char*>(buffer) + (from - pos),
                  static_cast<std::size_t>(to - from));
    }
  }
  DebugCheck();
  return result;
}

// The checks shared by both write forms; returns the position to write at, or
// -1 after a failure. A position past the end first gets its gap of zeros.
long long CFileBase::PrepareWrite(long long pos) {
  if (!IsOpen())
    return -1;
  if (!write_) {
    Message(103, "");
    return -1;
  }
  if (pos == -1)
    pos = length_;
  if (pos < 0) {
    BadPosition();
    return -1;
  }
  if (pos > length_ && Add(static_cast<unsigned long long>(pos - length_)) < 0)
    return -1;
  return pos;
}

unsigned char CFileBase::ReadUncached(void* buffer, unsigned long long size, long long pos, bool checkAccess) {
  if (size == 0)
    return 1;
  if (pos == -1)
    pos = readPos_;
  if (!IsOpen())
    return 0;
  return ReadChecked(buffer, size, pos, checkAccess);
}

unsigned char CFileBase::_Read(void* buffer, unsigned long long size, long long pos) {
  return ReadUncached(buffer, size, pos, true);
}

unsigned char CFileBase::_ReadRaw(void* buffer, unsigned long long size, long long pos) {
  return ReadUncached(buffer, size, pos, false);
}

long long CFileBase::_Write(const void* buffer, unsigned long long size, long long pos) {
  if (size == 0)
    return 0;
  pos = PrepareWrite(pos);
  if (pos < 0)
    return -1;
  if (size > static_cast<unsigned long long>(LLONG_MAX - pos)) {
    SetLastError(platform::ErrorTooLarge);
    Message(107, "");
    return -1;
  }
  return WriteThrough(buffer, size, pos);
}

unsigned char CFileBase::ReadCached(void* buffer, unsigned long long size, long long pos) {
  if (size == 0)
    return 1;
  if (pos == -1)
    pos = readPos_;
  // The same refusals as the uncached read, before the cache is consulted:
  // a write-only file's cache holds written bytes that must not be read.
  if (!IsOpen())
    return 0;
  if (!read_)
    return Message(104, "");
  if (size >= CacheSize)
    return ReadChecked(buffer, size, pos, true);
  if (pos >= cachePos_ && static_cast<unsigned long long>(pos - cachePos_) + size <=
                              static_cast<unsigned long long>(cacheFill_)) {
    std::memcpy(buffer, cache_ + (pos - cachePos_), static_cast<std::size_t>(size));
    readPos_ = pos + static_cast<long long>(size);
    return 1;
  }
  if (pos < 0)
    return BadPosition();
  if (!Fits(pos, size, length_))
    return Message(110, "");
  if (!WriteBack())
    return 0;
  const long long reload = std::min<long long>(CacheSize, length_ - pos);
  EmptyCache();
  if (!RawRead(cache_, static_cast<unsigned long long>(reload), pos))
    return 0;
  cachePos_ = pos;
  cacheFill_ = static_cast<int>(reload);
  std::memcpy(buffer, cache_, static_cast<std::size_t>(size));
  readPos_ = pos + static_cast<long long>(size);
  DebugCheck();
  return 1;
}

long long CFileBase::WriteCached(const void* buffer, unsigned long long size, long long pos) {
  if (size == 0)
    return 0;
  pos = PrepareWrite(pos);
  if (pos < 0)
    return -1;
  if (size >= CacheSize) {
    if (size > static_cast<unsigned long long>(LLONG_MAX - pos)) {
      SetLastError(platform::ErrorTooLarge);
      Message(107, "");
      return -1;
    }
    return WriteThrough(buffer, size, pos);
  }
  const long long offset = pos - cachePos_;
  if (pos >= cachePos_ && offset <= cacheFill_ && static_cast<unsigned long long>(offset) + size <= CacheSize) {
    std::memcpy(cache_ + offset, buffer, static_cast<std::size_t>(size));
    cacheFill_ = std::max(cacheFill_, static_cast<int>(offset + static_cast<long long>(size)));
  } else {
    if (!WriteBack())
      return -1;
    cachePos_ = pos;
    std::memcpy(cache_, buffer, static_cast<std::size_t>(size));
    cacheFill_ = static_cast<int>(size);
  }
  length_ = std::max(length_, cachePos_ + cacheFill_);
  dirty_ = 1;
  DebugCheck();
  return pos;
}

// --- strings and typed reads ---------------------------------------------------

unsigned char CFileBase::WriteString(const char* text, int lengthType) {
  if (text == nullptr)
    text = "";
  const std::size_t full = std::strlen(text);
  if (lengthType == 0)
    return Write(text, full + 1, -1) == -1 ? 0 : 1;
  unsigned char prefix[4] = {};
  unsigned int width = 0;
  std::size_t length = full;
  if (lengthType == 1) {
    length = std::min<std::size_t>(length, 0xFF);
    width = 1;
  } else if (lengthType == 4) {
    length = std::min<std::size_t>(length, 0xFFFFFFFFu);
    width = 4;
  } else {
    length = std::min<std::size_t>(length, 0xFFFF);
    width = 2;
  }
  for (unsigned int i = 0; i < width; ++i)
    prefix[i] = static_cast<unsigned char>(length >> (8 * i));
  // Position 0 is taken for a failure (see the header).
  if (Write(prefix, width, -1) == 0)
    return 0;
  if (length > 0)
    Write(text, length, -1);
  return 1;
}

bool CFileBase::ReadLength(int lengthType, unsigned int& length, long long pos) {
  const unsigned int width = lengthType == 1 ? 1u : lengthType == 4 ? 4u : 2u;
  unsigned char prefix[4] = {};
  length = 0;
  if (!Read(prefix, width, pos))
    return false;
  for (unsigned int i = 0; i < width; ++i)
    length |= static_cast<unsigned int>(prefix[i]) << (8 * i);
  return true;
}

// Reads a NUL-terminated string; the search goes through the cache a byte at
// a time and ends with 110 at the end of the file when there is no NUL.
bool CFileBase::ReadTerminated(std::vector<char>& out, long long pos) {
  out.clear();
  char c = 0;
  if (!Read(&c, 1, pos))
    return false;
  while (c != '\0') {
    GuardAllocation(out.size() + 1, [&] { out.push_back(c); });
    if (!Read(&c, 1, -1))
      return false;
  }
  GuardAllocation(out.size() + 1, [&] { out.push_back('\0'); });
  return true;
}

unsigned char CFileBase::ReadString(std::vector<char>& out, int lengthType, long long pos) {
  std::vector<char> text;
  if (lengthType == 0) {
    if (!ReadTerminated(text, pos))
      return 0;
  } else {
    unsigned int length = 0;
    if (!ReadLength(lengthType, length, pos))
      return 0;
    if (!Fits(readPos_, length, length_))
      return Message(110, "");
    GuardAllocation(std::uint64_t{length} + 1, [&] { text.resize(static_cast<std::size_t>(length) + 1); });
    if (!Read(text.data(), length, -1))
      return 0;
    text[length] = '\0';
  }
  out.swap(text);
  return 1;
}

int CFileBase::ReadString(char* buffer, unsigned int size, int lengthType, long long pos) {
  if (buffer == nullptr)
    size = 0;
  if (size > 0)
    buffer[0] = '\0';
  if (lengthType == 0) {
    unsigned int stored = 0;
    char c = 0;
    if (!Read(&c, 1, pos))
      return -1;
    while (c != '\0') {
      if (stored + 1 < size)
        buffer[stored++] = c;
      if (!Read(&c, 1, -1))
        return -1;
    }
    if (size > 0)
      buffer[stored] = '\0';
    return static_cast<int>(stored);
  }
  unsigned int length = 0;
  if (!ReadLength(lengthType, length, pos))
    return -1;
  if (!Fits(readPos_, length, length_)) {
    Message(110, "");
    return -1;
  }
  const unsigned int stored = size > 0 ? std::min(length, size - 1) : 0u;
  if (stored > 0 && !Read(buffer, stored, -1))
    return -1;
  if (length > stored && !SetPosRead(readPos_ + (length - stored)))
    return -1;
  if (size > 0)
    buffer[stored] = '\0';
  // The result is an int: a stored string of 2 GB or more reports its cut.
  return static_cast<int>(std::min<unsigned int>(stored, INT_MAX));
}

unsigned char CFileBase::Read(std::vector<char>& out, long long pos) {
  unsigned char prefix[4] = {};
  if (!Read(prefix, 4, pos))
    return 0;
  const unsigned int count = static_cast<unsigned int>(prefix[0]) | static_cast<unsigned int>(prefix[1]) << 8 |
                             static_cast<unsigned int>(prefix[2]) << 16 | static_cast<unsigned int>(prefix[3]) << 24;
  if (!Fits(readPos_, count, length_))
    return Message(110, "");
  std::vector<char> bytes = GuardAllocation(count, [&] { return std::vector<char>(count); });
  if (count > 0 && !Read(bytes.data(), count, -1))
    return 0;
  out.swap(bytes);
  return 1;
}

// Both widening reads read the narrow values into the front of the caller's
// array and widen them from the back, so no scratch memory is needed: value
// i is written over bytes that belong to narrow values >= i, already taken.
unsigned char CFileBase::ReadWordToInt(unsigned int* out, unsigned int count, long long pos) {
  if (count == 0)
    return 1;
  if (out == nullptr)
    return 0;
  if (!Read(out, 2ull * count, pos))
    return 0;
  auto* bytes = reinterpret_cast<unsigned char*>(out);
  for (unsigned int i = count; i-- > 0;) {
    const unsigned int word = static_cast<unsigned int>(bytes[2 * std::size_t{i}]) |
                              static_cast<unsigned int>(bytes[2 * std::size_t{i} + 1]) << 8;
    out[i] = word;
  }
  return 1;
}

unsigned char CFileBase::ReadFloatToDbl(double* out, unsigned int count, long long pos) {
  if (count == 0)
    return 1;
  if (out == nullptr)
    return 0;
  if (!Read(out, 4ull * count, pos))
    return 0;
  auto* bytes = reinterpret_cast<unsigned char*>(out);
  for (unsigned int i = count; i-- > 0;) {
    float value = 0;
    std::memcpy(&value, bytes + 4 * std::size_t{i}, sizeof value);
    const double wide = value;
    std::memcpy(bytes + 8 * std::size_t{i}, &wide, sizeof wide);
  }
  return 1;
}

// --- copying between files -------------------------------------------------------

unsigned char CFileBase::AddFileBase(CFileBase& source, long long pos, long long size) {
  if (!IsOpen() || !source.IsOpen())
    return 0;
  if (!write_)
    return Message(103, "");
  if (pos == -1)
    pos = source.readPos_;
  if (pos < 0)
    return source.BadPosition();
  if (size < 0)
    size = pos <= source.length_ ? source.length_ - pos : 0;
  if (size == 0)
    return 1;
  if (!Fits(pos, static_cast<unsigned long long>(size), source.length_))
    return source.Message(110, "");
  ScratchBlock scratch;
  const unsigned long long chunk = std::min<unsigned long long>(static_cast<unsigned long long>(size), CopyChunk);
  scratch.block = Memory(chunk, 1);
  // The range is fixed before the first write, so a file may append a part
  // of itself.
  unsigned long long left = static_cast<unsigned long long>(size);
  long long at = pos;
  while (left > 0) {
    const unsigned long long piece = std::min(left, chunk);
    if (!source.Read(scratch.block, piece, at))
      return 0;
    if (Write(scratch.block, piece, -1) < 0)
      return 0;
    at += static_cast<long long>(piece);
    left -= piece;
  }
  return 1;
}

unsigned char CFileBase::AddFile(const char* name) {
  if (name == nullptr || !platform::Calls().fileExists(name))
    return 0;
  CFileBase source;
  if (!source.Open(name, "rs", sink_, 1))
    return 0;
  const unsigned char result = AddFileBase(source, 0, source.GetLength());
  source.Close();
  return result;
}

} // namespace zel
