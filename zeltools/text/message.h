#pragma once
/// \file
/// `CMessage`: the message collector. It turns numbered messages of an
/// application's resource module into formatted texts, appends them to a
/// `CPhrase` for later display and counts errors and warnings on the way.
///
/// It sits with the text services and not with the exception below them
/// because it is built from `CResurce`, `CPhrase`, `Vector` and `ListText`,
/// all of which are above the errors layer; `CResurce` itself lives here for
/// the same reason.
///
/// What one report does (`Put`, `Out`):
/// 1. reads the message, multi-line, with its type letter (`CResurce`);
/// 2. type 3 (E) or 6 (S) adds one to the errors, type 2 (W) one to the
///    warnings; other types count nothing;
/// 3. formats the text printf-style with the arguments given;
/// 4. a text that cannot be formatted, or that comes to 2,001 characters or
///    more, is a programming error and throws (see `Error`);
/// 5. appends the text to the list with kind = the type, param1 = 0 and
///    param2 = the message number (cut to 16 bits, as `CPhrase` keeps it);
/// 6. a message of type 6 then throws "SEVERE ERROR": the list already holds
///    it when the exception reaches the application.
///
/// Decisions of this implementation:
/// - The message text is the printf format for the arguments of `Put` and
///   `Out`, and must match them as a printf format must.
/// - A message the module lacks is not an error: it is reported with the
///   text " Not message <id> ::<module>" and type 0. That text is appended as
///   it stands and never used as a format, since a module name may hold "%".
/// - Reporting through an object that has not been given a module and a list
///   (`Init`) is a programming error and throws as `Error` does, with the
///   empty module name.
/// - Counting happens before formatting (step 2 before 3), so a message that
///   then fails to format has already been counted.

#include <cstdarg>

#include "zeltools/containers/vector.h"

namespace zel {

class CPhrase;
class CResurce;

/// Collects formatted messages of a resource module in a `CPhrase`. Neither
/// the module nor the list is owned; both must outlive the reports made
/// through this object. Copies report to the same module and list, each with
/// its own counts.
class CMessage {
public:
  /// Longest formatted text accepted, in characters; one more is an error.
  static constexpr unsigned int MaxText = 2000;
  /// Message type that makes a report fatal (the letter S).
  static constexpr unsigned char TypeSevere = 6;

  /// No module, no list, counts 0.
  CMessage() noexcept = default;
  CMessage(const CMessage&) noexcept = default;
  CMessage& operator=(const CMessage&) noexcept = default;

  /// Zeroes both counts and keeps the two references.
  void Init(const CResurce& resource, CPhrase& list) noexcept;

  /// Reports message block `number` (ids 10 × `number` onward, up to the
  /// entry ending in "@" or a missing id) formatted with the arguments; the
  /// phrase records `number`. Throws as described in the file comment.
  void Put(unsigned int number, ...);
  /// As `Put`, with the string-table id itself (the message still runs over
  /// the following ids up to its "@"); the phrase records `id`.
  void Out(unsigned int id, ...);
  /// Throws `Exception` (code 2) with "Class CMessage: Error in the message
  /// <id> \nin library resources <module name>" (the name empty when there
  /// is no module).
  [[noreturn]] void Error(unsigned int id) const;

  /// Reports message `id` with `Out(id, text)` and appends to its text the
  /// numbers as a number list (`ListText`), sorted with duplicates removed;
  /// those numbers also become the phrase's own list, and `numbers` is left
  /// empty. An empty `numbers` reports nothing. When the message is severe
  /// the exception leaves the phrase without the list and `numbers` as it
  /// was.
  void PutList(Vector<unsigned int>& numbers, unsigned short id, const char* text);
  /// As above with `value` formatted by "%d" as the text.
  void PutList(Vector<unsigned int>& numbers, unsigned short id, unsigned int value);
  /// As above with the numbers i, `first` ≤ i ≤ `last`, whose `flags[i]` is
  /// not 0 (`flags` must hold `last` + 1 entries). Nothing is reported when
  /// no flag in the range is set, when `first` > `last` or `flags` is null.
  void PutList(unsigned int first, unsigned int last, const unsigned char* flags, unsigned short id,
               const char* text);
  /// As above with `value` formatted by "%d" as the text.
  void PutList(unsigned int first, unsigned int last, const unsigned char* flags, unsigned short id,
               unsigned int value);

  /// Messages of type 3 (E) and 6 (S) reported since `Init`.
  unsigned int GetQuantityError() const noexcept { return errors_; }
  /// Messages of type 2 (W) reported since `Init`.
  unsigned int GetQuantityWarning() const noexcept { return warnings_; }

private:
  void Report(unsigned int number, bool block, std::va_list args);

  unsigned int warnings_ = 0;
  unsigned int errors_ = 0;
  const CResurce* resource_ = nullptr;
  CPhrase* list_ = nullptr;
};

} // namespace zel
