#include "zeltools/errors/exception.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "zeltools/errors/internal/catalogue.h"
#include "zeltools/errors/internal/runtime_format.h"
#include "zeltools/errors/language.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

constexpr std::size_t MaxDescription = Exception::DescriptionSize - 1;
constexpr const char* NotMessageFormat = " Not message %d";

std::atomic<unsigned int> crashLanguage{0};

// The text of library message `id` in the thread's language, or the
// " Not message %d" fallback filled with the id, in `text`. Nothing is
// allocated, so that the out-of-memory messages can still be raised when
// the heap is exhausted.
using CatalogueText = char[internal::CatalogueTextSize];

const char* LibraryFormat(unsigned int id, CatalogueText& text) noexcept {
  if (!internal::LibraryString(id, GetThreadUILanguage(), text, sizeof text))
    std::snprintf(text, sizeof text, NotMessageFormat, static_cast<int>(id));
  return text;
}

} // namespace

Exception::Exception(Code code, const char* text) noexcept : code_(code), description_{} {
  if (text == nullptr)
    return;
  // The text is cut, never rejected. Copying from a readable text cannot
  // fail here, and an unreadable pointer cannot be detected portably, so the
  // failed-copy text (CopyFailureText) is never produced by this constructor.
  std::size_t n = 0;
  while (n < MaxDescription && text[n] != '\0') {
    description_[n] = text[n];
    ++n;
  }
  description_[n] = '\0';
}

Exception::Exception(const Exception& other) noexcept : code_(other.code_) {
  std::memcpy(description_, other.description_, DescriptionSize);
}

Exception& Exception::operator=(const Exception& other) noexcept {
  code_ = other.code_;
  std::memmove(description_, other.description_, DescriptionSize);
  return *this;
}

Exception::Code Exception::GetCode() const noexcept { return code_; }

const char* Exception::GetDescription() const noexcept { return description_; }

void Crash(const char* text) { throw Exception(Exception::RunTimeError, text); }

void CrashFormat(const char* format, ...) {
  char buffer[Exception::DescriptionSize] = {};
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  throw Exception(Exception::RunTimeError, buffer);
}

void GetLibraryMessage(unsigned int id, std::string& text) {
  CatalogueText catalogue;
  text = LibraryFormat(id, catalogue);
}

void CrashMessage(unsigned int id, ...) {
  CatalogueText catalogue;
  const char* format = LibraryFormat(id, catalogue);
  if (*format == '\0')
    throw Exception(Exception::RunTimeError, "");
  char buffer[Exception::DescriptionSize] = {};
  va_list args;
  va_start(args, id);
  ZEL_RUNTIME_FORMAT_BEGIN
  std::vsnprintf(buffer, sizeof buffer, format, args);
  ZEL_RUNTIME_FORMAT_END
  va_end(args);
  throw Exception(Exception::RunTimeError, buffer);
}

void CrashLastError(std::string& text) {
  text.clear();
  const unsigned int code = GetLastError();
  if (code != 0)
    text = platform::SystemErrorText(code);
}

void SetCrashLanguage(unsigned int language) noexcept { crashLanguage = language > 1 ? 1u : language; }

unsigned int GetCrashLanguage() noexcept { return crashLanguage; }

} // namespace zel
