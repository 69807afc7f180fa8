// End-to-end tests of the zeltool program: the built binary is run as a user
// runs it, and its exit status, standard output and standard error are
// checked. The reader's in-memory entry point is checked on the same bad
// inputs, since a fuzzer will drive it without the program.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "matrix_market.h"
#include "support/temp_files.h"
#include "zeltools/errors/exception.h"
#include "zeltools/rcscript/encoding.h"

namespace {

using zel::test::TempDir;

struct Outcome {
  int status = -1; // the exit status; -1 when the program did not exit by itself
  std::string out, err;
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs zeltool with `args` in a plain environment (plus `env`), standard
// output and error sent to files, so nothing is a terminal; `errTo` names
// another place for standard error (then `err` stays empty), `cwd` another
// current folder.
Outcome RunTool(const std::vector<std::string>& args, const std::vector<std::string>& env = {"LANG=C"},
                const std::string& errTo = "", const std::string& cwd = "") {
  TempDir dir;
  const std::string out = dir.File("out"), err = errTo.empty() ? dir.File("err") : errTo;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (!cwd.empty())
    posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  std::vector<std::string> argStrings{ZEL_ZELTOOL_PATH};
  argStrings.insert(argStrings.end(), args.begin(), args.end());
  std::vector<char*> argv, envp;
  for (std::string& a : argStrings)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<std::string> envStrings = env;
  for (std::string& e : envStrings)
    envp.push_back(e.data());
  envp.push_back(nullptr);
  pid_t pid = 0;
  Outcome o;
  if (posix_spawn(&pid, ZEL_ZELTOOL_PATH, &actions, nullptr, argv.data(), envp.data()) != 0) {
    ADD_FAILURE() << "cannot start " << ZEL_ZELTOOL_PATH;
    posix_spawn_file_actions_destroy(&actions);
    return o;
  }
  posix_spawn_file_actions_destroy(&actions);
  int wstatus = 0;
  while (waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(wstatus))
    o.status = WEXITSTATUS(wstatus);
  o.out = Slurp(out);
  if (errTo.empty())
    o.err = Slurp(err);
  return o;
}

std::string Matrices() { return std::string(ZEL_TEST_DATA_DIR) + "/matrices"; }

std::vector<std::string> RepositoryMatrices() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(Matrices()))
    if (entry.path().extension() == ".gz")
      files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

// The number after `label` at the start of a report line; NaN when absent.
double Figure(const std::string& report, const std::string& label) {
  std::istringstream lines(report);
  std::string line;
  while (std::getline(lines, line))
    if (line.rfind(label + " ", 0) == 0) {
      std::istringstream words(line.substr(label.size()));
      std::string word;
      words >> word;
      word.erase(std::remove(word.begin(), word.end(), ','), word.end());
      return std::strtod(word.c_str(), nullptr);
    }
  return std::nan("");
}

std::string Gzip(const std::string& text) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string out(deflateBound(&z, text.size()) + 32, '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  z.avail_in = static_cast<uInt>(text.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

unsigned OrderOf(const std::string& path) {
  return zeltool::ReadSymmetricMatrix(zeltool::ReadFileBytes(path), path).n;
}

// ---------------------------------------------------------------------------

TEST(ZeltoolSolve, EveryRepositoryMatrixSolvesToASmallResidual) {
  const auto files = RepositoryMatrices();
  ASSERT_FALSE(files.empty());
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const Outcome o = RunTool({"solve", file});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, ""); // no progress bar, no warning, when stderr is not a terminal
    EXPECT_EQ(Figure(o.out, "n"), OrderOf(file));
    EXPECT_LT(Figure(o.out, "residual"), 1e-10) << o.out;
    EXPECT_LE(Figure(o.out, "error"), 1e-6) << o.out; // the solution is x = 1
    EXPECT_NE(o.out.find(" renumbered "), std::string::npos) << o.out;
  }
}

// The dense solver, the band solver in the file's numbering and after
// renumbering all find the known solution; the renumbered profile is never
// larger than the given one, which --no-renumber reports alone.
TEST(ZeltoolSolve, DenseAndUnrenumberedSolvesAgreeWithTheBand) {
  int compared = 0;
  for (const std::string& file : RepositoryMatrices()) {
    if (OrderOf(file) > 1100) // the dense solver's cubic cost
      continue;
    SCOPED_TRACE(file);
    ++compared;
    const Outcome band = RunTool({"solve", file});
    const Outcome dense = RunTool({"solve", file, "--dense"});
    const Outcome plain = RunTool({"solve", "--no-renumber", file});
    ASSERT_EQ(band.status, 0) << band.err;
    ASSERT_EQ(dense.status, 0) << dense.err;
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_NE(dense.out.find("Gauss (dense"), std::string::npos) << dense.out;
    for (const Outcome* o : {&band, &dense, &plain}) {
      EXPECT_LT(Figure(o->out, "residual"), 1e-10) << o->out;
      EXPECT_LE(Figure(o->out, "error"), 1e-6) << o->out;
    }
    EXPECT_EQ(Figure(plain.out, "profile"), Figure(band.out, "profile")) << plain.out << band.out;
    EXPECT_NE(plain.out.find("not renumbered"), std::string::npos) << plain.out;
  }
  EXPECT_GE(compared, 5);
}

TEST(ZeltoolSolve, RightHandSidesFromAnArrayFileAndPatternMatrices) {
  TempDir dir;
  const std::string matrix = Matrices() + "/bcsstk05.mtx.gz";
  const unsigned n = OrderOf(matrix);
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::ostringstream rhs;
  rhs.precision(17);
  rhs << "%%MatrixMarket matrix array real general\n% two columns\n" << n << " 2\n";
  for (unsigned i = 0; i < 2 * n; ++i)
    rhs << value(rng) << "\n";
  const std::string rhsFile = dir.Write("b.mtx", rhs.str());
  for (const char* mode : {"", "--dense"}) {
    std::vector<std::string> args{"solve", matrix, "--rhs", rhsFile};
    if (*mode != '\0')
      args.push_back(mode);
    const Outcome o = RunTool(args);
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_LT(Figure(o.out, "residual"), 1e-10) << o.out;
    EXPECT_NE(o.out.find("(2 columns)"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find("\nerror"), std::string::npos) << "no known solution to compare with";
  }
  // A ring of 6 vertices as a pattern, the diagonal left out.
  std::string pattern = "%%MatrixMarket matrix coordinate pattern symmetric\n6 6 6\n";
  for (int i = 2; i <= 6; ++i)
    pattern += std::to_string(i) + " " + std::to_string(i - 1) + "\n";
  pattern += "6 1\n";
  const Outcome o = RunTool({"solve", dir.Write("ring.mtx", pattern)});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_LT(Figure(o.out, "residual"), 1e-10) << o.out;
  EXPECT_EQ(Figure(o.out, "non-zeros"), 18) << o.out; // 12 off the diagonal, 6 on it added
}

// On a terminal standard error shows the bar, phase by phase, and erases
// it; the report on standard output is the same as without one.
TEST(ZeltoolSolve, ProgressBarOnATerminalOnly) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  const std::string matrix = Matrices() + "/bcsstk01.mtx.gz";
  const Outcome o = RunTool({"solve", matrix}, {"LANG=C"}, ptsname(master));
  ASSERT_EQ(o.status, 0);
  // The terminal hands the child's output on after the child has ended, in
  // pieces when the machine is busy: read until the bar's erasure arrives.
  fcntl(master, F_SETFL, O_NONBLOCK);
  const std::string erase = "\r\033[K";
  std::string bar;
  for (int idle = 0; idle < 100 && (bar.size() < 4 || bar.compare(bar.size() - 4, 4, erase) != 0);) {
    char chunk[4096];
    const ssize_t got = read(master, chunk, sizeof chunk);
    if (got > 0) {
      bar.append(chunk, static_cast<std::size_t>(got));
    } else {
      ++idle;
      usleep(50000);
    }
  }
  close(master);
  ASSERT_GE(bar.size(), 4u);
  EXPECT_NE(bar.find("1/6 read"), std::string::npos) << bar;
  EXPECT_NE(bar.find("6/6 check"), std::string::npos) << bar;
  EXPECT_EQ(bar.substr(bar.size() - 4), erase) << "the bar is erased at the end";
  EXPECT_EQ(bar.find("residual"), std::string::npos) << "the report stays on standard output";
  const std::string plain = RunTool({"solve", matrix}).out;
  for (const char* label : {"n", "non-zeros", "profile", "residual", "error"})
    EXPECT_EQ(Figure(o.out, label), Figure(plain, label)) << label;
}

// Compressed and plain bytes read alike, in memory and from a file, also as
// several gzip members joined.
TEST(ZeltoolReader, GzipAndPlainReadAlike) {
  const std::string text = "%%MatrixMarket matrix coordinate real symmetric\n%c\n3 3 4\n1 1 4\n2 1 -1\n2 2 4.5e0\n3 3 +.25";
  const std::string half = "%%MatrixMarket matrix coordinate real symmetric\n3 3 4\n1 1 4\n2 1 -1\n";
  const zeltool::SymmetricMatrix plain = zeltool::ReadSymmetricMatrix(text, "a.mtx");
  const zeltool::SymmetricMatrix gz = zeltool::ReadSymmetricMatrix(Gzip(text), "a.mtx.gz");
  const zeltool::SymmetricMatrix joined =
      zeltool::ReadSymmetricMatrix(Gzip(half) + Gzip("2 2 4.5e0\n3 3 +.25"), "b.mtx.gz");
  for (const auto* m : {&plain, &gz, &joined}) {
    ASSERT_EQ(m->n, 3u);
    ASSERT_EQ(m->lower.size(), 4u);
    EXPECT_EQ(m->lower[1].row, 1u);
    EXPECT_EQ(m->lower[1].col, 0u);
    EXPECT_EQ(m->lower[1].value, -1.0);
    EXPECT_EQ(m->lower[3].value, 0.25);
  }
}

// ---------------------------------------------------------------------------
// Bad input: one line on standard error naming the file (and the line), and
// exit status 2.

const std::string Header = "%%MatrixMarket matrix coordinate real symmetric\n";
const std::string Valid = Header + "% a comment\n3 3 4\n1 1 4\n2 1 -1\n2 2 4\n3 3 2\n";

struct BadInput {
  const char* label;
  std::string content; // written to "bad.mtx" (gzip data to "bad.mtx.gz")
  std::string fragment;
  unsigned long long line; // 0: the message has no line
  bool readerRefuses = true; // false: the file reads, the solve fails
};

std::vector<BadInput> BadInputs() {
  const std::string gz = Gzip(Valid + std::string(2000, '%') + "\n");
  std::string damaged = gz;
  damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
  return {
      {"empty file", "", "the file is empty", 1},
      {"no banner", "hello\n", "not a Matrix Market file", 1},
      {"short header", "%%MatrixMarket matrix coordinate real\n1 1 1\n1 1 1\n", "needs four words", 1},
      {"general", "%%MatrixMarket matrix coordinate real general\n1 1 1\n1 1 1\n", "not symmetric", 1},
      {"complex", "%%MatrixMarket matrix coordinate complex symmetric\n", "complex", 1},
      {"array", "%%MatrixMarket matrix array real symmetric\n1 1\n1\n", "coordinate form", 1},
      {"not square", Header + "2 3 1\n1 1 1\n", "2 x 3, not square", 2},
      {"text in the size line", Header + "%\n2 x 1\n", "'x' is not a count", 3},
      {"short size line", Header + "2 2\n", "needs 3 counts, it has 2", 2},
      {"more entries than places", Header + "2 2 4\n", "more than the 3 places", 2},
      {"a huge count in a short file", Header + "2000000 2000000 1000000000000\n1 1 1\n",
       "announces 1000000000000 entries, but the rest of the file can hold at most", 2},
      {"row out of range", Header + "2 2 2\n1 1 1\n3 1 1\n", "row index 3 is outside 1..2", 4},
      {"column zero", Header + "2 2 2\n1 1 1\n2 0 1\n", "column index 0 is outside 1..2", 4},
      {"index too large for any integer", Header + "2 2 1\n99999999999999999999 1 1\n", "is not a row index", 3},
      {"above the diagonal", Header + "2 2 2\n1 1 1\n1 2 1\n", "entry (1, 2) is above the diagonal", 4},
      {"text for an index", Header + "2 2 1\na 1 1\n", "'a' is not a row index", 3},
      {"text for a value", Header + "2 2 2\n1 1 1\n2 1 abc\n", "'abc' is not a number", 4},
      {"a number with trailing text", Header + "1 1 1\n1 1 1.5x\n", "'1.5x' is not a number", 3},
      {"not a number", Header + "1 1 1\n1 1 nan\n", "'nan' is not a finite number", 3},
      {"overflow", Header + "1 1 1\n1 1 1e999\n", "'1e999' is not a finite number", 3},
      {"integer field", "%%MatrixMarket matrix coordinate integer symmetric\n1 1 1\n1 1 1.5\n", "not an integer", 3},
      {"no value", Header + "1 1 1\n1 1\n% room for an entry\n", "the entry has no value", 3},
      {"extra word", Header + "1 1 1\n1 1 1 7\n", "unexpected '7' after the entry", 3},
      {"fewer entries", Header + "2 2 3\n1 1 1\n2 2 1\n% room for an entry\n", "ends after 2 of the 3 entries", 6},
      {"more entries", Header + "2 2 1\n1 1 1\n2 2 1\n", "more entries than the 1", 4},
      {"repeated entry", Header + "2 2 3\n1 1 1\n2 1 1\n2 1 3\n", "entry (2, 1) is given again (first on line 4)", 5},
      {"endless line", Header + std::string(70000, '7'), "a line longer than", 2},
      {"truncated gzip", gz.substr(0, gz.size() / 2), "the .gz file is truncated", 0},
      {"damaged gzip", damaged, "damaged compressed data", 0},
      {"bytes after gzip", gz + "junk", "unexpected bytes after the end of the compressed data", 0},
      {"rows left empty", Header + "10 10 1\n1 1 1\n", "leave some of the 10 rows empty", 0, false},
      {"singular by a zero row", Header + "3 3 2\n1 1 1\n3 3 2\n",
       "the matrix is singular: zero pivot at unknown 2 of the file's numbering (GaussTapeDirect: Null diagonal)", 0,
       false},
      {"singular by elimination", Header + "2 2 3\n1 1 1\n2 1 1\n2 2 1\n", "the matrix is singular: zero pivot", 0,
       false},
  };
}

TEST(ZeltoolBadInput, OneLineNamingTheFileAndStatus2) {
  TempDir dir;
  for (const BadInput& bad : BadInputs()) {
    SCOPED_TRACE(bad.label);
    const bool gz = bad.content.size() > 2 && bad.content[0] == '\x1f';
    const std::string path = dir.Write(gz ? "bad.mtx.gz" : "bad.mtx", bad.content);
    const Outcome o = RunTool({"solve", path});
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "");
    ASSERT_FALSE(o.err.empty());
    EXPECT_EQ(o.err.find('\n'), o.err.size() - 1) << "one line: " << o.err;
    const std::string where = path + (bad.line > 0 ? ":" + std::to_string(bad.line) + ": " : ":");
    EXPECT_EQ(o.err.rfind("zeltool: " + where, 0), 0u) << o.err;
    EXPECT_NE(o.err.find(bad.fragment), std::string::npos) << o.err;
    // The in-memory entry point gives the same verdict.
    if (bad.readerRefuses) {
      try {
        zeltool::ReadSymmetricMatrix(bad.content, "memory");
        ADD_FAILURE() << "the reader accepted it";
      } catch (const zeltool::InputError& e) {
        if (bad.line > 0)
          EXPECT_EQ(e.Line(), bad.line);
        EXPECT_NE(e.Text().find(bad.fragment), std::string::npos) << e.what();
      }
    }
  }
  // The dense solver's own signal for a singular matrix.
  const Outcome o = RunTool({"solve", "--dense", dir.Write("s.mtx", Header + "2 2 3\n1 1 1\n2 1 1\n2 2 1\n")});
  EXPECT_EQ(o.status, 2);
  EXPECT_NE(o.err.find("the matrix is singular: zero pivot (Gauss: Null diagonal)"), std::string::npos) << o.err;
}

TEST(ZeltoolBadInput, FilesAndCommandLinesThatCannotBeUsed) {
  TempDir dir;
  const std::string valid = dir.Write("ok.mtx", Valid);
  const std::string missing = dir.File("missing.mtx");
  const std::string rhsRows = dir.Write("b2.mtx", "%%MatrixMarket matrix array real general\n2 1\n1\n2\n");
  const std::string rhsText = dir.Write("bt.mtx", "%%MatrixMarket matrix array real general\n3 1\n1\nx\n2\n");
  const std::string rhsCoordinate = dir.Write("bc.mtx", Valid);
  struct Case {
    std::vector<std::string> args;
    std::string fragment;
  } cases[] = {
      {{"solve", missing}, "zeltool: " + missing + ": cannot open: No such file or directory"},
      {{"solve", dir.File("")}, "is a directory"},
      {{"solve", "/dev/null"}, "zeltool: /dev/null: is not a regular file"},
      {{"solve", valid, "--rhs", rhsRows}, "zeltool: " + rhsRows + ": the right-hand side has 2 rows, the matrix 3"},
      {{"solve", valid, "--rhs", rhsText}, "zeltool: " + rhsText + ":4: 'x' is not a number"},
      {{"solve", valid, "--rhs", rhsCoordinate}, rhsCoordinate + ":1: a right-hand side must be an array"},
      {{"solve", valid, "--rhs"}, "zeltool solve: --rhs needs a file name"},
      {{"solve", valid, "--fast"}, "zeltool solve: unknown option '--fast'"},
      {{"solve"}, "zeltool solve: no matrix file given"},
      {{"solve", valid, valid}, "one matrix file only"},
      {{"msg"}, "zeltool msg: no message id given"},
      {{"msg", "12x"}, "'12x' is not a message id"},
      {{"msg", "105", "--lang", "de"}, "unknown language 'de'"},
      {{"msg", "4242"}, "zeltool msg: the catalogue has no message 4242"},
      {{"mark", "/dev/null"}, "\"/dev/null\""},
      {{"blocks", valid}, "\"" + valid + "\""},
      {{"blocks"}, "zeltool blocks: no file given"},
      {{"frobnicate"}, "zeltool: unknown command 'frobnicate'"},
      {{}, "zeltool: no command given"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fragment);
    const Outcome o = RunTool(c.args);
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err.find('\n'), o.err.size() - 1) << "one line: " << o.err;
    EXPECT_NE(o.err.find(c.fragment), std::string::npos) << o.err;
  }
}

// ---------------------------------------------------------------------------

// The demo's output and its paged report in either language are the stored
// ones, byte for byte: any
// change in the library's stored blocks, renumbering, solvers or quadrature
// shows here. A kept document holds the blocks its report lists.
TEST(ZeltoolDemo, ReportsMatchTheStoredOnesAndTheKeptDocumentHoldsTheBlocks) {
  const std::string golden = std::string(ZEL_ZELTOOL_DATA_DIR) + "/demo_";
  TempDir dir;
  const std::string printed = dir.File("zeltool-demo-report.txt");
  const Outcome en = RunTool({"demo", "--lang", "en"}, {"LANG=C"}, "", dir.File(""));
  ASSERT_EQ(en.status, 0) << en.err;
  EXPECT_EQ(en.err, "");
  EXPECT_EQ(en.out, Slurp(golden + "en.txt"));
  EXPECT_EQ(Slurp(printed), Slurp(golden + "report_en.txt"));
  const Outcome ru = RunTool({"demo"}, {"LANG=ru_RU.UTF-8"}, "", dir.File(""));
  ASSERT_EQ(ru.status, 0) << ru.err;
  EXPECT_EQ(ru.out, Slurp(golden + "ru.txt"));
  EXPECT_EQ(Slurp(printed), Slurp(golden + "report_ru.txt"));

  // The kept document as blocks and mark read it: the blocks the report
  // listed, and a mark that matches until the file changes.
  const std::string kept = dir.File("truss.zel");
  ASSERT_EQ(RunTool({"demo", "--keep", kept}, {"LANG=C"}, "", dir.File("")).out, en.out);
  const Outcome blocks = RunTool({"blocks", kept});
  ASSERT_EQ(blocks.status, 0) << blocks.err;
  std::istringstream report(en.out.substr(en.out.find("   nodes "))), listing(blocks.out.substr(blocks.out.find("    1 ")));
  long long tablePosition = 0;
  for (unsigned i = 1; i <= 7; ++i) {
    std::string name;
    unsigned number = 0;
    long long position = 0, length = 0, listedPosition = -1, listedLength = -1;
    report >> name >> position >> length;
    if (i == 7) { // the report's last row is the table itself
      tablePosition = position;
      break;
    }
    listing >> number >> listedPosition >> listedLength;
    EXPECT_EQ(number, i);
    EXPECT_EQ(listedPosition, position) << blocks.out;
    EXPECT_EQ(listedLength, length) << blocks.out;
  }
  EXPECT_NE(RunTool({"mark", kept}).out.find("they match"), std::string::npos);
  constexpr long long markBytes = 32;
  std::string bytes = Slurp(kept);
  std::ofstream(kept, std::ios::app) << "x";
  const Outcome grown = RunTool({"mark", kept});
  EXPECT_EQ(grown.status, 0);
  EXPECT_NE(grown.out.find(std::to_string(bytes.size() + 1 - markBytes) + " in the file: they differ"), std::string::npos)
      << grown.out;
  // Block 2's length (after the table's 4-byte count and block 1's record)
  // made larger than the file; then the table cut off.
  bytes[static_cast<std::size_t>(markBytes + tablePosition + 4 + 16 + 8 + 7)] = 0x40;
  const Outcome outside = RunTool({"blocks", dir.Write("outside.zel", bytes)});
  EXPECT_EQ(outside.status, 2);
  EXPECT_NE(outside.out.find("outside the file"), std::string::npos) << outside.out;
  EXPECT_NE(outside.err.find("1 of the 6 blocks lie outside the file"), std::string::npos) << outside.err;
  const std::string cut = dir.Write("cut.zel", bytes.substr(0, static_cast<std::size_t>(markBytes + tablePosition + 20)));
  const Outcome shortened = RunTool({"blocks", cut});
  EXPECT_EQ(shortened.status, 2);
  EXPECT_EQ(shortened.out, "");
  EXPECT_NE(shortened.err.find(cut), std::string::npos) << shortened.err;

  for (const char* option : {"--keep", "--report"}) {
    const Outcome bad = RunTool({"demo", option, dir.File("no/such/folder/truss.zel")});
    EXPECT_EQ(bad.status, 2); // the output stops at the step that failed
    EXPECT_EQ(bad.err.find('\n'), bad.err.size() - 1) << "one line: " << bad.err;
    EXPECT_NE(bad.err.find("no/such/folder/truss.zel"), std::string::npos) << bad.err;
  }
}

TEST(ZeltoolMsg, PrintsTheCatalogueTextInUtf8InEitherLanguage) {
  for (unsigned id : {50u, 105u, 201u, 1051u}) {
    SCOPED_TRACE(id);
    std::string english, russian;
    {
      zel::test::ScopedLanguage language(zel::LanguageEnglish);
      zel::GetLibraryMessage(id, english);
    }
    {
      zel::test::ScopedLanguage language(zel::LanguageRussian);
      zel::GetLibraryMessage(id, russian);
    }
    ASSERT_NE(english, russian);
    EXPECT_EQ(RunTool({"msg", std::to_string(id), "--lang", "en"}).out, english + "\n");
    const Outcome ru = RunTool({"msg", std::to_string(id), "--lang", "ru"});
    EXPECT_EQ(ru.status, 0);
    EXPECT_EQ(ru.out, zel::Cp1251ToUtf8(russian) + "\n");
    // Without --lang the environment chooses.
    EXPECT_EQ(RunTool({"msg", std::to_string(id)}, {"LANG=ru_RU.UTF-8"}).out, ru.out);
    EXPECT_EQ(RunTool({"msg", std::to_string(id)}, {"LANG=en_GB.UTF-8"}).out, english + "\n");
  }
}

TEST(ZeltoolHelp, EveryCommandHasHelpThatExitsWithStatus0) {
  const struct {
    std::vector<std::string> args;
    const char* starts;
  } cases[] = {
      {{"--help"}, "zeltool - "},         {{"help"}, "zeltool - "},
      {{"solve", "--help"}, "Usage: zeltool solve"}, {{"help", "solve"}, "Usage: zeltool solve"},
      {{"msg", "--help"}, "Usage: zeltool msg"},     {{"help", "msg"}, "Usage: zeltool msg"},
      {{"demo", "--help"}, "Usage: zeltool demo"},   {{"help", "demo"}, "Usage: zeltool demo"},
      {{"mark", "--help"}, "Usage: zeltool mark"},   {{"help", "blocks"}, "Usage: zeltool blocks"},
  };
  for (const auto& c : cases) {
    const Outcome o = RunTool(c.args);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.out.rfind(c.starts, 0), 0u) << o.out;
  }
}

} // namespace
