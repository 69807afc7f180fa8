#include "zeltools/rcscript/internal/rc_expression.h"

#include <utility>

namespace zel::internal::rc {
namespace {

// Bounds that keep hostile input from exhausting the stack or looping: a
// macro defined in terms of itself, parentheses nested thousands deep.
constexpr int MaxMacroDepth = 32;
constexpr int MaxExpressionDepth = 64;

// Names a LANGUAGE statement may use with no header defining them: scripts
// name their languages so, and nothing else gives these names a value.
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

} // namespace

int Evaluator::Precedence(const Token& t) {
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

[[noreturn]] void Evaluator::Bad(const Token& t) const {
  if (t.kind == Kind::End)
    FailAt(t, std::string(what_) + " (the text ends too early)");
  FailAt(t, std::string(what_) + " near \"" + Quoted(t.text) + "\"");
}

void Evaluator::CheckDepth(int depth, const Token& at) const {
  if (depth > MaxExpressionDepth)
    FailAt(at, "expression nested too deeply");
}

long long Evaluator::Binary(int minPrecedence, int depth) {
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

long long Evaluator::Apply(const Token& op, long long a, long long b) const {
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

long long Evaluator::Unary(int depth) {
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

long long Evaluator::Primary(int depth) {
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
  if (names_ == Names::ZeroInIf && t.text == "defined") {
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
  if (names_ == Names::Languages && LanguageName(t.text, value))
    return value;
  if (names_ == Names::ZeroInIf)
    return 0; // an undefined name reads as 0 in #if, as in C
  FailAt(t, "undefined name \"" + Quoted(t.text) + "\"");
}

long long Evaluator::MacroValue(const Token& at, const std::string& value, int depth) {
  auto& known = ctx_.macroValues[static_cast<int>(names_)];
  const auto found = known.find(at.text);
  if (found != known.end() && found->second.generation == ctx_.macroGeneration)
    return found->second.value;
  if (macroDepth_ >= MaxMacroDepth)
    FailAt(at, "the definition of \"" + Quoted(at.text) + "\" refers to itself");
  VectorSource tokens(Tokenize(value, at.file, at.line, ctx_), at.file, at.line);
  Evaluator inner(ctx_, tokens, what_, names_, macroDepth_ + 1);
  const long long v = inner.Expression(depth + 1);
  if (tokens.Peek().kind != Kind::End)
    FailAt(at, "the value of \"" + Quoted(at.text) + "\" is not a number");
  known[at.text] = {v, ctx_.macroGeneration};
  return v;
}

} // namespace zel::internal::rc
