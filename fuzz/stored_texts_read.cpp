// KZText, VCText and VKZText readers in every length mode.
#include "fuzz_support.h"
#include "zeltools/text/strings.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  KZText one("Привет, text");
  VCText many;
  many.Add("alpha");
  many.Add("");
  many.Add("gamma delta");
  VKZText stored;
  stored.push_back(KZText("one"));
  stored.push_back(KZText(""));
  seeds.Add("kztext", fuzz::Written(0x00, [&](CFileBase& f) { one.Write(f); }));
  const int modes[] = {0, 1, 2, 4};
  for (int m = 0; m < 4; ++m)
    seeds.Add("vctext_" + std::to_string(modes[m]),
              fuzz::Written(static_cast<std::uint8_t>(0x01 | (m << 4)), [&](CFileBase& f) { many.Write(f, modes[m]); }));
  seeds.Add("vkztext", fuzz::Written(0x03, [&](CFileBase& f) { DOCUMENT d; stored.Write(f, d); }));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 4, [&](CFileBase& file, const DOCUMENT doc) {
    static constexpr int modes[] = {0, 1, 2, 4};
    const int mode = modes[(data[0] >> 4) & 3];
    switch (data[0] & 3) {
    case 0: {
      KZText t("kept");
      t.Read(file, data[0] & 8 ? -1 : 0);
      break;
    }
    case 1: {
      VCText t;
      t.Add("kept");
      if (data[0] & 8) t.ReadWord(file, 0, mode);
      else t.Read(file, 0, mode);
      break;
    }
    case 2: {
      VKZText t;
      t.ReadString(file, 0, mode);
      break;
    }
    default: {
      VKZText t;
      if (data[0] & 8) t.Read(file, -1);
      else t.Read(file, doc);
    }
    }
  });
}
