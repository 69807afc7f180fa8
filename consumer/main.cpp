#include <cstdio>
#include <cstring>

#include <zeltools/zeltools.h>

int main() {
  zel::SetThreadUILanguage(zel::LanguageEnglish);
  try {
    zel::CrashMessage(102, "consumer.dat");
  } catch (const zel::Exception& e) {
    if (std::strcmp(e.GetDescription(), "File \"consumer.dat\" is not open") != 0) {
      std::printf("unexpected text: %s\n", e.GetDescription());
      return 1;
    }
  }
  void* block = zel::Memory(16, 4);
  zel::DoMemoryFree(&block);
  std::printf("consumer: ZelTools found and working\n");
  return 0;
}
