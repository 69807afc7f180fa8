#include "zeltools/files/file_system.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

std::string SplitOf(const std::string& path) {
  char d[PathSize], f[PathSize], n[PathSize], e[PathSize];
  FileSplit(path.c_str(), d, f, n, e);
  return std::string(d) + "|" + f + "|" + n + "|" + e;
}

TEST(FileSystem, SplitRulesByExample) {
  for (const auto& [path, parts] :
       std::vector<std::pair<std::string, std::string>>{{"C:\\data\\model.v2.dat", "C:|\\data\\|model.v2|.dat"},
                                                        {"/home/u/.profile", "|/home/u/|.profile|"},
                                                        {"a/b\\..", "|a/b\\|..|"},
                                                        {"archive.", "||archive|."},
                                                        {"dir.d/file", "|dir.d/|file|"},
                                                        {"c:x.y", "c:||x|.y"},
                                                        {"1:x", "||1:x|"},
                                                        {"../..a.b", "|../|..a|.b"},
                                                        {std::string(259, 'a'), "||" + std::string(259, 'a') + "|"},
                                                        {std::string(260, 'a'), "|||"}})
    EXPECT_EQ(SplitOf(path), parts) << path;
}

// Random paths over a small alphabet: the parts join to the path, and the
// other helpers agree with them.
TEST(FileSystem, PartsJoinBackAndTheHelpersAgreeWithThem) {
  std::mt19937 rng(11);
  const char alphabet[] = "ab.//\\\\:C";
  for (int i = 0; i < 20000; ++i) {
    std::string path(rng() % 14, ' ');
    for (char& c : path)
      c = alphabet[rng() % (sizeof alphabet - 1)];
    char d[PathSize], f[PathSize], n[PathSize], e[PathSize], out[PathSize];
    FileSplit(path.c_str(), d, f, n, e);
    const std::string drive = d, folder = f, name = n, ext = e;
    ASSERT_EQ(drive + folder + name + ext, path);
    ASSERT_EQ((name + ext).find_first_of("/\\"), std::string::npos) << path;
    ASSERT_TRUE(ext.empty() || ext.rfind('.') == 0) << path;
    FileGetName(path.c_str(), out);
    ASSERT_EQ(out, name + ext);
    FileNameAddText(path.c_str(), "_1", out);
    ASSERT_EQ(out, drive + folder + name + "_1" + ext);
    FilePathBase(path.c_str(), "x.y", out, "cfg");
    ASSERT_EQ(out, drive + folder + "x.cfg");
    FilePathBase("/base/f", path.c_str(), out, "");
    const bool rooted = !drive.empty() || path.find_first_of("/\\") == 0;
    ASSERT_EQ(out, (rooted ? "" : "/base/") + drive + folder + name) << path;
  }
  char out[PathSize];
  FilePathBase(("/" + std::string(200, 'd') + "/f").c_str(), std::string(60, 'n').c_str(), out, ".e");
  EXPECT_STREQ(out, ""); // too long for a path buffer: empty, not cut
}

TEST(FileSystem, ConfigurationPathGluesTheTailToTheFolder) {
  platform::ScopedCalls saved;
  static const char* dirs = nullptr;
  platform::Calls().environment = [](const char* name) {
    return std::strcmp(name, "XDG_CONFIG_DIRS") ? nullptr : dirs;
  };
  // The system's own folder where it has one (Windows).
  platform::Calls().commonDataFolder = [](char* out, std::size_t size) {
    std::snprintf(out, size, "C:\\ProgramData");
    return true;
  };
  char path[PathSize];
  GetPathCfg("\\App\\app.cfg", path, 0);
  EXPECT_STREQ(path, "C:\\ProgramData\\App\\app.cfg");
  platform::Calls().commonDataFolder = [](char*, std::size_t) { return false; };
  for (const auto& [value, tail, expected] : std::vector<std::tuple<const char*, std::string, std::string>>{
           {nullptr, "\\App\\app.cfg", "/etc/xdg\\App\\app.cfg"},
           {nullptr, "app.cfg", "/etc/xdgapp.cfg"},
           {nullptr, std::string(260, 't'), ""},
           {"/opt/conf/:/usr/etc", "/app.cfg", "/opt/conf/app.cfg"},
           {"conf:/usr/etc", "/app.cfg", "/etc/xdg/app.cfg"}}) {
    dirs = value;
    GetPathCfg(tail.c_str(), path, 0);
    EXPECT_EQ(path, expected);
  }
}

TEST(FileSystem, ExecutableFolderAndFreeSpaceThroughTheSystem) {
  char path[PathSize];
  FilePathRoot("tool.cfg", path);
  const std::string self = test::ExecutablePath();
  ASSERT_FALSE(self.empty());
  EXPECT_EQ(path, self.substr(0, self.find_last_of("/\\") + 1) + "tool.cfg");
  EXPECT_GT(SgGetFreeDiskSpace("/tmp/zel-missing-folder/file"), 0);
  platform::ScopedCalls saved;
  platform::Calls().executablePath = [](char*, std::size_t) { return false; };
  FilePathRoot("tool.cfg", path);
  EXPECT_STREQ(path, "");
  static std::string asked; // a path that does not exist is measured at its nearest parent
  platform::Calls().diskFree = [](const char* p, std::uint64_t& bytes) {
    asked += std::string(p) + " ";
    bytes = 12345;
    SetLastError(std::strcmp(p, "/d") == 0 ? 0 : std::strcmp(p, "/locked") == 0 ? platform::ErrorAccess : platform::ErrorNotFound);
    return std::strcmp(p, "/d") == 0;
  };
  EXPECT_EQ(SgGetFreeDiskSpace("/d/x//new.dat") + SgGetFreeDiskSpace("/locked/a") + SgGetFreeDiskSpace("n/f"), 12343);
  EXPECT_EQ(asked, "/d/x//new.dat /d/x /d /locked/a /locked n/f n . ");
}

} // namespace
} // namespace zel
