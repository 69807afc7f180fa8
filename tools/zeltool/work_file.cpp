#include "work_file.h"

#include <cstdio>
#include <string>

#include <zeltools/files/file_time.h>

#include "document_file.h"

namespace zeltool {
namespace {

// UTC, so that the text does not depend on where it is read. A damaged mark
// holds any number: only the years 1601 to 9999 are shown as a date.
std::string UtcText(long long seconds) {
  constexpr long long first = -11644473600LL, last = 253402300799LL;
  if (seconds < first || seconds > last)
    return "(not a time)";
  const zel::FILETIME ticks = zel::FileTimeFromSeconds(seconds);
  zel::SYSTEMTIME t{};
  if (zel::FileTimeToSystemTime(&ticks, &t) == 0)
    return "(not a time)";
  char text[40];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u UTC", t.wYear, t.wMonth, t.wDay, t.wHour,
                t.wMinute, t.wSecond);
  return text;
}

} // namespace

void RunMark(const Command& command) {
  zel::FILE_MARK mark;
  long long length = 0;
  zel::CFileWork::ReadMark(command.file.c_str(), mark, length);
  const long long seconds = mark.time.GetTime();
  std::printf("file     %s\n", command.file.c_str());
  std::printf("marked   %s (%lld s since 1970)\n", UtcText(seconds).c_str(), seconds);
  std::printf("length   %lld in the mark, %lld in the file: %s\n", mark.length, length,
              mark.length == length ? "they match" : "they differ (changed or cut after marking)");
}

int RunBlocks(const Command& command) {
  // A file too short for a mark is refused as too short, before the open
  // would call it read-only.
  zel::FILE_MARK mark;
  long long markedLength = 0;
  zel::CFileWork::ReadMark(command.file.c_str(), mark, markedLength);
  zel::CFileWork file;
  file.Open(command.file.c_str(), "rs");
  zel::DOCUMENT where;
  const zel::Vector<zel::DOCUMENT> contents = ReadContents(file, where);
  const long long length = file.GetLength();
  std::printf("file      %s (%lld bytes after the mark)\n", command.file.c_str(), length);
  std::printf("contents  %u blocks, the table at %lld (%lld bytes)\n", contents.GetSize(), where.position,
              where.length);
  std::printf("%5s %12s %12s\n", "block", "position", "length");
  unsigned outside = 0;
  for (unsigned i = 0; i < contents.GetSize(); ++i) {
    const zel::DOCUMENT& d = contents[i];
    // Empty objects are not written: position and length 0.
    const bool empty = d.position == 0 && d.length == 0;
    const bool inside = empty || (d.position >= 0 && d.length >= 0 && d.position <= length &&
                                  d.length <= length - d.position);
    outside += !inside;
    std::printf("%5u %12lld %12lld%s\n", i + 1, d.position, d.length,
                empty ? "  (empty)" : inside ? "" : "  outside the file");
  }
  if (outside == 0)
    return 0;
  std::fflush(stdout);
  std::fprintf(stderr, "zeltool: %s: %u of the %u blocks lie outside the file\n", command.file.c_str(), outside,
               contents.GetSize());
  return 2;
}

} // namespace zeltool
