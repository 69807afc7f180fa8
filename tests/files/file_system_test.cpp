#include "zeltools/files/file_system.h"

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

struct Parts {
  std::string drive, folder, name, extension;
};

Parts SplitOf(const std::string &path) {
  char d[PathSize], f[PathSize], n[PathSize], e[PathSize];
  FileSplit(path.c_str(), d, f, n, e);
  return {d, f, n, e};
}

TEST(FileSystem, SplitRulesByExample) {
  struct Case {
    const char *path, *drive, *folder, *name, *extension;
  };
  for (const Case &c :
       {Case{"C:\\data\\model.v2.dat", "C:", "\\data\\", "model.v2", ".dat"},
        Case{"/home/u/.profile", "", "/home/u/", ".profile", ""}, Case{"a/b\\..", "", "a/b\\", "..", ""},
        Case{"archive.", "", "", "archive", "."}, Case{"dir.d/file", "", "dir.d/", "file", ""},
        Case{"c:x.y", "c:", "", "x", ".y"}, Case{"1:x", "", "", "1:x", ""}, Case{"../..a.b", "", "../", "..a", ".b"}}) {
    const Parts p = SplitOf(c.path);
    EXPECT_EQ(p.drive + "|" + p.folder + "|" + p.name + "|" + p.extension,
              std::string(c.drive) + "|" + c.folder + "|" + c.name + "|" + c.extension);
  }
  EXPECT_EQ(SplitOf(std::string(260, 'a')).name, "");
  EXPECT_EQ(SplitOf(std::string(259, 'a')).name, std::string(259, 'a'));
}

// Random paths over a small alphabet: the parts join to the path, and the
// other helpers agree with them.
TEST(FileSystem, PartsJoinBackAndTheHelpersAgreeWithThem) {
  std::mt19937 rng(11);
  const char alphabet[] = "ab.//\\\\:C";
  for (int i = 0; i < 20000; ++i) {
    std::string path(rng() % 14, ' ');
    for (char &c : path)
      c = alphabet[rng() % (sizeof alphabet - 1)];
    const Parts p = SplitOf(path);
    ASSERT_EQ(p.drive + p.folder + p.name + p.extension, path);
    ASSERT_EQ(p.folder.find_first_of("/\\") == std::string::npos, p.folder.empty()) << path;
    ASSERT_EQ((p.name + p.extension).find_first_of("/\\"), std::string::npos) << path;
    ASSERT_TRUE(p.extension.empty() || (p.extension[0] == '.' && p.extension.find('.', 1) == std::string::npos));
    char out[PathSize];
    FileGetName(path.c_str(), out);
    ASSERT_EQ(out, p.name + p.extension);
    FileNameAddText(path.c_str(), "_1", out);
    ASSERT_EQ(out, p.drive + p.folder + p.name + "_1" + p.extension);
    FilePathBase(path.c_str(), "x.y", out);
    ASSERT_EQ(out, p.drive + p.folder + "x.y");
    FilePathBase(path.c_str(), "x.y", out, "cfg");
    ASSERT_EQ(out, p.drive + p.folder + "x.cfg");
    FilePathBase("/base/f", path.c_str(), out, "");
    const bool rooted = !p.drive.empty() || (!path.empty() && (path[0] == '/' || path[0] == '\\'));
    ASSERT_EQ(out, (rooted ? "" : "/base/") + p.drive + p.folder + p.name) << path;
  }
  char out[PathSize];
  FilePathBase(("/" + std::string(200, 'd') + "/f").c_str(), std::string(60, 'n').c_str(), out, ".e");
  EXPECT_STREQ(out, ""); // too long for a path buffer: empty, not cut
}

struct FakeEnvironment {
  platform::ScopedCalls saved;
  static inline const char *value = nullptr;
  explicit FakeEnvironment(const char *v) {
    value = v;
    platform::Calls().getEnvironment = [](const char *name) {
      return std::strcmp(name, "XDG_CONFIG_DIRS") == 0 ? value : nullptr;
    };
  }
};

TEST(FileSystem, ConfigurationPathGluesTheTailToTheFolder) {
  char path[PathSize];
  {
    FakeEnvironment env(nullptr);
    GetPathCfg("\\App\\app.cfg", path, 0);
    EXPECT_STREQ(path, "/etc/xdg\\App\\app.cfg");
    GetPathCfg("app.cfg", path, 0);
    EXPECT_STREQ(path, "/etc/xdgapp.cfg");
    GetPathCfg(std::string(260, 't').c_str(), path, PathSize);
    EXPECT_STREQ(path, "");
  }
  FakeEnvironment first("/opt/conf/:/usr/etc");
  GetPathCfg("/app.cfg", path, 7);
  EXPECT_STREQ(path, "/opt/conf/app.cfg");
  FakeEnvironment relative("conf:/usr/etc");
  GetPathCfg("/app.cfg", path, 0);
  EXPECT_STREQ(path, "/etc/xdg/app.cfg");
}

TEST(FileSystem, ExecutableFolderAndFreeSpaceThroughTheSystem) {
  char path[PathSize];
  FilePathRoot("tool.cfg", path);
  char self[PathSize] = {};
  ASSERT_GT(::readlink("/proc/self/exe", self, sizeof self - 1), 0);
  EXPECT_EQ(std::string(path), std::string(self).substr(0, std::string(self).rfind('/') + 1) + "tool.cfg");
  test::TempDir dir;
  EXPECT_GT(SgGetFreeDiskSpace(dir.File("").c_str()), 0);

  platform::ScopedCalls saved;
  platform::Calls().executablePath = [](char *, std::size_t) { return false; };
  FilePathRoot("tool.cfg", path);
  EXPECT_STREQ(path, "");
  // A path that does not exist yet is measured at its nearest parent.
  static std::vector<std::string> asked;
  platform::Calls().diskFree = [](const char *p, std::uint64_t &bytes) {
    asked.push_back(p);
    bytes = 12345;
    SetLastError(asked.back() == "/d" ? 0 : asked.back() == "/locked" ? EACCES : ENOENT);
    return asked.back() == "/d";
  };
  EXPECT_EQ(SgGetFreeDiskSpace("/d/x//new.dat"), 12345);
  EXPECT_EQ(asked, (std::vector<std::string>{"/d/x//new.dat", "/d/x", "/d"}));
  EXPECT_EQ(SgGetFreeDiskSpace("/locked/new.dat"), -1);
  asked.clear();
  EXPECT_EQ(SgGetFreeDiskSpace("new/file"), -1);
  EXPECT_EQ(asked, (std::vector<std::string>{"new/file", "new", "."}));
}

} // namespace
} // namespace zel
