// The resource-script reader: what it reads, the errors it reports (always
// naming file and line), and random tables read back whole. That no input,
// however broken, crashes it is the fuzz harness's to show (fuzz/rc_script_read.cpp,
// with the kept inputs of tests/corpus/rc_script).
#include "zeltools/rcscript/internal/rc_script.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/rcscript/encoding.h"
#include "zeltools/rcscript/internal/table_image.h"
#include "zeltools/rcscript/language_ids.h"

namespace zel {
namespace {

using internal::ParseResourceScript;
using internal::ScriptTables;
using Table = std::map<unsigned short, std::string>;
using test::TempDir;

ScriptTables Parse(const std::string& script, const std::string& name = "t.rc") {
  return ParseResourceScript(script, name);
}

// The reader's located error text (empty, with a test failure, when it read).
std::string ErrorText(const std::function<void()>& read) {
  try {
    read();
  } catch (const internal::ScriptError& e) {
    return e.what();
  }
  ADD_FAILURE() << "no ScriptError was thrown";
  return {};
}

std::string ParseError(const std::string& script, const std::string& name = "t.rc") {
  return ErrorText([&] { Parse(script, name); });
}

// Forms the random scripts below never write.
TEST(ResourceScript, ReadsLanguageOptionsContinuationsUnknownEscapesAndByteOrderMarks) {
  const ScriptTables t = Parse(R"(LANGUAGE LANG_RUSSIAN, SUBLANG_DEFAULT
STRINGTABLE LANGUAGE 0x09, 0x01 PRELOAD BEGIN 1 "option" END
STRINGTABLE BEGIN 1 "keep \q and \x as written" 2 "con\
tinued" END
LANGUAGE LANG_NEUTRAL, SUBLANG_NEUTRAL
STRINGTABLE BEGIN 2 "neutral" END
)");
  // The option LANGUAGE holds for its own table only; neutral strings join
  // the English table.
  EXPECT_EQ(t.english, (Table{{1, "option"}, {2, "neutral"}}));
  EXPECT_EQ(t.russian, (Table{{1, "keep \\q and \\x as written"}, {2, "continued"}}));
  // A byte-order mark means UTF-8, until a code page says otherwise.
  EXPECT_EQ(Parse("\xEF\xBB\xBFSTRINGTABLE BEGIN 1 \"Ж\" END\n#pragma code_page(1251)\nSTRINGTABLE BEGIN 2 \"\xC0\" END")
                .english,
            (Table{{1, "\xC6"}, {2, "\xC0"}}));
}

TEST(ResourceScript, IdsComeFromDefinesExpressionsAndHeadersBesideTheScript) {
  TempDir folder;
  folder.Write("ids.h", "#pragma once\n#ifndef IDS_H\n#define IDS_H\n"
                        "#define IDS_BASE 100\n#define IDS_NEXT (IDS_BASE + 1) // next\n"
                        "typedef struct { int a; } Ignored; /* C text is not read */\n"
                        "#endif\n");
  const std::string script = folder.Write("app.rc", "#include \".//ids.h\" // \"//\" in a name\n#include <windows.h>\n"
                                                    "#define LOCAL IDS_NEXT * 2 - (1 << 2)\n"
                                                    "STRINGTABLE BEGIN IDS_BASE \"base\" IDS_NEXT \"next\"\n"
                                                    "LOCAL \"local\" IDS_BASE|0x200 \"or\" END\n");
  std::vector<std::string> read;
  const ScriptTables t = internal::ReadResourceScript(script, &read);
  EXPECT_EQ(t.english, (Table{{100, "base"}, {101, "next"}, {198, "local"}, {612, "or"}}));
  ASSERT_EQ(read.size(), 1u); // windows.h is not beside the script: skipped
  EXPECT_NE(read[0].find("ids.h"), std::string::npos);
}

TEST(ResourceScript, ConditionalsChooseWhatIsRead) {
  const ScriptTables t = Parse(R"(#define ON 1
#ifdef APSTUDIO_INVOKED
this text is never read "unterminated
#else
STRINGTABLE BEGIN 1 "else" END
#endif
#if defined(ON) && ON > 0 && !defined NOTHING
STRINGTABLE BEGIN 2 "if" END
#elif 1
STRINGTABLE BEGIN 3 "elif" END
#endif
#if 0
#if 1
STRINGTABLE BEGIN 4 "nested" END
#endif
#elif ON
STRINGTABLE BEGIN 5 "taken" END
#else
STRINGTABLE BEGIN 6 "not taken" END
#endif
#undef ON
#ifdef ON
STRINGTABLE BEGIN 7 "undefined" END
#endif
)");
  EXPECT_EQ(t.english, (Table{{1, "else"}, {2, "if"}, {5, "taken"}}));
}

TEST(ResourceScript, ErrorsNameTheFileAndTheLine) {
  const struct {
    const char* script;
    const char* error;
  } cases[] = {
      {"STRINGTABLE\nBEGIN\n 1 \"open\nEND\n", "t.rc:3: unterminated string"},
      {"STRINGTABLE\nBEGIN\n 1 \"one\"\n MENUITEM \"x\"\nEND\n",
       "t.rc:4: unknown statement \"MENUITEM\" in a string table"},
      {"STRINGTABLE BEGIN\n 65536 \"x\"\nEND", "t.rc:2: string id 65536 is out of range (0 to 65535)"},
      {"STRINGTABLE BEGIN\n -1 \"x\"\nEND", "t.rc:2: string id -1 is out of range (0 to 65535)"},
      {"STRINGTABLE BEGIN\n 99999999999999999999999 \"x\"\nEND",
       "t.rc:2: string id 9223372036854775807 is out of range (0 to 65535)"},
      {"\n\nSTRINGTABLE\nBEGIN\n 1 \"x\"\n", "t.rc:3: unterminated block (STRINGTABLE without END)"},
      {"STRINGTABLE\n", "t.rc:1: unterminated block (STRINGTABLE without BEGIN)"},
      {"1 DIALOG 0,0,1,1\nBEGIN\n BEGIN\nEND\n", "t.rc:2: unterminated block (BEGIN without END)"},
      {"// fine\n/* open\n\n", "t.rc:2: unterminated comment"},
      {"STRINGTABLE BEGIN\n 7 \"a\"\n 7 \"b\"\nEND", "t.rc:3: string id 7 is defined twice"},
      {"STRINGTABLE BEGIN\n 7 \nEND", "t.rc:3: expected a string after id 7"},
      {"STRINGTABLE BEGIN\n \"lonely\"\nEND", "t.rc:2: a string without an id in a string table"},
      {"STRINGTABLE BEGIN 1 + \"x\" END", "t.rc:1: bad string id near \"x\""},
      {"STRINGTABLE BEGIN 1 / 0 \"x\" END", "t.rc:1: division by zero"},
      {"STRINGTABLE BEGIN 1 ; \"x\" END", "t.rc:1: expected a string after id 1"},
      {"STRINGTABLE BEGIN 09 \"x\" END", "t.rc:1: bad number \"09\""},
      {"#define A B\n#define B A\nSTRINGTABLE BEGIN\nA \"x\" END",
       "t.rc:4: the definition of \"A\" refers to itself"},
      {"#define A (1 + UNKNOWN)\nSTRINGTABLE BEGIN\nA \"x\" END", "t.rc:3: undefined name \"UNKNOWN\""},
      {"#if 1\nSTRINGTABLE BEGIN 1 \"x\" END\n", "t.rc:1: unterminated #if (no #endif)"},
      {"\n#endif\n", "t.rc:2: #endif without #if"},
      {"#if 0\n#else\n#else\n#endif\n", "t.rc:3: #else after #else"},
      {"#if (1\n#endif\n", "t.rc:1: bad #if expression (the text ends too early)"},
      {"#pragma code_page(866)\n", "t.rc:1: unsupported code page 866 (1251 and 65001 are understood)"},
      {"#pragma code_page 1251\n", "t.rc:1: bad #pragma code_page"},
      {"#include nothing\n", "t.rc:1: bad #include (expected \"file\" or <file>)"},
      {"#define\n", "t.rc:1: #define without a name"},
      {"END\n", "t.rc:1: \"END\" without BEGIN"},
      {"LANGUAGE\n", "t.rc:1: bad LANGUAGE statement (the text ends too early)"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ParseError(c.script), c.error) << c.script;
  EXPECT_EQ(ParseError("STRINGTABLE BEGIN 1 \"x\"", "/some/folder/app.rc"),
            "/some/folder/app.rc:1: unterminated block (STRINGTABLE without END)");
  std::string deep = "STRINGTABLE BEGIN " + std::string(100, '(') + "1" + std::string(100, ')') + " \"x\" END";
  EXPECT_EQ(ParseError(deep), "t.rc:1: expression nested too deeply");
  EXPECT_EQ(ParseError("STRINGTABLE BEGIN " + std::string(100000, '-') + "1 \"x\" END"),
            "t.rc:1: expression nested too deeply");
}

TEST(ResourceScript, ErrorsInIncludedFilesNameThatFile) {
  TempDir folder;
  const std::string inner = folder.Write("strings.rc2", "STRINGTABLE BEGIN\n 1 \"one\"\n\n 2 \"open\nEND\n");
  const std::string script = folder.Write("app.rc", "\n#include \"strings.rc2\"\n");
  EXPECT_EQ(ErrorText([&] { internal::ReadResourceScript(script); }), inner + ":4: unterminated string");
  const std::string self = folder.Write("self.rc", "#include \"self.rc\"\n");
  EXPECT_EQ(ErrorText([&] { internal::ReadResourceScript(self); }), self + ":1: #include nested too deeply");
  EXPECT_EQ(ErrorText([&] { internal::ReadResourceScript(folder.Write("x", "") + ".missing"); }),
            folder.Write("x", "") + ".missing: cannot read the file");
}

TEST(ResourceScript, FilesAreReadThroughTheSystemTable) {
  TempDir folder;
  folder.Write("ids.h", "#define ID 5\n");
  const std::string script = folder.Write("app.rc", "#include \"ids.h\"\nSTRINGTABLE BEGIN ID \"x\" END\n");
  platform::ScopedCalls saved;
  platform::Calls().fileReadAt = [](void* file, void* buffer, std::size_t, std::int64_t at) {
    return platform::DefaultCalls().fileReadAt(file, buffer, 1, at); // a byte at a time
  };
  EXPECT_EQ(internal::ReadResourceScript(script).english, (Table{{5, "x"}}));
  platform::Calls().fileReadAt = [](void*, void*, std::size_t, std::int64_t) -> std::int64_t {
    SetLastError(EIO);
    return -1;
  };
  EXPECT_EQ(ErrorText([&] { internal::ReadResourceScript(script); }), script + ": cannot read the file");
}

// The rest of the look-up rule is read through CResurce (tests/text).
TEST(ResourceScript, EnglishFallsBackToRussianAndMergedScriptsMayNotRepeatAnId) {
  const ScriptTables t = Parse("LANGUAGE LANG_RUSSIAN, 1\nSTRINGTABLE BEGIN 1 \"ru1\" END\n");
  EXPECT_EQ(t.Find(1, LanguageEnglish), &t.russian.at(1));
  ScriptTables merged = t;
  EXPECT_EQ(ErrorText([&] { merged.Merge(t, "again.rc"); }),
            "again.rc: string id 1 is defined twice (also by an earlier script)");
}

// Scripts whose plain reading would take time exponential in their size:
// read in proportion to it, or refused with a located error. If either
// guard went, these would not finish.
TEST(ResourceScript, WorkStaysProportionalToTheScript) {
  // Each macro is the previous one added to itself: 2^30 expansions of A0
  // if every use were expanded again, in ids and in #if lines alike.
  std::string chain = "#define A0 0\n";
  for (int i = 1; i <= 30; ++i)
    chain += "#define A" + std::to_string(i) + " A" + std::to_string(i - 1) + "+A" + std::to_string(i - 1) + "\n";
  EXPECT_EQ(Parse(chain + "#if A30 == 0\nSTRINGTABLE BEGIN A30 \"x\" END\n#endif\n").english, (Table{{0, "x"}}));
  // A redefinition is seen by the macros that use it.
  EXPECT_EQ(Parse(chain + "#if A15 == 0\n#undef A0\n#define A0 1\n#endif\n"
                          "#if A15 == 32768\nSTRINGTABLE BEGIN A15 \"x\" END\n#endif\n")
                .english,
            (Table{{32768, "x"}}));
  // Each file includes the next four times, through four links to the folder
  // itself, so that every path read is new: 4^15 inclusions of 16 files.
  TempDir folder;
  for (const char* link : {"a", "b", "c", "d"}) {
    std::error_code refused;
    std::filesystem::create_directory_symlink(".", folder.File(link), refused);
    if (refused)
      GTEST_SKIP() << "no symbolic links here: " << refused.message();
  }
  for (int i = 0; i < 16; ++i) {
    std::string includes;
    for (const char* spelling : {"a/", "b/", "c/", "d/"})
      includes += i < 15 ? "#include \"" + std::string(spelling) + "f" + std::to_string(i + 1) + ".rc\"\n" : "";
    folder.Write("f" + std::to_string(i) + ".rc", includes);
  }
  const std::string error = ErrorText([&] { internal::ReadResourceScript(folder.File("f0.rc")); });
  EXPECT_NE(error.find(".rc:"), std::string::npos) << error;
  EXPECT_NE(error.find("too much work"), std::string::npos) << error;
}

// --- properties over random input ------------------------------------------

// Statements a script may hold besides string tables, all to be skipped;
// German strings are read (errors would show) and dropped.
const char* const otherStatements[] = {
    "1 ICON \"x.ico\"\n", "2 MENU BEGIN POPUP \"&File\" BEGIN MENUITEM \"E&xit\", 1 END END\n",
    "IDD_ABOUT DIALOGEX 0, 0, 235, 55\nSTYLE DS_MODALFRAME | WS_POPUP\nCAPTION \"About\"\nFONT 8, \"MS Shell Dlg\"\n"
    "BEGIN\n  LTEXT \"Version 1.0\",IDC_STATIC,40,10,119,8\n  DEFPUSHBUTTON \"OK\",IDOK,178,7,50,14,WS_GROUP\nEND\n",
    "VS_VERSION_INFO VERSIONINFO\n FILEVERSION 1,0,0,1\nBEGIN\n BLOCK \"StringFileInfo\"\n BEGIN\n"
    "  BLOCK \"040904b0\" { VALUE \"FileVersion\", \"1, 0, 0, 1\" }\n END\nEND\n",
    "LANGUAGE LANG_GERMAN, SUBLANG_GERMAN\nSTRINGTABLE BEGIN 1 \"eins\" 2 \"zwei\" END\n"};

// Renders `english` and `russian` as a script in one of many equivalent
// forms, chosen by `rng`: block, keyword and id forms, escapes, split
// literals, comments, defines, code page, other statements between tables.
std::string Render(const Table& english, const Table& russian, std::mt19937& rng) {
  const auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  const bool utf8 = pick(2) == 0;
  std::string out = utf8 ? "#pragma code_page(65001)\n" : (pick(2) ? "#pragma code_page(1251)\n" : "");
  const auto literal = [&](const std::string& text) {
    // In L"..." an escape is a Unicode value, so bytes above 0x7F are written
    // as characters there.
    bool wide = pick(4) == 0;
    std::string s = wide ? "L\"" : "\"";
    for (const char ch : text) {
      const auto b = static_cast<unsigned char>(ch);
      if (pick(8) == 0) { // a split into adjacent literals, each narrow or wide
        wide = pick(4) == 0;
        s += std::string(pick(2) ? "\" " : "\"\n  ") + (wide ? "L\"" : "\"");
      }
      if (ch == '"') {
        s += pick(2) ? "\"\"" : "\\\"";
      } else if (ch == '\\') {
        s += "\\\\";
      } else if ((ch == '\n' || ch == '\r' || ch == '\t') && pick(2)) {
        s += ch == '\n' ? "\\n" : ch == '\r' ? "\\r" : "\\t";
      } else if (b < 0x20 || b == 0x7F || (pick(10) == 0 && !(wide && b >= 0x80))) {
        // Octal takes three digits at most, narrow hex two, wide hex four,
        // whatever character follows.
        char escape[8];
        std::snprintf(escape, sizeof escape, pick(2) ? "\\%03o" : wide ? "\\x%04X" : "\\x%02X", b);
        s += escape;
      } else if (b >= 0x80 && utf8) {
        s += Cp1251ToUtf8(std::string(1, ch));
      } else {
        s += ch;
      }
    }
    return s + "\"";
  };
  std::size_t defines = 0;
  const auto table = [&](const Table& t, const char* language) {
    if (t.empty())
      return;
    const std::string keyword = pick(2) ? "STRINGTABLE" : "stringtable";
    out += pick(2) ? std::string("LANGUAGE ") + language + ", SUBLANG_DEFAULT\n" + keyword + "\n"
                   : keyword + " LANGUAGE " + language + ", 0 DISCARDABLE\n";
    const bool braces = pick(2) == 0;
    out += braces ? "{\n" : "BEGIN\n";
    for (const auto& [id, text] : t) {
      if (pick(6) == 0)
        out += "  // a comment \"\n";
      char idText[32];
      std::snprintf(idText, sizeof idText, pick(2) ? "%u" : pick(2) ? "0x%X" : pick(2) ? "0%o" : "(%u + 0)", unsigned{id});
      if (pick(5) == 0) {
        const std::string name = "IDS_" + std::to_string(defines++);
        out = "#define " + name + " " + idText + "\n" + out;
        std::snprintf(idText, sizeof idText, "%s", name.c_str());
      }
      out += std::string("  ") + idText + (pick(2) ? ", " : " /* id */ ") + literal(text) + "\n";
    }
    out += braces ? "}\n" : "END\n";
  };
  const bool russianFirst = pick(2) == 0;
  table(russianFirst ? russian : english, russianFirst ? "LANG_RUSSIAN" : "LANG_ENGLISH");
  out += otherStatements[pick(static_cast<int>(std::size(otherStatements)))];
  table(russianFirst ? english : russian, russianFirst ? "LANG_ENGLISH" : "LANG_RUSSIAN");
  return out;
}

Table RandomTable(std::mt19937& rng) {
  Table t;
  const int n = static_cast<int>(rng() % 12);
  for (int i = 0; i < n; ++i) {
    std::string text(rng() % 20, ' ');
    for (char& ch : text)
      ch = static_cast<char>(1 + rng() % 255); // any byte but NUL
    const unsigned id = rng() % 4 == 0 ? 65535 - rng() % 3 : rng() % 2000;
    t[static_cast<unsigned short>(id)] = text;
  }
  return t;
}

TEST(ResourceScript, RandomTablesSurviveTheRoundTripThroughAScript) {
  std::mt19937 rng(20240611);
  for (int round = 0; round < 400; ++round) {
    const Table english = RandomTable(rng), russian = RandomTable(rng);
    const std::string script = Render(english, russian, rng);
    ScriptTables t;
    try {
      t = Parse(script);
    } catch (const internal::ScriptError& e) {
      FAIL() << e.what() << "\n" << script;
    }
    ASSERT_EQ(t.english, english) << script;
    ASSERT_EQ(t.russian, russian) << script;
    // The image compiled into shared objects round-trips the same tables.
    const std::string image = internal::EncodeTableImage(t);
    ScriptTables back;
    ASSERT_TRUE(internal::DecodeTableImage(reinterpret_cast<const unsigned char*>(image.data()), image.size(), back));
    ASSERT_EQ(back.english, english);
    ASSERT_EQ(back.russian, russian);
  }
}

TEST(TableImage, DamagedImagesAreRefusedAndLeaveTheTablesAlone) {
  const ScriptTables source = Parse("STRINGTABLE BEGIN 1 \"one\" 2 \"\" END\n"
                                    "LANGUAGE LANG_RUSSIAN, 0\nSTRINGTABLE BEGIN 1 \"odin\" END\n");
  const std::string image = internal::EncodeTableImage(source);
  const auto bytes = [](const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); };
  ScriptTables kept = Parse("STRINGTABLE BEGIN 9 \"nine\" END");
  for (std::size_t cut = 0; cut < image.size(); ++cut)
    EXPECT_FALSE(internal::DecodeTableImage(bytes(image), cut, kept)) << cut;
  EXPECT_FALSE(internal::DecodeTableImage(bytes(image + "x"), image.size() + 1, kept));
  EXPECT_FALSE(internal::DecodeTableImage(nullptr, 0, kept));
  for (const auto& [at, value] : {std::pair{12 + 2, '\x07'}, {8 + 3, '\x7F'}}) { // first language; huge count
    std::string damaged = image;
    damaged[at] = value;
    EXPECT_FALSE(internal::DecodeTableImage(bytes(damaged), damaged.size(), kept)) << at;
  }
  EXPECT_EQ(kept.english, (Table{{9, "nine"}}));
  ASSERT_TRUE(internal::DecodeTableImage(bytes(image), image.size(), kept));
  EXPECT_EQ(kept.english, source.english);
  EXPECT_EQ(kept.russian, source.russian);
}

} // namespace
} // namespace zel
