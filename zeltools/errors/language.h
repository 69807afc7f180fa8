#pragma once
/// \file
/// The calling thread's user-interface language, which selects the table that
/// catalogue look-ups read (the library's own and applications' scripts).

#include "zeltools/rcscript/language_ids.h"

namespace zel {

/// Sets the calling thread's user-interface language (1033 or 1049; other ids
/// are kept and read as English by the catalogue), on Windows the system's
/// thread UI language as well. 0 returns the thread to its default language
/// (below). Returns the id set.
unsigned short SetThreadUILanguage(unsigned short langId) noexcept;

/// The calling thread's user-interface language: the one last set on the
/// thread, else its default. On Windows the default is the system's thread
/// UI language; elsewhere it comes from the locale environment (the first set
/// of `LC_ALL`, `LC_MESSAGES`, `LANG`): a value starting with "ru" gives
/// 1049, anything else 1033. The id set here is kept by the library as well,
/// so the catalogue follows it even where the system accepts the setting
/// without keeping it.
unsigned short GetThreadUILanguage() noexcept;

} // namespace zel
