#pragma once
/// \file
/// Messages of an application's own resource module: `CResurce` (spelled so)
/// loads the module and reads numbered messages from it, including messages
/// laid over consecutive ids and a one-letter message type; `CResurceString`
/// holds what one read gives.
///
/// A resource module is a resource script (the STRINGTABLE subset of Windows
/// resource scripts: LANGUAGE LANG_ENGLISH / LANG_RUSSIAN tables,
/// numeric ids or ids from `#define`, also from an `#include`d header beside
/// the script, `#pragma code_page(1251)` or `(65001)`), a shared object whose
/// string tables were compiled into it with the CMake helper
/// `zel_add_string_tables(<target> <script.rc>...)`, or the name
/// "ZelTools.dll", which stands for the library's own catalogue. Texts are
/// Windows-1251 bytes.
///
/// On Windows the helper compiles the scripts into string resources of the
/// DLL or executable, and a module is mapped as a data file (none of its
/// code runs) and read as the system's string loader reads it: blocks of 16
/// strings per language, UTF-16 converted to 1251. A string table there
/// cannot hold an empty string: an empty entry of such a module reads as a
/// missing one. The library's own catalogue is read from the module that
/// holds the library (its DLL, or the executable it is linked into). Look-ups read the table of the calling thread's
/// user-interface language (`GetThreadUILanguage`), and the other table when
/// that one lacks the id.
///
/// These classes sit with the text services, above the containers, because a
/// read gives its text as a `Vector<char>`; the library's own catalogue and
/// the exception stay below them (zeltools/errors/).

#include "zeltools/containers/vector.h"

#include <string>

namespace zel {

/// One message read by `CResurce::GetText`.
class CResurceString {
public:
  CResurceString() = default;
  CResurceString(const CResurceString&) = default;
  CResurceString& operator=(const CResurceString&) = default;
  ~CResurceString() = default;

  /// Type, length and count to 0, the text emptied.
  void Clear();

  /// 0 when the text holds nothing before its terminator; otherwise `count`
  /// when it is not 0 (so a mode-10 read still reports its entries); otherwise
  /// 1 plus the number of line feeds in the text.
  unsigned int GetQuantityLine() const;

  /// The type from the message's first letter, either case: I 1, W 2, E 3,
  /// C 4, Q 5, S 6; any other first character 0.
  unsigned char type = 0;
  /// Bytes of `text` including the terminating NUL (0 after `Clear`).
  unsigned int length = 0;
  /// Non-empty string-table entries joined into the text.
  unsigned int count = 0;
  /// The joined text and its terminator.
  Vector<char> text;
};

/// A handle on one resource module.
///
/// Copies share the module: the copy constructor and `operator=` copy the
/// handle and the name, and the module is counted, so that it is freed once,
/// when the last object holding it is destroyed or re-initialised.
///
/// Objects on different threads may share a module, copy and destroy their
/// holders and read at the same time; one object is not itself synchronised.
class CResurce {
public:
  /// No module, no name.
  CResurce() noexcept = default;
  /// As `Init(fileName, nullptr)`.
  explicit CResurce(const char* fileName);
  CResurce(const CResurce& other);
  CResurce& operator=(const CResurce& other);
  /// Frees the module if this is its last holder.
  ~CResurce();

  /// With `module` null: lets go of the module held so far and loads
  /// `fileName` (see the file comment). Otherwise takes `module` as given: a
  /// handle from `GetModule` of another object (shared with it), or a handle
  /// of the system's loader (dlopen, or a Windows module handle), which this
  /// object then owns as it would own a module it loaded. In that case the module held before is not let
  /// go: it stays loaded for the life of the process, so that texts already
  /// read from it stay valid. Either way the name is stored. Throws `Exception` (code 2) with
  /// "The file of resources is not found:\n<fileName>" when no module
  /// results, and with the reader's "<file>:<line>: ..." text for a
  /// malformed script.
  void Init(const char* fileName, void* module);

  /// The name given to `Init`, or "" when there is none.
  const char* GeName() const noexcept;

  /// The module handle (null when none), to share with `Init` of another
  /// object.
  void* GetModule() const noexcept { return module_; }

  /// Reads message `id` into `out`, entry by entry from id upwards:
  /// - an entry is cut at 1023 characters;
  /// - the first entry's first character gives `out.type` and is removed,
  ///   whether it is a type letter or not; later entries are taken whole and
  ///   each begins a new line, an empty entry giving an empty line without
  ///   adding to `out.count`;
  /// - a text ending in "@" marks the last entry: the "@" is removed and the
  ///   read stops there;
  /// - mode 0 stops after the first non-empty entry; other modes go on until
  ///   the "@" or a missing id;
  /// - mode 10 then turns every line feed into NUL, giving NUL-separated lines.
  /// A missing first entry reads as " Not message <id> ::<name>". Returns the
  /// text, or null when it holds nothing before its terminator.
  const char* GetText(unsigned int id, CResurceString& out, unsigned char mode) const;

  /// `GetText(id, out, 0)`: one entry.
  const char* GetString(unsigned int id, CResurceString& out) const;
  /// `GetText(id, out, 2)`: the whole message.
  void GetMsg(unsigned int id, CResurceString& out) const;
  /// `GetText(number * 10, out, 2)`: message number n owns ids 10n to 10n+9.
  void Load(unsigned int number, CResurceString& out) const;
  /// `GetText(id, temporary, 1)`, copied with its terminator into `buffer`,
  /// which must be large enough for the message (nothing bounds the copy).
  void GetString(unsigned int id, char* buffer) const;

private:
  void* module_ = nullptr;
  std::string name_;
};

} // namespace zel
