#pragma once
/// \file
/// The calling thread's user-interface language, which selects the table that
/// catalogue look-ups read (the library's own and applications' scripts).

#include "zeltools/rcscript/language_ids.h"

namespace zel {

/// Sets the calling thread's user-interface language (1033 or 1049; other ids
/// are kept and read as English by the catalogue). Returns the id set.
unsigned short SetThreadUILanguage(unsigned short langId) noexcept;

/// The calling thread's user-interface language. Until a thread sets one, it
/// comes from the locale environment (the first set of `LC_ALL`,
/// `LC_MESSAGES`, `LANG`): a value starting with "ru" gives 1049, anything
/// else 1033.
unsigned short GetThreadUILanguage() noexcept;

} // namespace zel
