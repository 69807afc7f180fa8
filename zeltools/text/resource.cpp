#include "zeltools/text/resource.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "zeltools/errors/exception.h"
#include "zeltools/text/internal/resource_module.h"
#include "zeltools/errors/language.h"
#include "zeltools/memory/memory.h"

namespace zel {
namespace {

// Entries are read into a 1024-byte buffer: at most 1023 characters and the
// terminator, so that a message has the same bounds as an exception's text.
constexpr std::size_t MaxEntry = 1023;

unsigned char TypeOf(char first) {
  switch (first) {
  case 'I': case 'i': return 1;
  case 'W': case 'w': return 2;
  case 'E': case 'e': return 3;
  case 'C': case 'c': return 4;
  case 'Q': case 'q': return 5;
  case 'S': case 's': return 6;
  default: return 0;
  }
}

} // namespace

void CResurceString::Clear() {
  type = 0;
  length = 0;
  count = 0;
  text.clear();
}

unsigned int CResurceString::GetQuantityLine() const {
  if (text.empty() || (text.size() == 1 && text[0] == '\0'))
    return 0;
  if (count != 0)
    return count;
  return 1 + static_cast<unsigned int>(std::count(text.begin(), text.end(), '\n'));
}

CResurce::CResurce(const char* fileName) { Init(fileName, nullptr); }

CResurce::CResurce(const CResurce& other)
    : module_(internal::AcquireResourceModule(other.module_)), name_(other.name_) {}

CResurce& CResurce::operator=(const CResurce& other) {
  if (this != &other) {
    void* shared = internal::AcquireResourceModule(other.module_);
    internal::ReleaseResourceModule(module_);
    module_ = shared;
    name_ = other.name_;
  }
  return *this;
}

CResurce::~CResurce() { internal::ReleaseResourceModule(module_); }

void CResurce::Init(const char* fileName, void* module) {
  const std::size_t length = fileName != nullptr ? std::strlen(fileName) : 0;
  GuardAllocation(length, [&] {
    const std::string name(fileName != nullptr ? fileName : "", length);
    if (module == nullptr) {
      internal::ReleaseResourceModule(module_);
      module_ = nullptr;
      name_ = name;
      module_ = internal::LoadResourceModule(name);
    } else {
      // The holder of the module held so far is dropped without letting go.
      module_ = internal::AcquireResourceModule(module);
      name_ = name;
    }
    if (module_ == nullptr)
      CrashFormat("The file of resources is not found:\n%s", name.c_str());
  });
}

const char* CResurce::GeName() const noexcept { return name_.c_str(); }

const char* CResurce::GetText(unsigned int id, CResurceString& out, unsigned char mode) const {
  out.Clear();
  const unsigned short language = GetThreadUILanguage();
  std::string text;
  for (unsigned int k = 0;; ++k) {
    char entry[MaxEntry + 1];
    if (!internal::ResourceModuleString(module_, id + k, language, entry, sizeof entry)) {
      if (k == 0) {
        char number[32];
        std::snprintf(number, sizeof number, "%d", static_cast<int>(id));
        text = std::string(" Not message ") + number + " ::" + name_;
      }
      break;
    }
    const std::size_t size = std::strlen(entry);
    if (k > 0)
      text += '\n';
    if (size == 0)
      continue;
    ++out.count;
    if (k == 0) {
      out.type = TypeOf(entry[0]);
      text.append(entry + 1, size - 1);
    } else {
      text.append(entry, size);
    }
    if (!text.empty() && text.back() == '@') {
      text.pop_back();
      break;
    }
    if (mode == 0)
      break;
  }
  out.text.assign(text.begin(), text.end());
  out.text.push_back('\0');
  out.length = static_cast<unsigned int>(out.text.size());
  if (text.empty())
    return nullptr;
  if (mode == 10)
    std::replace(out.text.begin(), out.text.end(), '\n', '\0');
  return out.text.data();
}

const char* CResurce::GetString(unsigned int id, CResurceString& out) const { return GetText(id, out, 0); }

void CResurce::GetMsg(unsigned int id, CResurceString& out) const { GetText(id, out, 2); }

void CResurce::Load(unsigned int number, CResurceString& out) const { GetText(number * 10, out, 2); }

void CResurce::GetString(unsigned int id, char* buffer) const {
  CResurceString temporary;
  GetText(id, temporary, 1);
  if (buffer != nullptr)
    std::strcpy(buffer, temporary.text.data());
}

} // namespace zel
