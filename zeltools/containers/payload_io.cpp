#include "zeltools/containers/internal/payload_io.h"

#include <algorithm>
#include <cstring>

#include "zeltools/errors/exception.h"
#include "zeltools/files/block.h"
#include "zeltools/files/file_base.h"

namespace zel::internal {

PayloadWriter::PayloadWriter(CFileBase& file) : file_(file), buffer_(std::make_unique<unsigned char[]>(PayloadChunk)) {}

// A writer abandoned by an exception drops what it gathered: the payload is
// incomplete anyway and the caller's record stays empty.
PayloadWriter::~PayloadWriter() = default;

void PayloadWriter::Flush() {
  if (used_ != 0 && !failed_ && file_.Write(buffer_.get(), used_, -1) < 0)
    failed_ = true;
  used_ = 0;
}

void PayloadWriter::Put(const void* data, std::size_t size) {
  if (failed_ || size == 0)
    return;
  if (size <= PayloadChunk - used_) {
    std::memcpy(buffer_.get() + used_, data, size);
    used_ += size;
    return;
  }
  Flush();
  if (size < PayloadChunk) {
    std::memcpy(buffer_.get(), data, size);
    used_ = size;
  } else if (!failed_ && file_.Write(data, size, -1) < 0) {
    failed_ = true;
  }
}

bool PayloadWriter::Finish() {
  Flush();
  return !failed_;
}

PayloadReader::PayloadReader(CFileBase& file, long long pos)
    : file_(file), window_(std::make_unique<unsigned char[]>(PayloadChunk)), windowPos_(pos < 0 ? file.GetPosRead() : pos) {}

PayloadReader::~PayloadReader() = default;

bool PayloadReader::Fill(std::size_t needed) {
  const std::size_t left = windowSize_ - offset_;
  if (left >= needed)
    return true;
  if (left != 0)
    std::memmove(window_.get(), window_.get() + offset_, left);
  windowPos_ += static_cast<long long>(offset_);
  offset_ = 0;
  windowSize_ = left;
  const long long end = windowPos_ + static_cast<long long>(left);
  const long long inFile = file_.GetLength() - end;
  std::size_t want = PayloadChunk - left;
  if (inFile < static_cast<long long>(want))
    want = inFile > 0 ? static_cast<std::size_t>(inFile) : 0;
  if (want < needed - left)
    want = needed - left; // the file is short: let it report the overrun (110)
  if (!file_.Read(window_.get() + left, want, end))
    return false;
  windowSize_ = left + want;
  return true;
}

bool PayloadReader::Value(unsigned int& value) {
  if (!Fill(sizeof value))
    return false;
  std::memcpy(&value, window_.get() + offset_, sizeof value);
  offset_ += sizeof value;
  return true;
}

bool PayloadReader::Count(unsigned int& count, std::size_t elementSize) {
  count = 0;
  unsigned int stored = 0;
  if (!Value(stored))
    return false;
  const long long here = windowPos_ + static_cast<long long>(offset_);
  const long long left = file_.GetLength() - here;
  if (left < 0 || (elementSize != 0 && stored > static_cast<unsigned long long>(left) / elementSize)) {
    // Reported through the file's one path for this, from the same place.
    file_.SetPosRead(here);
    if (CheckRemaining(file_, stored, elementSize))
      file_.Message(110, ""); // cannot happen: the same rule; never go on
    return false;
  }
  count = stored;
  return true;
}

bool PayloadReader::Get(void* target, std::size_t size) {
  auto* out = static_cast<unsigned char*>(target);
  const std::size_t inWindow = std::min(size, windowSize_ - offset_);
  if (inWindow != 0) {
    std::memcpy(out, window_.get() + offset_, inWindow);
    offset_ += inWindow;
    out += inWindow;
    size -= inWindow;
  }
  if (size == 0)
    return true;
  if (size >= PayloadChunk / 2) {
    // A long run goes straight from the file to its place.
    const long long at = windowPos_ + static_cast<long long>(offset_);
    if (!file_.Read(out, size, at))
      return false;
    windowPos_ = at + static_cast<long long>(size);
    windowSize_ = 0;
    offset_ = 0;
    return true;
  }
  if (!Fill(size))
    return false;
  std::memcpy(out, window_.get() + offset_, size);
  offset_ += size;
  return true;
}

void PayloadReader::Finish() { file_.SetPosRead(windowPos_ + static_cast<long long>(offset_)); }

} // namespace zel::internal
