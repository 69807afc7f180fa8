#pragma once
// Reader of the string tables of a Windows resource script: the library's own
// catalogue is compiled from such scripts at build time, and applications'
// resource modules are loaded from them at run time. Not part of the
// installed interface.
//
// What the reader understands:
// - `STRINGTABLE [options] BEGIN|{ entries END|}`; an entry is an id, an
//   optional comma and one or more adjacent string literals (joined). Options
//   are `LANGUAGE p, s` (for this table only), `CHARACTERISTICS n`,
//   `VERSION n` and the memory flags (DISCARDABLE, PRELOAD, ...).
// - `LANGUAGE p, s` at the top level selects the table of the statements that
//   follow: LANG_ENGLISH (9) and LANG_NEUTRAL (0) fill the English table,
//   LANG_RUSSIAN (0x19) the Russian one; strings of any other language are
//   read (so their errors are still found) and dropped. The table before any
//   LANGUAGE statement is English.
// - Ids and language values are integer expressions: decimal, 0x hex and
//   0-prefixed octal numbers (u/l suffixes allowed), names from `#define`, the
//   C operators + - * / % << >> & | ^ ~ ! and comparisons, and parentheses.
//   An id must lie in 0..65535.
// - Strings: "" for a quote, \n \r \t \a \b \f \v \\ \" \' \?, octal \ooo
//   and hex \xhh (L"..." takes up to four hex digits: a Unicode character,
//   stored as its Windows-1251 byte); any other backslash pair is kept as it
//   stands. A backslash at the end of a line continues the string on the
//   next; any other line break inside a string is an error (unterminated
//   string).
//   A NUL written as an escape ends the text for every reader that takes it
//   as a C string.
// - `#pragma code_page(1251)` (the default, also `DEFAULT`) or
//   `code_page(65001)` (the source is UTF-8; texts are converted to 1251); a
//   UTF-8 byte-order mark at the start of a file means 65001 as well.
// - `#define NAME value` (function-like macros are ignored), `#undef`,
//   `#if`/`#ifdef`/`#ifndef`/`#elif`/`#else`/`#endif`, and `#include "file"`
//   or `<file>` looked up beside the including file. A file that is not
//   there is skipped (system headers define nothing a string table needs; a
//   misspelt header shows as an undefined id name). Only the directives of an
//   included `.h` or `.c` file are read: the rest is C, which means nothing
//   to a string table.
//   Other directives are ignored.
// - `//` and `/* */` comments anywhere.
// - Any other top-level statement (DIALOG, ICON, MENU, VERSIONINFO, ...) is
//   skipped: up to the end of the first block that follows it (nested blocks
//   included), or up to the next STRINGTABLE or LANGUAGE keyword, whichever
//   comes first. Keywords are not case-sensitive.
//
// Malformed input (an unterminated string, comment, block or #if, an unknown
// statement inside a string table, an id out of range or defined twice for
// one language, a bad expression) throws `ScriptError` whose text begins with
// "<file>:<line>: ". No input crashes the reader or makes it loop, and its
// time and memory stay proportional to the input: nesting of parentheses,
// macros and includes is bounded, each macro's value is worked out once per
// definition, and a script whose macros or includes would repeat far more
// text than it holds is refused (see rc_lexer.h).

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "zeltools/rcscript/internal/script_error.h"

namespace zel::internal {

/// The string tables of one or more scripts: Windows-1251 texts by id.
struct ScriptTables {
  std::map<unsigned short, std::string> english;
  std::map<unsigned short, std::string> russian;

  /// The text of `id` in `langId` (1049 reads the Russian table, any other id
  /// the English one), or, when that table lacks it, in the other table. Null
  /// when neither has it (ids above 65535 never exist).
  const std::string* Find(unsigned int id, unsigned short langId) const noexcept;

  /// Adds the tables of `other`; an id present in both for one language
  /// throws `ScriptError` naming it and `otherName`.
  void Merge(const ScriptTables& other, const std::string& otherName);
};

/// Parses script text held in memory. `fileName` names it in error texts, and
/// `#include`d files are looked up in its directory. When `filesRead` is not
/// null, the path of every included file that was read is appended to it.
ScriptTables ParseResourceScript(std::string_view text, const std::string& fileName,
                                 std::vector<std::string>* filesRead = nullptr);

/// Reads and parses the script file at `path`; a file that cannot be read
/// throws `ScriptError` "<path>: cannot read the file".
ScriptTables ReadResourceScript(const std::string& path, std::vector<std::string>* filesRead = nullptr);

/// Reads a whole regular file of at most 64 MB into `contents` (scripts are
/// far smaller; a larger file is not a script). False when it cannot be
/// opened or read, is larger, or is not a regular file (a FIFO or a device
/// named by an #include would never end).
/// When `identity` is not null it receives a text that names the file
/// whatever path reached it (see `platform::SystemCalls::fileIdentity`).
bool ReadWholeFile(const std::string& path, std::string& contents, std::string* identity = nullptr);

} // namespace zel::internal
