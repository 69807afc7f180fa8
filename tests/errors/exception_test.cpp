#include "zeltools/errors/exception.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/errors/language.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/rcscript/encoding.h"

namespace zel {
namespace {

using test::ScopedLanguage;
using test::ThrownText;

TEST(Exception, TextsAreCutAt1023Characters) {
  const std::string text(2000, 'x');
  EXPECT_EQ(ThrownText([&] { Crash(text.c_str()); }), text.substr(0, 1023));
  EXPECT_EQ(ThrownText([&] { Crash(text.substr(0, 1023).c_str()); }), text.substr(0, 1023));
  EXPECT_EQ(ThrownText([&] { CrashFormat("%s=%d", text.c_str(), 42); }), text.substr(0, 1023));
  EXPECT_EQ(ThrownText([] { CrashFormat("%s=%d", "n", 42); }), "n=42");
  EXPECT_STREQ(Exception().GetDescription(), "");
  EXPECT_EQ(Exception().GetCode(), Exception::RunTimeError);
  EXPECT_STREQ(Exception(Exception::None, nullptr).GetDescription(), "");
}

TEST(Exception, CopiesTheWholeBufferIncludingBytesAfterTheTerminator) {
  // A 1000-character text followed by a 5-character one leaves the tail of
  // the first behind the second's terminator; copies must carry it along.
  Exception original(Exception::RunTimeError, std::string(1000, 'a').c_str());
  Exception overwritten(Exception::RunTimeError, "short");
  std::memcpy(const_cast<char*>(overwritten.GetDescription()) + 6, original.GetDescription() + 6, 1000 - 6);
  Exception copy(overwritten);
  EXPECT_EQ(std::memcmp(copy.GetDescription(), overwritten.GetDescription(), Exception::DescriptionSize), 0);
  Exception assigned(Exception::None, "other");
  assigned = overwritten;
  EXPECT_EQ(std::memcmp(assigned.GetDescription(), overwritten.GetDescription(), Exception::DescriptionSize), 0);
  EXPECT_EQ(assigned.GetCode(), Exception::RunTimeError);
}

TEST(CrashMessage, FillsCatalogueTextInTheThreadLanguage) {
  {
    ScopedLanguage russian(LanguageRussian);
    EXPECT_EQ(ThrownText([] { CrashMessage(105, "a.dat"); }), Utf8ToCp1251("Ошибка при чтении из файла \"a.dat\""));
  }
  ScopedLanguage german(1031); // any language but Russian reads the English table
  EXPECT_EQ(ThrownText([] { CrashMessage(105, "a.dat"); }), "Error reading file \"a.dat\"");
  EXPECT_EQ(ThrownText([] { CrashMessage(202); }), "Memory allocation request exceeds  4Gb.");
  EXPECT_EQ(ThrownText([] { CrashMessage(9999); }), " Not message 9999");
  std::string text;
  GetLibraryMessage(9999, text);
  EXPECT_EQ(text, " Not message 9999");
  GetLibraryMessage(1022, text);
  EXPECT_EQ(text, "Divide by zero");
}

TEST(CrashLastError, EmptyAfterSuccessSystemTextAfterFailure) {
  std::string text = "stale";
  SetLastError(0);
  CrashLastError(text);
  EXPECT_TRUE(text.empty());
  SetLastError(ENOENT);
  CrashLastError(text);
  EXPECT_EQ(text, std::strerror(ENOENT));
  SetLastError(0);
}

TEST(SetCrashLanguage, StoresZeroOrOne) {
  SetCrashLanguage(7);
  EXPECT_EQ(GetCrashLanguage(), 1u);
  SetCrashLanguage(0);
  EXPECT_EQ(GetCrashLanguage(), 0u);
}

} // namespace
} // namespace zel
