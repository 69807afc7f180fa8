#include "progress.h"

#include <algorithm>
#include <cstdio>

namespace zeltool {

namespace {
constexpr int Width = 24;
} // namespace

Progress::Progress(bool enabled, int phases) : enabled_(enabled), phases_(phases > 0 ? phases : 1) {}

Progress::~Progress() {
  if (drawn_) {
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
  }
}

void Progress::Phase(const std::string& name) {
  ++done_;
  if (!enabled_)
    return;
  const int filled = std::min(done_, phases_) * Width / phases_;
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.append(static_cast<std::size_t>(Width - filled), '.');
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  // The elapsed time is that of the phases before this one: nothing redraws
  // while a phase runs.
  std::fprintf(stderr, "\r\033[K[%s] %d/%d %s (%.1f s)", bar.c_str(), done_ + 1, phases_, name.c_str(), seconds);
  std::fflush(stderr);
  drawn_ = true;
}

} // namespace zeltool
