#include "zeltools/text/params.h"

#include <cstring>
#include <string_view>

#include "zeltools/memory/memory.h"
#include "zeltools/text/letter_case.h"
#include "zeltools/text/number_text.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

constexpr std::string_view blanks = " \t\n\r\v\f";

std::string_view Trim(std::string_view s) {
  const std::size_t first = s.find_first_not_of(blanks);
  if (first == std::string_view::npos)
    return {};
  return s.substr(first, s.find_last_not_of(blanks) - first + 1);
}

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size())
    return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (ToUpper(a[i]) != ToUpper(b[i]))
      return false;
  return true;
}

bool IsItemEnd(char c) { return c == ';' || c == '\n' || c == '\r'; }

// Calls `take` with every part of `text` (see the header).
template <class TakePart>
void SplitParts(const char* text, const char* separators, unsigned char keepEmpty, TakePart&& take) {
  if (text == nullptr || *text == '\0')
    return;
  const std::string_view cuts = separators != nullptr && *separators != '\0' ? std::string_view(separators) : blanks;
  const std::string_view all(text);
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = all.find_first_of(cuts, start);
    const std::string_view part = Trim(all.substr(start, end == std::string_view::npos ? all.npos : end - start));
    if (!part.empty() || keepEmpty)
      take(part);
    if (end == std::string_view::npos)
      break;
    start = end + 1;
  }
}

} // namespace

unsigned int SeparateString(const char* text, VCText& parts, const char* separators, unsigned char keepEmpty) {
  VCText found;  // `text` may lie in one of the parts
  SplitParts(text, separators, keepEmpty, [&found](std::string_view part) { found.Add(std::string(part).c_str()); });
  parts.swap(found);
  return parts.GetSize();
}

unsigned int SeparateString(const std::string& text, VCText& parts, const char* separators, unsigned char keepEmpty) {
  return SeparateString(text.c_str(), parts, separators, keepEmpty);
}

unsigned int SeparateString(const char* text, std::vector<std::string>& parts, const char* separators,
                            unsigned char keepEmpty) {
  std::vector<std::string> found;
  SplitParts(text, separators, keepEmpty, [&found](std::string_view part) {
    GuardAllocation(part.size() + sizeof(std::string), [&] { found.emplace_back(part); });
  });
  parts.swap(found);
  return static_cast<unsigned int>(parts.size());
}

unsigned int SeparateString(const std::string& text, std::vector<std::string>& parts, const char* separators,
                            unsigned char keepEmpty) {
  return SeparateString(text.c_str(), parts, separators, keepEmpty);
}

unsigned char ParamText(const char* text, const char* name, std::string& value) {
  if (text == nullptr || name == nullptr)
    return 0;
  const std::string_view wanted = Trim(name);
  const char* p = text;
  while (*p != '\0') {
    // Name: up to '=' or the end of the item.
    const char* nameStart = p;
    while (*p != '\0' && *p != '=' && !IsItemEnd(*p))
      ++p;
    if (*p != '=') {
      if (*p != '\0')
        ++p;
      continue;
    }
    const std::string_view itemName = Trim(std::string_view(nameStart, static_cast<std::size_t>(p - nameStart)));
    ++p;
    while (*p != '\0' && blanks.find(*p) != std::string_view::npos && !IsItemEnd(*p))
      ++p;
    std::string_view itemValue;
    if (*p == '"') {
      const char* valueStart = ++p;
      while (*p != '\0' && *p != '"')
        ++p;
      itemValue = std::string_view(valueStart, static_cast<std::size_t>(p - valueStart));
      if (*p == '"')
        ++p;
      while (*p != '\0' && !IsItemEnd(*p))
        ++p;
    } else {
      const char* valueStart = p;
      while (*p != '\0' && !IsItemEnd(*p))
        ++p;
      itemValue = Trim(std::string_view(valueStart, static_cast<std::size_t>(p - valueStart)));
    }
    if (SameName(itemName, wanted)) {
      value.assign(itemValue);
      return 1;
    }
    if (*p != '\0')
      ++p;
  }
  return 0;
}

unsigned char ParamValue(const char* text, const char* name, double& value) {
  std::string found;
  return ParamText(text, name, found) ? CharDouble(found.c_str(), value) : 0;
}

unsigned char ParamValue(const char* text, const char* name, int& value) {
  std::string found;
  return ParamText(text, name, found) ? CharInt(found.c_str(), value) : 0;
}

} // namespace zel
