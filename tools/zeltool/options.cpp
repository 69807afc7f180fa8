#include "options.h"

#include <charconv>

namespace zeltool {
namespace {

const char* const programHelp =
    "zeltool - the ZelTools command-line tool\n"
    "\n"
    "Usage: zeltool COMMAND [ARGUMENTS]\n"
    "\n"
    "Commands:\n"
    "  solve FILE.mtx [--rhs FILE] [--dense] [--no-renumber]\n"
    "                 solve a symmetric sparse system read from a Matrix Market file\n"
    "  demo [--lang en|ru] [--keep FILE] [--report FILE]\n"
    "                 analyse a small plane truss, every library step shown\n"
    "  msg ID [--lang en|ru]\n"
    "                 print a message of the library's catalogue\n"
    "  mark FILE      print a work file's mark and whether it matches the file\n"
    "  blocks FILE    list the blocks of a document (such as demo --keep writes)\n"
    "  help [COMMAND] this text, or a command's (also: zeltool COMMAND --help)\n"
    "\n"
    "Exit status: 0 on success, 2 on bad input or a command that cannot be done;\n"
    "the reason is one line on standard error.\n";

const char* const solveHelp =
    "Usage: zeltool solve FILE.mtx [--rhs FILE] [--dense] [--no-renumber]\n"
    "\n"
    "Reads a symmetric matrix in Matrix Market coordinate form (real, integer or\n"
    "pattern; the lower triangle stored; plain or .gz), renumbers its unknowns\n"
    "with RenumberBand to shrink the profile, factorises it with the variable-band\n"
    "solver (GaussTapeDirect) and solves (GaussTapeBack). Prints the order n, the\n"
    "non-zeros, the profile before and after renumbering, the factor and solve\n"
    "times (wall clock, and processor time of the process) and the relative\n"
    "residual |A*x - b|inf / (|A|inf*|x|inf + |b|inf).\n"
    "\n"
    "A pattern matrix has no values; it is solved as the matrix of its graph with\n"
    "-1 off the diagonal and (number of neighbours + 1) on it, which is positive\n"
    "definite, so that its profile and renumbering can be studied.\n"
    "\n"
    "Options:\n"
    "  --rhs FILE      right-hand sides: a Matrix Market array file\n"
    "                  (%%MatrixMarket matrix array real general), n rows and one\n"
    "                  column per right-hand side, one value per line, column after\n"
    "                  column. Without it the right-hand side is A*x for x = 1, and\n"
    "                  the error |x - 1|inf is printed too.\n"
    "  --dense         solve the full matrix with dense Gauss elimination instead\n"
    "                  (partial pivoting; no renumbering, which would not matter)\n"
    "  --no-renumber   keep the file's numbering\n"
    "  --help          this text\n"
    "\n"
    "On a terminal, standard error shows a progress bar. The solver has no\n"
    "progress hook, so the bar advances between the tool's phases (read,\n"
    "renumber, assemble, factor, solve, check), not inside the factorisation.\n"
    "\n"
    "A zero pivot (a singular matrix) is reported with the unknown, in the file's\n"
    "numbering, where it appeared, and exit status 2.\n";

const char* const msgHelp =
    "Usage: zeltool msg ID [--lang en|ru]\n"
    "\n"
    "Prints message ID of the library's catalogue as it stands (printf fields\n"
    "such as %s unfilled), in UTF-8. The language is the thread's language from\n"
    "the environment (LC_ALL, LC_MESSAGES, LANG: a value starting with \"ru\" is\n"
    "Russian), unless --lang chooses. An ID that the catalogue lacks is an error.\n"
    "\n"
    "Options:\n"
    "  --lang en|ru    English or Russian\n"
    "  --help          this text\n";

const char* const demoHelp =
    "Usage: zeltool demo [--lang en|ru] [--keep FILE] [--report FILE]\n"
    "\n"
    "Builds a plane truss of 26 nodes and 49 bars in memory, stores it as a\n"
    "document of blocks with a table of contents, reads it back and compares,\n"
    "assembles the stiffness matrix in the packed triangle, renumbers it\n"
    "(RenumberBand), solves it (GaussTape) and checks the result against the\n"
    "dense solver (Gauss), then reports displacements, bar forces, reactions,\n"
    "the strain energy by quadrature against the work of the loads, and the\n"
    "equilibrium. Warnings of the analysis are collected as messages. The\n"
    "full report, in pages, goes to a file; the terminal shows a summary.\n"
    "Any check that fails ends the run with status 2.\n"
    "\n"
    "Options:\n"
    "  --lang en|ru    English or Russian (default: from the environment)\n"
    "  --keep FILE     write the document to FILE (replacing it) and keep it\n"
    "                  (default: a temporary file, removed at the end)\n"
    "  --report FILE   write the paginated report (UTF-8) to FILE, replacing it\n"
    "                  (default: zeltool-demo-report.txt in the current folder)\n"
    "  --help          this text\n";

const char* const markHelp =
    "Usage: zeltool mark FILE\n"
    "\n"
    "Prints the mark at the start of the work file FILE: when it was marked\n"
    "(UTC) and the length it recorded, beside the file's length after the mark,\n"
    "and whether the two agree (a file changed or cut after marking does not).\n"
    "Either way the exit status is 0; a file too short for a mark, or one that\n"
    "cannot be read, is an error (status 2).\n";

const char* const blocksHelp =
    "Usage: zeltool blocks FILE\n"
    "\n"
    "Lists the blocks of the document FILE, a work file whose position 0 holds\n"
    "the record of its table of contents (as zeltool demo --keep writes it):\n"
    "number, position and length of each block. Exit status 2 when the table\n"
    "cannot be read or a block lies outside the file.\n";

Command HelpFor(const std::string& topic) {
  Command c;
  c.topic = topic;
  return c;
}

bool IsHelp(const std::string& a) { return a == "--help" || a == "-h"; }

[[noreturn]] void Usage(const std::string& command, const std::string& text) {
  const std::string prefix = command.empty() ? "zeltool: " : "zeltool " + command + ": ";
  throw UsageError(prefix + text + " (see zeltool " + (command.empty() ? "" : command + " ") + "--help)");
}

Command ParseSolve(const std::vector<std::string>& args) {
  Command c;
  c.kind = Command::Solve;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (IsHelp(a))
      return HelpFor("solve");
    if (a == "--dense")
      c.dense = true;
    else if (a == "--no-renumber")
      c.renumber = false;
    else if (a == "--rhs") {
      if (i + 1 == args.size())
        Usage("solve", "--rhs needs a file name");
      c.rhs = args[++i];
    } else if (a.size() > 1 && a[0] == '-')
      Usage("solve", "unknown option '" + a + "'");
    else if (!c.matrix.empty())
      Usage("solve", "one matrix file only ('" + c.matrix + "' and '" + a + "')");
    else
      c.matrix = a;
  }
  if (c.matrix.empty())
    Usage("solve", "no matrix file given");
  return c;
}

// --lang en|ru at args[i]; advances i past the value.
Language ParseLanguage(const std::string& command, const std::vector<std::string>& args, std::size_t& i) {
  if (i + 1 == args.size())
    Usage(command, "--lang needs en or ru");
  const std::string& l = args[++i];
  if (l == "en")
    return Language::English;
  if (l == "ru")
    return Language::Russian;
  Usage(command, "unknown language '" + l + "' (en or ru)");
}

Command ParseDemo(const std::vector<std::string>& args) {
  Command c;
  c.kind = Command::Demo;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (IsHelp(a))
      return HelpFor("demo");
    if (a == "--lang")
      c.language = ParseLanguage("demo", args, i);
    else if (a == "--keep") {
      if (i + 1 == args.size())
        Usage("demo", "--keep needs a file name");
      c.keep = args[++i];
    } else if (a == "--report") {
      if (i + 1 == args.size())
        Usage("demo", "--report needs a file name");
      c.report = args[++i];
    } else
      Usage("demo", "unknown argument '" + a + "'");
  }
  return c;
}

// A command whose one argument is a file name.
Command ParseFileCommand(Command::Kind kind, const std::string& name, const std::vector<std::string>& args) {
  Command c;
  c.kind = kind;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (IsHelp(a))
      return HelpFor(name);
    if (a.size() > 1 && a[0] == '-')
      Usage(name, "unknown option '" + a + "'");
    if (!c.file.empty())
      Usage(name, "one file only");
    c.file = a;
  }
  if (c.file.empty())
    Usage(name, "no file given");
  return c;
}

Command ParseMsg(const std::vector<std::string>& args) {
  Command c;
  c.kind = Command::Msg;
  bool haveId = false;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (IsHelp(a))
      return HelpFor("msg");
    if (a == "--lang")
      c.language = ParseLanguage("msg", args, i);
    else if (a.size() > 1 && a[0] == '-')
      Usage("msg", "unknown option '" + a + "'");
    else if (haveId)
      Usage("msg", "one message id only");
    else {
      const auto r = std::from_chars(a.data(), a.data() + a.size(), c.id);
      if (a.empty() || r.ec != std::errc() || r.ptr != a.data() + a.size())
        Usage("msg", "'" + a + "' is not a message id (a number)");
      haveId = true;
    }
  }
  if (!haveId)
    Usage("msg", "no message id given");
  return c;
}

} // namespace

Command ParseCommandLine(const std::vector<std::string>& args) {
  if (args.empty())
    Usage("", "no command given");
  const std::string& command = args[0];
  if (IsHelp(command))
    return Command{};
  if (command == "help") {
    if (args.size() > 2)
      Usage("", "help takes one command name");
    const std::string topic = args.size() == 2 ? args[1] : "";
    if (!topic.empty() && topic != "solve" && topic != "msg" && topic != "demo" && topic != "mark" &&
        topic != "blocks")
      Usage("", "no command '" + topic + "'");
    return HelpFor(topic);
  }
  if (command == "solve")
    return ParseSolve(args);
  if (command == "msg")
    return ParseMsg(args);
  if (command == "demo")
    return ParseDemo(args);
  if (command == "mark")
    return ParseFileCommand(Command::Mark, command, args);
  if (command == "blocks")
    return ParseFileCommand(Command::Blocks, command, args);
  Usage("", "unknown command '" + command + "'");
}

const char* HelpText(const std::string& topic) {
  if (topic == "solve")
    return solveHelp;
  if (topic == "msg")
    return msgHelp;
  if (topic == "demo")
    return demoHelp;
  if (topic == "mark")
    return markHelp;
  if (topic == "blocks")
    return blocksHelp;
  return programHelp;
}

} // namespace zeltool
