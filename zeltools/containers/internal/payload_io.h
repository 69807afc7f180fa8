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
// Not part of the installed interface.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zel {
class CFileBase;
}

namespace zel::internal {

/// Bytes of one staging buffer or read window. Large enough that the file
/// passes every piece straight to the system (above its 16 KB cache), small
/// enough to stay in the processor's second-level cache.
inline constexpr std::size_t PayloadChunk = 256 * 1024;

class PayloadWriter {
public:
  explicit PayloadWriter(CFileBase& file);
  PayloadWriter(const PayloadWriter&) = delete;
  PayloadWriter& operator=(const PayloadWriter&) = delete;
  ~PayloadWriter();

  /// Appends `size` bytes to the payload.
  void Put(const void* data, std::size_t size);
  void PutCount(unsigned int value) { Put(&value, sizeof value); }
  /// Writes what is still gathered. False when the file reported a failure
  /// (to its sink); a failure also stops every later write of this payload.
  bool Finish();

private:
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
  bool Count(unsigned int& count, std::size_t elementSize);
  /// Reads a plain 32-bit value.
  bool Value(unsigned int& value);
  /// Copies the next `size` bytes to `target`.
  bool Get(void* target, std::size_t size);
  /// Leaves the file's read position just after what was consumed.
  void Finish();

private:
  bool Fill(std::size_t needed);

  CFileBase& file_;
  std::unique_ptr<unsigned char[]> window_;
  long long windowPos_;     // file position of window_[0]
  std::size_t windowSize_ = 0;
  std::size_t offset_ = 0;  // consumed bytes of the window
};

} // namespace zel::internal
