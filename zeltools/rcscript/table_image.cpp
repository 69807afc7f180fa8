#include "zeltools/rcscript/internal/table_image.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "zeltools/rcscript/language_ids.h"

namespace zel::internal {
namespace {

constexpr char Mark[8] = {'Z', 'E', 'L', 'S', 'T', 'R', '1', '\0'};
constexpr std::size_t CountSize = 4;
constexpr std::size_t EntryHeaderSize = 2 + 2 + 4;

void Put(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i)
    out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

std::uint32_t Get(const unsigned char* p, int bytes) {
  std::uint32_t value = 0;
  for (int i = bytes - 1; i >= 0; --i)
    value = (value << 8) | p[i];
  return value;
}

} // namespace

std::string EncodeTableImage(const ScriptTables& tables) {
  std::string out(Mark, sizeof Mark);
  Put(out, static_cast<std::uint32_t>(tables.english.size() + tables.russian.size()), 4);
  for (const auto& [table, lang] : {std::pair{&tables.english, LanguageEnglish}, std::pair{&tables.russian, LanguageRussian}}) {
    for (const auto& [id, text] : *table) {
      Put(out, id, 2);
      Put(out, lang, 2);
      Put(out, static_cast<std::uint32_t>(text.size()), 4);
      out += text;
    }
  }
  return out;
}

bool DecodeTableImage(const unsigned char* data, std::size_t size, ScriptTables& tables) {
  if (data == nullptr || size < sizeof Mark + CountSize || std::memcmp(data, Mark, sizeof Mark) != 0)
    return false;
  std::size_t at = sizeof Mark;
  const std::uint32_t count = Get(data + at, 4);
  at += CountSize;
  if (count > (size - at) / EntryHeaderSize)
    return false;
  ScriptTables read;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (size - at < EntryHeaderSize)
      return false;
    const auto id = static_cast<unsigned short>(Get(data + at, 2));
    const std::uint32_t lang = Get(data + at + 2, 2);
    const std::uint32_t length = Get(data + at + 4, 4);
    at += EntryHeaderSize;
    if (length > size - at || (lang != LanguageEnglish && lang != LanguageRussian))
      return false;
    auto& table = lang == LanguageRussian ? read.russian : read.english;
    if (!table.emplace(id, std::string(reinterpret_cast<const char*>(data + at), length)).second)
      return false;
    at += length;
  }
  if (at != size)
    return false;
  tables = std::move(read);
  return true;
}

} // namespace zel::internal
