#include "zeltools/errors/exception.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/errors/language.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

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

TEST(Exception, CopiesCarryTheCodeAndTheWholeText) {
  const Exception thrown(Exception::None, std::string(1023, 'a').c_str());
  Exception copy(thrown), assigned;
  assigned = copy;
  assigned = assigned;
  EXPECT_TRUE(copy.GetCode() == Exception::None && assigned.GetCode() == Exception::None);
  EXPECT_EQ(std::string(assigned.GetDescription()), thrown.GetDescription());
}

TEST(CrashMessage, FillsCatalogueTextInTheThreadLanguage) {
  std::string russian;
  {
    ScopedLanguage language(LanguageRussian);
    russian = test::Message(105, "a.dat");
    EXPECT_EQ(ThrownText([] { CrashMessage(105, "a.dat"); }), russian);
  }
  ScopedLanguage german(1031); // any language but Russian reads the English table
  EXPECT_NE(test::Message(105, "a.dat"), russian);
  EXPECT_EQ(ThrownText([] { CrashMessage(105, "a.dat"); }), test::Message(105, "a.dat"));
  EXPECT_EQ(ThrownText([] { CrashMessage(202); }), test::Message(202));
  EXPECT_EQ(ThrownText([] { CrashMessage(9999); }), " Not message 9999");
  EXPECT_EQ(test::Message(9999), " Not message 9999");
}

TEST(CrashLastError, EmptyAfterSuccessSystemTextAfterFailure) {
  std::string text = "stale";
  SetLastError(0);
  CrashLastError(text);
  EXPECT_TRUE(text.empty());
  SetLastError(platform::ErrorNotFound);
  CrashLastError(text);
  EXPECT_EQ(text, platform::SystemErrorText(platform::ErrorNotFound));
  SetLastError(0);
}

} // namespace
} // namespace zel
