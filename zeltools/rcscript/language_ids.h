#pragma once
/// \file
/// The language ids of the two string tables, as resource modules and the
/// library's own catalogue key them.

namespace zel {

/// Language ids of the two catalogue tables.
enum : unsigned short {
  LanguageEnglish = 1033,
  LanguageRussian = 1049,
};

} // namespace zel
