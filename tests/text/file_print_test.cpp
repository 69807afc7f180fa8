// CFilePrint: paginated reports. Whole reports are compared with reviewed
// golden files under data/ (ZEL_UPDATE_GOLDEN=1 rewrites them); the page
// geometry is also checked by rule, so that a golden file cannot enshrine a
// page of the wrong length.
#include "zeltools/text/file_print.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/platform/platform.h"
#include "zeltools/rcscript/encoding.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

std::vector<std::string> Split(const std::string& text, char at) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, at);)
    parts.push_back(part);
  return parts;
}

// Compares the report with its golden file (the failure shows a diff).
void ExpectGolden(const std::string& report, const std::string& name) {
  const std::string path = ZEL_TEST_SOURCE_DIR "/text/data/" + name;
  if (std::getenv("ZEL_UPDATE_GOLDEN") != nullptr)
    std::ofstream(path, std::ios::binary) << test::TextOf(report);
  EXPECT_EQ(test::TextOf(report), test::TextOf(path)) << name;
}

// Every page has exactly `length` lines of at most `width` characters.
void ExpectPages(const std::string& report, unsigned int length, unsigned int width, std::size_t pages) {
  const std::vector<std::string> sheets = Split(test::TextOf(report), '\f');
  EXPECT_EQ(sheets.size(), pages);
  for (const std::string& sheet : sheets) {
    const std::vector<std::string> lines = Split(sheet, '\n');
    EXPECT_EQ(lines.size(), length);
    for (const std::string& line : lines)
      EXPECT_LE(line.size(), width) << line;
  }
}

class FilePrintTest : public ::testing::Test {
protected:
  test::TempDir dir_;
  std::string path_ = dir_.File("report.txt");
  CFilePrint print_;
};

TEST_F(FilePrintTest, LongTableRunsOverPagesWithItsHeaderRepeated) {
  ASSERT_EQ(print_.Open(path_.c_str()), 1);
  ASSERT_EQ(print_.SetPage(40, 72), 1);
  ASSERT_EQ(print_.SetHead("Frame F-12, load case 1: dead load\nNodal displacements"), 1);
  ASSERT_EQ(print_.SetFoot("ZelTools report test"), 1);
  print_.Title("STATIC ANALYSIS OF A PLANE FRAME\nNodal displacements in the global axes");
  print_.Text("Displacements are in millimetres, rotations in radians. Nodes with all "
              "displacements fixed are listed as well.");
  print_.Blank();
  const SPrintColumn columns[] = {{"Node", 6, CFilePrint::AlignRight, "%d"},
                                  {"Ux\nmm", 12, CFilePrint::AlignRight, "%.4f"},
                                  {"Uy\nmm", 12, CFilePrint::AlignRight, "%.4f"},
                                  {"Rz\nrad", 12, CFilePrint::AlignRight, "%.3e"},
                                  {"Support", 10, CFilePrint::AlignCenter, nullptr}};
  ASSERT_EQ(print_.BeginTable(5, columns), 1);
  for (int node = 1; node <= 200; ++node) {
    print_.Cell(node);
    print_.Cell(std::sin(node * 0.1) * 12.5);
    print_.Cell(-std::cos(node * 0.07) * node * 0.01);
    print_.Cell(node % 40 == 0 ? 0.0 : 1e-4 * node);
    print_.Cell(node % 40 == 0 ? "fixed\nall" : "");
    if (node % 50 == 0)
      print_.Separator();
    if (node == 130)
      print_.NewPage();
  }
  print_.EndTable();
  print_.NewPage();
  print_.Text("End of the table.");
  ASSERT_EQ(print_.Close(), 1);
  ExpectPages(path_, 40, 72, 9);
  ExpectGolden(path_, "report_long_table.txt");
}

TEST_F(FilePrintTest, ParagraphsWrapAtBlanksAndBreakLongWordsInUtf8) {
  print_.SetEncoding(CFilePrint::EncodingUtf8);
  ASSERT_EQ(print_.Open(path_.c_str()), 1);
  ASSERT_EQ(print_.SetPage(0, 40), 1);
  ASSERT_EQ(print_.SetPageNumber(nullptr, 1), 1);
  print_.Text(Utf8ToCp1251("Расчёт выполнен по схеме плоской рамы; узлы пронумерованы слева направо.").c_str());
  print_.Blank(3);
  print_.Text("A long paragraph with\ttabs and a word longer than the line: "
              "Donaudampfschifffahrtsgesellschaftskapitaenswitwe ends it.\r\n"
              "   An indented second paragraph keeps its leading blanks.",
              4);
  print_.Printf("%d elements, %.2f kN", 12, 3.5);
  ASSERT_EQ(print_.Close(), 1);
  ExpectGolden(path_, "report_paragraph.txt");
}

TEST_F(FilePrintTest, TableWiderThanTheLineIsPrintedInSlicesWithItsKeyColumn) {
  ASSERT_EQ(print_.Open(path_.c_str()), 1);
  ASSERT_EQ(print_.SetPage(24, 60), 1);
  ASSERT_EQ(print_.SetPageNumber("Page %u", 5), 1);
  std::string tall; // a note taller than a page body
  for (int i = 1; i <= 40; ++i)
    tall += "Check " + std::to_string(i) + " of the member passed. ";
  std::vector<SPrintColumn> columns{{"Element", 7, CFilePrint::AlignRight, "%d"}};
  const char* const heads[] = {"N, kN", "Qy, kN", "Qz, kN", "Mx, kNm", "My, kNm", "Mz, kNm", "Note"};
  for (const char* head : heads)
    columns.push_back({head, 10, CFilePrint::AlignRight, "%10.2f"});
  columns.back() = {"Note", 80, CFilePrint::AlignLeft, "%d"};
  ASSERT_EQ(print_.BeginTable(8, columns.data(), 1), 1);
  for (int element = 1; element <= 6; ++element) {
    print_.Cell(element * 10);
    for (int k = 1; k <= 6; ++k)
      print_.Cell(element * 100.0 / k - k);
    print_.Cell(element == 3 ? "buckling length taken from the code table; see the member check report for details"
                : element == 5 ? tall.c_str() : "");
  }
  print_.EndTable();
  ASSERT_EQ(print_.Close(), 1);
  ExpectPages(path_, 24, 60, 4);
  ExpectGolden(path_, "report_wide_table.txt");
}

TEST_F(FilePrintTest, FormatsThatDoNotFitTheCellAreNotUsed) {
  ASSERT_EQ(print_.Open(path_.c_str()), 1);
  ASSERT_EQ(print_.SetPage(0, 50), 1);
  const SPrintColumn columns[] = {{nullptr, 8, 0, "%s%f"}, {nullptr, 8, 0, "%n"}, {nullptr, 8, 0, "%9999d"},
                                  {nullptr, 8, 0, "<%s>"}};
  print_.BeginTable(4, columns);
  print_.Cell(1.5);
  print_.Cell(2);
  print_.Cell(3);
  print_.Cell("t");
  print_.Close();
  EXPECT_EQ(test::TextOf(path_), "+----------+----------+----------+----------+\n"
                         "| 1.5      | 2        | 3        | <t>      |\n"
                         "+----------+----------+----------+----------+\n\n"
                         "                                             - 1 -\n");
}

TEST_F(FilePrintTest, LayoutsWithoutRoomAreRefused) {
  EXPECT_EQ(print_.SetPage(60, CFilePrint::MinLineLength - 1), 0);
  EXPECT_EQ(print_.SetPage(11, 80), 0); // 2 foot lines leave 9
  EXPECT_EQ(print_.SetPage(12, 80), 1);
  EXPECT_EQ(print_.SetHead("one"), 0);
  EXPECT_EQ(print_.SetPageNumber("%s", 1), 0);
  EXPECT_EQ(print_.SetPageNumber(nullptr, 1), 1);
  EXPECT_EQ(print_.SetHead("one"), 1);
  EXPECT_EQ(print_.GetBodyLength(), 10u);

  CPhrase sink;
  EXPECT_EQ(print_.Open(dir_.File("missing/report.txt").c_str(), &sink), 0);
  EXPECT_FALSE(sink.empty());
  print_.Text("nothing is written while closed");
  const SPrintColumn column{};
  EXPECT_EQ(print_.BeginTable(1, &column), 0);
  EXPECT_EQ(print_.Close(), 1);
}

// A full device: the failure is reported once, nothing more is written, and
// Close says so.
TEST_F(FilePrintTest, FailedWriteEndsTheReport) {
  CPhrase sink;
  ASSERT_EQ(print_.Open(path_.c_str(), &sink), 1);
  platform::ScopedCalls saved;
  platform::Calls().fileWriteAt = [](void*, const void*, std::size_t, std::int64_t) -> std::int64_t {
    errno = ENOSPC;
    return -1;
  };
  for (int i = 0; i < 2000; ++i)
    print_.Printf("line %d of a report that does not fit on the device", i);
  EXPECT_EQ(print_.Close(), 0);
  ASSERT_FALSE(sink.empty());
  EXPECT_EQ(sink.back().param1, 107u);
  EXPECT_LE(sink.size(), 4u);
}

} // namespace
} // namespace zel
