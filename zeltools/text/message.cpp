#include "zeltools/text/message.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "zeltools/errors/exception.h"
#include "zeltools/errors/internal/runtime_format.h"
#include "zeltools/memory/memory.h"
#include "zeltools/text/list_text.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/resource.h"

namespace zel {
namespace {

constexpr unsigned char TypeWarning = 2;
constexpr unsigned char TypeError = 3;

} // namespace

void CMessage::Init(const CResurce& resource, CPhrase& list) noexcept {
  warnings_ = 0;
  errors_ = 0;
  resource_ = &resource;
  list_ = &list;
}

void CMessage::Put(unsigned int number, ...) {
  va_list args;
  va_start(args, number);
  try {
    Report(number, true, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void CMessage::Out(unsigned int id, ...) {
  va_list args;
  va_start(args, id);
  try {
    Report(id, false, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void CMessage::Error(unsigned int id) const {
  CrashFormat("Class CMessage: Error in the message %d \nin library resources %s", static_cast<int>(id),
              resource_ != nullptr ? resource_->GeName() : "");
}

void CMessage::Report(unsigned int number, bool block, std::va_list args) {
  if (resource_ == nullptr || list_ == nullptr)
    Error(number);
  CResurceString message;
  if (block)
    resource_->Load(number, message);
  else
    resource_->GetMsg(number, message);
  if (message.type == TypeError || message.type == TypeSevere)
    ++errors_;
  else if (message.type == TypeWarning)
    ++warnings_;

  // A text with no entry behind it (the missing-id fallback, or nothing but
  // empty entries) has no conversions of the application's and is taken as
  // it stands; the fallback names the module, which may hold a '%'.
  char formatted[MaxText + 1];
  const char* text = formatted;
  if (message.count == 0) {
    text = message.text.data();
    if (std::strlen(text) > MaxText)
      Error(number);
  } else {
    ZEL_RUNTIME_FORMAT_BEGIN
    const int length = std::vsnprintf(formatted, sizeof formatted, message.text.data(), args);
    ZEL_RUNTIME_FORMAT_END
    if (length < 0 || static_cast<unsigned int>(length) > MaxText)
      Error(number);
  }
  list_->Append(text, message.type, 0, number);
  if (message.type == TypeSevere)
    Crash("SEVERE ERROR");
}

void CMessage::PutList(Vector<unsigned int>& numbers, unsigned short id, const char* text) {
  if (numbers.empty())
    return;
  Out(id, text != nullptr ? text : "");
  numbers.Sort(true);
  std::vector<char> listText;
  ListText(numbers.GetSize(), numbers.data(), listText);
  CPhraseText& entry = list_->back();
  const char* old = entry.GetText();
  const std::size_t oldLength = old != nullptr ? std::strlen(old) : 0;
  GuardAllocation(oldLength + listText.size() + numbers.size() * sizeof(unsigned int), [&] {
    std::vector<char> joined(old, old + oldLength);
    joined.insert(joined.end(), listText.begin(), listText.end());
    entry.SetText(joined.data());
    entry.list.assign(numbers.begin(), numbers.end());
  });
  numbers.clear();
}

void CMessage::PutList(Vector<unsigned int>& numbers, unsigned short id, unsigned int value) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", static_cast<int>(value));
  PutList(numbers, id, text);
}

void CMessage::PutList(unsigned int first, unsigned int last, const unsigned char* flags, unsigned short id,
                       const char* text) {
  if (flags == nullptr || first > last)
    return;
  Vector<unsigned int> numbers;
  // Written so that last = UINT_MAX ends the walk instead of wrapping.
  for (unsigned int i = first;; ++i) {
    if (flags[i] != 0)
      numbers.push_back(i);
    if (i == last)
      break;
  }
  PutList(numbers, id, text);
}

void CMessage::PutList(unsigned int first, unsigned int last, const unsigned char* flags, unsigned short id,
                       unsigned int value) {
  if (first > last)
    return;
  char text[16];
  std::snprintf(text, sizeof text, "%d", static_cast<int>(value));
  PutList(first, last, flags, id, text);
}

} // namespace zel
