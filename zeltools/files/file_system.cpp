#include "zeltools/files/file_system.h"

#include <cstdint>
#include <cstring>

#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

constexpr const char* DefaultConfigFolder = "/etc/xdg";

bool IsSeparator(char c) noexcept { return c == '/' || c == '\\'; }

// Where the parts of a path end: [0, drive) [drive, folder) [folder, name)
// [name, end) are drive, folder, name and extension.
struct PathParts {
  std::size_t drive = 0, folder = 0, name = 0, end = 0;
};

PathParts Split(const char* path) noexcept {
  PathParts parts;
  if (path == nullptr)
    return parts;
  parts.end = std::strlen(path);
  const char first = path[0];
  if (parts.end >= 2 && path[1] == ':' && ((first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z')))
    parts.drive = 2;
  parts.folder = parts.drive;
  for (std::size_t i = parts.drive; i < parts.end; ++i)
    if (IsSeparator(path[i]))
      parts.folder = i + 1;
  parts.name = parts.end;
  for (std::size_t i = parts.end; i > parts.folder; --i) {
    if (path[i - 1] == '.') {
      for (std::size_t j = parts.folder; j + 1 < i; ++j)
        if (path[j] != '.') {
          parts.name = i - 1;
          break;
        }
      break;
    }
  }
  return parts;
}

// A path assembled in a PathSize buffer; one that does not fit is written
// out as the empty string.
class PathText {
public:
  PathText& Append(const char* text, std::size_t length) noexcept {
    if (text == nullptr || length == 0)
      return *this;
    if (length >= PathSize - length_) {
      overflow_ = true;
      return *this;
    }
    std::memcpy(text_ + length_, text, length);
    length_ += length;
    text_[length_] = '\0';
    return *this;
  }
  PathText& Append(const char* text) noexcept { return Append(text, text != nullptr ? std::strlen(text) : 0); }
  void CopyTo(char* out) const noexcept {
    if (out == nullptr)
      return;
    const std::size_t n = overflow_ ? 0 : length_;
    std::memmove(out, text_, n);
    out[n] = '\0';
  }
  const char* Text() const noexcept { return text_; }
  bool Overflow() const noexcept { return overflow_; }

private:
  char text_[PathSize] = {};
  std::size_t length_ = 0;
  bool overflow_ = false;
};

void Part(const char* path, std::size_t from, std::size_t to, char* out) noexcept {
  PathText().Append(path != nullptr ? path + from : nullptr, to - from).CopyTo(out);
}

} // namespace

long long SgGetFreeDiskSpace(const char* path) {
  PathText probe;
  probe.Append(path != nullptr && *path != '\0' ? path : ".");
  char folder[PathSize];
  probe.CopyTo(folder);
  if (folder[0] == '\0') {
    SetLastError(platform::ErrorNameTooLong);
    return -1;
  }
  for (;;) {
    std::uint64_t bytes = 0;
    if (platform::Calls().diskFree(folder, bytes))
      return bytes > static_cast<std::uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<long long>(bytes);
    const unsigned int error = GetLastError();
    if ((error != platform::ErrorNotFound && error != platform::ErrorPathNotFound) || std::strcmp(folder, ".") == 0 ||
        std::strcmp(folder, "/") == 0)
      return -1;
    // The parent folder: cut the last name and the separators before it.
    std::size_t end = std::strlen(folder);
    while (end > 0 && IsSeparator(folder[end - 1]))
      --end;
    while (end > 0 && !IsSeparator(folder[end - 1]))
      --end;
    while (end > 1 && IsSeparator(folder[end - 1]))
      --end;
    if (end == 0)
      std::strcpy(folder, ".");
    else
      folder[end] = '\0';
  }
}

void GetPathCfg(const char* tail, char* path, unsigned int /*size*/) {
  char common[PathSize];
  if (platform::Calls().commonDataFolder(common, sizeof common)) {
    PathText().Append(common).Append(tail).CopyTo(path);
    return;
  }
  const char* dirs = platform::Calls().environment("XDG_CONFIG_DIRS");
  std::size_t length = 0;
  if (dirs != nullptr && dirs[0] == '/') {
    length = std::strcspn(dirs, ":");
  } else {
    dirs = DefaultConfigFolder;
    length = std::strlen(dirs);
  }
  while (length > 0 && dirs[length - 1] == '/')
    --length;
  PathText().Append(dirs, length).Append(tail).CopyTo(path);
}

void FilePathRoot(const char* name, char* path) {
  char executable[PathSize];
  if (!platform::Calls().executablePath(executable, sizeof executable)) {
    if (path != nullptr)
      path[0] = '\0';
    return;
  }
  FilePathBase(executable, name, path, nullptr);
}

void FilePathBase(const char* base, const char* name, char* path, const char* extension) {
  const PathParts named = Split(name);
  PathText joined;
  if (!(named.drive > 0 || (name != nullptr && IsSeparator(name[0]))))
    joined.Append(base, Split(base).folder);
  joined.Append(name);
  if (extension == nullptr || joined.Overflow()) {
    joined.CopyTo(path);
    return;
  }
  const PathParts parts = Split(joined.Text());
  PathText result;
  result.Append(joined.Text(), parts.name);
  if (*extension != '\0' && *extension != '.')
    result.Append(".", 1);
  result.Append(extension).CopyTo(path);
}

void FileGetName(const char* path, char* name) {
  const PathParts parts = Split(path);
  Part(path, parts.folder, parts.end, name);
}

void FileNameAddText(const char* name, const char* text, char* out) {
  const PathParts parts = Split(name);
  PathText result;
  result.Append(name, parts.name)
      .Append(text)
      .Append(name != nullptr ? name + parts.name : nullptr, parts.end - parts.name);
  result.CopyTo(out);
}

void FileSplit(const char* path, char* drive, char* folder, char* name, char* extension) {
  PathParts parts = Split(path);
  if (parts.end >= PathSize)
    parts = PathParts{};
  Part(path, 0, parts.drive, drive);
  Part(path, parts.drive, parts.folder, folder);
  Part(path, parts.folder, parts.name, name);
  Part(path, parts.name, parts.end, extension);
}

} // namespace zel
