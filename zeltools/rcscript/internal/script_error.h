#pragma once
// How the resource-script reader fails. Not part of the installed interface.
//
// The reader sits below the library's exception, so it reports by its own
// type; the layers that hand a script's errors to an application (the
// resource-module loader) turn it into `zel::Exception` (code 2) with the
// same text, and zel_rc_compile prints it.

#include <stdexcept>

namespace zel::internal {

/// A script that cannot be read. `what()` is "<file>:<line>: <problem>", or
/// "<file>: <problem>" for a whole file (one that cannot be read, or whose
/// ids clash with another script's).
class ScriptError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

} // namespace zel::internal
