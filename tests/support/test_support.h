#pragma once
// Helpers shared by the test programs.

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/language.h"

namespace zel::test {

/// Runs `action`, expects it to throw `zel::Exception` of code 2, and returns
/// the description (empty, with a test failure, when nothing was thrown).
inline std::string ThrownText(const std::function<void()>& action) {
  try {
    action();
  } catch (const Exception& e) {
    EXPECT_EQ(e.GetCode(), Exception::RunTimeError);
    return e.GetDescription();
  }
  ADD_FAILURE() << "no zel::Exception was thrown";
  return {};
}

/// True when the `n` bytes at `p` are all zero.
inline bool AllZero(const void* p, std::size_t n) {
  const auto* b = static_cast<const unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i)
    if (b[i] != 0)
      return false;
  return true;
}

/// The library message `id` formatted as the catalogue has it in the calling
/// thread's language.
std::string CatalogueText(unsigned int id);

/// Message `id` filled with `args` as the library fills it, in the calling
/// thread's language: the one way the tests build an expected message.
template <class... Args>
std::string Message(unsigned int id, Args... args) {
  if constexpr (sizeof...(Args) == 0) {
    return CatalogueText(id);
  } else {
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, CatalogueText(id).c_str(), args...);
    return buffer;
  }
}

/// Sets the thread's language for the lifetime of the object.
class ScopedLanguage {
public:
  explicit ScopedLanguage(unsigned short lang) : saved_(GetThreadUILanguage()) { SetThreadUILanguage(lang); }
  ~ScopedLanguage() { SetThreadUILanguage(saved_); }
  ScopedLanguage(const ScopedLanguage&) = delete;
  ScopedLanguage& operator=(const ScopedLanguage&) = delete;

private:
  unsigned short saved_;
};

} // namespace zel::test
