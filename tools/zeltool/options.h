#pragma once
// The command line of zeltool: which command, with what, and the help texts.
// Independent of the library, like the reader, so that the tests can link it.

#include <stdexcept>
#include <string>
#include <vector>

namespace zeltool {

/// A command line that cannot be obeyed; the text is the whole message.
class UsageError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

enum class Language { FromEnvironment, English, Russian };

struct Command {
  enum Kind { Help, Solve, Msg, Demo, Mark, Blocks } kind = Help;
  std::string topic; // Help: "" for the program, or a command's name

  // solve
  std::string matrix;
  std::string rhs; // empty: A·x for x = 1
  bool dense = false;
  bool renumber = true;

  // msg
  unsigned id = 0;
  Language language = Language::FromEnvironment; // msg and demo

  // demo
  std::string keep; // empty: the document file is temporary
  std::string report = "zeltool-demo-report.txt";

  // mark, blocks
  std::string file;
};

/// Reads the arguments after the program's name. Throws `UsageError`.
Command ParseCommandLine(const std::vector<std::string>& args);

/// The help text of `topic` ("" for the program).
const char* HelpText(const std::string& topic);

} // namespace zeltool
