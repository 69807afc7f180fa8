#pragma once
// Integer expressions of a resource script: ids, language values and #if
// lines. Not part of the installed interface.

#include <string>

#include "zeltools/rcscript/internal/rc_lexer.h"

namespace zel::internal::rc {

// Primary language ids of the LANGUAGE statement.
inline constexpr long long LangNeutral = 0x00;
inline constexpr long long LangEnglish = 0x09;
inline constexpr long long LangRussian = 0x19;
// Any other LANG_ name: a language whose strings are read and dropped.
inline constexpr long long LangOther = 0x3FF;

// Integer expressions of ids, language values and #if lines, with the C
// operators and their precedence. Arithmetic wraps (unsigned) rather than
// overflowing, so no input reaches undefined behaviour.
//
// A macro's value is the value of its text read as a whole expression (so
// `#define A 1+1` makes `A*2` read 4), which is what lets each value be
// worked out once (see Context).
class Evaluator {
public:
  Evaluator(Context& ctx, TokenSource& source, const char* what, Names names = Names::Required, int macroDepth = 0)
      : ctx_(ctx), source_(source), what_(what), names_(names), macroDepth_(macroDepth) {}

  /// `depth` carries the nesting already spent by the expressions that
  /// expand into this one, so that the budget holds across macros.
  long long Expression(int depth = 0) { return Binary(1, depth); }

private:
  static int Precedence(const Token& t);

  [[noreturn]] void Bad(const Token& t) const;

  void CheckDepth(int depth, const Token& at) const;

  long long Binary(int minPrecedence, int depth);

  long long Apply(const Token& op, long long a, long long b) const;

  long long Unary(int depth);

  long long Primary(int depth);

  long long MacroValue(const Token& at, const std::string& value, int depth);

  Context& ctx_;
  TokenSource& source_;
  const char* what_;
  Names names_;
  int macroDepth_;
};

} // namespace zel::internal::rc
