// The resource-script parser, and the compiled table image it produces.
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "fuzz_support.h"
#include "zeltools/rcscript/internal/rc_script.h"
#include "zeltools/rcscript/internal/script_error.h"
#include "zeltools/rcscript/internal/table_image.h"

using namespace zel;

static const char* const kScript =
    "#define BASE 100\n"
    "#define NEXT (BASE + 1)\n"
    "LANGUAGE LANG_RUSSIAN, SUBLANG_DEFAULT\n"
    "STRINGTABLE\nBEGIN\n  BASE \"Первый\"\n  NEXT, \"second \"\"quoted\"\"\\n\"\nEND\n"
    "LANGUAGE LANG_ENGLISH, SUBLANG_ENGLISH_US\n"
    "STRINGTABLE { BASE \"First\" }\n";

// Directives, comments, escapes and broken pieces for the mutator to recombine.
static const char* const kPieces =
    "#if 1\n#define A B\n#define B A\n#else\n#endif\n#pragma code_page(65001)\n#include \"r.rc\"\n"
    "/* c */ // c\nSTRINGTABLE { 0x10 - (1) L\"\\x0416\" \"\\\" 65536 \"\"\"\" defined ! | << }\nICON DIALOG @\n";

static const char kName[] = "/nonexistent/zelfuzz/input.rc";

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  seeds.Add("script", std::string(1, '\0') + kScript);
  seeds.Add("pieces", std::string(1, '\0') + kPieces);
  const internal::ScriptTables tables = internal::ParseResourceScript(kScript, "seed.rc");
  seeds.Add("image", std::string(1, '\1') + internal::EncodeTableImage(tables));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::Guard([&] {
  try {
    if (data[0] & 1) {
      internal::ScriptTables tables;
      internal::DecodeTableImage(data + 1, size - 1, tables);
    } else {
      // Scripts name no folder: an #include looks beside a file that does not exist.
      internal::ParseResourceScript(std::string_view(reinterpret_cast<const char*>(data + 1), size - 1), kName);
    }
  } catch (const internal::ScriptError& e) {
    // Every refusal names the script and a line: "<name>:<line>: <what>".
    const char* text = e.what();
    const std::size_t name = sizeof kName - 1;
    if ((data[0] & 1) == 0 &&
        (std::strncmp(text, kName, name) != 0 || text[name] != ':' || std::atoi(text + name + 1) <= 0 ||
         std::strstr(text + name + 1, ": ") == nullptr))
      std::abort();
  }
  });
}
