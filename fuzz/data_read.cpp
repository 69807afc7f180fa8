// Table blocks of the data store: the current and the older layout, the
// headed table, and the file and number tables.
#include <cstdlib>
#include <string>

#include "fuzz_support.h"
#include "zeltools/datastore/data.h"
#include "zeltools/datastore/data_file.h"

using namespace zel;

// A number list (base 0), a byte list (base 1) and 8-byte values (base 2),
// 6 data bytes per line.
template <class Table>
void Shape(Table& t) {
  t.Init(6, 6, 3);
  t.SetTypeBase(0, 12, 0);
  t.SetTypeBase(2, 11, 0);
  t.SetNumList(0);
}

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  CData table;
  Shape(table);
  const unsigned char line[6] = {1, 2, 3, 4, 5, 6};
  const unsigned int list[] = {3, 1, 2};
  const char* const texts[] = {"first", "", "third"};
  for (unsigned int k = 0; k < 3; ++k) {
    const unsigned int n = table.AddSize(1);
    table.SetData(n, line);
    table.SetText(n, texts[k]);
    table.AppendList(n, 3 - k, list);
  }
  seeds.Add("table", fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; table.Write(f, d, 1); }));
  seeds.Add("old", fuzz::Written(1, [&](CFileBase& f) { DOCUMENT_OLD d; table.WriteOld(f, d); }));
  _CData headed;
  headed.Init(6, 6, 3, 5);
  headed.SetTypeBase(0, 12, 0);
  headed.SetTypeBase(2, 11, 0);
  headed.SetNumList(0);
  headed.SetHead("head", 5);
  headed.SetData(headed.AddSize(1), line);
  seeds.Add("headed", fuzz::Written(2, [&](CFileBase& f) { DOCUMENT d; headed.Write(f, d, 1); }));
  VDataFile files;
  files.Append("memo", 3, "abc", 7);
  seeds.Add("files", fuzz::Written(3, [&](CFileBase& f) { DOCUMENT d; files.Write(f, d, 1); }));
  VDblData rows;
  const double values[] = {1.5, -2};
  rows.Append("r", 2, values, 1);
  seeds.Add("doubles", fuzz::Written(0x13, [&](CFileBase& f) { DOCUMENT d; rows.Write(f, d, 1); }));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 4, [&](CFileBase& file, const DOCUMENT doc) {
    switch (data[0] & 3) {
    case 0: {
      // An accepted table writes back the very bytes it was read from: a
      // reader that left a byte unread, or took a full size that disagrees
      // with the lines, would not.
      CData t;
      Shape(t);
      if (t.Read(file, doc) == 0 || doc.length == 0)
        break;
      file.Close();
      const std::string again = fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; t.Write(f, d, 1); });
      if (again.compare(1, std::string::npos, reinterpret_cast<const char*>(data + 1), size - 1) != 0)
        std::abort();
      break;
    }
    case 1: {
      CData t;
      Shape(t);
      t.ReadOld(file, DOCUMENT_OLD{0, static_cast<unsigned int>(file.GetLength())}, data[0] & 8 ? "101" : nullptr);
      break;
    }
    case 2: {
      _CData t;
      t.Init(6, 6, 3, 5);
      t.SetTypeBase(0, 12, 0);
      t.SetTypeBase(2, 11, 0);
      t.SetNumList(0);
      t.Read(file, doc);
      break;
    }
    default:
      if (data[0] & 0x10) {
        VDblData t;
        t.Read(file, doc);
      } else {
        VDataFile t;
        t.Read(file, doc);
      }
    }
  });
}
