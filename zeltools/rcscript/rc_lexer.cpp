#include "zeltools/rcscript/internal/rc_lexer.h"

#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "zeltools/rcscript/internal/rc_expression.h"
#include "zeltools/rcscript/encoding.h"

namespace zel::internal::rc {
namespace {

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

} // namespace

bool EqualsNoCase(const std::string& a, const char* b) {
  std::size_t i = 0;
  for (; i < a.size() && b[i] != '\0'; ++i)
    if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
      return false;
  return i == a.size() && b[i] == '\0';
}

std::string Quoted(const std::string& text) { return text.size() <= 40 ? text : text.substr(0, 40) + "..."; }

void Fail(const std::string& file, int line, const char* format, ...) {
  char buffer[1024]; // longer texts are cut where the library's exception cuts them anyway
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  const std::string text = file + ":" + std::to_string(line) + ": " + buffer;
  throw ScriptError(text);
}

// Lexing is linear in the text, and everything a script makes the reader do
// is lexing, so bytes lexed measure its work. The allowance is a generous
// multiple of the input: a header included once per script file, or values
// worked out again after a few redefinitions, stay far within it.
constexpr unsigned long long WorkPerInputByte = 64;

void Context::Earn(const std::string& identity, std::size_t size) {
  if (distinctFiles.insert(identity).second)
    allowance += WorkPerInputByte * size;
}

void Context::Charge(std::size_t units, const std::string& file, int line) {
  work += units;
  if (work > allowance)
    Fail(file, line, "the script takes too much work to read (macros or #include repeat too much text)");
}

Lexer::Lexer(std::string text, const std::string* file, Context& ctx, Mode mode, int firstLine)
    : text_(std::move(text)), file_(file), ctx_(ctx), mode_(mode), line_(firstLine) {
  ctx_.Charge(text_.size(), *file_, line_);
  if (mode_ != Mode::Plain && text_.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    pos_ = 3;
    ctx_.codePage = CodePageUtf8;
  }
}

Lexer::Result Lexer::Next(Token& out, std::string& include) {
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

void Lexer::SkipToLineEnd() {
  while (pos_ < text_.size() && text_[pos_] != '\n')
    ++pos_;
}

void Lexer::SkipComment() {
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

void Lexer::SkipText() {
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

void Lexer::ReadToken(Token& out) {
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

void Lexer::ReadNumber(Token& out) {
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

void Lexer::ReadString(Token& out, bool wide) {
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

bool Lexer::Directive(std::string& include) {
  const int line = line_;
  ++pos_;
  std::string body;
  bool quoted = false; // in "...", a file name or a string, "//" and "/*" are text
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (c == '\\' && (At(pos_ + 1) == '\n' || (At(pos_ + 1) == '\r' && At(pos_ + 2) == '\n'))) {
      pos_ += At(pos_ + 1) == '\n' ? 2 : 3;
      ++line_;
      continue;
    }
    if (c == '\n')
      break;
    if (quoted && c == '\\' && pos_ + 1 < text_.size()) { // an escape keeps its quote
      body += text_.substr(pos_, 2);
      pos_ += 2;
      continue;
    }
    quoted = quoted != (c == '"');
    if (quoted || c == '"') {
      body += c;
      ++pos_;
      continue;
    }
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

std::string Lexer::TakeName(const std::string& body, std::size_t& p) {
  while (p < body.size() && IsBlank(body[p]))
    ++p;
  const std::size_t start = p;
  if (p < body.size() && IsNameStart(body[p]))
    while (p < body.size() && IsNameChar(body[p]))
      ++p;
  return body.substr(start, p - start);
}

bool Lexer::HandleDirective(const std::string& body, int line, std::string& include) {
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
    ++ctx_.macroGeneration; // any known value may depend on this name
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

bool Lexer::IfValue(const std::string& expression, int line) {
  VectorSource tokens(Tokenize(expression, file_, line, ctx_), file_, line);
  Evaluator evaluator(ctx_, tokens, "bad #if expression", Names::ZeroInIf);
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

std::vector<Token> Tokenize(const std::string& text, const std::string* file, int line, Context& ctx) {
  Lexer lexer(text, file, ctx, Mode::Plain, line);
  std::vector<Token> tokens;
  Token t;
  std::string unused;
  while (lexer.Next(t, unused) == Lexer::GotToken)
    tokens.push_back(std::move(t));
  return tokens;
}

} // namespace zel::internal::rc
