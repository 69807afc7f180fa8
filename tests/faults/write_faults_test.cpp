// Every writer of stored blocks meets a device that fills part-way.

#include <string>

#include <gtest/gtest.h>

#include "support/write_faults.h"
#include "zeltools/containers/array_plus.h"
#include "zeltools/containers/vbase.h"
#include "zeltools/containers/vector_array.h"
#include "zeltools/datastore/data_file.h"
#include "zeltools/geometry/point_vectors.h"
#include "zeltools/geometry/segment.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

using WriteFaults = test::FileTest;

TEST_F(WriteFaults, EveryWriterOfBlocksReportsAFullDeviceAndLosesNothing) {
  using F = CFileBase&;
  using D = DOCUMENT&;
  const auto old = [](D d, const DOCUMENT_OLD& o) { d = DOCUMENT{o.position, o.length}; };
  Vector<double> doubles(5000, 1.5);
  Vector<char> chars(40, 'c');
  VPoint3D points(1000, CPoint3D(1, 2, 3));
  VPoint2D plane(3, CPoint2D(4, 5));
  VSegment segments(600, CSegment(CPoint2D(1, 2), CPoint2D(3, 4)));
  VArrayPlus<unsigned int> rows;
  VectorArray<double, unsigned int> lists;
  VectorHeadArray<unsigned int, unsigned int, unsigned int> headed;
  for (unsigned int i = 0; i < 300; ++i) {
    rows.SetSize(i + 1);
    rows.Append(i, i);
    lists.Append(i % 50, doubles.data());
    headed.Append(i, i % 20, std::vector<unsigned int>(20, i).data());
  }
  CData table; // lines with a text, a data part of a double and two byte lists
  table.Init(8, 8, 2);
  for (unsigned int n = table.AddSize(400); n <= 400; ++n) {
    const double data = n * 0.5;
    table.SetText(n, std::string(n % 40, 'a' + n % 26).c_str());
    table.SetData(n, &data);
    table.AppendBase(n, 0, 2, &n);
    table.AppendBase(n, 1, n % 30, nullptr);
  }
  _CData withHead;
  withHead.Init(8, 8, 2, 20000); // a head large enough to fail on its own
  withHead.CData::Copy(table, 0), withHead.SetHead("head", 4);
  VBase fixed;
  fixed.SetType(0, 3), fixed.SetSize(2);
  VDataFile files;
  files.Append("a.txt", 1100000, std::string(1100000, 'f').data(), 7); // more than the table writer gathers
  files.Append("b.txt", 3, "abc", 1);
  VDblData rowsOfDoubles;
  rowsOfDoubles.Append("beam", 3000, doubles.data(), 2);
  KZText text(std::string(17000, 't').c_str());
  VCText texts;
  texts.AddStr(("one;;" + std::string(20000, 'x')).c_str(), ';');
  VKZText kzTexts(2);
  kzTexts[1] = "q", kzTexts[0] = "twelve bytes";
  CPhrase phrase;
  phrase.Append("a message", 1, 2, std::vector<unsigned int>(5000, 9).data(), 4, 5000, 5);
  phrase.Append(nullptr, 6, 7);
  const struct {
    const char* name;
    test::BlockWriter write;
    std::function<int()> mark;
  } writers[] = {
      {"Vector<double>", [&](F f, D d) { doubles.Write(f, d, 0); }},
      {"Vector<char>", [&](F f, D d) { chars.Write(f, d, 0); }},
      {"VPoint3D", [&](F f, D d) { points.Write(f, d, 0); }},
      {"VPoint2D", [&](F f, D d) { plane.Write(f, d, 0); }},
      {"VSegment", [&](F f, D d) { segments.Write(f, d, 0); }},
      {"VArrayPlus", [&](F f, D d) { rows.Write(f, d, 1); }},
      {"VectorArray", [&](F f, D d) { lists.SetModify(0x11), lists.Write(f, d); }, [&] { return lists.GetModify(); }},
      {"VectorHeadArray", [&](F f, D d) { headed.Write(f, d); }},
      {"CData", [&](F f, D d) { table.SetModify(0x11), table.Write(f, d, 0); }, [&] { return table.GetModify(); }},
      {"CData, older layout", [&](F f, D d) { DOCUMENT_OLD o; table.SetModify(0x11), table.WriteOld(f, o), old(d, o); },
       [&] { return table.GetModify(); }},
      {"CData, older layout from a VBase",
       [&](F f, D d) { DOCUMENT_OLD o; table.SetModify(0x11), table.WriteOld(f, o, fixed), old(d, o); },
       [&] { return table.GetModify(); }},
      {"_CData", [&](F f, D d) { withHead.SetModify(0x11), withHead.Write(f, d, 0); },
       [&] { return withHead.GetModify(); }},
      {"VDataFile", [&](F f, D d) { files.Write(f, d, 1); }},
      {"VDataFile, older layout", [&](F f, D d) { DOCUMENT_OLD o; files.Write11(f, o), old(d, o); }},
      {"VDblData", [&](F f, D d) { rowsOfDoubles.Write(f, d, 1); }},
      {"KZText", [&](F f, D d) { WriteBlock(f, d, false, [&] { return text.Write(f) >= 0; }); }},
      {"VCText", [&](F f, D d) { WriteBlock(f, d, false, [&] { return texts.Write(f, 2) != VCText::WriteFailed; }); }},
      {"VKZText", [&](F f, D d) { kzTexts.Write(f, d); }},
      {"CPhrase", [&](F f, D d) { WritePhrase(phrase, f, d); }},
      {"work-file mark", [&](F f, D d) { d = static_cast<CFileWork&>(f).SetMark() ? DOCUMENT{-32, 32} : DOCUMENT{}; }},
  };
  for (const auto& w : writers) {
    SCOPED_TRACE(w.name);
    test::ExpectWriteFaultsReported(path_, w.write, w.mark);
  }
}

} // namespace
} // namespace zel
