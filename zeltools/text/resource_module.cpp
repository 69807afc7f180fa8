#include "zeltools/text/internal/resource_module.h"

#include <cctype>
#include <map>
#include <memory>
#include <mutex>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/internal/catalogue.h"
#include "zeltools/rcscript/internal/rc_script.h"
#include "zeltools/rcscript/internal/table_image.h"
#include "zeltools/platform/platform.h"

namespace zel::internal {
namespace {

struct Module {
  ScriptTables tables;
  bool library = false;       // the library's own catalogue
  void* sharedObject = nullptr; // owned; closed with the module
  unsigned long holders = 1;
};

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
        platform::Calls().sharedObjectClose(key->sharedObject);
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

// 0: no such file (or not a regular one); 1: an ELF shared object; 2: any
// other file.
int FileKind(const std::string& path) {
  const auto& calls = platform::Calls();
  void* file = calls.fileOpenRegular(path.c_str());
  if (file == nullptr)
    return 0;
  unsigned char head[4] = {};
  const bool elf = platform::ReadAt(file, head, sizeof head, 0) == sizeof head && head[0] == 0x7F &&
                   head[1] == 'E' && head[2] == 'L' && head[3] == 'F';
  calls.fileClose(file);
  return elf ? 1 : 2;
}

// Reads the tables compiled into an open shared object; a module without
// them is a module with no strings, as a library without string resources.
std::unique_ptr<Module> FromSharedObject(void* object, const std::string& name) {
  auto module = std::make_unique<Module>();
  module->sharedObject = object;
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
  const int kind = fileName.empty() ? 0 : FileKind(fileName);
  if (kind == 2) {
    auto module = std::make_unique<Module>();
    try {
      module->tables = ReadResourceScript(fileName);
    } catch (const ScriptError& error) {
      Crash(error.what()); // the application sees the reader's located text
    }
    return Register(std::move(module));
  }
  // The loader searches its library path for a bare name; a file in the
  // current folder is named with "./" so that it is the one loaded.
  std::string path = fileName;
  if (kind == 1 && path.find('/') == std::string::npos)
    path = "./" + path;
  else if (kind == 0 && (path.empty() || path.find('/') != std::string::npos))
    return nullptr;
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
    platform::Calls().sharedObjectClose(freed->sharedObject);
}

const char* ResourceModuleString(void* module, unsigned int id, unsigned short langId) noexcept {
  if (module == nullptr)
    return nullptr;
  // A held module is never changed or freed under its holders, so reading
  // it needs no lock.
  const auto* m = static_cast<const Module*>(module);
  if (m->library)
    return LibraryString(id, langId);
  const std::string* text = m->tables.Find(id, langId);
  return text != nullptr ? text->c_str() : nullptr;
}

} // namespace zel::internal
