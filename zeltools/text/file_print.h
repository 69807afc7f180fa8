#pragma once
/// \file
/// `CFilePrint`: a paginated plain-text report written to a file: a title
/// block, running heads and feet with page numbers, wrapped text and framed
/// tables, pages separated by form feeds.
///
/// Page layout (every count in lines, every width in characters):
///
///     [form feed] head lines            the running head, each line cut to
///     (blank)                           the line length; absent without head
///     body                              `GetBodyLength()` lines, padded
///     ...                               with blank lines up to the foot
///     (blank)                           the foot: absent when there is
///     foot text            - 3 -        neither a foot text nor numbering
///
/// - Every page after the first begins with a form feed (0x0C) directly in
///   front of its first line; lines end with a line feed.
/// - The page number stands at the right end of the foot line, made by a
///   printf format with one integer conversion, "- %u -" unless
///   `SetPageNumber` chose another (null: no numbers). The foot text stands
///   at its left and is cut so that both fit.
/// - With page length 0 a page never fills: the head once at the top, the
///   foot once at the end, no padding, and a form feed only where `NewPage`
///   asks for one.
/// - A page is begun by the first line that falls on it and finished (padded,
///   given its foot) when the next page begins or at `Close`; a report with
///   no lines writes nothing.
/// - Blank lines that would open a page body, or fall on a full one, are
///   dropped.
///
/// Text: texts are Windows-1251 bytes like every text of the library, one
/// character per byte, so widths count bytes. The UTF-8 option converts each
/// line as it is written, so widths still count characters. In a text, a
/// line feed starts a new line, a tab or any other control character prints
/// as a blank and a carriage return is dropped.
///
/// Wrapping (text, title, table cells): a line breaks at the last blank that
/// lets it fit; the blanks at the break vanish; blanks elsewhere, leading
/// ones included, are kept as given. A word longer than the width is broken
/// after the last character that fits, without a hyphen. Trailing blanks of
/// every written line are dropped.
///
/// Tables: columns of given widths (characters inside the boards) and
/// alignment, framed in plain characters:
///
///     +------+-----------+
///     | Node |         X |      header lines (a head text may wrap)
///     +======+===========+
///     |    1 |     0.000 |      rows; a cell that does not fit wraps
///     +------+-----------+      inside its column
///
/// - A row is never split across pages when it fits on one page body with
///   the header: it then goes to the next page. A page that a table leaves
///   is closed with the rule, and the next page repeats the table's header
///   above the rows that follow (when the header leaves room on the page for
///   a row line and the rule). A row taller than a whole page body begins on
///   a new page and is split line by line at the page ends, with the same
///   rule and header repeat.
/// - A separator is drawn only between two rows on one page.
/// - The header is kept together with the first row.
/// - A table wider than the line is printed in vertical slices, one after
///   the other with a blank line between: each slice is a complete table of
///   all rows over the leading key columns (`BeginTable`'s `keyColumns`)
///   and as many further columns, in order, as fit the line. A column too
///   wide to stand beside the key columns is narrowed to fit there; key
///   columns that leave fewer than 8 characters beside them are not
///   repeated. A column wider than the line by itself is narrowed to fit. The
///   rows of such a table are held until `EndTable`; narrower tables print
///   each row as it is completed.
/// - Typed cells are formatted by the column's printf format. The format
///   must hold exactly one conversion, and a conversion of the cell's kind
///   (d i u o x X for integers, f F e E g G a A for reals, s for text; flags,
///   width, precision and a length modifier are allowed, the length being
///   chosen here); otherwise, and without a format, the value's default is
///   used ("%d", "%g", the text as it stands). A format can never read an
///   argument of the wrong type.
///
/// Errors: the file reports as `CFileBase` does, to the `CPhrase` given to
/// `Open` or by throwing. After a failed write nothing more is written and
/// `Close` returns 0. Calls that do not fit the state (a cell without a
/// table, output while closed) are ignored.

#include <cstdint>
#include <string>
#include <vector>

#include "zeltools/files/file_base.h"

namespace zel {

class CPhrase;

/// One column of a table.
struct SPrintColumn {
  /// Header text; a line feed starts a new header line. Null: none.
  const char* head = nullptr;
  /// Characters between the boards (at least 1).
  unsigned int width = 10;
  /// `CFilePrint::AlignLeft`, `AlignRight` or `AlignCenter`.
  unsigned char align = 0;
  /// printf format for typed cells (see the file comment; width and
  /// precision of at most three digits); null: defaults.
  const char* format = nullptr;
};

class CFilePrint {
public:
  static constexpr unsigned char AlignLeft = 0;
  static constexpr unsigned char AlignRight = 1;
  static constexpr unsigned char AlignCenter = 2;

  static constexpr unsigned char Encoding1251 = 0;
  static constexpr unsigned char EncodingUtf8 = 1;

  /// Shortest line accepted by `SetPage`, so that a framed column and a page
  /// number always have room.
  static constexpr unsigned int MinLineLength = 20;
  /// Longest line accepted by `SetPage`.
  static constexpr unsigned int MaxLineLength = 4096;
  /// Fewest body lines a page must keep after its head and foot.
  static constexpr unsigned int MinBodyLength = 10;

  /// Pages of 60 lines of 80 characters, numbered "- %u -" from 1, no head,
  /// no foot text, Windows-1251.
  CFilePrint();
  CFilePrint(const CFilePrint&) = delete;
  CFilePrint& operator=(const CFilePrint&) = delete;
  /// `Close`, swallowing a failure (call `Close` to learn of one).
  ~CFilePrint();

  /// Creates or empties `name` for writing. Failures report through `sink`
  /// or throw, as `CFileBase::Open` does (`crash` as there); the result is
  /// 1 on success. A report already open is closed first. The layout, head,
  /// foot and encoding are kept; page numbers go on from where they stood
  /// unless `SetPageNumber` sets them again.
  unsigned char Open(const char* name, CPhrase* sink = nullptr, unsigned char crash = 0);
  /// Ends an open table, finishes the last page and closes the file. 1 when
  /// everything was written (or nothing was open), else 0.
  unsigned char Close();

  // --- layout --------------------------------------------------------------

  /// Page length in lines (0: one endless page) and line length in
  /// characters. Refused (0, nothing changed) when the line is shorter than
  /// `MinLineLength` or longer than `MaxLineLength`, when the body would be
  /// shorter than `MinBodyLength`, and while a table is open. The page
  /// length applies from the next page on, the line length at once.
  unsigned char SetPage(unsigned int pageLength, unsigned int lineLength);
  /// The running head (null or "": none); a line feed separates its lines.
  /// Refused like `SetPage` when the body would become too short. Applies
  /// from the next page on.
  unsigned char SetHead(const char* text);
  /// The foot text (null or "": none). Refused like `SetHead`. Applies from
  /// the next page on.
  unsigned char SetFoot(const char* text);
  /// The page-number format (null: no numbers) and the number of the next
  /// page. A format without exactly one integer conversion is refused (0),
  /// and so is numbering that would leave the body too short.
  unsigned char SetPageNumber(const char* format, unsigned int next);
  /// Output in Windows-1251 (the default) or converted to UTF-8.
  void SetEncoding(unsigned char encoding) noexcept { utf8_ = encoding == EncodingUtf8; }

  unsigned int GetPageLength() const noexcept { return pageLength_; }
  unsigned int GetLineLength() const noexcept { return lineLength_; }
  /// Lines of a page body with the present head and foot (0 for endless
  /// pages).
  unsigned int GetBodyLength() const noexcept;
  /// Number of the page being written, or of the next one when none is.
  unsigned int GetPage() const noexcept { return pageOpen_ ? page_ : nextPage_; }

  // --- text ----------------------------------------------------------------

  // Title, Text, Printf and Blank end an open table first.

  /// A title block: a rule of '=' across the line, the text centred and
  /// wrapped, a second rule and a blank line, kept together on one page.
  void Title(const char* text);
  /// Wrapped text, every line shifted right by `indent` blanks (at most half
  /// the line). The lines break across pages freely.
  void Text(const char* text, unsigned int indent = 0);
  /// `Text` of the printf-formatted arguments.
  void Printf(const char* format, ...)
#if defined(__MINGW32__) // the library formats with mingw's C99 printf
      __attribute__((format(gnu_printf, 2, 3)))
#elif defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
      ;
  /// `count` blank lines (dropped at the top of a page body).
  void Blank(unsigned int count = 1);
  /// The next line begins a new page; nothing when the page body is still
  /// empty. Inside a table the page is closed after the last complete row
  /// (ignored in a table wider than the line).
  void NewPage();

  // --- tables ----------------------------------------------------------------

  /// Begins a table of `count` columns (copied; texts included). The first
  /// `keyColumns` are repeated in every slice of a table wider than the line.
  /// An open table is ended first. 0 (no table) when `count` is 0,
  /// `columns` null or no report is open.
  unsigned char BeginTable(unsigned int count, const SPrintColumn* columns, unsigned int keyColumns = 0);
  /// The next cell of the current row; the row is complete, and printed,
  /// after its last column's cell. Null text: an empty cell.
  void Cell(const char* text);
  void Cell(int value) { Cell(static_cast<long long>(value)); }
  void Cell(unsigned int value) { Cell(static_cast<long long>(value)); }
  void Cell(long long value);
  void Cell(double value);
  /// A rule across the table between two rows; none is drawn where a page
  /// breaks or the table ends there. A row begun is completed first with
  /// empty cells.
  void Separator();
  /// Completes a row begun with empty cells, closes the frame and prints a
  /// table held for slicing. A table with no rows prints its header alone.
  void EndTable();

private:
  struct Column {
    std::string head;
    std::string format;
    unsigned int width;
    unsigned char align;
  };
  // A held row; an empty one stands for a separator.
  using Row = std::vector<std::string>;

  void AddCell(std::string text);
  void FinishRow();
  void PrintRow(const Row& row);
  void PrintSeparator();
  void BeginSlice(const std::vector<unsigned int>& slice);
  void EndSlice();
  std::vector<std::vector<unsigned int>> Slices() const;
  std::vector<std::string> RowLines(const Row& cells) const;
  std::string Rule(char fill) const;
  void TableBreak();

  static bool BodyFits(unsigned int pageLength, unsigned int headLines, unsigned int footLines) noexcept;
  static unsigned int HeadLines(const std::vector<std::string>& head) noexcept;
  static unsigned int FootLines(const std::string& foot, bool numbered) noexcept;
  unsigned int Room() const noexcept;
  void PutLine(const std::string& line);
  void PutGroup(const std::vector<std::string>& lines);
  void StartPage();
  void EndPage();
  void Emit(const std::string& line);
  std::uint64_t LineBytes() const noexcept;

  CFileBase file_;
  bool failed_ = false;
  bool utf8_ = false;
  unsigned int pageLength_ = 60;
  unsigned int lineLength_ = 80;
  std::vector<std::string> head_;
  std::string foot_;
  std::string numberFormat_ = "- %u -";
  bool numbered_ = true;
  unsigned int nextPage_ = 1;

  // The page being written; its body length (0: endless) and foot line were
  // fixed when it began.
  bool pageOpen_ = false;
  bool firstPage_ = true;
  bool pendingFeed_ = false;
  unsigned int page_ = 0;
  unsigned int pageBody_ = 0;
  unsigned int bodyUsed_ = 0;
  bool pageHasFoot_ = false;
  std::string pageFoot_;

  // The open table.
  bool inTable_ = false;
  std::vector<Column> columns_;
  unsigned int keys_ = 0;
  Row cells_;
  std::vector<Row> held_;
  bool holding_ = false;
  // The slice being printed: its columns, its header lines, whether the
  // header is out, and how many row lines the present page holds.
  std::vector<unsigned int> slice_;
  std::vector<std::string> header_;
  bool started_ = false;
  unsigned int rowLinesOnPage_ = 0;
  // A separator waits for the next row, so that it never stands at a page
  // end or before the closing rule.
  bool ruleDue_ = false;
};

} // namespace zel
