#include "zeltools/files/block_io.h"

#include <climits>

#include "zeltools/files/file_base.h"

namespace zel {

SBlockStart BeginBlock(const CFileBase& file) noexcept {
  SBlockStart start;
  start.position = file.GetLength();
  start.errors = file.GetErrorCount();
  return start;
}

void EndBlock(const CFileBase& file, const SBlockStart& start, DOCUMENT& doc) noexcept {
  doc = DOCUMENT{};
  if (file.GetErrorCount() != start.errors)
    return;
  doc.position = start.position;
  doc.length = file.GetLength() - start.position;
}

void NarrowBlock(CFileBase& file, const DOCUMENT& wide, DOCUMENT_OLD& doc) {
  doc = DOCUMENT_OLD{};
  if (wide.length == 0 && wide.position == 0)
    return;
  if (wide.position > static_cast<long long>(UINT_MAX) || wide.length > static_cast<long long>(UINT_MAX)) {
    file.Message(111, "");
    return;
  }
  doc.position = static_cast<unsigned int>(wide.position);
  doc.length = static_cast<unsigned int>(wide.length);
}

bool CheckRemaining(CFileBase& file, unsigned long long count, std::size_t elementSize) {
  const long long left = file.GetLength() - file.GetPosRead();
  if (left >= 0 && (elementSize == 0 || count <= static_cast<unsigned long long>(left) / elementSize))
    return true;
  file.Message(110, "");
  return false;
}

bool OpenBlock(CFileBase& file, const DOCUMENT& doc) {
  const long long position = doc.position;
  const long long length = doc.length;
  if (length == 0)
    return false;
  const long long fileLength = file.GetLength();
  if (position < 0 || length < 0 || position > fileLength || length > fileLength - position) {
    file.Message(110, "");
    return false;
  }
  return file.SetPosRead(position) != 0;
}

bool OpenBlockOld(CFileBase& file, const DOCUMENT_OLD& doc) {
  DOCUMENT wide;
  wide.position = doc.position;
  wide.length = doc.length;
  return OpenBlock(file, wide);
}

bool ReadCount(CFileBase& file, unsigned int& count, std::size_t elementSize, long long pos) {
  count = 0;
  unsigned int stored = 0;
  if (!file.Read(&stored, sizeof stored, pos))
    return false;
  if (!CheckRemaining(file, stored, elementSize))
    return false;
  count = stored;
  return true;
}

long long WriteCount(CFileBase& file, unsigned int count, long long pos) {
  return file.Write(&count, sizeof count, pos);
}

unsigned long long WriteArray(CFileBase& file, long long pos, const void* data, unsigned long long count,
                              std::size_t elementSize) {
  if (count > 0xFFFFFFFFull) {
    file.Message(111, "");
    return WriteArrayFailed;
  }
  const long long at = WriteCount(file, static_cast<unsigned int>(count), pos);
  if (at < 0)
    return WriteArrayFailed;
  if (count != 0 && file.Write(data, count * elementSize, at + 4) < 0)
    return WriteArrayFailed;
  return static_cast<unsigned long long>(at);
}

bool ReadBytes(CFileBase& file, void* data, unsigned long long size) { return file.Read(data, size, -1) != 0; }

bool SkipBytes(CFileBase& file, unsigned long long size) {
  return file.SetPosRead(file.GetPosRead() + static_cast<long long>(size)) != 0;
}

} // namespace zel
