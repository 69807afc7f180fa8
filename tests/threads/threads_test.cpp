// The library on several threads at once. Every thread compares what it
// gets with what one thread got before the threads started, so a race shows
// as a wrong text or a ThreadSanitizer report (the tsan preset runs this).
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/containers/small_vectors.h"
#include "zeltools/errors/exception.h"
#include "zeltools/errors/language.h"
#include "zeltools/files/file_base.h"
#include "zeltools/numerics/band.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/threads.h"
#include "zeltools/text/resource.h"

namespace zel {
namespace {

constexpr int kThreads = 4;
constexpr unsigned short kLanguages[] = {1033, 1049};

// Runs `body(thread index)` on kThreads threads at once.
void OnThreads(const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(body, t);
  for (auto& thread : threads) thread.join();
}

std::string Thrown(const std::function<void()>& f) {
  try {
    f();
  } catch (const Exception& e) {
    return e.GetDescription();
  }
  return "nothing thrown";
}

// Each thread's language picks its own catalogue table: look-ups and the
// texts of the crash functions never mix the languages of other threads.
TEST(Threads, CatalogueAndCrashTextsFollowEachThreadsLanguage) {
  std::map<unsigned short, std::vector<std::string>> expected;
  for (const unsigned short lang : kLanguages) {
    SetThreadUILanguage(lang);
    for (unsigned int id = 100; id < 140; ++id) {
      std::string text;
      GetLibraryMessage(id, text);
      expected[lang].push_back(text);
      expected[lang].push_back(Thrown([&] { CrashMessage(id, "a", "b", "c"); }));
    }
  }
  OnThreads([&](int t) {
    const unsigned short lang = kLanguages[t % 2];
    SetThreadUILanguage(lang);
    for (int round = 0; round < 20; ++round)
      for (unsigned int id = 100; id < 140; ++id) {
        std::string text;
        GetLibraryMessage(id, text);
        ASSERT_EQ(text, expected[lang][2 * (id - 100)]);
        ASSERT_EQ(Thrown([&] { CrashMessage(id, "a", "b", "c"); }), expected[lang][2 * (id - 100) + 1]);
        ASSERT_EQ(Thrown([&] { CrashFormat("%d:%u", t, id); }), std::to_string(t) + ":" + std::to_string(id));
      }
    ASSERT_EQ(GetThreadUILanguage(), lang);
  });
}

// Modules loaded, shared by copies and released on several threads at once;
// the library's own catalogue stands beside a script module.
TEST(Threads, ResourceModulesLoadAndReleaseConcurrently) {
  test::TempDir folder;
  const std::string path = folder.Write(
      "app.rc", "LANGUAGE LANG_ENGLISH, SUBLANG_ENGLISH_US\nSTRINGTABLE BEGIN 1 \"Ifirst\" 2 \"second@\" END\n"
                "LANGUAGE LANG_RUSSIAN, SUBLANG_DEFAULT\nSTRINGTABLE BEGIN 1 \"I\xcf\xe5\xf0\xe2\xfb\xe9\" END\n");
  std::map<unsigned short, std::string> expected, own;
  for (const unsigned short lang : kLanguages) {
    SetThreadUILanguage(lang);
    CResurceString out;
    CResurce(path.c_str()).GetMsg(1, out);
    expected[lang] = out.text.data();
    CResurce("ZelTools.dll").GetMsg(110, out);
    own[lang] = out.text.data();
  }
  ASSERT_NE(expected[1033], expected[1049]);
  CResurce shared(path.c_str());
  OnThreads([&](int t) {
    const unsigned short lang = kLanguages[t % 2];
    SetThreadUILanguage(lang);
    for (int round = 0; round < 30; ++round) {
      CResurce mine(round % 3 == 0 ? path.c_str() : "ZelTools.dll");
      CResurce copy(shared);
      copy = mine;
      CResurceString out;
      copy.GetMsg(round % 3 == 0 ? 1 : 110, out);
      ASSERT_STREQ(out.text.data(), (round % 3 == 0 ? expected : own)[lang].c_str());
      shared.GetMsg(1, out);
      ASSERT_STREQ(out.text.data(), expected[lang].c_str());
    }
  });
}

// Independent files and vectors on different threads: every thread reads back
// exactly what it wrote.
TEST(Threads, IndependentFilesOnEachThread) {
  test::TempDir folder;
  OnThreads([&](int t) {
    const std::string name = folder.File("file" + std::to_string(t));
    CFileBase file;
    ASSERT_EQ(file.Open(name.c_str(), "RW"), 1);
    std::vector<DOCUMENT> docs;
    VKZUINT written;
    for (unsigned int k = 0; k < 200; ++k) {
      written.push_back(k * 31 + static_cast<unsigned int>(t));
      docs.emplace_back();
      written.Write(file, docs.back(), 1);
    }
    for (std::size_t k = 0; k < docs.size(); ++k) {
      VKZUINT back;
      back.Read(file, docs[k]);
      ASSERT_EQ(back.size(), k + 1);
      ASSERT_EQ(back.back(), written[k]);
    }
  });
}

// The solver's helper pool, shared by application threads solving at the
// same time: every solution has the bits of a solve on one thread.
TEST(Threads, SolversShareTheirHelpersWithTheSameBits) {
  constexpr unsigned int n = 300; // panels large enough to be shared out
  std::vector<std::vector<double>> a(2, std::vector<double>(n * n)), b(2, std::vector<double>(n));
  for (int s = 0; s < 2; ++s)
    for (unsigned int i = 0; i < n; ++i) {
      b[s][i] = 1.0 + i % 7 + s;
      for (unsigned int j = 0; j < n; ++j)
        a[s][i * n + j] = i == j ? 4.0 * n : 1.0 / (1 + i + 2 * j + s);
    }
  std::vector<std::vector<double>> expected = b;
  SetNumThreads(1);
  for (int s = 0; s < 2; ++s) {
    std::vector<double> m = a[s];
    ASSERT_EQ(Gauss(n, m.data(), 1, expected[s].data(), 0, 1e-300), 1);
  }
  // A band wide enough that one thread factorises the next panel while the
  // others update the rows beyond it.
  constexpr unsigned int bn = 700, half = 260;
  std::vector<double> band;
  for (unsigned int i = 0; i < bn; ++i)
    for (unsigned int k = 0; k <= half && i + k < bn; ++k)
      band.push_back(k == 0 ? 4.0 * half : 1.0 / (1 + i + 3 * k));
  const auto factorised = [&] {
    std::vector<double> v = band;
    std::vector<GAUSS_TAPE> rows(bn);
    for (unsigned int i = 0, at = 0; i < bn; at += rows[i++].count)
      rows[i] = {std::min(half + 1, bn - i), v.data() + at};
    GaussTapeDirect(bn, rows.data());
    return v;
  };
  const std::vector<double> bandExpected = factorised();
  SetNumThreads(3);
  OnThreads([&](int t) {
    for (int round = 0; round < 2; ++round) {
      std::vector<double> m = a[t % 2], x = b[t % 2];
      ASSERT_EQ(Gauss(n, m.data(), 1, x.data(), 0, 1e-300), 1);
      ASSERT_EQ(x, expected[t % 2]);
    }
    ASSERT_EQ(factorised(), bandExpected);
  });
  SetNumThreads(0);
}

} // namespace
} // namespace zel
