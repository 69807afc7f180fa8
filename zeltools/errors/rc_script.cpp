#include "zeltools/errors/internal/rc_script.h"

#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/language.h"
#include "zeltools/text/encoding.h"

namespace zel::internal {
namespace {

// Bounds that keep hostile input from exhausting the stack or looping: a
// macro defined in terms of itself, parentheses nested thousands deep, a
// file that includes itself.
constexpr int MaxMacroDepth = 32;
constexpr int MaxExpressionDepth = 64;
constexpr std::size_t MaxIncludeDepth = 16;
// Scripts are a few hundred kilobytes at most; anything far larger is not a
// script, and reading it whole would only exhaust memory.
constexpr std::uintmax_t MaxFileSize = 64u << 20;

constexpr int CodePageCyrillic = 1251;
constexpr int CodePageUtf8 = 65001;

// Primary language ids of the LANGUAGE statement.
constexpr long long LangNeutral = 0x00;
constexpr long long LangEnglish = 0x09;
constexpr long long LangRussian = 0x19;
// Any other LANG_ name: a language whose strings are read and dropped.
constexpr long long LangOther = 0x3FF;

#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
[[noreturn]] void
Fail(const std::string& file, int line, const char* format, ...) {
  char buffer[Exception::DescriptionSize];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  const std::string text = file + ":" + std::to_string(line) + ": " + buffer;
  Crash(text.c_str());
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }
bool IsNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; }
bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int HexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

bool EqualsNoCase(const std::string& a, const char* b) {
  std::size_t i = 0;
  for (; i < a.size() && b[i] != '\0'; ++i)
    if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
      return false;
  return i == a.size() && b[i] == '\0';
}

bool EndsWithNoCase(const std::string& text, const char* tail) {
  const std::string t(tail);
  return text.size() >= t.size() && EqualsNoCase(text.substr(text.size() - t.size()), tail);
}

// A token text short enough to quote in an error message.
std::string Quoted(const std::string& text) { return text.size() <= 40 ? text : text.substr(0, 40) + "..."; }

// A Unicode character as its Windows-1251 byte ('?' when it has none).
char UnicodeToCp1251(unsigned int cp) {
  if (cp < 0x80)
    return static_cast<char>(cp);
  std::string utf8;
  if (cp < 0x800) {
    utf8 += static_cast<char>(0xC0 | (cp >> 6));
  } else {
    utf8 += static_cast<char>(0xE0 | ((cp >> 12) & 0x0F));
    utf8 += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  }
  utf8 += static_cast<char>(0x80 | (cp & 0x3F));
  const std::string converted = Utf8ToCp1251(utf8);
  return converted.size() == 1 ? converted[0] : '?';
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

enum class Kind { End, Name, Number, String, Punct, Other };

struct Token {
  Kind kind = Kind::End;
  std::string text;          // name, punctuator, or the string's Windows-1251 text
  long long value = 0;       // numbers, saturated at LLONG_MAX
  bool badNumber = false;
  int line = 0;
  const std::string* file = nullptr;
};

[[noreturn]] void FailAt(const Token& t, const std::string& text) { Fail(*t.file, t.line, "%s", text.c_str()); }

bool IsPunct(const Token& t, const char* p) { return t.kind == Kind::Punct && t.text == p; }
bool IsKeyword(const Token& t, const char* k) { return t.kind == Kind::Name && EqualsNoCase(t.text, k); }
bool IsBlockOpen(const Token& t) { return IsKeyword(t, "BEGIN") || IsPunct(t, "{"); }
bool IsBlockClose(const Token& t) { return IsKeyword(t, "END") || IsPunct(t, "}"); }

struct Macro {
  std::string value;
  bool functionLike = false;
};

// State shared by every file of one script: macros persist across includes,
// and so does the code page, as with the resource compiler.
struct Context {
  std::unordered_map<std::string, Macro> macros;
  int codePage = CodePageCyrillic;
  std::deque<std::string> fileNames; // stable storage for Token::file
  std::vector<std::string>* filesRead = nullptr;
};

// Script: directives and tokens. DirectivesOnly: an included .h/.c file.
// Plain: a macro value or a directive's operands (no directives).
enum class Mode { Script, DirectivesOnly, Plain };

class Lexer {
public:
  enum Result { GotToken, GotInclude, Finished };

  Lexer(std::string text, const std::string* file, Context& ctx, Mode mode, int firstLine = 1)
      : text_(std::move(text)), file_(file), ctx_(ctx), mode_(mode), line_(firstLine) {
    if (mode_ != Mode::Plain && text_.compare(0, 3, "\xEF\xBB\xBF") == 0) {
      pos_ = 3;
      ctx_.codePage = CodePageUtf8;
    }
  }

  const std::string* File() const { return file_; }
  int Line() const { return line_; }
  /// The last line of the text (not the empty one after its final line feed).
  int LastLine() const { return line_ - (line_ > 1 && !text_.empty() && text_.back() == '\n' ? 1 : 0); }

  Result Next(Token& out, std::string& include) {
    for (;;) {
      if (pos_ >= text_.size()) {
        if (!conditions_.empty())
          Fail(*file_, conditions_.back().line, "unterminated #if (no #endif)");
        return Finished;
      }
      const char c = text_[pos_];
      if (c == '\n') {
        ++line_;
        ++pos_;
        lineStart_ = true;
        continue;
      }
      if (IsBlank(c)) {
        ++pos_;
        continue;
      }
      if (c == '/' && At(pos_ + 1) == '/') {
        SkipToLineEnd();
        continue;
      }
      if (c == '/' && At(pos_ + 1) == '*') {
        SkipComment();
        continue;
      }
      if (c == '#' && lineStart_ && mode_ != Mode::Plain) {
        if (Directive(include))
          return GotInclude;
        continue;
      }
      if (!Active() || mode_ == Mode::DirectivesOnly) {
        SkipText();
        continue;
      }
      lineStart_ = false;
      ReadToken(out);
      return GotToken;
    }
  }

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

  void SkipToLineEnd() {
    while (pos_ < text_.size() && text_[pos_] != '\n')
      ++pos_;
  }

  void SkipComment() {
    const int start = line_;
    pos_ += 2;
    for (;;) {
      if (pos_ + 1 >= text_.size())
        Fail(*file_, start, "unterminated comment");
      if (text_[pos_] == '*' && text_[pos_ + 1] == '/') {
        pos_ += 2;
        return;
      }
      if (text_[pos_] == '\n')
        ++line_;
      ++pos_;
    }
  }

  // Skips the rest of a line that is not read (an inactive #if branch, the C
  // text of a header), minding comments and quotes so that a "/*" in a
  // string does not open a comment.
  void SkipText() {
    lineStart_ = false;
    while (pos_ < text_.size() && text_[pos_] != '\n') {
      const char c = text_[pos_];
      if (c == '/' && At(pos_ + 1) == '/') {
        SkipToLineEnd();
        return;
      }
      if (c == '/' && At(pos_ + 1) == '*') {
        SkipComment();
        continue;
      }
      ++pos_;
      if (c == '"' || c == '\'') {
        while (pos_ < text_.size() && text_[pos_] != '\n' && text_[pos_] != c) {
          if (text_[pos_] == '\\' && At(pos_ + 1) != '\n')
            ++pos_;
          ++pos_;
        }
        if (pos_ < text_.size() && text_[pos_] == c)
          ++pos_;
      }
    }
  }

  void ReadToken(Token& out) {
    out = Token();
    out.line = line_;
    out.file = file_;
    const char c = text_[pos_];
    if (c == '"') {
      ReadString(out, false);
    } else if ((c == 'L' || c == 'l') && At(pos_ + 1) == '"') {
      ++pos_;
      ReadString(out, true);
    } else if (IsDigit(c)) {
      ReadNumber(out);
    } else if (IsNameStart(c)) {
      out.kind = Kind::Name;
      const std::size_t start = pos_;
      while (pos_ < text_.size() && IsNameChar(text_[pos_]))
        ++pos_;
      out.text = text_.substr(start, pos_ - start);
    } else {
      static const char* const pairs[] = {"<<", ">>", "<=", ">=", "==", "!=", "&&", "||"};
      for (const char* p : pairs) {
        if (c == p[0] && At(pos_ + 1) == p[1]) {
          out.kind = Kind::Punct;
          out.text = p;
          pos_ += 2;
          return;
        }
      }
      static const std::string singles = ",+-*/%&|^~!()<>={}";
      out.kind = singles.find(c) != std::string::npos ? Kind::Punct : Kind::Other;
      out.text = std::string(1, c);
      ++pos_;
    }
  }

  void ReadNumber(Token& out) {
    out.kind = Kind::Number;
    const std::size_t start = pos_;
    while (pos_ < text_.size() && IsNameChar(text_[pos_]))
      ++pos_;
    out.text = text_.substr(start, pos_ - start);
    std::string digits = out.text;
    for (int i = 0; i < 3 && !digits.empty() && std::strchr("uUlL", digits.back()) != nullptr; ++i)
      digits.pop_back();
    unsigned base = 10;
    std::size_t first = 0;
    if (digits.size() > 1 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
      base = 16;
      first = 2;
    } else if (digits.size() > 1 && digits[0] == '0') {
      base = 8;
      first = 1;
    }
    if (first >= digits.size()) {
      out.badNumber = digits.empty() || base == 16;
      return;
    }
    unsigned long long value = 0;
    bool huge = false;
    for (std::size_t i = first; i < digits.size(); ++i) {
      const int d = HexValue(digits[i]);
      if (d < 0 || static_cast<unsigned>(d) >= base) {
        out.badNumber = true;
        return;
      }
      if (value > (static_cast<unsigned long long>(LLONG_MAX) - static_cast<unsigned>(d)) / base)
        huge = true;
      else
        value = value * base + static_cast<unsigned>(d);
    }
    out.value = huge ? LLONG_MAX : static_cast<long long>(value);
  }

  // Decodes a string literal into Windows-1251 bytes. Plain characters are
  // converted from the source code page in runs; escapes give their byte.
  void ReadString(Token& out, bool wide) {
    out.kind = Kind::String;
    const int start = line_;
    ++pos_; // the opening quote
    std::string run;
    const auto flush = [&] {
      out.text += ctx_.codePage == CodePageUtf8 ? Utf8ToCp1251(run) : run;
      run.clear();
    };
    for (;;) {
      if (pos_ >= text_.size() || text_[pos_] == '\n')
        Fail(*file_, start, "unterminated string");
      const char c = text_[pos_];
      if (c == '"') {
        if (At(pos_ + 1) == '"') {
          run += '"';
          pos_ += 2;
          continue;
        }
        ++pos_;
        break;
      }
      if (c != '\\') {
        run += c;
        ++pos_;
        continue;
      }
      const char e = At(pos_ + 1);
      if (e == '\n' || (e == '\r' && At(pos_ + 2) == '\n')) { // continued on the next line
        pos_ += e == '\n' ? 2 : 3;
        ++line_;
        continue;
      }
      if (pos_ + 1 >= text_.size())
        Fail(*file_, start, "unterminated string");
      flush();
      pos_ += 2;
      switch (e) {
      case 'n': out.text += '\n'; break;
      case 'r': out.text += '\r'; break;
      case 't': out.text += '\t'; break;
      case 'a': out.text += '\a'; break;
      case 'b': out.text += '\b'; break;
      case 'f': out.text += '\f'; break;
      case 'v': out.text += '\v'; break;
      case '\\': case '"': case '\'': case '?': out.text += e; break;
      case 'x': case 'X': {
        const int maxDigits = wide ? 4 : 2;
        unsigned value = 0;
        int n = 0;
        while (n < maxDigits && HexValue(At(pos_)) >= 0) {
          value = value * 16 + static_cast<unsigned>(HexValue(At(pos_)));
          ++pos_;
          ++n;
        }
        if (n == 0) { // "\x" with no digits stands as written
          run += '\\';
          run += e;
        } else {
          out.text += wide ? UnicodeToCp1251(value) : static_cast<char>(value & 0xFF);
        }
        break;
      }
      default:
        if (e >= '0' && e <= '7') {
          unsigned value = static_cast<unsigned>(e - '0');
          for (int n = 1; n < 3 && At(pos_) >= '0' && At(pos_) <= '7'; ++n)
            value = value * 8 + static_cast<unsigned>(At(pos_++) - '0');
          out.text += wide ? UnicodeToCp1251(value) : static_cast<char>(value & 0xFF);
        } else { // an unknown escape is kept as it stands
          run += '\\';
          run += e;
        }
      }
    }
    flush();
  }

  // Reads one directive line (with its continuations). Returns true with
  // `include` set when the directive asks for a file to be read.
  bool Directive(std::string& include) {
    const int line = line_;
    ++pos_;
    std::string body;
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (c == '\\' && (At(pos_ + 1) == '\n' || (At(pos_ + 1) == '\r' && At(pos_ + 2) == '\n'))) {
        pos_ += At(pos_ + 1) == '\n' ? 2 : 3;
        ++line_;
        continue;
      }
      if (c == '\n')
        break;
      if (c == '/' && At(pos_ + 1) == '/') {
        SkipToLineEnd();
        break;
      }
      if (c == '/' && At(pos_ + 1) == '*') {
        SkipComment();
        body += ' ';
        continue;
      }
      body += c;
      ++pos_;
    }
    lineStart_ = false;
    return HandleDirective(body, line, include);
  }

  static std::string TakeName(const std::string& body, std::size_t& p) {
    while (p < body.size() && IsBlank(body[p]))
      ++p;
    const std::size_t start = p;
    if (p < body.size() && IsNameStart(body[p]))
      while (p < body.size() && IsNameChar(body[p]))
        ++p;
    return body.substr(start, p - start);
  }

  bool IfValue(const std::string& expression, int line);

  bool HandleDirective(const std::string& body, int line, std::string& include) {
    std::size_t p = 0;
    const std::string name = TakeName(body, p);
    const std::string rest = body.substr(p);
    if (name == "if" || name == "ifdef" || name == "ifndef") {
      const bool parent = Active();
      bool value = false;
      if (parent) {
        if (name == "if") {
          value = IfValue(rest, line);
        } else {
          std::size_t q = 0;
          const std::string macro = TakeName(rest, q);
          if (macro.empty())
            Fail(*file_, line, "#%s without a name", name.c_str());
          value = (ctx_.macros.count(macro) != 0) == (name == "ifdef");
        }
      }
      conditions_.push_back({parent, parent && value, !parent || value, false, line});
      return false;
    }
    if (name == "elif" || name == "else" || name == "endif") {
      if (conditions_.empty())
        Fail(*file_, line, "#%s without #if", name.c_str());
      auto& top = conditions_.back();
      if (name == "endif") {
        conditions_.pop_back();
        return false;
      }
      if (top.seenElse)
        Fail(*file_, line, "#%s after #else", name.c_str());
      if (name == "else") {
        top.seenElse = true;
        top.active = !top.taken;
        top.taken = true;
      } else if (top.taken) {
        top.active = false;
      } else {
        top.active = IfValue(rest, line);
        top.taken = top.active;
      }
      return false;
    }
    if (!Active())
      return false;
    if (name == "define" || name == "undef") {
      std::size_t q = 0;
      const std::string macro = TakeName(rest, q);
      if (macro.empty())
        Fail(*file_, line, "#%s without a name", name.c_str());
      if (name == "undef") {
        ctx_.macros.erase(macro);
        return false;
      }
      Macro m;
      m.functionLike = q < rest.size() && rest[q] == '(';
      if (!m.functionLike) {
        std::size_t b = q, e = rest.size();
        while (b < e && IsBlank(rest[b]))
          ++b;
        while (e > b && IsBlank(rest[e - 1]))
          --e;
        m.value = rest.substr(b, e - b);
      }
      ctx_.macros[macro] = std::move(m);
      return false;
    }
    if (name == "include") {
      std::size_t q = 0;
      while (q < rest.size() && IsBlank(rest[q]))
        ++q;
      const char open = q < rest.size() ? rest[q] : '\0';
      const char close = open == '"' ? '"' : open == '<' ? '>' : '\0';
      const std::size_t end = close != '\0' ? rest.find(close, q + 1) : std::string::npos;
      if (end == std::string::npos || end == q + 1)
        Fail(*file_, line, "bad #include (expected \"file\" or <file>)");
      include = rest.substr(q + 1, end - q - 1);
      return true;
    }
    if (name == "pragma")
      Pragma(rest, line);
    return false;
  }

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

std::vector<Token> Tokenize(const std::string& text, const std::string* file, int line, Context& ctx) {
  Lexer lexer(text, file, ctx, Mode::Plain, line);
  std::vector<Token> tokens;
  Token t;
  std::string unused;
  while (lexer.Next(t, unused) == Lexer::GotToken)
    tokens.push_back(std::move(t));
  return tokens;
}

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

// Names the resource compiler knows without a header: the language ids of
// the LANGUAGE statement.
bool LanguageName(const std::string& name, long long& value) {
  if (name == "LANG_NEUTRAL")
    value = LangNeutral;
  else if (name == "LANG_ENGLISH")
    value = LangEnglish;
  else if (name == "LANG_RUSSIAN")
    value = LangRussian;
  else if (name.compare(0, 5, "LANG_") == 0)
    value = LangOther;
  else if (name.compare(0, 8, "SUBLANG_") == 0)
    value = 0;
  else
    return false;
  return true;
}

// Integer expressions of ids, language values and #if lines, with the C
// operators and their precedence. Arithmetic wraps (unsigned) rather than
// overflowing, so no input reaches undefined behaviour.
class Evaluator {
public:
  using Resolver = bool (*)(const std::string&, long long&);

  Evaluator(Context& ctx, TokenSource& source, const char* what, bool directive = false,
            Resolver resolver = nullptr, int macroDepth = 0)
      : ctx_(ctx), source_(source), what_(what), directive_(directive), resolver_(resolver),
        macroDepth_(macroDepth) {}

  /// `depth` carries the nesting already spent by the expressions that
  /// expand into this one, so that the budget holds across macros.
  long long Expression(int depth = 0) { return Binary(1, depth); }

private:
  static int Precedence(const Token& t) {
    if (t.kind != Kind::Punct)
      return 0;
    static const std::pair<const char*, int> table[] = {
        {"*", 10}, {"/", 10}, {"%", 10}, {"+", 9},  {"-", 9},  {"<<", 8}, {">>", 8}, {"<", 7},
        {"<=", 7}, {">", 7},  {">=", 7}, {"==", 6}, {"!=", 6}, {"&", 5},  {"^", 4},  {"|", 3},
        {"&&", 2}, {"||", 1}};
    for (const auto& [op, precedence] : table)
      if (t.text == op)
        return precedence;
    return 0;
  }

  [[noreturn]] void Bad(const Token& t) const {
    if (t.kind == Kind::End)
      FailAt(t, std::string(what_) + " (the text ends too early)");
    FailAt(t, std::string(what_) + " near \"" + Quoted(t.text) + "\"");
  }

  void CheckDepth(int depth, const Token& at) const {
    if (depth > MaxExpressionDepth)
      FailAt(at, "expression nested too deeply");
  }

  long long Binary(int minPrecedence, int depth) {
    long long left = Unary(depth);
    for (;;) {
      const int precedence = Precedence(source_.Peek());
      if (precedence == 0 || precedence < minPrecedence)
        return left;
      const Token op = source_.Take();
      const long long right = Binary(precedence + 1, depth);
      left = Apply(op, left, right);
    }
  }

  long long Apply(const Token& op, long long a, long long b) const {
    const auto ua = static_cast<unsigned long long>(a), ub = static_cast<unsigned long long>(b);
    const std::string& o = op.text;
    if (o == "+") return static_cast<long long>(ua + ub);
    if (o == "-") return static_cast<long long>(ua - ub);
    if (o == "*") return static_cast<long long>(ua * ub);
    if (o == "/" || o == "%") {
      if (b == 0)
        FailAt(op, "division by zero");
      if (b == -1) // LLONG_MIN / -1 overflows
        return o == "/" ? static_cast<long long>(0 - ua) : 0;
      return o == "/" ? a / b : a % b;
    }
    if (o == "<<") return (b < 0 || b >= 64) ? 0 : static_cast<long long>(ua << b);
    if (o == ">>") return (b < 0 || b >= 64) ? 0 : static_cast<long long>(ua >> b);
    if (o == "<") return a < b;
    if (o == "<=") return a <= b;
    if (o == ">") return a > b;
    if (o == ">=") return a >= b;
    if (o == "==") return a == b;
    if (o == "!=") return a != b;
    if (o == "&") return static_cast<long long>(ua & ub);
    if (o == "^") return static_cast<long long>(ua ^ ub);
    if (o == "|") return static_cast<long long>(ua | ub);
    if (o == "&&") return a != 0 && b != 0;
    return a != 0 || b != 0; // "||"
  }

  long long Unary(int depth) {
    const Token& t = source_.Peek();
    CheckDepth(depth, t);
    if (IsPunct(t, "-") || IsPunct(t, "+") || IsPunct(t, "~") || IsPunct(t, "!")) {
      const std::string op = source_.Take().text;
      const long long v = Unary(depth + 1);
      const auto u = static_cast<unsigned long long>(v);
      if (op == "-") return static_cast<long long>(0 - u);
      if (op == "~") return static_cast<long long>(~u);
      if (op == "!") return v == 0;
      return v;
    }
    return Primary(depth);
  }

  long long Primary(int depth) {
    const Token t = source_.Take();
    if (t.kind == Kind::Number) {
      if (t.badNumber)
        FailAt(t, "bad number \"" + Quoted(t.text) + "\"");
      return t.value;
    }
    if (IsPunct(t, "(")) {
      const long long v = Binary(1, depth + 1);
      if (!IsPunct(source_.Peek(), ")"))
        Bad(source_.Peek());
      source_.Take();
      return v;
    }
    if (t.kind != Kind::Name)
      Bad(t);
    if (directive_ && t.text == "defined") {
      const bool paren = IsPunct(source_.Peek(), "(");
      if (paren)
        source_.Take();
      const Token name = source_.Take();
      if (name.kind != Kind::Name)
        Bad(name);
      if (paren) {
        if (!IsPunct(source_.Peek(), ")"))
          Bad(source_.Peek());
        source_.Take();
      }
      return ctx_.macros.count(name.text) != 0;
    }
    const auto found = ctx_.macros.find(t.text);
    if (found != ctx_.macros.end() && !found->second.functionLike)
      return MacroValue(t, found->second.value, depth);
    long long value = 0;
    if (resolver_ != nullptr && resolver_(t.text, value))
      return value;
    if (directive_)
      return 0; // an undefined name reads as 0 in #if, as in C
    FailAt(t, "undefined name \"" + Quoted(t.text) + "\"");
  }

  long long MacroValue(const Token& at, const std::string& value, int depth) {
    if (macroDepth_ >= MaxMacroDepth)
      FailAt(at, "the definition of \"" + Quoted(at.text) + "\" refers to itself");
    VectorSource tokens(Tokenize(value, at.file, at.line, ctx_), at.file, at.line);
    Evaluator inner(ctx_, tokens, what_, directive_, resolver_, macroDepth_ + 1);
    const long long v = inner.Expression(depth + 1);
    if (tokens.Peek().kind != Kind::End)
      FailAt(at, "the value of \"" + Quoted(at.text) + "\" is not a number");
    return v;
  }

  Context& ctx_;
  TokenSource& source_;
  const char* what_;
  bool directive_;
  Resolver resolver_;
  int macroDepth_;
};

bool Lexer::IfValue(const std::string& expression, int line) {
  VectorSource tokens(Tokenize(expression, file_, line, ctx_), file_, line);
  Evaluator evaluator(ctx_, tokens, "bad #if expression", true);
  const long long v = evaluator.Expression();
  if (tokens.Peek().kind != Kind::End)
    Fail(*file_, line, "bad #if expression near \"%s\"", Quoted(tokens.Peek().text).c_str());
  return v != 0;
}

void Lexer::Pragma(const std::string& rest, int line) {
  VectorSource tokens(Tokenize(rest, file_, line, ctx_), file_, line);
  if (!EqualsNoCase(tokens.Peek().text, "code_page"))
    return; // other pragmas mean nothing to a string table
  tokens.Take();
  const Token open = tokens.Take();
  const Token value = tokens.Take();
  const Token close = tokens.Take();
  if (!IsPunct(open, "(") || !IsPunct(close, ")") || tokens.Peek().kind != Kind::End ||
      (value.kind != Kind::Number && !EqualsNoCase(value.text, "DEFAULT")))
    Fail(*file_, line, "bad #pragma code_page");
  if (value.kind == Kind::Number && !value.badNumber && value.value == CodePageUtf8)
    ctx_.codePage = CodePageUtf8;
  else if (value.kind != Kind::Number || (!value.badNumber && value.value == CodePageCyrillic))
    ctx_.codePage = CodePageCyrillic;
  else
    Fail(*file_, line, "unsupported code page %s (1251 and 65001 are understood)", Quoted(value.text).c_str());
}

// The token stream of a script and the files it includes.
class Stream : public TokenSource {
public:
  Stream(Context& ctx, std::string text, const std::string* file) : ctx_(ctx), mainFile_(file) {
    lexers_.push_back(std::make_unique<Lexer>(std::move(text), file, ctx, Mode::Script));
  }

  const Token& Peek() override {
    if (!peeked_) {
      peek_ = Read();
      peeked_ = true;
    }
    return peek_;
  }

  Token Take() override {
    Peek();
    peeked_ = false;
    return std::move(peek_);
  }

private:
  Token Read() {
    Token t;
    std::string include;
    while (!lexers_.empty()) {
      Lexer& top = *lexers_.back();
      const Lexer::Result r = top.Next(t, include);
      if (r == Lexer::GotToken)
        return t;
      if (r == Lexer::Finished) {
        if (lexers_.size() == 1)
          lastLine_ = top.LastLine();
        lexers_.pop_back();
        continue;
      }
      Open(top, include);
    }
    t = Token();
    t.file = mainFile_;
    t.line = lastLine_;
    return t;
  }

  void Open(const Lexer& from, std::string name) {
    for (char& c : name)
      if (c == '\\')
        c = '/';
    const std::string path = name[0] == '/' ? name : DirectoryOf(*from.File()) + name;
    std::string contents;
    if (!ReadWholeFile(path, contents))
      return; // not beside the script: a system header (see the header comment)
    if (lexers_.size() >= MaxIncludeDepth)
      Fail(*from.File(), from.Line(), "#include nested too deeply");
    if (ctx_.filesRead != nullptr)
      ctx_.filesRead->push_back(path);
    ctx_.fileNames.push_back(path);
    const bool header = EndsWithNoCase(path, ".h") || EndsWithNoCase(path, ".c") ||
                        EndsWithNoCase(path, ".hpp") || EndsWithNoCase(path, ".hh") ||
                        EndsWithNoCase(path, ".hxx");
    lexers_.push_back(std::make_unique<Lexer>(std::move(contents), &ctx_.fileNames.back(), ctx_,
                                              header ? Mode::DirectivesOnly : Mode::Script));
  }

  Context& ctx_;
  const std::string* mainFile_;
  std::vector<std::unique_ptr<Lexer>> lexers_;
  int lastLine_ = 1;
  Token peek_;
  bool peeked_ = false;
};

using Table = std::map<unsigned short, std::string>;

class Parser {
public:
  Parser(std::string_view text, const std::string& fileName, std::vector<std::string>* filesRead) {
    ctx_.filesRead = filesRead;
    ctx_.fileNames.push_back(fileName);
    stream_ = std::make_unique<Stream>(ctx_, std::string(text), &ctx_.fileNames.back());
  }

  ScriptTables Run() {
    Table* language = &tables_.english;
    for (;;) {
      const Token& t = stream_->Peek();
      if (t.kind == Kind::End)
        return std::move(tables_);
      if (IsKeyword(t, "STRINGTABLE")) {
        StringTable(language);
      } else if (IsKeyword(t, "LANGUAGE")) {
        stream_->Take();
        language = Language();
      } else if (IsBlockClose(t)) {
        FailAt(t, "\"" + t.text + "\" without BEGIN");
      } else {
        SkipStatement();
      }
    }
  }

private:
  // LANGUAGE primary, sub: the table that receives the strings, null for a
  // language other than the two of the catalogue.
  Table* Language() {
    Evaluator evaluator(ctx_, *stream_, "bad LANGUAGE statement", false, LanguageName);
    const long long primary = evaluator.Expression() & 0x3FF;
    if (IsPunct(stream_->Peek(), ",")) {
      stream_->Take();
      evaluator.Expression();
    }
    if (primary == LangRussian)
      return &tables_.russian;
    if (primary == LangEnglish || primary == LangNeutral)
      return &tables_.english;
    return nullptr;
  }

  void StringTable(Table* table) {
    const Token start = stream_->Take();
    for (;;) { // options before the block
      const Token& t = stream_->Peek();
      if (IsBlockOpen(t)) {
        stream_->Take();
        break;
      }
      if (t.kind == Kind::End)
        FailAt(start, "unterminated block (STRINGTABLE without BEGIN)");
      if (IsKeyword(t, "LANGUAGE")) {
        stream_->Take();
        table = Language();
      } else if (IsKeyword(t, "CHARACTERISTICS") || IsKeyword(t, "VERSION")) {
        stream_->Take();
        Evaluator(ctx_, *stream_, "bad number").Expression();
      } else if (IsMemoryFlag(t)) {
        stream_->Take();
      } else {
        FailAt(t, "unknown statement \"" + Quoted(t.text) + "\" in a string table");
      }
    }
    Table dropped;
    for (;;) {
      const Token& t = stream_->Peek();
      if (IsBlockClose(t)) {
        stream_->Take();
        return;
      }
      if (t.kind == Kind::End)
        FailAt(start, "unterminated block (STRINGTABLE without END)");
      if (t.kind == Kind::String)
        FailAt(t, "a string without an id in a string table");
      if ((t.kind == Kind::Name && ctx_.macros.count(t.text) == 0) || t.kind == Kind::Other)
        FailAt(t, "unknown statement \"" + Quoted(t.text) + "\" in a string table");
      const Token first = t;
      const long long id = Evaluator(ctx_, *stream_, "bad string id").Expression();
      if (id < 0 || id > 0xFFFF)
        FailAt(first, "string id " + std::to_string(id) + " is out of range (0 to 65535)");
      if (IsPunct(stream_->Peek(), ","))
        stream_->Take();
      if (stream_->Peek().kind != Kind::String)
        FailAt(stream_->Peek(), "expected a string after id " + std::to_string(id));
      std::string text;
      while (stream_->Peek().kind == Kind::String)
        text += stream_->Take().text;
      Table& target = table != nullptr ? *table : dropped;
      if (!target.emplace(static_cast<unsigned short>(id), std::move(text)).second)
        FailAt(first, "string id " + std::to_string(id) + " is defined twice");
    }
  }

  static bool IsMemoryFlag(const Token& t) {
    for (const char* flag : {"DISCARDABLE", "PRELOAD", "LOADONCALL", "MOVEABLE", "FIXED", "PURE", "IMPURE",
                             "SHARED", "NONSHARED"})
      if (IsKeyword(t, flag))
        return true;
    return false;
  }

  // A statement the reader does not know: up to the end of the first block
  // that follows it, or up to the next STRINGTABLE or LANGUAGE keyword.
  void SkipStatement() {
    Token t = stream_->Take();
    for (;;) {
      if (IsBlockOpen(t)) {
        SkipBlock(t);
        return;
      }
      const Token& next = stream_->Peek();
      if (next.kind == Kind::End || IsKeyword(next, "STRINGTABLE") || IsKeyword(next, "LANGUAGE"))
        return;
      if (IsBlockClose(next))
        FailAt(next, "\"" + next.text + "\" without BEGIN");
      t = stream_->Take();
    }
  }

  void SkipBlock(const Token& open) {
    std::size_t depth = 1;
    while (depth > 0) {
      const Token t = stream_->Take();
      if (t.kind == Kind::End)
        FailAt(open, "unterminated block (BEGIN without END)");
      if (IsBlockOpen(t))
        ++depth;
      else if (IsBlockClose(t))
        --depth;
    }
  }

  Context ctx_;
  std::unique_ptr<Stream> stream_;
  ScriptTables tables_;
};

} // namespace

const std::string* ScriptTables::Find(unsigned int id, unsigned short langId) const noexcept {
  if (id > 0xFFFF)
    return nullptr;
  const auto key = static_cast<unsigned short>(id);
  const Table& first = langId == LanguageRussian ? russian : english;
  const Table& second = langId == LanguageRussian ? english : russian;
  auto found = first.find(key);
  if (found != first.end())
    return &found->second;
  found = second.find(key);
  return found != second.end() ? &found->second : nullptr;
}

void ScriptTables::Merge(const ScriptTables& other, const std::string& otherName) {
  for (auto [mine, theirs] : {std::pair{&english, &other.english}, std::pair{&russian, &other.russian}})
    for (const auto& [id, text] : *theirs)
      if (!mine->emplace(id, text).second)
        CrashFormat("string id %u is defined twice (again in %s)", static_cast<unsigned>(id), otherName.c_str());
}

bool ReadWholeFile(const std::string& path, std::string& contents) {
  std::error_code error;
  // Only regular files: a device or a pipe named by an #include would never end.
  if (!std::filesystem::is_regular_file(path, error))
    return false;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size > MaxFileSize)
    return false;
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return false;
  contents.assign(static_cast<std::size_t>(size), '\0');
  in.read(contents.data(), static_cast<std::streamsize>(size));
  contents.resize(static_cast<std::size_t>(in.gcount()));
  return !in.bad();
}

ScriptTables ParseResourceScript(std::string_view text, const std::string& fileName,
                                 std::vector<std::string>* filesRead) {
  return Parser(text, fileName, filesRead).Run();
}

ScriptTables ReadResourceScript(const std::string& path, std::vector<std::string>* filesRead) {
  std::string text;
  if (!ReadWholeFile(path, text))
    CrashFormat("%s: cannot read the file", path.c_str());
  return ParseResourceScript(text, path, filesRead);
}

} // namespace zel::internal
