#pragma once
/// \file
/// The library's one way of failing: `zel::Exception`, thrown by value, and
/// the crash functions that build its text from a literal, a printf-style
/// format or a message of the library's own catalogue.

#include <cstddef>
#include <string>

namespace zel {

/// An unrecoverable failure with a text of at most 1023 characters.
///
/// The object is copied whole: copying moves the code and all 1024 bytes of
/// the description buffer, including any bytes after the terminator.
class Exception {
public:
  /// Codes carried by an exception. The library raises only `RunTimeError`
  /// (2); the other values belong to the applications, which may define
  /// their own in the free range of the underlying byte.
  enum Code : unsigned char {
    None = 0,
    RunTimeError = 2,
  };

  static constexpr std::size_t DescriptionSize = 1024;
  /// The description of an exception whose text could not be copied, for
  /// applications that compare against it (the constructor cannot meet such
  /// a text: see exception.cpp).
  static constexpr const char* CopyFailureText = "Internal error in <zel::Exception>";

  /// Stores `code`; copies `text` cut at 1023 characters. A null `text`
  /// leaves the description empty.
  explicit Exception(Code code = RunTimeError, const char* text = nullptr) noexcept;
  Exception(const Exception& other) noexcept;
  Exception& operator=(const Exception& other) noexcept;
  virtual ~Exception() = default;

  virtual Code GetCode() const noexcept;
  virtual const char* GetDescription() const noexcept;

private:
  Code code_;
  char description_[DescriptionSize];
};

/// Throws `Exception(2, text)`.
[[noreturn]] void Crash(const char* text);

/// Formats printf-style into a 1024-byte buffer and throws it as code 2.
[[noreturn]] void CrashFormat(const char* format, ...)
#if defined(__MINGW32__) // the library formats with mingw's C99 printf
    __attribute__((format(gnu_printf, 1, 2)))
#elif defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/// Throws code 2 with catalogue message `id` (in the thread's user-interface
/// language) used as a printf format for the arguments. An unknown id reads as
/// " Not message %d" filled with the id; an empty text throws an empty
/// description.
[[noreturn]] void CrashMessage(unsigned int id, ...);

/// Does not throw: sets `text` to the system's message for the calling
/// thread's last error (`GetLastError`), or to the empty string when it is 0.
void CrashLastError(std::string& text);

/// Records the preferred crash-text language, 0 or 1 (larger values store 1).
/// Process-wide; the library itself never reads it: catalogue look-ups follow
/// the thread's user-interface language.
void SetCrashLanguage(unsigned int language) noexcept;
/// The value last stored by `SetCrashLanguage` (0 at start).
unsigned int GetCrashLanguage() noexcept;

/// The catalogue look-up of `CrashMessage` without throwing: the text of
/// message `id` in the thread's language, or " Not message %d" with the id.
void GetLibraryMessage(unsigned int id, std::string& text);

} // namespace zel
