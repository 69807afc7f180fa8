#include "zeltools/files/file_dialog.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using Args = std::vector<std::string>;

// A desktop whose programs are scripted: each run records its arguments and
// answers with the next reply (status, output); status -1 is a program that
// is not installed.
struct FakeDesktop {
  platform::ScopedCalls saved;
  static inline bool display = false;
  static inline std::vector<Args> runs;
  static inline std::vector<std::pair<int, std::string>> replies;
  FakeDesktop(bool withDisplay, std::vector<std::pair<int, std::string>> answers) {
    display = withDisplay, runs.clear(), replies = std::move(answers);
    platform::Calls().systemDialog = [](auto...) { return -1; }; // no dialogs of the system's own
    platform::Calls().environment = [](const char* name) -> const char* {
      return display && std::strcmp(name, "WAYLAND_DISPLAY") == 0 ? "wayland-0" : nullptr;
    };
    platform::Calls().runProgram = [](const char* const* argv, char* out, std::size_t size, std::size_t& length) {
      runs.emplace_back(argv, std::find(argv, argv + 20, nullptr));
      const auto& [status, text] = replies.at(runs.size() - 1);
      length = std::min(text.size(), size - 1);
      std::memcpy(out, text.data(), length);
      out[length] = '\0';
      return status;
    };
  }
};

TEST(FileDialog, TheFirstInstalledProgramAsksWhenADisplayIsThere) {
  char path[PathSize] = "/srv";
  {
    FakeDesktop headless(false, {});
    EXPECT_EQ(DialogOpenDirectory("t", path, nullptr) + DialogReadFile("t", path, 0, 0, 0, 0), 0);
    EXPECT_TRUE(FakeDesktop::runs.empty());
  }
  FakeDesktop desktop(
      true,
      {{0, "/srv/data/\n"}, {1, ""}, {0, "/" + std::string(300, 'x')}, {0, "/h/a.mdl\n"}, {-1, ""}, {0, "/h/out\n"}});
  EXPECT_EQ(DialogOpenDirectory("Folder", path, nullptr), 1);
  EXPECT_STREQ(path, "/srv/data");
  EXPECT_EQ(DialogOpenDirectory("Folder", path, nullptr), 0); // cancelled: the next program is not tried
  EXPECT_EQ(DialogReadFile("Open", path, nullptr, nullptr, nullptr, nullptr), 0); // too long a choice
  EXPECT_STREQ(path, "/srv/data");
  EXPECT_EQ(DialogReadFile("\xCE\xF2\xEA\xF0\xFB\xF2\xFC", path, "Models (*.mdl)|*.mdl;*.mdx|All|*.*||", "mdl", "/h",
                           "a.mdl"),
            1);
  EXPECT_STREQ(path, "/h/a.mdl");
  // No zenity: kdialog asks; a name without an extension gets the default.
  EXPECT_EQ(DialogWriteFile("Save", path, "Models|*.mdl||", "mdl", nullptr, nullptr), 1);
  EXPECT_STREQ(path, "/h/out.mdl");
  EXPECT_EQ(FakeDesktop::runs.at(0),
            (Args{"zenity", "--file-selection", "--title=Folder", "--directory", "--filename=/srv/"}));
  EXPECT_EQ(FakeDesktop::runs.at(3),
            (Args{"zenity", "--file-selection", u8"--title=\u041e\u0442\u043a\u0440\u044b\u0442\u044c",
                  "--filename=/h/a.mdl", "--file-filter=Models (*.mdl) | *.mdl *.mdx", "--file-filter=All | *.*"}));
  EXPECT_EQ(FakeDesktop::runs.at(5), (Args{"kdialog", "--title", "Save", "--getsavefilename", ".", "*.mdl|Models"}));
}

// Where the system has dialogs of its own (Windows), they ask, with the
// start, filter and extension as given, and no program is run.
TEST(FileDialog, TheSystemsOwnDialogAsksFirst) {
  FakeDesktop desktop(true, {});
  static std::vector<std::string> asked;
  static int answer = 1;
  asked.clear();
  platform::Calls().systemDialog = [](platform::DialogKind kind, void* owner, const char* title, const char* start,
                                      const char* filter, const char* extension, char* path, std::size_t size) {
    asked.push_back(std::to_string(static_cast<int>(kind)) + (owner != nullptr ? "o " : " ") + title + "," + start +
                    "," + (filter != nullptr ? filter : "-") + "," + (extension != nullptr ? extension : "-"));
    std::snprintf(path, size, "%s", kind == platform::DialogKind::Folder ? "C:\\models\\" : "C:\\models\\out");
    return answer;
  };
  char path[PathSize] = "C:\\start";
  int owner = 0;
  EXPECT_EQ(DialogOpenDirectory("Folder", path, &owner), 1);
  EXPECT_STREQ(path, "C:\\models");
  EXPECT_EQ(DialogWriteFile("Save", path, "M|*.mdl||", "mdl", "C:\\m", "a"), 1);
  EXPECT_STREQ(path, "C:\\models\\out.mdl");
  answer = 0;
  EXPECT_EQ(DialogReadFile("Open", path, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_STREQ(path, "C:\\models\\out.mdl");
  EXPECT_EQ(asked, (std::vector<std::string>{"0o Folder,C:\\start,-,-", "2 Save,C:\\m/a,M|*.mdl||,mdl", "1 Open,,-,-"}));
  EXPECT_TRUE(FakeDesktop::runs.empty());
}

// The system's own runner: output read whole, kept up to the buffer, and a
// missing program told apart from one that fails.
TEST(FileDialog, TheSystemRunsAProgramAndReadsItsOutput) {
  const auto& calls = platform::DefaultCalls();
  char out[8];
  std::size_t length = 0;
#if defined(_WIN32)
  const char* printf[] = {"cmd", "/c", "echo", "0123456789", nullptr};
  const char* fail[] = {"cmd", "/c", "exit", "1", nullptr};
#else
  const char* printf[] = {"printf", "%s", "0123456789", nullptr};
  const char* fail[] = {"false", nullptr};
#endif
  EXPECT_EQ(calls.runProgram(printf, out, sizeof out, length), 0);
  EXPECT_EQ(std::string(out, length), "0123456");
  const char* missing[] = {"zel-no-such-program", nullptr};
  EXPECT_EQ(calls.runProgram(fail, out, sizeof out, length), 1);
  EXPECT_EQ(calls.runProgram(missing, out, sizeof out, length), -1);
}

} // namespace
} // namespace zel
