// The umbrella header must reach every public header and compile on its own.
#include "zeltools/zeltools.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Umbrella, IncludesEveryPublicHeader) {
  namespace fs = std::filesystem;
  const fs::path root = fs::path(ZEL_TEST_SOURCE_DIR).parent_path();
  std::ifstream in(root / "zeltools" / "zeltools.h");
  ASSERT_TRUE(in.good());
  std::stringstream text;
  text << in.rdbuf();
  int checked = 0;
  for (const char* sub : {"errors", "memory", "files", "containers", "datastore", "text", "geometry", "numerics"}) {
    const fs::path dir = root / "zeltools" / sub;
    if (!fs::is_directory(dir))
      continue;
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (entry.path().extension() != ".h")
        continue;
      const std::string include = "#include \"zeltools/" + std::string(sub) + "/" + entry.path().filename().string() + "\"";
      EXPECT_NE(text.str().find(include), std::string::npos) << "missing from zeltools.h: " << include
                                                             << " (run tools/update_umbrella.sh)";
      ++checked;
    }
  }
  EXPECT_GT(checked, 10);
}

} // namespace
