#include "zeltools/files/file_dialog.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zeltools/errors/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

// A desktop whose programs are scripted: each run records its arguments and
// answers with the next reply (status, output); status -1 is a program that
// is not installed.
struct FakeDesktop {
  platform::ScopedCalls saved;
  static inline bool display = false;
  static inline std::vector<std::vector<std::string>> runs;
  static inline std::vector<std::pair<int, std::string>> replies;
  FakeDesktop(bool withDisplay, std::vector<std::pair<int, std::string>> answers) {
    display = withDisplay;
    runs.clear();
    replies = std::move(answers);
    platform::Calls().getEnvironment = [](const char *name) -> const char * {
      return display && std::strcmp(name, "WAYLAND_DISPLAY") == 0 ? "wayland-0" : nullptr;
    };
    platform::Calls().runProgram = [](const char *const *argv, char *out, std::size_t size, std::size_t &length) {
      runs.emplace_back();
      for (; *argv != nullptr; ++argv)
        runs.back().emplace_back(*argv);
      const auto [status, text] = replies.at(runs.size() - 1);
      length = std::min(text.size(), size - 1);
      std::memcpy(out, text.data(), length);
      out[length] = '\0';
      SetLastError(status < 0 ? 2 : 0);
      return status;
    };
  }
};

TEST(FileDialog, WithoutADisplayEveryDialogIsCancelledAtOnce) {
  FakeDesktop desktop(false, {});
  char path[PathSize] = "/keep";
  EXPECT_EQ(DialogOpenDirectory("t", path, nullptr), 0);
  EXPECT_EQ(DialogReadFile("t", path, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(DialogWriteFile("t", path, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(FakeDesktop::runs.empty());
  EXPECT_STREQ(path, "/keep");
}

TEST(FileDialog, TheFirstInstalledProgramAsksAndItsAnswerIsTaken) {
  char path[PathSize] = "";
  {
    FakeDesktop desktop(true, {{0, "/home/u/a.mdl\n"}});
    EXPECT_EQ(DialogReadFile("Open", path, "Models (*.mdl)|*.mdl;*.mdx|All|*.*||", "mdl", "/home/u", "a.mdl"), 1);
    EXPECT_STREQ(path, "/home/u/a.mdl");
    EXPECT_EQ(FakeDesktop::runs.at(0),
              (std::vector<std::string>{"zenity", "--file-selection", "--title=Open", "--filename=/home/u/a.mdl",
                                        "--file-filter=Models (*.mdl) | *.mdl *.mdx", "--file-filter=All | *.*"}));
  }
  {
    // No zenity: kdialog asks; a name without extension gets the default.
    FakeDesktop desktop(true, {{-1, ""}, {0, "/home/u/out\n"}});
    EXPECT_EQ(DialogWriteFile("Save", path, "Models|*.mdl||", "mdl", nullptr, nullptr), 1);
    EXPECT_STREQ(path, "/home/u/out.mdl");
    EXPECT_EQ(FakeDesktop::runs.at(1),
              (std::vector<std::string>{"kdialog", "--title", "Save", "--getsavefilename", ".", "*.mdl|Models"}));
  }
  {
    FakeDesktop desktop(true, {{0, "/srv/data/\n"}, {1, ""}, {0, "/" + std::string(300, 'x') + "\n"}});
    std::strcpy(path, "/srv");
    EXPECT_EQ(DialogOpenDirectory("Folder", path, nullptr), 1);
    EXPECT_STREQ(path, "/srv/data");
    EXPECT_EQ(FakeDesktop::runs.at(0).at(3), "--directory");
    EXPECT_EQ(DialogOpenDirectory("Folder", path, nullptr), 0);                     // cancelled: kdialog is not tried
    EXPECT_EQ(DialogReadFile("Open", path, nullptr, nullptr, nullptr, nullptr), 0); // too long a choice
    EXPECT_STREQ(path, "/srv/data");
    EXPECT_EQ(FakeDesktop::runs.size(), 3u);
  }
  FakeDesktop none(true, {{-1, ""}, {-1, ""}});
  EXPECT_EQ(DialogReadFile("Open", path, nullptr, nullptr, nullptr, nullptr), 0);
}

} // namespace
} // namespace zel
