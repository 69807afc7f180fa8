#pragma once
// Streaming of container payloads made of many small records (counts and
// short element runs) to and from a `CFileBase`.
//
// A payload of a million lists would otherwise cost two file calls per list.
// The writer gathers the records in a staging buffer and appends it in large
// pieces; the bytes land exactly where one append per record would have put
// them. The reader fetches large windows of the file and serves the records
// from them; every count it hands out has been checked against what is left
// of the file, reporting 110 through the file (`CheckRemaining`) otherwise,
// before anything is allocated for it.
//
// Installed only because the row arrays' templates stream through it; not
// for use outside the library.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace zel {
class CFileBase;
}

namespace zel::internal {

/// Bytes of one staging buffer or read window. Large enough that the file
/// passes every piece straight to the system (above its 16 KB cache), small
/// enough to stay in the processor's second-level cache.
inline constexpr std::size_t PayloadChunk = 256 * 1024;
/// The fixed block of `PayloadWriter::PutPiece`; the staging buffer has this
/// much room past `PayloadChunk` for it.
inline constexpr std::size_t PieceBlock = 96;

/// Copies `n` bytes. The runs of a payload are mostly a few dozen bytes, for
/// which a library call costs more than the copy: up to 128 bytes are moved
/// as two fixed-size blocks that overlap in the middle (exact, never reading
/// or writing outside the `n` bytes).
inline void CopyRun(unsigned char* target, const unsigned char* source, std::size_t n) noexcept {
  if (n > 128) {
    std::memcpy(target, source, n);
  } else if (n >= 64) {
    std::memcpy(target, source, 64);
    std::memcpy(target + n - 64, source + n - 64, 64);
  } else if (n >= 32) {
    std::memcpy(target, source, 32);
    std::memcpy(target + n - 32, source + n - 32, 32);
  } else if (n >= 16) {
    std::memcpy(target, source, 16);
    std::memcpy(target + n - 16, source + n - 16, 16);
  } else if (n >= 8) {
    std::memcpy(target, source, 8);
    std::memcpy(target + n - 8, source + n - 8, 8);
  } else if (n >= 4) {
    std::memcpy(target, source, 4);
    std::memcpy(target + n - 4, source + n - 4, 4);
  } else {
    for (std::size_t k = 0; k < n; ++k)
      target[k] = source[k];
  }
}

class PayloadWriter {
public:
  explicit PayloadWriter(CFileBase& file);
  PayloadWriter(const PayloadWriter&) = delete;
  PayloadWriter& operator=(const PayloadWriter&) = delete;
  ~PayloadWriter();

  /// Appends `size` bytes to the payload.
  void Put(const void* data, std::size_t size) {
    if (size <= PayloadChunk - used_) {
      CopyRun(buffer_.get() + used_, static_cast<const unsigned char*>(data), size);
      used_ += size;
      return;
    }
    PutLarge(data, size);
  }
  /// As `Put`, for `data` inside an allocator portion, which has at least
  /// `KZAllocator::ReadSlack` readable bytes after any piece: short runs are
  /// then copied as one fixed-size block (the bytes past `size` are
  /// overwritten by what follows), avoiding a branch on their length.
  void PutPiece(const void* data, std::size_t size) {
    if (size == 0)
      return; // an empty list may have no piece at all
    if (size <= PieceBlock && size <= PayloadChunk - used_) {
      std::memcpy(buffer_.get() + used_, data, PieceBlock);
      used_ += size;
      return;
    }
    Put(data, size);
  }
  void PutCount(unsigned int value) {
    if (sizeof value <= PayloadChunk - used_) {
      std::memcpy(buffer_.get() + used_, &value, sizeof value);
      used_ += sizeof value;
      return;
    }
    PutLarge(&value, sizeof value);
  }
  /// Where the next byte put will land in the file.
  long long Position() const;
  /// Writes what is still gathered. False when the file reported a failure
  /// (to its sink); a failure also stops every later write of this payload.
  bool Finish();

private:
  void PutLarge(const void* data, std::size_t size);
  void Flush();

  CFileBase& file_;
  std::unique_ptr<unsigned char[]> buffer_;
  std::size_t used_ = 0;
  bool failed_ = false;
};

class PayloadReader {
public:
  /// Reads from `pos` (-1: the file's read position).
  PayloadReader(CFileBase& file, long long pos);
  PayloadReader(const PayloadReader&) = delete;
  PayloadReader& operator=(const PayloadReader&) = delete;
  ~PayloadReader();

  /// Reads a 32-bit count and checks that `count` × `elementSize` bytes are
  /// left in the file after it. False (with `count` 0) when the file
  /// reported a failure to its sink; without a sink the failure throws.
  bool Count(unsigned int& count, std::size_t elementSize) {
    count = 0;
    unsigned int stored = 0;
    if (!Value(stored))
      return false;
    const long long left = fileLength_ - (windowPos_ + static_cast<long long>(offset_));
    // A 32-bit count times a record size cannot overflow 64 bits.
    if (left < 0 || static_cast<unsigned long long>(stored) * elementSize > static_cast<unsigned long long>(left))
      return Overrun(stored, elementSize);
    count = stored;
    return true;
  }
  /// Reads a plain 32-bit value.
  bool Value(unsigned int& value) {
    if (windowSize_ - offset_ >= sizeof value) {
      std::memcpy(&value, window_.get() + offset_, sizeof value);
      offset_ += sizeof value;
      return true;
    }
    return GetSlow(&value, sizeof value);
  }
  /// Copies the next `size` bytes to `target`.
  bool Get(void* target, std::size_t size) {
    if (windowSize_ - offset_ >= size) {
      CopyRun(static_cast<unsigned char*>(target), window_.get() + offset_, size);
      offset_ += size;
      return true;
    }
    return GetSlow(target, size);
  }
  /// Leaves the file's read position just after what was consumed.
  void Finish();

private:
  bool GetSlow(void* target, std::size_t size);
  bool Fill(std::size_t needed);
  bool Overrun(unsigned int count, std::size_t elementSize);

  CFileBase& file_;
  std::unique_ptr<unsigned char[]> window_;
  long long fileLength_;    // the file does not change while it is read
  long long windowPos_;     // file position of window_[0]
  std::size_t windowSize_ = 0;
  std::size_t offset_ = 0;  // consumed bytes of the window
};

} // namespace zel::internal
