#include "zeltools/datastore/data_file.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zeltools/containers/compare.h"
#include "zeltools/containers/small_vectors.h"
#include "zeltools/errors/exception.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"
#include "zeltools/files/file_system.h"
#include "zeltools/memory/memory.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/file_print.h"
#include "zeltools/text/letter_case.h"
#include "zeltools/text/number_text.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/read_memory.h"

namespace zel {

namespace {

constexpr unsigned int MissingPath = 116; // "Path to file "%s" is not found"
constexpr unsigned char KindError = 3;     // the kind files give their catalogue messages
constexpr char ImportDelimiters[] = ":;/";
constexpr char EntryDelimiters[] = ":"; // a file name may hold folders
constexpr unsigned int WordSize = 1025; // words of up to 1024 bytes
static_assert(sizeof(unsigned short) == 2, "the content code is stored as the 2-byte data block");
static_assert(sizeof(double) == 8, "row values are stored as 8-byte doubles (element type 11)");

// The texts go to `messages` when given, else they are thrown: the one error
// path of the files, for reports that are not about one open file.
void Report(const std::string& text, unsigned int id, CPhrase* messages) {
  if (messages == nullptr)
    Crash(text.c_str());
  messages->Append(text.c_str(), KindError, id);
}

void ReportMissing(const char* path, CPhrase* messages) {
  std::string text;
  GetLibraryMessage(MissingPath, text);
  const std::size_t at = text.find("%s");
  if (at != std::string::npos)
    text.replace(at, 2, path);
  Report(text, MissingPath, messages);
}

// The folder must exist and `name` (its name part) fit beside it.
bool FolderPath(const char* folder, const char* name, std::string& path, CPhrase* messages) {
  const std::string base = folder == nullptr ? std::string() : folder;
  if (base.empty() || !platform::Calls().fileExists(base.c_str())) {
    ReportMissing(base.c_str(), messages);
    return false;
  }
  // Only the name part goes into the folder, so only it must fit there.
  char leaf[PathSize] = {};
  if (std::strlen(name) < PathSize)
    FileGetName(name, leaf);
  if (std::strlen(name) >= PathSize || base.size() + std::strlen(leaf) + 2 > PathSize) {
    ReportMissing((base + "/" + name).c_str(), messages);
    return false;
  }
  const char last = base.back();
  const std::string dir = last == '/' || last == '\\' ? base : base + "/";
  char full[PathSize] = {};
  FilePathBase(dir.c_str(), leaf, full);
  path = full;
  return true;
}

// A line number may lie beyond the table by no more than the text has
// bytes, so that a text cannot make the table grow out of proportion to it.
bool WithinText(unsigned int number, unsigned int quantity, unsigned long long length) {
  return number <= quantity || number - quantity <= length;
}

std::string Quoted(const char* text) { return std::string("\"") + text + "\""; }

void AddSeparator(std::string& s, char c) {
  if (c != 0)
    s += c;
}

} // namespace

// --- VDataFile -------------------------------------------------------------------

VDataFile::VDataFile() { Init(2, 2, 1); }

unsigned int VDataFile::Append(const char* name, unsigned short content) {
  // Collected first, so that the line added for a file that fails to load
  // is taken back before the failure is thrown.
  CPhrase failure;
  const unsigned char marks = GetModify();
  const unsigned int n = AppendFile(name, &failure);
  if (n != 0) {
    SetContent(n, content);
  } else if (!failure.empty()) {
    ClearModify();
    SetModify(marks);
    Crash(failure.back().GetText());
  }
  return n;
}

unsigned int VDataFile::Append(const char* name, unsigned int count, const void* bytes, unsigned short content) {
  return Replace(0, name, count, bytes, content);
}

unsigned int VDataFile::Append(unsigned int n, const VDataFile& src) {
  if (n == 0)
    return CData::Append(src, 0, nullptr);
  return CData::Append(n, src);
}

unsigned int VDataFile::Replace(unsigned int n, const char* name, unsigned int count, const void* bytes,
                                unsigned short content) {
  if (n == 0)
    n = AddSize(1);
  else if (!ValidLine(n))
    return 0;
  SetText(n, name);
  ReplaceBase(n, 0, count, bytes);
  SetContent(n, content);
  return n;
}

unsigned int VDataFile::Replace(unsigned int n, const char* name, unsigned short content) {
  if (!ValidLine(n) || ReplaceFileA(n, name, nullptr) == 0)
    return 0;
  SetContent(n, content);
  return n;
}

unsigned short VDataFile::GetContent(unsigned int n) const noexcept {
  if (!ValidLine(n))
    return 0;
  unsigned short content = 0;
  std::memcpy(&content, GetData(n), sizeof content);
  return content;
}

void VDataFile::SetContent(unsigned int n, unsigned short content) noexcept {
  if (ValidLine(n))
    std::memcpy(GetData(n), &content, sizeof content);
}

unsigned int VDataFile::Import(const char* text, unsigned long length) {
  if (text == nullptr || length > 0xFFFFFFFFul) // the reader counts in 32 bits
    return 0;
  CReadMemory reader;
  reader.Init(text, static_cast<unsigned int>(length));
  std::vector<char> word;
  int number = 0;
  if (reader.GetWord(word, EntryDelimiters) != 0 || word.size() > WordSize || CharInt(word.data(), number) == 0 ||
      number <= 0 || !WithinText(static_cast<unsigned int>(number), GetSize(), length))
    return 0;
  if (reader.GetWord(word, EntryDelimiters) != ':')
    return 0;
  if (reader.GetWord(word, EntryDelimiters) != 0 || word.size() > WordSize || word[0] == '\0')
    return 0;
  const unsigned int before = GetSize();
  const unsigned char marks = GetModify();
  if (before < static_cast<unsigned int>(number) - 1)
    SetSize(static_cast<unsigned int>(number) - 1);
  try {
    return Append(word.data(), 0);
  } catch (...) {
    // Nothing half-imported: the lines added for the number go again.
    SetSize(before);
    ClearModify();
    SetModify(marks);
    throw;
  }
}

namespace {

std::string FileEntry(const VDataFile& files, unsigned int line, char c1, char c2, char c3) {
  static constexpr char hex[] = "0123456789ABCDEF";
  std::string s = "\n" + std::to_string(line) + "/" + Quoted(files.GetText(line));
  const SData* bytes = files.GetBase(line, 0);
  AddSeparator(s, c1);
  s += std::to_string(files.GetContent(line));
  AddSeparator(s, c1);
  s += std::to_string(bytes->count);
  AddSeparator(s, c2);
  const auto* b = static_cast<const unsigned char*>(bytes->list);
  for (unsigned int i = 0; i < bytes->count; ++i) {
    if (i != 0)
      AddSeparator(s, c3);
    s += hex[b[i] >> 4];
    s += hex[b[i] & 15];
  }
  return s;
}

} // namespace

void VDataFile::Export(unsigned int n, CFilePrint& out, char c1, char c2, char c3) const {
  const unsigned int first = n == 0 ? 1 : n, last = n == 0 ? GetSize() : n;
  if (!ValidLine(first) || last > GetSize())
    return;
  for (unsigned int line = first; line <= last; ++line) {
    const std::uint64_t bytes = 3ull * GetBase(line, 0)->count + std::strlen(GetText(line)) + 40;
    out.Text(GuardAllocation(bytes, [&] { return FileEntry(*this, line, c1, c2, c3); }).c_str());
  }
}

unsigned int VDataFile::SetDisk(const char* folder) {
  std::vector<std::string> paths(GetSize() + 1);
  for (unsigned int n = 1; n <= GetSize(); ++n)
    FolderPath(folder, GetText(n), paths[n], nullptr);
  unsigned int reloaded = 0;
  for (unsigned int n = 1; n <= GetSize(); ++n) {
    if (!platform::Calls().fileExists(paths[n].c_str()))
      continue;
    const std::string name = GetText(n);
    if (ReplaceFileA(n, paths[n].c_str(), nullptr) != 0) {
      SetText(n, name.c_str());
      ++reloaded;
    }
  }
  return reloaded;
}

// 0 when the file at `path` holds exactly line `n`'s bytes, 1 when it is
// missing, 2 when it differs. Only as many bytes are read as the line holds.
unsigned char VDataFile::CheckLine(unsigned int n, const char* path) const {
  if (!platform::Calls().fileExists(path))
    return 1;
  CPhrase quiet;
  CFileBase file;
  if (file.Open(path, "rs", &quiet) == 0)
    return 1;
  const SData* bytes = GetBase(n, 0);
  if (file.GetLength() != static_cast<long long>(bytes->count))
    return 2;
  std::vector<unsigned char> disk;
  GuardAllocation(bytes->count, [&] { disk.resize(bytes->count); });
  if (bytes->count != 0 && file.Read(disk.data(), bytes->count, 0) == 0)
    return 2;
  return bytes->count == 0 || std::memcmp(disk.data(), bytes->list, bytes->count) == 0 ? 0 : 2;
}

unsigned char VDataFile::CheckDisk(const char* folder, CPhrase* messages) const {
  std::vector<std::string> paths(GetSize() + 1);
  if (!FolderPath(folder, "", paths[0], messages))
    return 0;
  for (unsigned int n = 1; n <= GetSize(); ++n)
    if (!FolderPath(folder, GetText(n), paths[n], messages))
      return 0;
  std::string list;
  for (unsigned int n = 1; n <= GetSize(); ++n) {
    const unsigned char state = CheckLine(n, paths[n].c_str());
    if (state == 0)
      continue;
    if (!list.empty())
      list += '\n';
    list += std::to_string(n) + " " + GetText(n) + (state == 1 ? ": missing" : ": differs");
  }
  if (list.empty())
    return 1;
  Report(std::string(folder) + "\n" + list, 0, messages);
  return 0;
}

unsigned int VDataFile::CheckDisk(VKZUINT& lines) const {
  lines.clear();
  for (unsigned int n = 1; n <= GetSize(); ++n)
    if (CheckLine(n, GetText(n)) != 0)
      lines.Append(n);
  return lines.GetSize();
}

void VDataFile::ExportDisk(const char* folder) const {
  std::vector<std::string> paths(GetSize() + 1);
  for (unsigned int n = 1; n <= GetSize(); ++n)
    FolderPath(folder, GetText(n), paths[n], nullptr);
  for (unsigned int n = 1; n <= GetSize(); ++n)
    ExportDisk(n, paths[n].c_str(), nullptr);
}

unsigned char VDataFile::ExportDisk(unsigned int n, const char* path, CPhrase* messages) const {
  if (!ValidLine(n) || path == nullptr)
    return 0;
  CFileBase file;
  if (file.Open(path, "w", messages) == 0)
    return 0;
  const SData* bytes = GetBase(n, 0);
  if (bytes->count != 0 && file.Write(bytes->list, bytes->count) < 0)
    return 0;
  return file.Close();
}

void VDataFile::Write11(CFileBase& file, DOCUMENT_OLD& doc) { WriteOld(file, doc); }

// --- VDblData --------------------------------------------------------------------

VDblData::VDblData() {
  Init(16, 16, 1);
  SetTypeBase(0, 11, 0);
}

unsigned char VDblData::GetType(unsigned int n) const noexcept {
  return ValidLine(n) ? *static_cast<const unsigned char*>(GetData(n)) : 0;
}

void VDblData::SetType(unsigned int n, unsigned char type) {
  if (!ValidLine(n))
    return;
  unsigned char data[16] = {type};
  SetData(n, data);
}

unsigned int VDblData::Append(const char* name, unsigned int count, const double* values, unsigned char type) {
  // Walks the line images in place: this scan runs over the whole table on
  // every append, and the per-line accessors cost several times the
  // comparisons. An image is the text pointer, base 0's record, then the data
  // block with the type byte first.
  const VDblData& self = *this; // the read-only image, which keeps the look-up index
  const unsigned char* image = self.LineBytes(1);
  const unsigned int stride = GetLineImageSize(), dataAt = GetImageDataOffset();
  for (unsigned int n = 1; n <= GetSize(); ++n, image += stride) {
    if (image[dataAt] != type)
      continue;
    const char* text = reinterpret_cast<const SDataLine*>(image)->text;
    if (name != nullptr && std::strcmp(text == nullptr ? "" : text, name) != 0)
      continue;
    const auto* stored = reinterpret_cast<const SData*>(image + sizeof(SDataLine));
    if (CompareDouble(stored->count, static_cast<const double*>(stored->list), count, values, DuplicateTolerance) == 0)
      return n;
  }
  return Replace(0, name, count, values, type);
}

unsigned int VDblData::Replace(unsigned int n, const char* name, unsigned int count, const double* values,
                               unsigned char type) {
  if (n == 0)
    n = AddSize(1);
  else if (!ValidLine(n))
    return 0;
  ReplaceBase(n, 0, count, values);
  SetText(n, name);
  SetType(n, type);
  return n;
}

namespace {

struct SRow {
  unsigned int number = 0;
  std::string name;
  int type = 0;
  std::vector<double> values;
};

// One row; 0 at the end of the text, -1 when malformed.
int ReadRow(CReadMemory& text, unsigned int quantity, SRow& row) {
  std::vector<char> word;
  int code = text.GetWord(word, ImportDelimiters);
  if (code == -1)
    return 0;
  int number = 0;
  if (code != 0 || word.size() > WordSize || CharInt(word.data(), number) == 0 || number <= 0 ||
      !WithinText(static_cast<unsigned int>(number), quantity, text.GetLength()))
    return -1;
  row.number = static_cast<unsigned int>(number);
  code = text.GetWord(word, ImportDelimiters);
  if (code == '/')
    code = text.GetWord(word, ImportDelimiters);
  for (; code != ':'; code = text.GetWord(word, ImportDelimiters)) {
    if (code != 0 || word.size() > WordSize)
      return -1;
    const bool isName = StrCmpUp(word.data(), "NAME", 0) == 0, isType = StrCmpUp(word.data(), "TYPE", 0) == 0;
    if (!isName && !isType)
      return -1;
    if (text.GetWord(word, ImportDelimiters) != 0 || word.size() > WordSize)
      return -1;
    if (isName)
      row.name = word.data();
    else if (CharInt(word.data(), row.type) == 0 || row.type < 0 || row.type > 255)
      return -1;
  }
  for (code = text.GetWord(word, ImportDelimiters); code != ';' && code != -1;
       code = text.GetWord(word, ImportDelimiters)) {
    double value = 0;
    if (code != 0 || word.size() > WordSize || CharDouble(word.data(), value) == 0)
      return -1;
    row.values.push_back(value);
  }
  return 1;
}

} // namespace

unsigned int VDblData::Import(CReadMemory& text) {
  // Read whole before anything changes, so that a malformed text leaves the
  // table as it was.
  std::vector<SRow> rows;
  const bool wellFormed = GuardAllocation(text.GetLength(), [&] {
    for (;;) {
      SRow row;
      const int state = ReadRow(text, GetSize(), row);
      if (state <= 0)
        return state == 0;
      rows.push_back(std::move(row));
    }
  });
  if (!wellFormed)
    return 0;
  for (const SRow& row : rows) {
    if (GetSize() < row.number)
      SetSize(row.number);
    Replace(row.number, row.name.c_str(), static_cast<unsigned int>(row.values.size()), row.values.data(),
            static_cast<unsigned char>(row.type));
  }
  return static_cast<unsigned int>(rows.size());
}

namespace {

std::string RowEntry(const VDblData& rows, unsigned int line, char c1, char c2, char c3) {
  std::string s = "\n" + std::to_string(line) + "/";
  if (*rows.GetText(line) != '\0') { // "" would read as one quote character
    s += "NAME";
    AddSeparator(s, c1);
    s += Quoted(rows.GetText(line));
    AddSeparator(s, c1);
  }
  s += "TYPE";
  AddSeparator(s, c1);
  s += std::to_string(rows.GetType(line));
  AddSeparator(s, c1);
  s += ':';
  const SData* values = rows.GetBase(line, 0);
  for (unsigned int i = 0; i < values->count; ++i) {
    AddSeparator(s, i == 0 ? c2 : c3);
    char number[32] = {};
    DoubleChar(static_cast<const double*>(values->list)[i], number, sizeof number);
    s += number;
  }
  AddSeparator(s, c2);
  s += ';';
  return s;
}

} // namespace

void VDblData::Export(unsigned int n, CFilePrint& out, char c1, char c2, char c3) const {
  const unsigned int first = n == 0 ? 1 : n, last = n == 0 ? GetSize() : n;
  if (!ValidLine(first) || last > GetSize())
    return;
  for (unsigned int line = first; line <= last; ++line) {
    const std::uint64_t bytes = 26ull * GetBase(line, 0)->count + std::strlen(GetText(line)) + 40;
    out.Text(GuardAllocation(bytes, [&] { return RowEntry(*this, line, c1, c2, c3); }).c_str());
  }
}

// --- single entries ----------------------------------------------------------------

CDataFile::CDataFile(const char* name, unsigned int count, const void* bytes, unsigned short content) {
  VDataFile::Append(name, count, bytes, content);
}

CDataFile::CDataFile(const VDataFile& src, unsigned int n) { VDataFile::Append(n == 0 ? 0xFFFFFFFF : n, src); }

CDblData::CDblData(const char* name, unsigned int count, const double* values, unsigned char type) {
  Replace(0, name, count, values, type);
}

CDblData::CDblData(const VDblData& src, unsigned int n) {
  if (n != 0)
    CData::Append(n, src);
}

} // namespace zel
