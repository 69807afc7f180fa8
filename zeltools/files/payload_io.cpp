#include "zeltools/files/internal/payload_io.h"

#include <algorithm>
#include <cstring>

#include "zeltools/errors/exception.h"
#include "zeltools/files/block_io.h"
#include "zeltools/files/file_base.h"
#include "zeltools/memory/allocator.h"
#include "zeltools/memory/memory.h"

namespace zel::internal {

static_assert(PieceBlock <= KZAllocator::ReadSlack, "pieces are copied within their portion's slack");

PayloadWriter::PayloadWriter(CFileBase& file)
    : file_(file), buffer_(GuardAllocation(PayloadChunk + PieceBlock,
                                           [] { return std::make_unique<unsigned char[]>(PayloadChunk + PieceBlock); })) {}

// A writer abandoned by an exception drops what it gathered: the payload is
// incomplete anyway and the caller's record stays empty.
PayloadWriter::~PayloadWriter() = default;

void PayloadWriter::Flush() {
  if (used_ != 0 && !failed_ && file_.Write(buffer_.get(), used_, -1) < 0)
    failed_ = true;
  used_ = 0;
}

void PayloadWriter::PutLarge(const void* data, std::size_t size) {
  Flush();
  if (size < PayloadChunk) {
    std::memcpy(buffer_.get(), data, size);
    used_ = size;
  } else if (!failed_ && file_.Write(data, size, -1) < 0) {
    failed_ = true;
  }
}

long long PayloadWriter::Position() const { return file_.GetLength() + static_cast<long long>(used_); }

bool PayloadWriter::Finish() {
  Flush();
  return !failed_;
}

PayloadReader::PayloadReader(CFileBase& file, long long pos)
    : file_(file), window_(GuardAllocation(PayloadChunk, [] { return std::make_unique<unsigned char[]>(PayloadChunk); })),
      fileLength_(file.GetLength()),
      windowPos_(pos < 0 ? file.GetPosRead() : pos) {}

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
  const long long inFile = fileLength_ - end;
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

bool PayloadReader::Overrun(unsigned int count, std::size_t elementSize) {
  // Reported through the file's one path for this, from the same place.
  file_.SetPosRead(windowPos_ + static_cast<long long>(offset_));
  if (CheckRemaining(file_, count, elementSize))
    file_.Message(110, ""); // the same rule cannot pass; never go on regardless
  return false;
}

bool PayloadReader::GetSlow(void* target, std::size_t size) {
  auto* out = static_cast<unsigned char*>(target);
  const std::size_t inWindow = std::min(size, windowSize_ - offset_);
  if (inWindow != 0) {
    std::memcpy(out, window_.get() + offset_, inWindow);
    offset_ += inWindow;
    out += inWindow;
    size -= inWindow;
  }
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
