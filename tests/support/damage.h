#pragma once
// One sweep of damaged blocks for every reader of stored objects.

#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/files/file_base.h"
#include "zeltools/text/phrase.h"

namespace zel::test {

/// `write` stores one block in `path` (behind four bytes, so that it never
/// starts the file). Then every cut of the block, and `rounds` copies of it
/// with a few or many bytes changed, are read by `read` from a file that
/// reports into a message list, the record cut to the bytes left so that the
/// damage is met inside the block. `read` says whether it accepted the block
/// and checks itself that a refusal lost nothing stored. The whole block must
/// be accepted and every cut refused, and a refusal must leave message 110 or
/// 105 in the list; any other outcome (a crash, a stray exception, a silent
/// refusal) fails.
inline void ExpectEveryDamageReported(const std::string& path, const std::function<void(CFileBase&, DOCUMENT&)>& write,
                                      const std::function<bool(CFileBase&, DOCUMENT)>& read, int rounds = 300) {
  CFileBase w;
  ASSERT_EQ(w.Open(path.c_str(), "w"), 1);
  w.Write("pad!", 4);
  DOCUMENT doc;
  write(w, doc);
  w.Close();
  const std::vector<unsigned char> good = Bytes(path);
  ASSERT_TRUE(doc.position == 4 && doc.position + doc.length == static_cast<long long>(good.size()));
  std::mt19937 rng(static_cast<unsigned int>(good.size()));
  for (std::size_t round = 5; round < good.size() + rounds; ++round) { // from a one-byte block on
    const bool cut = round < good.size(), whole = round == good.size();
    std::vector<unsigned char> bytes(good.begin(), good.begin() + static_cast<long>(cut ? round : good.size()));
    // Small values more often than not, so that damaged counts stay plausible.
    for (std::size_t k = cut || whole ? 0 : round % 5 == 0 ? 40 : 1 + rng() % 3; k > 0; --k)
      bytes[4 + rng() % (bytes.size() - 4)] = static_cast<unsigned char>(rng() % 4 == 0 ? rng() : rng() % 3);
    PutBytes(path, bytes);
    CPhrase sink;
    CFileBase f;
    ASSERT_EQ(f.Open(path.c_str(), "r", &sink), 1);
    if (read(f, DOCUMENT{4, static_cast<long long>(bytes.size()) - 4})) {
      ASSERT_FALSE(cut) << "a block cut to " << round << " bytes was accepted";
      ASSERT_TRUE(sink.empty()) << "accepted with a message, round " << round;
      continue;
    }
    ASSERT_FALSE(whole) << "the undamaged block was refused";
    ASSERT_FALSE(sink.empty()) << "refused without a message, round " << round;
    ASSERT_TRUE(sink.back().param1 == 110u || sink.back().param1 == 105u) << sink.back().param1 << ", round " << round;
  }
}

} // namespace zel::test
