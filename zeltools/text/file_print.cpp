#include "zeltools/text/file_print.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "zeltools/errors/internal/runtime_format.h"
#include "zeltools/memory/memory.h"
#include "zeltools/rcscript/encoding.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

// Room reported for the body of an endless page.
constexpr unsigned int Endless = UINT_MAX / 2;
// Width and precision digits accepted in a format: enough for any column,
// small enough that no conversion can ask for a huge buffer.
constexpr std::size_t MaxSpecDigits = 3;
// Narrowest a column is made to stand beside the key columns of a table
// wider than the line; a narrower one would wrap most texts beyond reading.
constexpr unsigned int MinKeyedWidth = 8;

// The library's texts are single-byte: control characters print as blanks,
// carriage returns go, line feeds stay as line breaks.
std::string Sanitize(const char* text) {
  std::string out;
  if (text == nullptr)
    return out;
  for (const char* p = text; *p != '\0'; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c == '\r')
      continue;
    out += c == '\n' || (c >= 0x20 && c != 0x7F) ? *p : ' ';
  }
  return out;
}

std::string TrimRight(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// Lines of at most `width` characters (see the wrapping rule in the header).
// Trailing blanks go first, so that what is left after a break always ends
// in a character that prints.
std::vector<std::string> Wrap(const std::string& text, unsigned int width) {
  width = std::max(width, 1u);
  std::vector<std::string> lines;
  for (std::size_t start = 0;;) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    std::string rest = TrimRight(text.substr(start, end - start));
    const std::size_t first = lines.size();
    while (rest.size() > width) {
      std::size_t cut = rest.find_last_of(' ', width);
      std::string line = cut == std::string::npos ? std::string() : TrimRight(rest.substr(0, cut));
      if (line.empty()) {
        cut = width;
        line = rest.substr(0, width);
      }
      lines.push_back(std::move(line));
      rest.erase(0, rest.find_first_not_of(' ', cut));
    }
    if (!rest.empty() || lines.size() == first)
      lines.push_back(std::move(rest));
    if (end == text.size())
      return lines;
    start = end + 1;
  }
}

std::string Aligned(const std::string& text, unsigned int width, unsigned char align) {
  const std::size_t pad = width > text.size() ? width - text.size() : 0;
  const std::size_t left = align == CFilePrint::AlignRight ? pad : align == CFilePrint::AlignCenter ? pad / 2 : 0;
  return std::string(left, ' ') + text + std::string(pad - left, ' ');
}

// `args` is consumed; an encoding error gives the empty text.
std::string FormatList(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  ZEL_RUNTIME_FORMAT_BEGIN
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  ZEL_RUNTIME_FORMAT_END
  va_end(copy);
  std::string out;
  if (length > 0) {
    out.resize(static_cast<std::size_t>(length) + 1);
    ZEL_RUNTIME_FORMAT_BEGIN
    std::vsnprintf(out.data(), out.size(), format, args);
    ZEL_RUNTIME_FORMAT_END
    out.pop_back();
  }
  return out;
}

std::string Format(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string out = FormatList(format, args);
  va_end(args);
  return out;
}

// A printf format with exactly one conversion, taken apart so that the
// length modifier can be chosen for the argument actually passed.
struct Conversion {
  std::string before; // the text before '%', "%%" kept
  std::string flags;   // flags, width, precision
  char letter = 0;
  std::string after;
};

bool SkipDigits(const std::string& f, std::size_t& j) {
  const std::size_t start = j;
  while (j < f.size() && f[j] >= '0' && f[j] <= '9')
    ++j;
  return j - start <= MaxSpecDigits;
}

bool OneConversion(const char* format, Conversion& out) {
  if (format == nullptr)
    return false;
  const std::string f = format;
  bool found = false;
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '%')
      continue;
    if (i + 1 < f.size() && f[i + 1] == '%') {
      ++i;
      continue;
    }
    if (found)
      return false;
    std::size_t j = i + 1;
    while (j < f.size() && std::strchr("-+ #0", f[j]) != nullptr)
      ++j;
    if (!SkipDigits(f, j))
      return false;
    if (j < f.size() && f[j] == '.' && !SkipDigits(f, ++j))
      return false;
    const std::size_t flagsEnd = j;
    while (j < f.size() && std::strchr("hlLqjzt", f[j]) != nullptr)
      ++j;
    if (j == f.size())
      return false;
    out.before = f.substr(0, i);
    out.flags = f.substr(i + 1, flagsEnd - i - 1);
    out.letter = f[j];
    out.after = f.substr(j + 1);
    found = true;
    i = j;
  }
  return found;
}

bool IsInteger(char letter) { return letter != 0 && std::strchr("diouxX", letter) != nullptr; }
bool IsReal(char letter) { return letter != 0 && std::strchr("fFeEgGaA", letter) != nullptr; }

std::string Rebuilt(const Conversion& c, const char* length) {
  return c.before + '%' + c.flags + length + c.letter + c.after;
}

std::string FormatInteger(const char* format, long long value) {
  Conversion c;
  if (!OneConversion(format, c) || !IsInteger(c.letter))
    return Format("%lld", value);
  const std::string f = Rebuilt(c, "ll");
  if (c.letter == 'd' || c.letter == 'i')
    return Format(f.c_str(), value);
  return Format(f.c_str(), static_cast<unsigned long long>(value));
}

std::string FormatReal(const char* format, double value) {
  Conversion c;
  if (!OneConversion(format, c) || !IsReal(c.letter))
    return Format("%g", value);
  return Format(Rebuilt(c, "").c_str(), value);
}

std::string FormatText(const char* format, const char* text) {
  Conversion c;
  if (!OneConversion(format, c) || c.letter != 's')
    return text != nullptr ? text : "";
  return Format(Rebuilt(c, "").c_str(), text != nullptr ? text : "");
}

} // namespace

CFilePrint::CFilePrint() = default;

// What a failed request is reported as: the printer's requests are lines
// and their pieces.
std::uint64_t CFilePrint::LineBytes() const noexcept { return std::uint64_t{lineLength_} + 1; }

CFilePrint::~CFilePrint() {
  try {
    Close();
  } catch (...) {
    // Reported to whoever calls Close; a destructor has no one to tell.
  }
}

unsigned char CFilePrint::Open(const char* name, CPhrase* sink, unsigned char crash) {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    Close();
    failed_ = false;
    firstPage_ = true;
    return file_.Open(name, "w", sink, crash);
  });
}

unsigned char CFilePrint::Close() {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    if (file_.GetHandle() == nullptr)
      return 1;
    EndTable();
    EndPage();
    const bool written = !failed_;
    failed_ = true; // nothing more goes to this file, even if closing throws
    const unsigned char closed = file_.Close();
    pendingFeed_ = false;
    return written && closed != 0 ? 1 : 0;
  });
}

// --- layout ------------------------------------------------------------------

bool CFilePrint::BodyFits(unsigned int pageLength, unsigned int headLines, unsigned int footLines) noexcept {
  return pageLength == 0 || (headLines < pageLength && pageLength - headLines >= footLines + MinBodyLength);
}

// The head's lines and the blank below them.
unsigned int CFilePrint::HeadLines(const std::vector<std::string>& head) noexcept {
  return head.empty() ? 0 : static_cast<unsigned int>(std::min<std::size_t>(head.size(), UINT_MAX - 1)) + 1;
}

// A blank line and the foot line.
unsigned int CFilePrint::FootLines(const std::string& foot, bool numbered) noexcept {
  return foot.empty() && !numbered ? 0 : 2;
}

unsigned int CFilePrint::GetBodyLength() const noexcept {
  if (pageLength_ == 0)
    return 0;
  return pageLength_ - HeadLines(head_) - FootLines(foot_, numbered_);
}

unsigned char CFilePrint::SetPage(unsigned int pageLength, unsigned int lineLength) {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    if (inTable_ || lineLength < MinLineLength || lineLength > MaxLineLength ||
        !BodyFits(pageLength, HeadLines(head_), FootLines(foot_, numbered_)))
      return 0;
    pageLength_ = pageLength;
    lineLength_ = lineLength;
    return 1;
  });
}

unsigned char CFilePrint::SetHead(const char* text) {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    std::vector<std::string> lines;
    const std::string head = Sanitize(text);
    if (!head.empty()) {
      std::size_t start = 0;
      for (std::size_t end; (end = head.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(head.substr(start, end - start));
      lines.push_back(head.substr(start));
    }
    if (!BodyFits(pageLength_, HeadLines(lines), FootLines(foot_, numbered_)))
      return 0;
    head_ = std::move(lines);
    return 1;
  });
}

unsigned char CFilePrint::SetFoot(const char* text) {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    std::string foot = Sanitize(text);
    std::replace(foot.begin(), foot.end(), '\n', ' ');
    if (!BodyFits(pageLength_, HeadLines(head_), FootLines(foot, numbered_)))
      return 0;
    foot_ = std::move(foot);
    return 1;
  });
}

unsigned char CFilePrint::SetPageNumber(const char* format, unsigned int next) {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    Conversion c;
    if (format != nullptr && (!OneConversion(format, c) || !IsInteger(c.letter)))
      return 0;
    if (!BodyFits(pageLength_, HeadLines(head_), FootLines(foot_, format != nullptr)))
      return 0;
    numbered_ = format != nullptr;
    numberFormat_ = format != nullptr ? Sanitize(format) : std::string();
    nextPage_ = next;
    return 1;
  });
}

// --- pages -------------------------------------------------------------------

unsigned int CFilePrint::Room() const noexcept {
  if (!pageOpen_) {
    const unsigned int body = GetBodyLength();
    return body == 0 ? Endless : body;
  }
  if (pageBody_ == 0)
    return Endless;
  return pageBody_ > bodyUsed_ ? pageBody_ - bodyUsed_ : 0;
}

void CFilePrint::Emit(const std::string& line) {
  if (failed_ || file_.GetHandle() == nullptr)
    return;
  std::string out = pendingFeed_ ? "\f" + TrimRight(line) : TrimRight(line);
  pendingFeed_ = false;
  if (utf8_)
    out = Cp1251ToUtf8(out);
  out += '\n';
  try {
    if (file_.Write(out.data(), out.size()) < 0)
      failed_ = true;
  } catch (...) {
    failed_ = true;
    throw;
  }
}

void CFilePrint::StartPage() {
  pageOpen_ = true;
  bodyUsed_ = 0;
  rowLinesOnPage_ = 0;
  page_ = nextPage_++;
  pageBody_ = GetBodyLength();
  pendingFeed_ = !firstPage_;
  firstPage_ = false;

  pageHasFoot_ = FootLines(foot_, numbered_) != 0;
  const std::string number = numbered_ ? FormatInteger(numberFormat_.c_str(), page_).substr(0, lineLength_) : "";
  const std::size_t room = lineLength_ - number.size();
  std::string foot = foot_.substr(0, number.empty() ? room : room > 0 ? room - 1 : 0);
  pageFoot_ = foot + std::string(lineLength_ - foot.size() - number.size(), ' ') + number;

  for (const std::string& line : head_)
    Emit(line.substr(0, lineLength_));
  if (!head_.empty())
    Emit("");
  // A table that runs on repeats its header, when the header leaves room for
  // a row line and the closing rule.
  if (started_ && (pageBody_ == 0 || header_.size() + 2 <= pageBody_)) {
    for (const std::string& line : header_)
      Emit(line);
    bodyUsed_ = static_cast<unsigned int>(header_.size());
  }
}

void CFilePrint::EndPage() {
  if (!pageOpen_)
    return;
  pageOpen_ = false;
  rowLinesOnPage_ = 0;
  if (pageBody_ != 0)
    for (; bodyUsed_ < pageBody_; ++bodyUsed_)
      Emit("");
  if (pageHasFoot_) {
    Emit("");
    Emit(pageFoot_);
  }
}

void CFilePrint::PutLine(const std::string& line) {
  if (file_.GetHandle() == nullptr)
    return;
  const bool full = pageOpen_ && Room() == 0;
  if (line.empty() && (!pageOpen_ || bodyUsed_ == 0 || full))
    return;
  if (full)
    EndPage();
  if (!pageOpen_)
    StartPage();
  Emit(line);
  ++bodyUsed_;
}

void CFilePrint::PutGroup(const std::vector<std::string>& lines) {
  if (pageOpen_ && bodyUsed_ > 0 && lines.size() > Room())
    EndPage();
  for (const std::string& line : lines)
    PutLine(line);
}

// --- text --------------------------------------------------------------------

void CFilePrint::Title(const char* text) {
  GuardAllocation(LineBytes(), [&] {
    EndTable();
    std::vector<std::string> lines{std::string(lineLength_, '=')};
    for (const std::string& line : Wrap(Sanitize(text), lineLength_))
      lines.push_back(Aligned(line, lineLength_, AlignCenter));
    lines.push_back(lines.front());
    lines.emplace_back();
    PutGroup(lines);
  });
}

void CFilePrint::Text(const char* text, unsigned int indent) {
  GuardAllocation(LineBytes(), [&] {
    EndTable();
    indent = std::min(indent, lineLength_ / 2);
    for (const std::string& line : Wrap(Sanitize(text), lineLength_ - indent))
      PutLine(line.empty() ? line : std::string(indent, ' ') + line);
  });
}

void CFilePrint::Printf(const char* format, ...) {
  if (format == nullptr)
    return;
  va_list args;
  va_start(args, format);
  const std::string text = GuardAllocation(LineBytes(), [&] { return FormatList(format, args); });
  va_end(args);
  Text(text.c_str());
}

void CFilePrint::Blank(unsigned int count) {
  GuardAllocation(LineBytes(), [&] {
    EndTable();
    for (unsigned int i = 0; i < count && pageOpen_ && bodyUsed_ > 0 && Room() > 0; ++i)
      PutLine("");
  });
}

void CFilePrint::NewPage() {
  GuardAllocation(LineBytes(), [&] {
    if (inTable_) {
      if (!holding_ && rowLinesOnPage_ > 0)
        TableBreak();
      return;
    }
    if (pageOpen_ && bodyUsed_ > 0)
      EndPage();
  });
}

// --- tables ------------------------------------------------------------------

unsigned char CFilePrint::BeginTable(unsigned int count, const SPrintColumn* columns, unsigned int keyColumns) {
  return GuardAllocation(LineBytes(), [&]() -> unsigned char {
    EndTable();
    if (count == 0 || columns == nullptr || file_.GetHandle() == nullptr)
      return 0;
    columns_.clear();
    for (unsigned int i = 0; i < count; ++i) {
      const SPrintColumn& c = columns[i];
      const unsigned int width = std::clamp(c.width, 1u, lineLength_ - 4);
      const unsigned char align = c.align <= AlignCenter ? c.align : AlignLeft;
      columns_.push_back({Sanitize(c.head), c.format != nullptr ? c.format : "", width, align});
    }
    // Key columns are repeated only when they leave MinKeyedWidth characters
    // beside them; a column too wide to stand there is narrowed to fit.
    keys_ = std::min(keyColumns, count);
    unsigned int keyWidth = 1;
    for (unsigned int i = 0; i < keys_; ++i)
      keyWidth += columns_[i].width + 3;
    if (keyWidth + 3 + MinKeyedWidth > lineLength_)
      keys_ = 0;
    else
      for (unsigned int i = keys_; i < count; ++i)
        columns_[i].width = std::min(columns_[i].width, lineLength_ - keyWidth - 3);
    inTable_ = true;
    cells_.clear();
    held_.clear();
    const auto slices = Slices();
    holding_ = slices.size() > 1;
    if (!holding_)
      BeginSlice(slices.front());
    return 1;
  });
}

std::vector<std::vector<unsigned int>> CFilePrint::Slices() const {
  const auto span = [&](unsigned int i) { return columns_[i].width + 3; };
  std::vector<unsigned int> keys;
  unsigned int keyWidth = 1;
  for (unsigned int i = 0; i < keys_; ++i) {
    keys.push_back(i);
    keyWidth += span(i);
  }
  std::vector<std::vector<unsigned int>> slices;
  std::vector<unsigned int> slice = keys;
  unsigned int width = keyWidth;
  // Every column fits beside the keys (BeginTable narrowed it), so a fresh
  // slice always takes the next one.
  for (unsigned int i = keys_; i < columns_.size(); ++i) {
    if (slice.size() > keys.size() && width + span(i) > lineLength_) {
      slices.push_back(slice);
      slice = keys;
      width = keyWidth;
    }
    width += span(i);
    slice.push_back(i);
  }
  slices.push_back(slice);
  return slices;
}

std::string CFilePrint::Rule(char fill) const {
  std::string rule = "+";
  for (unsigned int i : slice_)
    rule += std::string(columns_[i].width + 2, fill) + '+';
  return rule;
}

std::vector<std::string> CFilePrint::RowLines(const Row& cells) const {
  std::vector<std::vector<std::string>> wrapped;
  std::size_t height = 1;
  for (unsigned int i : slice_) {
    wrapped.push_back(Wrap(cells[i], columns_[i].width));
    height = std::max(height, wrapped.back().size());
  }
  std::vector<std::string> lines;
  for (std::size_t k = 0; k < height; ++k) {
    std::string line = "|";
    for (std::size_t j = 0; j < slice_.size(); ++j) {
      const Column& c = columns_[slice_[j]];
      line += ' ' + Aligned(k < wrapped[j].size() ? wrapped[j][k] : "", c.width, c.align) + " |";
    }
    lines.push_back(line);
  }
  return lines;
}

void CFilePrint::BeginSlice(const std::vector<unsigned int>& slice) {
  slice_ = slice;
  started_ = false;
  ruleDue_ = false;
  rowLinesOnPage_ = 0;
  header_ = {Rule('-')};
  Row heads;
  bool any = false;
  for (const Column& c : columns_) {
    heads.push_back(c.head);
    any = any || !c.head.empty();
  }
  if (any) {
    for (std::string& line : RowLines(heads))
      header_.push_back(std::move(line));
    header_.push_back(Rule('='));
  }
}

void CFilePrint::TableBreak() {
  // Only a header taller than the page leaves no room for the rule.
  if (Room() > 0)
    PutLine(Rule('-'));
  EndPage();
}

void CFilePrint::PrintRow(const Row& row) {
  const std::vector<std::string> lines = RowLines(row);
  if (!started_) {
    // The header goes with the first row, and the closing rule must fit.
    if (pageOpen_ && bodyUsed_ > 0 && header_.size() + lines.size() + 1 > Room())
      EndPage();
    for (const std::string& line : header_)
      PutLine(line);
    started_ = true;
  } else if (rowLinesOnPage_ > 0 && lines.size() + 1 + (ruleDue_ ? 1 : 0) > Room()) {
    TableBreak();
  }
  // A separator stands only between two rows of one page.
  if (ruleDue_ && rowLinesOnPage_ > 0)
    PutLine(Rule('-'));
  ruleDue_ = false;
  for (const std::string& line : lines) {
    // Only a row taller than a page body gets here without room.
    if (rowLinesOnPage_ > 0 && pageOpen_ && Room() < 2)
      TableBreak();
    PutLine(line);
    ++rowLinesOnPage_;
  }
}

void CFilePrint::PrintSeparator() { ruleDue_ = started_; }

void CFilePrint::EndSlice() {
  if (started_) {
    PutLine(Rule('-'));
  } else {
    std::vector<std::string> lines = header_;
    lines.push_back(Rule('-'));
    PutGroup(lines);
  }
  started_ = false;
}

void CFilePrint::AddCell(std::string text) {
  cells_.push_back(std::move(text));
  if (cells_.size() == columns_.size())
    FinishRow();
}

void CFilePrint::FinishRow() {
  cells_.resize(columns_.size());
  Row row = std::move(cells_);
  cells_.clear();
  if (holding_)
    held_.push_back(std::move(row));
  else
    PrintRow(row);
}

void CFilePrint::Cell(const char* text) {
  GuardAllocation(LineBytes(), [&] {
    if (inTable_)
      AddCell(Sanitize(FormatText(columns_[cells_.size()].format.c_str(), text).c_str()));
  });
}

void CFilePrint::Cell(long long value) {
  GuardAllocation(LineBytes(), [&] {
    if (inTable_)
      AddCell(FormatInteger(columns_[cells_.size()].format.c_str(), value));
  });
}

void CFilePrint::Cell(double value) {
  GuardAllocation(LineBytes(), [&] {
    if (inTable_)
      AddCell(FormatReal(columns_[cells_.size()].format.c_str(), value));
  });
}

void CFilePrint::Separator() {
  GuardAllocation(LineBytes(), [&] {
    if (!inTable_)
      return;
    if (!cells_.empty())
      FinishRow();
    if (holding_)
      held_.emplace_back();
    else
      PrintSeparator();
  });
}

void CFilePrint::EndTable() {
  GuardAllocation(LineBytes(), [&] {
    if (!inTable_)
      return;
    if (!cells_.empty())
      FinishRow();
    if (holding_) {
      bool first = true;
      for (const auto& slice : Slices()) {
        if (!first)
          PutLine("");
        first = false;
        BeginSlice(slice);
        for (const Row& row : held_) {
          if (row.empty())
            PrintSeparator();
          else
            PrintRow(row);
        }
        EndSlice();
      }
    } else {
      EndSlice();
    }
    inTable_ = false;
    holding_ = false;
    held_.clear();
    columns_.clear();
  });
}

} // namespace zel
