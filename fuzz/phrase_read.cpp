// Messages read back from a block (ReadPhrase) and from a stream.
#include <cstdlib>
#include <sstream>
#include <string>

#include "fuzz_support.h"

using namespace zel;

static std::string Packed(const CPhrase& phrase) {
  std::ostringstream out;
  phrase.PackToStream(out);
  return out.str();
}

static CPhrase Sample() {
  CPhrase p;
  p.Append("first", 1, 7, 9);
  const unsigned int list[] = {1, 2, 3, 10};
  p.Append("listed %s", 2, 3, list, 1, 4, 5);
  p.Append(static_cast<unsigned int>(110), 3, 0, 0);
  return p;
}

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  CPhrase p = Sample();
  seeds.Add("block", fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; WritePhrase(p, f, d); }));
  std::ostringstream out;
  p.PackToStream(out);
  seeds.Add("stream", std::string(1, '\1') + out.str());
  std::ostringstream one;
  p[0].PackToStream(one);
  seeds.Add("stream_text", std::string(1, '\5') + one.str());
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::Guard([&] {
    CPhrase phrase = Sample();
    if (data[0] & 1) {
      // A stream that ends early or breaks fails it and changes nothing.
      std::istringstream in(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
      const std::string before = Packed(phrase);
      const unsigned char read = data[0] & 4 ? phrase[0].UnPackFromStream(in) : phrase.UnPackFromStream(in);
      if (read == 0 && (!in.fail() || Packed(phrase) != before)) std::abort();
      return;
    }
    CPhrase sink;
    CFileBase file;
    if (!fuzz::OpenScratch(file, data + 1, size - 1, data[0] & 2, sink)) return;
    DOCUMENT doc{0, file.GetLength()};
    ReadPhrase(phrase, file, doc);
  });
}
