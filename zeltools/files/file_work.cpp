#include "zeltools/files/file_work.h"

#include "zeltools/platform/platform.h"

namespace zel {

// Positions here are physical: the mark lies before logical position 0, so
// it is read and written beside the cache, which holds logical bytes only.
unsigned char CFileWork::ReadMarkImage() {
  unsigned char image[FILE_MARK::Size];
  if (platform::ReadAt(GetHandle(), image, sizeof image, 0) != sizeof image)
    return Message(105, "");
  GetFileMark() = FILE_MARK::Load(image);
  return 1;
}

unsigned char CFileWork::WriteMarkImage() {
  unsigned char image[FILE_MARK::Size];
  GetFileMark().Store(image);
  if (platform::WriteAt(GetHandle(), image, sizeof image, 0) != sizeof image)
    return Message(107, "");
  return 1;
}

unsigned char CFileWork::Open(const char* name, const char* mode, CMessageSink* sink, unsigned char crash) {
  const bool holdsFile = GetHandle() != nullptr;
  if (!CFileBase::Open(name, mode, sink, crash)) {
    if (holdsFile)
      return 0;
    return Report(101, name != nullptr ? name : "", "", sink, GetCrash());
  }
  // Just opened: the mark size is 0, the cache empty and the length physical.
  const long long physical = GetLength();
  unsigned char marked = 0;
  try {
    if (physical >= FILE_MARK::Size) {
      marked = ReadMarkImage();
    } else if (AttributeWrite() == 0) {
      marked = Message(103, "");
    } else {
      GetFileMark() = FILE_MARK{};
      GetFileMark().time = CTime::GetCurrentTime();
      marked = WriteMarkImage();
    }
  } catch (...) {
    try {
      Close();
    } catch (...) {
      // The mark's failure is the one to report.
    }
    throw;
  }
  if (!marked) {
    Close();
    return 0;
  }
  SetMarkSize(FILE_MARK::Size);
  SetLengthField(physical > FILE_MARK::Size ? physical - FILE_MARK::Size : 0);
  SetPositionField(-1);
  SetPosReadField(0);
  return 1;
}

unsigned char CFileWork::SetMark() {
  // Only a file opened as a work file has a place for a mark; a raw open's
  // position 0 holds logical data.
  if (AttributeWrite() == 0 || GetMarkSize() != FILE_MARK::Size)
    return 1;
  GetFileMark().time = CTime::GetCurrentTime();
  GetFileMark().length = GetLength();
  if (!WriteMarkImage())
    return 0;
  return Flush();
}

unsigned char CFileWork::AddFile(const char* name) {
  if (name == nullptr || !platform::Calls().fileExists(name))
    return 0;
  CFileWork source;
  if (!source.Open(name, "rs", GetSink(), 1))
    return 0;
  const unsigned char result = AddFileBase(source, 0, source.GetLength());
  source.Close();
  return result;
}

unsigned char CFileWork::ReadMark(const char* name, FILE_MARK& mark, long long& length, CMessageSink* sink) {
  CFileBase file;
  if (!file.Open(name, "rs", sink, 0))
    return 0;
  unsigned char image[FILE_MARK::Size];
  if (file.GetLength() < FILE_MARK::Size)
    return file.Message(110, "");
  if (!file.Read(image, sizeof image, 0))
    return 0;
  mark = FILE_MARK::Load(image);
  length = file.GetLength() - FILE_MARK::Size;
  return 1;
}

} // namespace zel
