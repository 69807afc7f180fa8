#include "zeltools/text/file_text.h"

#include <algorithm>
#include <cstring>

#include "zeltools/memory/memory.h"
#include "zeltools/text/phrase.h"

namespace zel {

unsigned char CFileText::Open(const char* name, const char* mode, CPhrase* sink, unsigned char crash) {
  const unsigned char opened = CFileBase::Open(name, mode, sink, crash);
  if (opened != 0)
    Reset(nullptr, 0, 0);
  return opened;
}

unsigned char CFileText::Close() {
  Reset(nullptr, 0, 0);
  return CFileBase::Close();
}

unsigned char CFileText::SetTextPosition(long long pos) {
  if (pos < 0)
    return 0;
  Seek(static_cast<unsigned long long>(pos));
  return 1;
}

bool CFileText::NextWindow() {
  const unsigned long long start = base_ + CReadMemory::length_;
  const long long fileLength = GetLength();
  if (GetHandle() == nullptr || fileLength < 0 || start >= static_cast<unsigned long long>(fileLength))
    return false;
  const auto size = static_cast<unsigned int>(std::min<unsigned long long>(WindowSize, fileLength - start));
  GuardAllocation(WindowSize, [&] { window_.resize(WindowSize); });
  if (!CFileBase::Read(window_.data(), size, static_cast<long long>(start)))
    return false;
  Reset(window_.data(), size, start);
  return true;
}

// The next read loads a window from `absolute`.
void CFileText::MoveWindow(unsigned long long absolute) { Reset(nullptr, 0, absolute); }

unsigned char CFileText::PutChar(char c) { return Write(&c, 1, -1) < 0 ? 0 : 1; }

unsigned char CFileText::PutString(const char* text) {
  if (text == nullptr || *text == '\0')
    return 1;
  return Write(text, std::strlen(text), -1) < 0 ? 0 : 1;
}

} // namespace zel
