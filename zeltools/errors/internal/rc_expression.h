#pragma once
// Integer expressions of a resource script: ids, language values and #if
// lines. Not part of the installed interface.

#include <string>

#include "zeltools/errors/internal/rc_lexer.h"

namespace zel::internal::rc {

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
  bool directive_;
  Resolver resolver_;
  int macroDepth_;
};

} // namespace zel::internal::rc
