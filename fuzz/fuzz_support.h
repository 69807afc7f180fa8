#pragma once
// Shared by the fuzz harnesses. Every harness reads its first input byte as
// a choice (reporting mode, reader variant) and hands the rest to a reader;
// only the reader's documented error may end a run, anything else aborts.
//
// Seeds: run a harness with ZEL_FUZZ_SEEDS=<folder> and it writes its valid
// inputs, made by the library's own writers, into that folder and exits.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <unistd.h>

#include "zeltools/errors/exception.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"
#include "zeltools/text/phrase.h"

namespace zel::fuzz {

/// A per-process scratch file that holds the bytes under test.
inline const std::string& ScratchPath() {
  static const std::string path = [] {
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir != nullptr && *dir != 0 ? dir : "/tmp") + "/zelfuzz.XXXXXX";
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0) std::abort();
    ::close(fd);
    return pattern;
  }();
  return path;
}

inline void PutScratch(const std::uint8_t* data, std::size_t size) {
  std::FILE* f = std::fopen(ScratchPath().c_str(), "wb");
  if (f == nullptr || (size != 0 && std::fwrite(data, 1, size, f) != size)) std::abort();
  std::fclose(f);
}

inline std::string GetScratch() {
  std::ifstream in(ScratchPath(), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Opens the scratch file holding `data` for reading; with `sink` set the
/// file's failures are collected in `phrase`, otherwise they are thrown.
inline bool OpenScratch(CFileBase& file, const std::uint8_t* data, std::size_t size, bool sink, CPhrase& phrase) {
  PutScratch(data, size);
  return file.Open(ScratchPath().c_str(), "R", sink ? &phrase : nullptr) != 0;
}

/// The bytes a library writer leaves in a fresh file, prefixed with `mode`.
inline std::string Written(std::uint8_t mode, const std::function<void(CFileBase&)>& write) {
  {
    CFileBase file;
    if (file.Open(ScratchPath().c_str(), "W") == 0) std::abort();
    write(file);
    file.Close();
  }
  return std::string(1, static_cast<char>(mode)) + GetScratch();
}

/// Writes one seed when the harness runs in seed mode.
class Seeds {
public:
  explicit Seeds(const char* folder) : folder_(folder) {}
  void Add(const std::string& name, const std::string& bytes) const {
    std::ofstream out(folder_ + "/" + name, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) std::abort();
    ++count_;
  }
  /// Seeds written so far.
  int Count() const noexcept { return count_; }

private:
  std::string folder_;
  mutable int count_ = 0;
};

/// Runs `body`, letting only zel::Exception through as an expected end.
template <class Body>
int Guard(Body&& body) {
  try {
    body();
  } catch (const Exception&) {
  }
  return 0;
}

/// The common harness body: the bytes after the choice byte go into the
/// scratch file, opened so that it reports into a message list when
/// `data[0] & sinkBit`, and `read(file, doc)` gets the whole file as its
/// block, under Guard.
template <class Read>
int ReadScratch(const std::uint8_t* data, std::size_t size, std::uint8_t sinkBit, Read&& read) {
  return Guard([&] {
    CPhrase phrase;
    CFileBase file;
    if (!OpenScratch(file, data + 1, size - 1, (data[0] & sinkBit) != 0, phrase)) return;
    read(file, DOCUMENT{0, file.GetLength()});
  });
}

} // namespace zel::fuzz

// Each harness defines these two.
void ZelFuzzSeeds(const zel::fuzz::Seeds& seeds);
int ZelFuzzOne(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (const char* folder = std::getenv("ZEL_FUZZ_SEEDS")) {
    ZelFuzzSeeds(zel::fuzz::Seeds(folder));
    std::remove(zel::fuzz::ScratchPath().c_str());
    std::exit(0);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  return ZelFuzzOne(data, size);
}
