#include "zeltools/files/file_dialog.h"

#include <cstring>
#include <string>
#include <vector>

#include "zeltools/platform/platform.h"
#include "zeltools/rcscript/encoding.h"

namespace zel {
namespace {

using Kind = platform::DialogKind;

// The dialog programs in the order they are tried.
enum class Program { Zenity, KDialog };

struct Request {
  Kind kind;
  const char* title;
  const char* start; // folder, or folder and name
  const char* filter;
  const char* extension;
  HWND owner;
};

std::string Text(const char* text) { return text != nullptr ? text : ""; }

bool HasDisplay() {
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* value = platform::Calls().environment(name);
    if (value != nullptr && *value != '\0')
      return true;
  }
  return false;
}

// "Desc|*.a;*.b|Desc2|*.*||" as pairs of description and blank-separated
// patterns; a pair without patterns is dropped.
std::vector<std::pair<std::string, std::string>> Filters(const char* filter) {
  std::vector<std::pair<std::string, std::string>> pairs;
  std::vector<std::string> fields;
  std::string field;
  for (const char* c = filter != nullptr ? filter : ""; *c != '\0'; ++c) {
    if (*c == '|') {
      fields.push_back(field);
      field.clear();
    } else {
      field += *c == ';' ? ' ' : *c;
    }
  }
  if (!field.empty())
    fields.push_back(field);
  for (std::size_t i = 0; i + 1 < fields.size(); i += 2)
    if (!fields[i + 1].empty())
      pairs.emplace_back(fields[i], fields[i + 1]);
  return pairs;
}

// Titles and descriptions are the library's 1251 texts and the dialog
// programs read UTF-8; paths are bytes as the file system has them and pass
// as they are.
std::vector<std::string> Arguments(Program program, const Request& request) {
  const auto filters = Filters(request.filter);
  const std::string start = Text(request.start);
  std::vector<std::string> args;
  if (program == Program::Zenity) {
    args = {"zenity", "--file-selection", "--title=" + Cp1251ToUtf8(Text(request.title))};
    if (request.kind == Kind::Folder)
      args.emplace_back("--directory");
    if (request.kind == Kind::Write)
      args.emplace_back("--save");
    // A folder given without its final '/' would be shown selected in its
    // parent instead of opened.
    if (!start.empty())
      args.push_back("--filename=" + start + (request.kind == Kind::Folder && start.back() != '/' ? "/" : ""));
    for (const auto& [description, patterns] : filters)
      args.push_back("--file-filter=" + Cp1251ToUtf8(description) + " | " + patterns);
    return args;
  }
  args = {"kdialog", "--title", Cp1251ToUtf8(Text(request.title)),
          request.kind == Kind::Folder  ? "--getexistingdirectory"
          : request.kind == Kind::Write ? "--getsavefilename"
                                        : "--getopenfilename",
          start.empty() ? "." : start};
  if (request.kind != Kind::Folder && !filters.empty()) {
    std::string lines;
    for (const auto& [description, patterns] : filters)
      lines += (lines.empty() ? "" : "\n") + patterns + "|" + Cp1251ToUtf8(description);
    args.push_back(lines);
  }
  return args;
}

// The chosen path, or the empty string when the dialog was cancelled or
// could not be shown. The system's own dialog comes first; where there is
// none, a desktop program asks, and one that cannot be started gives way to
// the next.
std::string Run(const Request& request) {
  char system[4 * PathSize];
  const int answer = platform::Calls().systemDialog(request.kind, request.owner, request.title, request.start,
                                                    request.filter, request.extension, system, sizeof system);
  if (answer >= 0)
    return answer == 1 ? std::string(system) : std::string();
  if (!HasDisplay())
    return {};
  for (const Program program : {Program::Zenity, Program::KDialog}) {
    const std::vector<std::string> args = Arguments(program, request);
    std::vector<const char*> argv;
    for (const std::string& arg : args)
      argv.push_back(arg.c_str());
    argv.push_back(nullptr);
    char output[4 * PathSize];
    std::size_t length = 0;
    const int status = platform::Calls().runProgram(argv.data(), output, sizeof output, length);
    if (status < 0)
      continue;
    if (status != 0)
      return {};
    std::string chosen(output, length);
    chosen = chosen.substr(0, chosen.find('\n'));
    return chosen;
  }
  return {};
}

int Finish(std::string chosen, char* path, const char* extension, Kind kind) {
  if (chosen.empty() || path == nullptr)
    return 0;
  if (kind == Kind::Folder) {
    while (chosen.size() > 1 && (chosen.back() == '/' || chosen.back() == '\\') && chosen[chosen.size() - 2] != ':')
      chosen.pop_back();
  } else if (kind == Kind::Write && extension != nullptr && *extension != '\0') {
    char parts[4][PathSize];
    FileSplit(chosen.c_str(), parts[0], parts[1], parts[2], parts[3]);
    if (parts[3][0] == '\0' && parts[2][0] != '\0')
      chosen += std::string(*extension == '.' ? "" : ".") + extension;
  }
  if (chosen.size() >= PathSize)
    return 0;
  std::memcpy(path, chosen.c_str(), chosen.size() + 1);
  return 1;
}

int FileDialog(Kind kind, const char* title, char* path, const char* filter, const char* extension, const char* folder,
               const char* name) {
  try {
    std::string start = Text(folder);
    if (!start.empty() && start.back() != '/' && start.back() != '\\')
      start += '/';
    start += Text(name);
    return Finish(Run({kind, title, start.c_str(), filter, extension, nullptr}), path, extension, kind);
  } catch (...) {
    // Only memory can run out here; the dialog then counts as cancelled.
    return 0;
  }
}

} // namespace

int DialogOpenDirectory(const char* title, char* path, HWND owner) {
  try {
    const std::string start = Text(path);
    return Finish(Run({Kind::Folder, title, start.c_str(), nullptr, nullptr, owner}), path, nullptr, Kind::Folder);
  } catch (...) {
    return 0;
  }
}

int DialogReadFile(const char* title, char* path, const char* filter, const char* extension, const char* folder,
                   const char* name) {
  return FileDialog(Kind::Read, title, path, filter, extension, folder, name);
}

int DialogWriteFile(const char* title, char* path, const char* filter, const char* extension, const char* folder,
                    const char* name) {
  return FileDialog(Kind::Write, title, path, filter, extension, folder, name);
}

} // namespace zel
