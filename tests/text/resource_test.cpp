// CResurce and CResurceString: messages of an application's resource module.
#include "zeltools/text/resource.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/errors/exception.h"
#include "zeltools/errors/language.h"
#include "zeltools/platform/platform.h"
#include "zeltools/rcscript/encoding.h"

namespace zel {
namespace {

using test::ScopedLanguage;
using test::TempDir;
using test::ThrownText;

std::string Text(const CResurceString& s) { return std::string(s.text.begin(), s.text.end()); }

// An application's script, UTF-8 source, messages over consecutive ids.
const char* const appScript = R"(#pragma code_page(65001)
#define MSG_TWELVE 120
STRINGTABLE BEGIN
  1 "EFirst entry" 2 "Second entry" 3 "Third entry@" 10 "Warning alone" 11 "next id exists"
  20 "qa" 21 "" 22 "b@" 30 "E" 40 "" 41 "after an empty first" 50 "I@" 51 "x@"
  MSG_TWELVE "ELoad twelve" 121 "continues" 122 "ends here@" 123 "never read" 130 "Zone" 131 "two"
END
LANGUAGE LANG_RUSSIAN, SUBLANG_DEFAULT
STRINGTABLE BEGIN 1 "EПервая" 2 "Вторая" 3 "Третья@" END
)";

class ResourceTest : public ::testing::Test {
protected:
  TempDir folder_;
  std::string path_ = folder_.Write("app.rc", appScript);
  ScopedLanguage english_{LanguageEnglish};
};

TEST_F(ResourceTest, GetTextJoinsEntriesUpToTheMarkerOrAMissingIdByMode) {
  const struct {
    unsigned int id;
    unsigned char mode;
    std::string text; // without its terminator; empty when GetText gives null
    unsigned char type;
    unsigned int count, lines;
  } cases[] = {
      // The first character goes (as the type), so does the "@" marker.
      {1, 2, "First entry\nSecond entry\nThird entry", 3, 3, 3},
      {10, 0, "arning alone", 2, 1, 1}, // one entry although id 11 exists
      {20, 2, "a\n\nb", 5, 2, 2},       // a letter in either case; an empty entry: an empty line, not counted
      {40, 0, "\nafter an empty first", 0, 1, 1}, // an empty first entry: even mode 0 reads on
      {120, 2, "Load twelve\ncontinues\nends here", 3, 3, 3},
      {130, 1, "one\ntwo", 0, 2, 2}, // not a type letter, gone all the same; up to the missing id 132
      {50, 2, "", 1, 1, 0},          // "I@": the letter goes, the "@" left over ends the message
      {30, 0, "", 3, 1, 0},          // a type and no text
      {999, 2, " Not message 999 ::" + path_, 0, 0, 1},
      {65536 + 1, 0, " Not message 65537 ::" + path_, 0, 0, 1}, // ids are 16-bit
  };
  const CResurce res(path_.c_str());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    CResurceString out;
    const char* text = res.GetText(c.id, out, c.mode);
    EXPECT_EQ(text, c.text.empty() ? nullptr : out.text.data());
    EXPECT_EQ(Text(out), c.text + '\0');
    EXPECT_EQ(out.type, c.type);
    EXPECT_EQ(out.count, c.count);
    EXPECT_EQ(out.GetQuantityLine(), c.lines);
  }
  // Load(n) reads the block of ten ids from 10n.
  CResurceString loaded, message;
  res.Load(12, loaded);
  res.GetMsg(120, message);
  EXPECT_EQ(Text(loaded), Text(message));
  char buffer[64] = "garbage";
  res.GetString(30, buffer);
  EXPECT_STREQ(buffer, "");
  res.GetString(1, buffer);
  EXPECT_STREQ(buffer, "First entry\nSecond entry\nThird entry");
  EXPECT_STREQ(CResurce().GetText(5, loaded, 0), " Not message 5 ::");
  ScopedLanguage russian(LanguageRussian);
  res.GetMsg(1, message);
  EXPECT_EQ(Text(message), Utf8ToCp1251("Первая\nВторая\nТретья") + '\0');
}

TEST_F(ResourceTest, EntriesAreCutAt1023Characters) {
  const std::string longText(2000, 'z');
  const CResurce res(folder_.Write("long.rc", "STRINGTABLE BEGIN 1 \"" + longText + "\" 2 \"" + longText + "@\" END").c_str());
  CResurceString out;
  res.GetMsg(1, out);
  // The first entry loses its type character after the cut; the second is
  // cut before its marker is seen, so the read runs on to the missing id 3.
  EXPECT_EQ(Text(out), std::string(1022, 'z') + "\n" + std::string(1023, 'z') + '\0');
  EXPECT_EQ(out.count, 2u);
}

TEST_F(ResourceTest, CopiesShareTheModuleAndKeepItAlive) {
  CResurceString out;
  CResurce assigned;
  {
    CResurce original(path_.c_str());
    const CResurce copy(original);
    assigned = copy;
    assigned = assigned; // self-assignment keeps the module
    CResurce other(folder_.Write("other.rc", "STRINGTABLE BEGIN 1 \"Sother\" END").c_str());
    other = original; // lets go of other.rc's module
    EXPECT_EQ(other.GetModule(), original.GetModule());
    EXPECT_STREQ(other.GetString(1, out), "First entry");
  }
  EXPECT_STREQ(assigned.GeName(), path_.c_str());
  EXPECT_STREQ(assigned.GetString(1, out), "First entry");
  // A module handle given to Init is shared with its first holder.
  CResurce shared;
  shared.Init("another name", assigned.GetModule());
  EXPECT_EQ(shared.GetModule(), assigned.GetModule());
  EXPECT_STREQ(shared.GeName(), "another name");
  assigned.Init(path_.c_str(), nullptr);
  EXPECT_STREQ(shared.GetString(10, out), "arning alone");
}

TEST_F(ResourceTest, ModulesThatCannotBeLoadedAreFatal) {
  const std::string missing = folder_.Write("x", "") + ".missing.rc";
  EXPECT_EQ(ThrownText([&] { CResurce res(missing.c_str()); }), "The file of resources is not found:\n" + missing);
  CResurce res(path_.c_str());
  EXPECT_EQ(ThrownText([&] { res.Init(missing.c_str(), nullptr); }), "The file of resources is not found:\n" + missing);
  EXPECT_EQ(res.GetModule(), nullptr);
  EXPECT_STREQ(res.GeName(), missing.c_str());
  EXPECT_EQ(ThrownText([&] { res.Init(nullptr, nullptr); }), "The file of resources is not found:\n");
  const std::string broken = folder_.Write("broken.rc", "STRINGTABLE\nBEGIN\n  1 \"open\nEND\n");
  EXPECT_EQ(ThrownText([&] { res.Init(broken.c_str(), nullptr); }), broken + ":3: unterminated string");
  // A folder is not a module either.
  const std::string folder = broken.substr(0, broken.rfind('/'));
  EXPECT_EQ(ThrownText([&] { res.Init(folder.c_str(), nullptr); }), "The file of resources is not found:\n" + folder);
}

TEST_F(ResourceTest, TheLibraryNameReadsTheLibrarysOwnCatalogue) {
  const CResurce library("ZelTools.dll");
  CResurceString out;
  // The catalogue has no type letters; read through CResurce, its first
  // character is taken for one all the same.
  EXPECT_EQ(library.GetString(105, out), test::Message(105).substr(1));
  EXPECT_EQ(out.type, 3);
  const CResurce elsewhere("C:\\Program Files\\App\\zeltools.DLL");
  EXPECT_EQ(elsewhere.GetString(1022, out), test::Message(1022).substr(1));
}

TEST_F(ResourceTest, ReadsAgreeAcrossModesOnRandomMessages) {
  std::mt19937 rng(5);
  const std::string alphabet = "IWECQSxy@@\n";
  for (int round = 0; round < 30; ++round) {
    std::string script = "STRINGTABLE BEGIN\n";
    for (unsigned id = 0; id < 40; ++id) {
      if (rng() % 5 == 0)
        continue; // a gap: a missing id
      std::string text;
      for (unsigned n = rng() % 5; n > 0; --n) {
        const char c = alphabet[rng() % alphabet.size()];
        text += c == '\n' ? std::string("\\n") : std::string(1, c);
      }
      script += std::to_string(id) + " \"" + text + "\"\n";
    }
    const CResurce res(folder_.Write("random.rc", script + "END\n").c_str());
    for (unsigned id = 0; id < 42; ++id) {
      CResurceString one, all, lines, two;
      res.GetText(id, one, 0);
      res.GetText(id, all, 1);
      res.GetText(id, two, 2);
      const char* split = res.GetText(id, lines, 10);
      const std::string whole = Text(all);
      EXPECT_EQ(whole, Text(two));
      // One entry is where the whole message begins.
      EXPECT_EQ(whole.compare(0, one.text.size() - 1, Text(one), 0, one.text.size() - 1), 0) << script << id;
      std::string nul = whole;
      std::replace(nul.begin(), nul.end(), '\n', '\0');
      EXPECT_EQ(Text(lines), nul);
      EXPECT_EQ(split == nullptr, whole.size() == 1);
      for (const CResurceString* s : {&one, &all, &lines})
        EXPECT_EQ(s->length, s->text.size());
      EXPECT_EQ(lines.count, all.count);
      EXPECT_EQ(lines.type, one.type);
      if (all.count != 0)
        EXPECT_EQ(lines.GetQuantityLine(), all.GetQuantityLine());
    }
  }
}

#ifdef ZEL_TEST_STRING_TABLES
TEST(ResurceModule, ReadsTheTablesCompiledIntoASharedObject) {
#if defined(_WIN32)
  GTEST_SKIP() << "on Windows a module's string tables are its resources";
#endif
  ScopedLanguage english(LanguageEnglish);
  const CResurce module(ZEL_TEST_STRING_TABLES);
  CResurceString out;
  EXPECT_STREQ(module.GetString(7, out), "Hello from a module");
  EXPECT_EQ(out.type, 1);
  module.GetMsg(20, out);
  EXPECT_EQ(Text(out), std::string("First line\nsecond line") + '\0');
  {
    ScopedLanguage russian(LanguageRussian);
    EXPECT_EQ(std::string(module.GetString(7, out)), Utf8ToCp1251("Привет из модуля"));
    EXPECT_STREQ(module.GetString(20, out), "First line");
  }
  EXPECT_EQ(std::string(module.GetString(8, out)), std::string(" Not message 8 ::") + ZEL_TEST_STRING_TABLES);
  // Loaded twice, or given as a handle of the system's loader, the object is
  // one module (a Windows data-file load maps the file anew each time).
#ifndef _WIN32
  const CResurce again(ZEL_TEST_STRING_TABLES);
  EXPECT_EQ(again.GetModule(), module.GetModule());
#endif
  void* handle = platform::Calls().sharedObjectOpen(ZEL_TEST_STRING_TABLES);
  ASSERT_NE(handle, nullptr);
  CResurce first, second;
  first.Init("module", handle); // owns the handle from here on
  second.Init("same handle", handle);
  EXPECT_EQ(second.GetModule(), first.GetModule());
  EXPECT_STREQ(second.GetString(7, out), "Hello from a module");
}

#ifdef _WIN32
TEST(ResurceModule, ADamagedStringBlockReadsAsFarAsItIsWhole) {
  ScopedLanguage english(LanguageEnglish);
  const CResurce module(ZEL_TEST_STRING_TABLES);
  CResurceString out;
  EXPECT_STREQ(module.GetString(1584, out), "x");
  EXPECT_EQ(out.type, 1);
  EXPECT_STREQ(module.GetString(1585, out), "xyz");
  EXPECT_EQ(out.type, 2);
  EXPECT_EQ(std::string(module.GetString(1586, out)), std::string(" Not message 1586 ::") + ZEL_TEST_STRING_TABLES);
}
#endif

TEST(ResurceModule, AnObjectTheLoaderRefusesIsNotFound) {
#if defined(_WIN32)
  GTEST_SKIP() << "on Windows a module's string tables are its resources";
#endif
  platform::ScopedCalls saved;
  platform::Calls().sharedObjectOpen = [](const char*) -> void* { return nullptr; };
  platform::Calls().resourceModuleOpen = [](const char*) -> void* { return nullptr; };
  EXPECT_EQ(ThrownText([] { CResurce module(ZEL_TEST_STRING_TABLES); }),
            std::string("The file of resources is not found:\n") + ZEL_TEST_STRING_TABLES);
}

#endif

} // namespace
} // namespace zel
