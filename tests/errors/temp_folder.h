#pragma once
// A folder of its own under the system's temporary folder, for the errors
// tests that need files; removed with everything in it afterwards.

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace zel::test {

class TempFolder {
public:
  TempFolder() {
    std::random_device seed;
    path_ = std::filesystem::temp_directory_path() / ("zel_rc_" + std::to_string(seed()) + std::to_string(seed()));
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// Writes `contents` to the file `name` in the folder; returns its path.
  std::string Write(const std::string& name, const std::string& contents) const {
    const std::string file = (path_ / name).string();
    std::ofstream(file, std::ios::binary) << contents;
    return file;
  }

private:
  std::filesystem::path path_;
};

} // namespace zel::test
