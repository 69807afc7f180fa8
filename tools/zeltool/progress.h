#pragma once
// A progress bar on standard error, for a person at a terminal. The solver
// offers no progress hook, so the bar moves between the tool's own phases
// (read, renumber, assemble, factor, solve, check), not inside one.

#include <chrono>
#include <string>

namespace zeltool {

class Progress {
public:
  /// Draws only when `enabled`: the caller passes whether standard error is
  /// a terminal, so pipes and logs never receive the bar.
  Progress(bool enabled, int phases);
  ~Progress(); // erases the bar
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Begins the next phase.
  void Phase(const std::string& name);

private:
  bool enabled_;
  int phases_;
  int done_ = -1;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace zeltool
