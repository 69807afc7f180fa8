#include "zeltools/datastore/data_file.h"

#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"
#include "zeltools/containers/small_vectors.h"
#include "zeltools/errors/exception.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"
#include "zeltools/files/file_system.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/file_print.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/read_memory.h"
#include "zeltools/text/strings.h"

using namespace zel;

namespace {

// The folder with its final separator.
std::string Folder(const test::TempDir& dir) { return dir.File(""); }

// A folder of text and binary files, one named in Cyrillic (1251 bytes).
std::vector<std::string> MakeFolder(const test::TempDir& dir) {
  std::string binary;
  for (int i = 0; i < 3 * 256; ++i)
    binary += static_cast<char>(i * 7);
  return {dir.Write("readme.txt", "line one\r\nline two\n"), dir.Write("\xCF\xF0\xEE\xE5\xEA\xF2.dat", binary),
          dir.Write("empty", "")};
}

} // namespace

TEST(DataFiles, AFolderGoesIntoADocumentAndBackOutByteForByte) {
  test::TempDir src, dst;
  const auto paths = MakeFolder(src);
  VDataFile files;
  for (unsigned short k = 0; k < paths.size(); ++k)
    ASSERT_EQ(files.Append(paths[k].c_str(), static_cast<unsigned short>(k + 40)), k + 1u);
  files.Append("memo", 3, "abc", 7);

  // Stored between other blocks, read back from the document.
  DOCUMENT doc, rowsDoc;
  VDblData rows;
  rows.Append("r", 0, nullptr, 1);
  {
    CFileBase f;
    ASSERT_EQ(f.Open(src.File("doc.bin").c_str(), "w"), 1);
    f.Write("head", 4);
    files.Write(f, doc, 0);
    rows.Write(f, rowsDoc, 0);
  }
  VDataFile back;
  {
    CFileBase f;
    ASSERT_EQ(f.Open(src.File("doc.bin").c_str(), "r"), 1);
    ASSERT_EQ(back.Read(f, doc), 1);
  }
  EXPECT_EQ(back.Compare(files), 0);
  EXPECT_EQ(CDataFile(back, 2).Compare(1, back, 2, CData::CompareAll), 0);
  EXPECT_EQ(VDataByte(back).Compare(back), 0);
  EXPECT_EQ(CDblData("r", 0, nullptr, 1).Compare(rows), 0);

  back.ExportDisk(Folder(dst).c_str());
  for (const auto& p : paths) {
    char name[PathSize];
    FileGetName(p.c_str(), name);
    EXPECT_EQ(test::Bytes(dst.File(name)), test::Bytes(p)) << name;
  }
  EXPECT_EQ(back.CheckDisk(Folder(dst).c_str()), 1);

  // One file changed, one gone: the check names both, the reload takes the
  // changed one in under its old name.
  dst.Write("readme.txt", "LINE one\r\nline two\n"); // same length
  std::remove(dst.File("memo").c_str());
  CPhrase report;
  EXPECT_EQ(back.CheckDisk(Folder(dst).c_str(), &report), 0);
  ASSERT_EQ(report.GetQuantity(), 1u);
  EXPECT_EQ(std::string(report[0].GetText()),
            Folder(dst) + "\n1 " + paths[0] + ": differs\n4 memo: missing");
  EXPECT_EQ(back.SetDisk(Folder(dst).c_str()), 3u);
  EXPECT_EQ(std::string(static_cast<const char*>(back.GetBase(1, 0)->list), 4), "LINE");
  EXPECT_STREQ(back.GetText(1), paths[0].c_str());
  EXPECT_EQ(back.GetContent(1), 40);

  VKZUINT stale;
  EXPECT_EQ(back.CheckDisk(stale), 2u); // line 1 differs from its source now, "memo" has no file
  EXPECT_EQ(stale, VKZUINT({1, 4}));
}

TEST(DataFiles, TheOlderLayoutReadsBackAsTheSameTable) {
  test::TempDir dir;
  VDataFile files;
  files.Append("a", 2, "xy", 513);
  files.Append("\xC1", 0, nullptr, 2);
  bool sameTable = false; // once, for the whole block
  test::ExpectEveryDamageReported(
      dir.File("old.bin"),
      [&](CFileBase& f, DOCUMENT& doc) {
        DOCUMENT_OLD old;
        files.Write11(f, old);
        doc = DOCUMENT{old.position, old.length};
      },
      [&](CFileBase& f, DOCUMENT doc) {
        VDataFile back;
        const DOCUMENT_OLD old{static_cast<unsigned int>(doc.position), static_cast<unsigned int>(doc.length)};
        const bool ok = back.ReadOld(f, old) != 0;
        EXPECT_TRUE(ok || back.GetQuantity() == 0u);
        sameTable = sameTable || (ok && back.Compare(files) == 0);
        return ok;
      });
  EXPECT_TRUE(sameTable);
}

TEST(DataFiles, ImportTakesOneEntryOrNothing) {
  test::TempDir dir;
  // Quoted, so that a drive letter's ':' stays in the name.
  const std::string path = '"' + dir.Write("f.txt", "12345") + '"';
  VDataFile files;
  files.Append("kept", 1, "k", 9);
  const std::string good = "3 : " + path;
  EXPECT_EQ(files.Import(good.c_str(), good.size()), 3u);
  EXPECT_EQ(files.GetBase(3, 0)->count, 5u);
  for (const std::string& bad : {"x:" + path, "0:" + path, "99999:" + path, "3 " + path, std::string("3:"), std::string(":") + path})
    EXPECT_EQ(files.Import(bad.c_str(), bad.size()), 0u) << bad;
  files.ClearModify();
  files.SetContent(1, 4);
  const std::string missing = "9:" + dir.File("gone");
  EXPECT_THROW(files.Import(missing.c_str(), missing.size()), Exception);
  EXPECT_THROW(files.Append(dir.File("gone").c_str(), 1), Exception);
  EXPECT_EQ(files.GetModify(), 0);
  EXPECT_EQ(files.GetQuantity(), 3u);
}

TEST(DataFiles, ExportPrintsOneLineOrAllWithTheCallersSeparators) {
  test::TempDir dir;
  VDataFile files;
  files.Append("a b", 3, "\x00\x7F\xFF", 513);
  files.Append("c", 1, "\x10", 1);
  const std::string path = dir.File("files.txt");
  {
    CFilePrint out;
    ASSERT_EQ(out.Open(path.c_str()), 1);
    out.SetPage(0, 80);
    out.SetPageNumber(nullptr, 1);
    files.Export(2, out, ',', '|', ' ');
    files.Export(0, out, ' ', 0, 0);
  }
  EXPECT_EQ(test::TextOf(path), "2/\"c\",1,1|10\n\n1/\"a b\" 513 3007FFF\n\n2/\"c\" 1 110\n");
}

TEST(DataFiles, DiskOperationsReportVanishedFoldersLongNamesAndFullDevices) {
  VDataFile files;
  files.Append("a", 1, "a", 0);
  std::string gone;
  {
    test::TempDir dir;
    gone = Folder(dir);
  }
  CPhrase report;
  EXPECT_EQ(files.CheckDisk(gone.c_str(), &report), 0);
  EXPECT_EQ(std::string(report[0].GetText()), test::FileMessage(116, gone));
  EXPECT_THROW(files.ExportDisk(gone.c_str()), Exception);

  test::TempDir dir;
  files.Append(std::string(300, 'n').c_str(), 1, "n", 0);
  CPhrase longName;
  EXPECT_EQ(files.CheckDisk(Folder(dir).c_str(), &longName), 0);
  EXPECT_EQ(longName[0].param1, 116u);

  platform::ScopedCalls saved;
  platform::Calls().fileWriteAt = [](void*, const void*, std::size_t, std::int64_t) -> std::int64_t {
    errno = ENOSPC;
    return -1;
  };
  EXPECT_EQ(files.ExportDisk(1, dir.File("a").c_str(), &longName), 0);
  EXPECT_EQ(longName.back().param1, 107u);
}

// Duplicate search against a model: values are a base vector scaled by a
// level (1 + 3·10^-6 level, just outside the tolerance) and a jitter far
// inside it, so two value lists match exactly when base and level agree.
TEST(DblRows, AppendReturnsTheFirstLineWithTheSameTypeNameAndValues) {
  struct Row {
    std::string name;
    int type, base, level;
  };
  std::vector<Row> model;
  VDblData rows;
  std::mt19937 rng(13);
  const char* names[] = {nullptr, "A", "a", "\xC0"};
  for (int step = 0; step < 400; ++step) {
    const char* name = names[rng() % 4];
    const int type = static_cast<int>(rng() % 3), base = static_cast<int>(rng() % 3),
              level = static_cast<int>(rng() % 3), count = 1 + base;
    std::vector<double> values;
    for (int i = 0; i < count; ++i)
      values.push_back((i + 1.5) * (1 + level * 3e-6) * (1 + (static_cast<int>(rng() % 21) - 10) * 1e-9));
    unsigned int expected = 0;
    for (unsigned int n = 0; n < model.size() && expected == 0; ++n)
      if (model[n].type == type && (name == nullptr || model[n].name == name) && model[n].base == base &&
          model[n].level == level)
        expected = n + 1;
    if (expected == 0) {
      model.push_back({name == nullptr ? "" : name, type, base, level});
      expected = static_cast<unsigned int>(model.size());
    }
    ASSERT_EQ(rows.Append(name, static_cast<unsigned int>(count), values.data(), static_cast<unsigned char>(type)),
              expected);
  }
  EXPECT_EQ(rows.GetType(0), 0);
  EXPECT_EQ(rows.GetType(rows.GetQuantity() + 1), 0);
}

TEST(DblRows, ExportPrintsWhatImportReadsBackAndBadTextChangesNothing) {
  test::TempDir dir;
  VDblData rows;
  std::mt19937_64 rng(5);
  const char* names[] = {"", "beam 1", "\xD1\xF2\xEE\xE9\xEA\xE0", "x"};
  for (unsigned int n = 0; n < 30; ++n) {
    std::vector<double> values(rng() % 5);
    for (double& v : values)
      v = std::ldexp(static_cast<double>(rng() % 2000001) - 1e6, static_cast<int>(rng() % 80) - 40);
    rows.Replace(0, names[n % 4], static_cast<unsigned int>(values.size()), values.data(),
                 static_cast<unsigned char>(rng() % 256));
  }
  const std::string report = dir.File("rows.txt");
  {
    CFilePrint out;
    ASSERT_EQ(out.Open(report.c_str()), 1);
    out.SetPage(0, CFilePrint::MaxLineLength);
    out.SetPageNumber(nullptr, 1);
    rows.Export(0, out, ' ', ' ', ' ');
  }
  const std::string text = test::TextOf(report);
  VDblData back;
  CReadMemory reader(text.c_str());
  EXPECT_EQ(back.Import(reader), 30u);
  EXPECT_EQ(back.Compare(rows), 0);

  for (const char* bad : {"1 NAME a : 1 x ;", "1 COLOR 2 : 1;", "1 TYPE 256 : 1;", "0 : 1;", "2000000000 : 1;", "1 NAME : 1;",
                          "2 : 1 ; z : 2"}) {
    CReadMemory r(bad);
    EXPECT_EQ(back.Import(r), 0u) << bad;
    EXPECT_EQ(back.Compare(rows), 0) << bad;
  }
  CReadMemory lower("32 name q type 4 : 2.5");
  EXPECT_EQ(back.Import(lower), 1u);
  EXPECT_EQ(back.GetType(32), 4);
  EXPECT_STREQ(back.GetText(32), "q");
}

namespace {

// A document of a title, a table of rows and a list of names, closed by the
// table's DOCUMENT record and the names' position.
void WriteDocument(CFileBase& f, const CText& title, VDblData& rows, const VCText& names) {
  title.Write(f);
  DOCUMENT doc;
  rows.Write(f, doc, 0);
  const long long namesAt = static_cast<long long>(names.Write(f, 1));
  f.Write(&doc, sizeof doc);
  f.Write(&namesAt, sizeof namesAt);
}

} // namespace

// tests/data/document.bin was written by the Linux build. Every build writes
// the same bytes from the same values, and reads the stored file into objects
// that write it again byte for byte.
TEST(PortableDocument, EverySystemWritesAndReadsBackTheSameBytes) {
  test::TempDir dir;
  const std::string stored = std::string(ZEL_TEST_DATA_DIR) + "/document.bin";
  const double node[3] = {0.1, -2.5e-300, 1.0 / 3.0}, load[2] = {-1e6, 6.02214076e23};
  VDblData rows;
  rows.Append("\xD3\xE7\xE5\xEB 1", 3, node, 1);
  rows.Append("load", 2, load, 7);
  VCText names;
  names.AddStr("steel;timber;", ';');
  CFileBase f;
  ASSERT_EQ(f.Open(dir.File("fresh.bin").c_str(), "w"), 1);
  WriteDocument(f, CText("\xD0\xE0\xEC\xE0 1"), rows, names);
  f.Close();
  const auto bytes = test::Bytes(stored);
  EXPECT_EQ(test::Bytes(dir.File("fresh.bin")), bytes);

  CText title;
  VDblData rowsBack;
  VCText namesBack;
  DOCUMENT doc;
  long long namesAt = 0;
  ASSERT_EQ(f.Open(stored.c_str(), "r"), 1);
  ASSERT_GT(f.GetLength(), 24);
  ASSERT_EQ(f.Read(&doc, sizeof doc, f.GetLength() - 24), 1);
  ASSERT_EQ(f.Read(&namesAt, sizeof namesAt, f.GetLength() - 8), 1);
  ASSERT_TRUE(title.Read(f, 0) && rowsBack.Read(f, doc) && namesBack.Read(f, namesAt, 1));
  f.Close();
  ASSERT_EQ(f.Open(dir.File("again.bin").c_str(), "w"), 1);
  WriteDocument(f, title, rowsBack, namesBack);
  f.Close();
  EXPECT_EQ(test::Bytes(dir.File("again.bin")), bytes);
}
