// zeltool: the command-line tool of ZelTools, and an example of an
// application built on the library: its texts are Windows-1251 inside and
// UTF-8 on the terminal, and every failure ends as one line and status 2.

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include <zeltools/errors/exception.h>
#include <zeltools/errors/language.h>
#include <zeltools/rcscript/encoding.h>

#include "demo.h"
#include "matrix_market.h"
#include "options.h"
#include "solve.h"
#include "work_file.h"

namespace {

constexpr int Failure = 2;

int RunMsg(const zeltool::Command& c) {
  if (c.language == zeltool::Language::English)
    zel::SetThreadUILanguage(zel::LanguageEnglish);
  else if (c.language == zeltool::Language::Russian)
    zel::SetThreadUILanguage(zel::LanguageRussian);
  std::string text;
  zel::GetLibraryMessage(c.id, text);
  // The catalogue answers an unknown id with this text rather than failing.
  if (text == " Not message " + std::to_string(c.id)) {
    std::fprintf(stderr, "zeltool msg: the catalogue has no message %u\n", c.id);
    return Failure;
  }
  std::printf("%s\n", zel::Cp1251ToUtf8(text).c_str());
  return 0;
}

int Run(const std::vector<std::string>& args) {
  const zeltool::Command c = zeltool::ParseCommandLine(args);
  switch (c.kind) {
  case zeltool::Command::Help:
    std::fputs(zeltool::HelpText(c.topic), stdout);
    return 0;
  case zeltool::Command::Msg:
    return RunMsg(c);
  case zeltool::Command::Mark:
    zeltool::RunMark(c);
    return 0;
  case zeltool::Command::Blocks:
    return zeltool::RunBlocks(c);
  case zeltool::Command::Demo:
    return zeltool::RunDemo(c);
  case zeltool::Command::Solve:
    zeltool::RunSolve(c);
    return 0;
  }
  return Failure;
}

} // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + (argc > 0 ? argc : 0));
  try {
    return Run(args);
  } catch (const zeltool::UsageError& e) {
    std::fprintf(stderr, "%s\n", e.what());
  } catch (const zeltool::InputError& e) {
    std::fprintf(stderr, "zeltool: %s\n", e.what());
  } catch (const zel::Exception& e) {
    std::fprintf(stderr, "zeltool: %s\n", zel::Cp1251ToUtf8(e.GetDescription()).c_str());
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zeltool: out of memory\n");
  } catch (const std::exception& e) {
    // Not expected from any input; still one line and status 2, never an
    // abort.
    std::fprintf(stderr, "zeltool: %s\n", e.what());
  }
  return Failure;
}
