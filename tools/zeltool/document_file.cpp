#include "document_file.h"

namespace zeltool {

void BeginDocument(zel::CFileWork& file) {
  const zel::DOCUMENT none;
  file.Write(&none, sizeof none, 0);
}

void EndDocument(zel::CFileWork& file, const zel::Vector<zel::DOCUMENT>& contents, zel::DOCUMENT& where) {
  contents.Write(file, where, 1);
  file.Write(&where, sizeof where, 0);
  file.SetMark();
}

zel::Vector<zel::DOCUMENT> ReadContents(zel::CFileWork& file, zel::DOCUMENT& where) {
  file.Read(&where, sizeof where, 0);
  zel::Vector<zel::DOCUMENT> contents;
  contents.Read(file, where);
  return contents;
}

} // namespace zeltool
