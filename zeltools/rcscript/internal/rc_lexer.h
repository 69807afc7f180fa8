#pragma once
// The tokens of a resource script and the lexer that makes them, with the
// preprocessor (#define, #include, #if, #pragma code_page) folded in; used by
// the script reader (rc_script.h). Not part of the installed interface.

#include <deque>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "zeltools/rcscript/internal/script_error.h"

namespace zel::internal::rc {

inline constexpr int CodePageCyrillic = 1251; // the default
inline constexpr int CodePageUtf8 = 65001;

/// Throws `ScriptError` with "<file>:<line>: " and the formatted text.
[[noreturn]] void Fail(const std::string& file, int line, const char* format, ...)
#if defined(__MINGW32__) // the library formats with mingw's C99 printf
    __attribute__((format(gnu_printf, 3, 4)))
#elif defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/// Compares ASCII letters without regard to case (keywords of the script).
bool EqualsNoCase(const std::string& a, const char* b);

/// A token text short enough to quote in an error message.
std::string Quoted(const std::string& text);

enum class Kind { End, Name, Number, String, Punct, Other };

struct Token {
  Kind kind = Kind::End;
  std::string text;          // name, punctuator, or the string's Windows-1251 text
  long long value = 0;       // numbers, saturated at LLONG_MAX
  bool badNumber = false;
  int line = 0;
  const std::string* file = nullptr;
};

[[noreturn]] inline void FailAt(const Token& t, const std::string& text) { Fail(*t.file, t.line, "%s", text.c_str()); }

inline bool IsPunct(const Token& t, const char* p) { return t.kind == Kind::Punct && t.text == p; }
inline bool IsKeyword(const Token& t, const char* k) { return t.kind == Kind::Name && EqualsNoCase(t.text, k); }
inline bool IsBlockOpen(const Token& t) { return IsKeyword(t, "BEGIN") || IsPunct(t, "{"); }
inline bool IsBlockClose(const Token& t) { return IsKeyword(t, "END") || IsPunct(t, "}"); }

struct Macro {
  std::string value;
  bool functionLike = false;
};

/// How a name that is not a macro reads in an expression; it decides, with
/// the macros, what a macro's value is.
enum class Names {
  Required,  // an error: string ids, option values
  ZeroInIf,  // 0, and `defined` is understood: #if and #elif lines
  Languages, // LANG_ and SUBLANG_ names: the LANGUAGE statement
};
inline constexpr int NameRules = 3;

// State shared by every file of one script: macros persist across includes
// (a header's ids serve the script that includes it), and so does the code
// page.
//
// Reading time is kept proportional to the input. Each macro's value is
// worked out once and reused until a #define or #undef starts a new
// generation (without that, a chain of macros each using the previous one
// twice costs 2^n expansions). What is still repeated (headers included
// again, values worked out again after a redefinition) is paid from a work
// budget: every byte lexed, and every file opened, is charged; the allowance
// grows with the size of each distinct file read. A script that overdraws it
// is refused with a located error.
struct Context {
  std::unordered_map<std::string, Macro> macros;
  int codePage = CodePageCyrillic;
  std::deque<std::string> fileNames; // stable storage for Token::file
  std::vector<std::string>* filesRead = nullptr;

  struct KnownValue {
    long long value;
    unsigned long long generation;
  };
  std::unordered_map<std::string, KnownValue> macroValues[NameRules]; // by Names
  unsigned long long macroGeneration = 0;

  std::unordered_set<std::string> distinctFiles; // identities of the files read
  unsigned long long work = 0;
  unsigned long long allowance = 1u << 20; // what any script may spend, however small

  /// Adds the allowance earned by reading the file `identity` (of `size`
  /// bytes) the first time. The identity is the file's, not its path's, so
  /// that other spellings of a path (or links) earn nothing more.
  void Earn(const std::string& identity, std::size_t size);
  /// Charges `units` of work done for the text at `file`:`line`; throws
  /// the located error when the allowance is spent.
  void Charge(std::size_t units, const std::string& file, int line);
};

// Script: directives and tokens. DirectivesOnly: an included .h/.c file.
// Plain: a macro value or a directive's operands (no directives).
enum class Mode { Script, DirectivesOnly, Plain };

class Lexer {
public:
  enum Result { GotToken, GotInclude, Finished };

  Lexer(std::string text, const std::string* file, Context& ctx, Mode mode, int firstLine = 1);

  const std::string* File() const { return file_; }
  int Line() const { return line_; }
  /// The last line of the text (not the empty one after its final line feed).
  int LastLine() const { return line_ - (line_ > 1 && !text_.empty() && text_.back() == '\n' ? 1 : 0); }

  Result Next(Token& out, std::string& include);

private:
  struct Branch {
    bool parentActive;
    bool active;
    bool taken; // some branch of this #if has been (or may no longer be) chosen
    bool seenElse;
    int line;
  };

  char At(std::size_t i) const { return i < text_.size() ? text_[i] : '\0'; }
  bool Active() const { return conditions_.empty() || conditions_.back().active; }

  void SkipToLineEnd();

  void SkipComment();

  // Skips the rest of a line that is not read (an inactive #if branch, the C
  // text of a header), minding comments and quotes so that a "/*" in a
  // string does not open a comment.
  void SkipText();

  void ReadToken(Token& out);

  void ReadNumber(Token& out);

  // Decodes a string literal into Windows-1251 bytes. Plain characters are
  // converted from the source code page in runs; escapes give their byte.
  void ReadString(Token& out, bool wide);

  // Reads one directive line (with its continuations). Returns true with
  // `include` set when the directive asks for a file to be read.
  bool Directive(std::string& include);

  static std::string TakeName(const std::string& body, std::size_t& p);

  bool IfValue(const std::string& expression, int line);

  bool HandleDirective(const std::string& body, int line, std::string& include);

  void Pragma(const std::string& rest, int line);

  std::string text_;
  std::size_t pos_ = 0;
  const std::string* file_;
  Context& ctx_;
  Mode mode_;
  int line_;
  bool lineStart_ = true;
  std::vector<Branch> conditions_;
};


/// The tokens of a macro value or a directive's operands; `line` is the
/// line they are reported at.
std::vector<Token> Tokenize(const std::string& text, const std::string* file, int line, Context& ctx);

class TokenSource {
public:
  virtual ~TokenSource() = default;
  virtual const Token& Peek() = 0;
  virtual Token Take() = 0;
};

class VectorSource : public TokenSource {
public:
  VectorSource(std::vector<Token> tokens, const std::string* file, int line) : tokens_(std::move(tokens)) {
    end_.file = file;
    end_.line = line;
  }
  const Token& Peek() override { return next_ < tokens_.size() ? tokens_[next_] : end_; }
  Token Take() override { return next_ < tokens_.size() ? std::move(tokens_[next_++]) : end_; }

private:
  std::vector<Token> tokens_;
  std::size_t next_ = 0;
  Token end_;
};

} // namespace zel::internal::rc
