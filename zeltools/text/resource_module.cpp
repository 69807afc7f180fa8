#include "zeltools/text/internal/resource_module.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/internal/catalogue.h"
#include "zeltools/memory/memory.h"
#include "zeltools/rcscript/internal/rc_script.h"
#include "zeltools/rcscript/internal/table_image.h"
#include "zeltools/platform/platform.h"

namespace zel::internal {
namespace {

struct Module {
  ScriptTables tables;
  bool library = false;         // the library's own catalogue
  void* sharedObject = nullptr; // owned; closed with the module
  bool mapped = false;          // `sharedObject` came from resourceModuleOpen, not the loader
  bool resources = false;       // its strings are the system's string resources of `sharedObject`
  unsigned long holders = 1;
};

// Windows keeps string tables as resources of a module; elsewhere a shared
// object exports the image that zel_add_string_tables compiled into it.
bool ModulesKeepStringResources() { return platform::Calls().libraryModule() != nullptr; }

void Close(const Module& module) {
  if (module.mapped)
    platform::Calls().resourceModuleClose(module.sharedObject);
  else
    platform::Calls().sharedObjectClose(module.sharedObject);
}

struct Registry {
  std::mutex lock;
  std::map<Module*, std::unique_ptr<Module>> modules;
  std::map<void*, Module*> bySharedObject;
};

Registry& TheRegistry() {
  // Never destroyed (see the header): a CResurce with static storage may be
  // destroyed after any other static object.
  static Registry* registry = new Registry;
  return *registry;
}

// Adds a module, or, when its shared object is registered already (loaded
// twice, or given twice), adds a holder to that module instead. `opened`
// says the caller opened the object itself, so the loader counted one more
// reference, which is then returned.
void* Register(std::unique_ptr<Module> module, bool opened = false) {
  Registry& r = TheRegistry();
  std::unique_lock<std::mutex> guard(r.lock);
  Module* key = module.get();
  if (key->sharedObject != nullptr) {
    const auto found = r.bySharedObject.find(key->sharedObject);
    if (found != r.bySharedObject.end()) {
      ++found->second->holders;
      guard.unlock();
      if (opened)
        Close(*key);
      return found->second;
    }
    r.bySharedObject[key->sharedObject] = key;
  }
  r.modules.emplace(key, std::move(module));
  return key;
}

bool IsLibraryName(const std::string& fileName) {
  const std::size_t slash = fileName.find_last_of("/\\");
  const std::string base = slash == std::string::npos ? fileName : fileName.substr(slash + 1);
  static const char library[] = "zeltools.dll";
  if (base.size() != sizeof library - 1)
    return false;
  for (std::size_t i = 0; i < base.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(base[i])) != library[i])
      return false;
  return true;
}

// 0: no such file (or not a regular one); 1: an executable module (an ELF
// shared object, or a Windows image, "MZ"); 2: any other file.
int FileKind(const std::string& path, std::int64_t& size) {
  const auto& calls = platform::Calls();
  void* file = calls.fileOpenRegular(path.c_str());
  if (file == nullptr)
    return 0;
  unsigned char head[4] = {};
  const bool whole = platform::ReadAt(file, head, sizeof head, 0) == sizeof head;
  if (!calls.fileSize(file, size))
    size = 0;
  calls.fileClose(file);
  const bool elf = head[0] == 0x7F && head[1] == 'E' && head[2] == 'L' && head[3] == 'F';
  const bool image = head[0] == 'M' && head[1] == 'Z';
  return whole && (elf || image) ? 1 : 2;
}

// Reads the tables compiled into an open shared object; a module without
// them is a module with no strings, as a library without string resources.
std::unique_ptr<Module> FromSharedObject(void* object, const std::string& name) {
  auto module = std::make_unique<Module>();
  module->sharedObject = object;
  if (ModulesKeepStringResources()) {
    module->resources = true;
    return module;
  }
  const auto* data = static_cast<const unsigned char*>(platform::Calls().sharedObjectSymbol(object, TableImageSymbol));
  const auto* size = static_cast<const unsigned long long*>(platform::Calls().sharedObjectSymbol(object, TableImageSizeSymbol));
  if (data != nullptr && size != nullptr && !DecodeTableImage(data, static_cast<std::size_t>(*size), module->tables)) {
    platform::Calls().sharedObjectClose(object);
    CrashFormat("%s: the string tables compiled into it are damaged", name.c_str());
  }
  return module;
}

} // namespace

void* LoadResourceModule(const std::string& fileName) {
  if (IsLibraryName(fileName)) {
    auto module = std::make_unique<Module>();
    module->library = true;
    return Register(std::move(module));
  }
  std::int64_t size = 0;
  const int kind = fileName.empty() ? 0 : FileKind(fileName, size);
  if (kind == 2) {
    auto module = std::make_unique<Module>();
    try {
      // The script is read whole, then parsed: its size is the request that
      // a refusal reports.
      module->tables = GuardAllocation(static_cast<std::uint64_t>(size), [&] { return ReadResourceScript(fileName); });
    } catch (const ScriptError& error) {
      Crash(error.what()); // the application sees the reader's located text
    }
    return Register(std::move(module));
  }
  // The loader searches its library path for a bare name; a file in the
  // current folder is named with "./" so that it is the one loaded.
  std::string path = fileName;
  const bool bare = path.find_first_of("/\\") == std::string::npos;
  if (kind == 1 && bare)
    path = "./" + path;
  else if (kind == 0 && (path.empty() || !bare))
    return nullptr;
  if (ModulesKeepStringResources()) {
    // Mapped for its resources only: none of the module's code runs.
    void* mapped = platform::Calls().resourceModuleOpen(path.c_str());
    if (mapped == nullptr)
      return nullptr;
    auto module = std::make_unique<Module>();
    module->sharedObject = mapped;
    module->mapped = true;
    module->resources = true;
    return Register(std::move(module), true);
  }
  void* object = platform::Calls().sharedObjectOpen(path.c_str());
  if (object == nullptr)
    return nullptr;
  return Register(FromSharedObject(object, fileName), true);
}

void* AcquireResourceModule(void* module) {
  if (module == nullptr)
    return nullptr;
  {
    Registry& r = TheRegistry();
    const std::lock_guard<std::mutex> guard(r.lock);
    if (r.modules.count(static_cast<Module*>(module)) != 0) {
      ++static_cast<Module*>(module)->holders;
      return module;
    }
    const auto found = r.bySharedObject.find(module);
    if (found != r.bySharedObject.end()) {
      ++found->second->holders;
      return found->second;
    }
  }
  return Register(FromSharedObject(module, "the module given"));
}

void ReleaseResourceModule(void* module) noexcept {
  if (module == nullptr)
    return;
  std::unique_ptr<Module> freed;
  {
    Registry& r = TheRegistry();
    const std::lock_guard<std::mutex> guard(r.lock);
    const auto found = r.modules.find(static_cast<Module*>(module));
    if (found == r.modules.end() || --found->second->holders != 0)
      return;
    freed = std::move(found->second);
    r.modules.erase(found);
    if (freed->sharedObject != nullptr)
      r.bySharedObject.erase(freed->sharedObject);
  }
  if (freed->sharedObject != nullptr)
    Close(*freed);
}

bool ResourceModuleString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept {
  if (text == nullptr || size == 0)
    return false;
  *text = '\0';
  if (module == nullptr)
    return false;
  // A held module is never changed or freed under its holders, so reading
  // it needs no lock.
  const auto* m = static_cast<const Module*>(module);
  if (m->library)
    return LibraryString(id, langId, text, size);
  if (m->resources)
    return ModuleResourceString(m->sharedObject, id, langId, text, size);
  const std::string* found = m->tables.Find(id, langId);
  if (found == nullptr)
    return false;
  return CopyBounded(found->c_str(), text, size);
}

} // namespace zel::internal
