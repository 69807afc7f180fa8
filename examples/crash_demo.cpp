// Fails with a message of the library's catalogue in English and in Russian,
// and prints both: the way every ZelTools failure reaches an application.
#include <cstdio>

#include <zeltools/zeltools.h>

namespace {

void ReportIn(unsigned short language, const char* label) {
  zel::SetThreadUILanguage(language);
  try {
    zel::CrashMessage(105, "model.dat"); // "Error reading file "%s""
  } catch (const zel::Exception& e) {
    // Catalogue texts are Windows-1251; the terminal wants UTF-8.
    std::printf("%s (code %d): %s\n", label, static_cast<int>(e.GetCode()),
                zel::Cp1251ToUtf8(e.GetDescription()).c_str());
  }
}

} // namespace

int main() {
  ReportIn(zel::LanguageEnglish, "English");
  ReportIn(zel::LanguageRussian, "Russian");
  return 0;
}
