// The mark at the head of a work file, read without opening the file for
// work, and the open that checks it.
#include "fuzz_support.h"
#include "zeltools/files/file_work.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  std::remove(fuzz::ScratchPath().c_str());
  {
    CFileWork work;
    if (work.Open(fuzz::ScratchPath().c_str(), "rw") == 0) std::abort();
    work.Write("record", 6);
    work.SetMark();
    work.Write("tail", 4);
  }
  const std::string bytes = fuzz::GetScratch();
  seeds.Add("marked", std::string(1, '\0') + bytes);
  seeds.Add("opened", std::string(1, '\1') + bytes);
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::Guard([&] {
    fuzz::PutScratch(data + 1, size - 1);
    CPhrase phrase;
    CMessageSink* sink = data[0] & 2 ? &phrase : nullptr;
    if (data[0] & 1) {
      CFileWork work;
      if (work.Open(fuzz::ScratchPath().c_str(), "r", sink) == 0) return;
      char got[8];
      work.Read(got, sizeof got, 0);
      return;
    }
    FILE_MARK mark;
    long long length = 0;
    CFileWork::ReadMark(fuzz::ScratchPath().c_str(), mark, length, sink);
  });
}
