// Growth that the heap refuses leaves every container, reader and message
// list as the library's exception, never as a standard one.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_allocations.h"
#include "support/temp_files.h"
#include "zeltools/containers/list_index.h"
#include "zeltools/containers/small_vectors.h"
#include "zeltools/containers/vbase.h"
#include "zeltools/containers/vector.h"
#include "zeltools/files/file_base.h"
#include "zeltools/geometry/point_vectors.h"
#include "zeltools/geometry/segment.h"
#include "zeltools/text/file_print.h"
#include "zeltools/text/file_text.h"
#include "zeltools/text/params.h"
#include "zeltools/text/list_text.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/read_memory.h"
#include "zeltools/text/resource.h"
#include "zeltools/text/strings.h"

ZEL_TEST_FAILING_OPERATOR_NEW()

namespace zel {
namespace {

TEST(AllocationFailure, EveryGrowingEntryPointFailsWithTheLibrarysException) {
  if (!test::allocationsCanFail) GTEST_SKIP() << "the sanitizer keeps its own operator new";
  test::TempDir dir;
  CFileBase file;
  ASSERT_EQ(file.Open(dir.File("blocks.bin").c_str(), "rw"), 1);
  Vector<double> numbers;
  numbers.SetSize(2000);  // enough for the radix sort and its scratch buffer
  DOCUMENT numbersBlock;
  numbers.Write(file, numbersBlock, 1);
  // A count and its bytes: the payload both of a VBase and of a character vector.
  const std::vector<char> text(2000, 'x');
  const unsigned int count = 2000;
  const long long textAt = file.GetLength();
  file.Write(&count, 4, textAt);
  file.Write(text.data(), count, textAt + 4);
  VBase bytes;
  bytes.SetSize(3000);
  Vector<std::string> words(50, "word");
  CPhrase phrase;
  for (int k = 0; k < 40; ++k) phrase.Append("message", 1, k, 0);
  const std::string line(text.begin(), text.end());
  const std::string lines = dir.File("lines.txt");
  test::PutBytes(lines, std::vector<unsigned char>(text.begin(), text.end()));
  std::string script = "STRINGTABLE BEGIN\n";
  for (int k = 1; k <= 300; ++k) script += std::to_string(k) + " \"" + line.substr(0, 30) + "\"\n";
  script += "END\n";
  const std::string strings = dir.File("strings.rc");
  test::PutBytes(strings, std::vector<unsigned char>(script.begin(), script.end()));
  std::vector<unsigned int> runs(1000);
  for (unsigned int k = 0; k < runs.size(); ++k) runs[k] = 3 * k;
  VPoint2D points;
  VSegment grid;  // a 20 × 20 grid of crossing lines
  for (int k = 0; k < 500; ++k) points.push_back(CPoint2D(k % 25, k / 25));
  for (int k = 0; k < 20; ++k) {
    grid.push_back(CSegment(CPoint2D(0, k), CPoint2D(20, k)));
    grid.push_back(CSegment(CPoint2D(k, 0), CPoint2D(k, 20)));
  }

  // Each operation starts refusing requests once its operands are made.
  std::size_t from = 0;
  const auto refuse = [&] { return test::FailingAllocations(from); };
  // clang-format off
  const std::vector<std::pair<const char*, std::function<void()>>> operations = {
      {"Vector::SetSize", [&] { Vector<double> v(numbers); const auto failing = refuse(); v.SetSize(9000); }},
      {"Vector::Append(n, src)", [&] { Vector<double> v(numbers); const auto failing = refuse(); v.Append(1000, v.data()); }},
      {"Vector::Append(value)", [&] { Vector<double> v(numbers); const auto failing = refuse(); v.Append(1.0); }},
      {"Vector::AddSize", [&] { Vector<double> v(numbers); const auto failing = refuse(); v.AddSize(900, 2.0); }},
      {"Vector::SetMaxSize", [&] { Vector<double> v; const auto failing = refuse(); v.SetMaxSize(4000); }},
      {"Vector copy", [&] { const auto failing = refuse(); const Vector<double> v(numbers); }},
      {"Vector::Set", [&] { Vector<double> v; const auto failing = refuse(); v.Set(numbers); }},
      {"Vector::Order", [&] { std::vector<unsigned int> out; const auto failing = refuse(); numbers.Order(out); }},
      {"Vector::Sort", [&] { Vector<double> v(numbers); const auto failing = refuse(); v.Sort(); }},
      {"Vector::AddStr", [&] { Vector<char> v; const auto failing = refuse(); v.AddStr(text.data(), ' '); }},
      {"Vector of objects", [&] { Vector<std::string> v(words); const auto failing = refuse(); v.Append(words); }},
      {"Vector::Read", [&] { Vector<double> v; const auto failing = refuse(); v.Read(file, numbersBlock); }},
      {"VKZUINT::InitOrder", [&] { VKZUINT v; const auto failing = refuse(); v.InitOrder(2000, 1); }},
      {"SetListByte", [&] { Vector<unsigned char> marks; const auto failing = refuse(); SetListByte(1, &count, marks); }},
      {"VBase copy", [&] { const auto failing = refuse(); const VBase v(bytes); }},
      {"VBase::Append", [&] { VBase v(bytes); const auto failing = refuse(); v += v; }},
      {"VBase::SetSize", [&] { VBase v(bytes); const auto failing = refuse(); v.SetSize(9000); }},
      {"VBase::Set", [&] { VBase v; const auto failing = refuse(); v.Set(2000, nullptr); }},
      {"VBase::Read", [&] { VBase v; file.SetPosRead(textAt); const auto failing = refuse(); v.Read(file); }},
      {"CFileBase::Read(vector)", [&] { std::vector<char> out; const auto failing = refuse(); file.Read(out, textAt); }},
      {"CPhrase copy", [&] { const auto failing = refuse(); const CPhrase p(phrase); }},
      {"CPhrase::Append", [&] { CPhrase p(phrase); const auto failing = refuse(); p.Append(phrase, 0); }},
      {"KZText::Add", [&] { KZText t(line.c_str()); const auto failing = refuse(); t += t; }},
      {"KZText::SetLength", [&] { KZText t; const auto failing = refuse(); t.SetLength(3000); }},
      {"VCText::Add", [&] { VCText v; const auto failing = refuse(); for (int k = 0; k < 200; ++k) v.Add("x"); }},
      {"CReadMemory::GetString", [&] { CReadMemory r(line.c_str()); std::string out; const auto failing = refuse(); r.GetString(out); }},
      {"CReadMemory::GetWord", [&] { CReadMemory r(line.c_str()); std::vector<char> out; const auto failing = refuse(); r.GetWord(out); }},
      {"CReadMemory::GetListInt", [&] { CReadMemory r("1-5000"); std::vector<int> out; const auto failing = refuse(); r.GetListInt(out); }},
      {"ListText", [&] { std::vector<char> out; const auto failing = refuse(); ListText(runs.size(), runs.data(), out); }},
      {"TextList", [&] { std::vector<unsigned int> out; const auto failing = refuse(); TextList("1-5000", out); }},
      {"CFilePrint", [&] { CFilePrint p; p.Open(dir.File("report.txt").c_str()); const auto failing = refuse(); p.Text(line.c_str()); p.Close(); }},
      {"CFileText::GetString", [&] { CFileText f; f.Open(lines.c_str(), "r"); std::string out; const auto failing = refuse(); f.GetString(out); }},
      {"CResurce(script)", [&] { const auto failing = refuse(); CResurce r(strings.c_str()); }},
      {"SeparateString", [&] { std::vector<std::string> parts; const auto failing = refuse(); SeparateString(line.c_str(), parts, " "); }},
      {"VPoint2D::Merge", [&] { VPoint2D p(points); std::vector<unsigned int> map; const auto failing = refuse(); p.Merge(0.5, map); }},
      {"VPoint2D::Find(n)", [&] { std::vector<unsigned int> at; const auto failing = refuse(); points.Find(500, points.data(), 0.5, at); }},
      {"CPointIndex2D", [&] { VPoint2D p(points); const auto failing = refuse(); CPointIndex2D index(p, 0.5); }},
      {"VSegment::Split", [&] { VSegment s(grid); const auto failing = refuse(); s.Split(1e-9); }},
      {"CSegment::Split", [&] { VSegment out; const auto failing = refuse(); grid[0].Split(500, points.data(), 1e9, out); }},
  };
  // clang-format on
  for (const auto& [name, operation] : operations) {
    int refused = 0;
    for (const std::size_t limit : {16u, 1024u, 4096u}) {
      try {
        from = limit;
        operation();
      } catch (const Exception&) {
        ++refused;
      } catch (...) {
        ADD_FAILURE() << name << " let a standard exception out with requests from " << limit << " bytes failing";
      }
    }
    EXPECT_GT(refused, 0) << name << " never met a refused request";
  }
}

} // namespace
} // namespace zel
