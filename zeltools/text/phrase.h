#pragma once
/// \file
/// `CPhraseText` and `CPhrase`: lists of messages that operations hand back
/// instead of failing outright (file opens, imports, checks), their packed
/// stream form and their stored block.

#include <iosfwd>
#include <vector>

#include "zeltools/files/document.h"
#include "zeltools/files/message_sink.h"

namespace zel {

class CFileBase;

/// One message: a text, a kind, two numbers, a mark and a list of numbers
/// (for example the objects the message concerns).
///
/// Stored forms: the four scalars are 8 bytes in the order kind, param1,
/// param2, mark (1 + 4 + 2 + 1) in files; the stream form orders them kind,
/// mark, param2, param1. Both orders are kept for compatibility with stored
/// files and streams.
class CPhraseText {
public:
  CPhraseText() = default;
  CPhraseText(const CPhraseText& other);
  CPhraseText(CPhraseText&& other) noexcept;
  CPhraseText& operator=(const CPhraseText& other);
  CPhraseText& operator=(CPhraseText&& other) noexcept;
  ~CPhraseText();

  /// The text, or null when there is none.
  const char* GetText() const noexcept { return text_; }
  /// Replaces the text with a copy of `text`; null leaves no text, and the
  /// empty string is kept as a one-byte text (not as null).
  void SetText(const char* text);
  /// Stores the scalars (param2 cut to 16 bits, mark to 8), makes the list
  /// exactly the `count` numbers of `list` (a null `list` gives an empty
  /// one), then sets the text.
  void Set(const char* text, unsigned char kind, unsigned int param1, unsigned int param2, unsigned int mark,
           unsigned int count, const unsigned int* list);

  /// Writes the stream form (little-endian): u32 text length + 1 (0 for no
  /// text), the text and its NUL, u8 kind, u8 mark, u16 param2, u32 param1,
  /// u32 list count, the list.
  void PackToStream(std::ostream& out) const;
  /// Reads the stream form. On a short or failed stream the object is left
  /// as it was, the stream's failbit is set and 0 is returned; counts are
  /// never trusted for allocation beyond what the stream delivers.
  unsigned char UnPackFromStream(std::istream& in);

  unsigned char kind = 0;
  unsigned int param1 = 0;
  unsigned short param2 = 0;
  unsigned char mark = 0;
  std::vector<unsigned int> list;

private:
  char* text_ = nullptr;
};

/// Messages in append order. It is a standard vector of `CPhraseText`, so
/// the messages are reached with `size()`, `operator[]` and iteration. It is
/// also the sink into which files record their failures. Every operation
/// that grows it fails as the memory layer does (message 201 or 202).
class CPhrase : public std::vector<CPhraseText>, public CMessageSink {
public:
  /// Kind of a system error text appended by `AppendSystem`.
  static constexpr unsigned char KindSystem = 3;

  CPhrase() = default;
  CPhrase(const CPhrase& other);
  CPhrase(CPhrase&&) noexcept = default;
  CPhrase& operator=(const CPhrase& other);
  CPhrase& operator=(CPhrase&&) noexcept = default;
  ~CPhrase() override = default;

  /// Number of messages.
  unsigned int GetQuantity() const noexcept { return static_cast<unsigned int>(size()); }

  /// Appends a message with mark 0 and an empty list (param2 cut to 16 bits).
  void Append(const char* text, unsigned char kind = 0, unsigned int param1 = 0, unsigned int param2 = 0);
  /// As above with the text of message `id` of the library's catalogue in
  /// the thread's language; an id the catalogue lacks gives the empty text
  /// (a missing string loads as empty).
  void Append(unsigned int id, unsigned char kind = 0, unsigned int param1 = 0, unsigned int param2 = 0);
  /// As above with a mark and a list of `count` numbers.
  void Append(const char* text, unsigned char kind, unsigned int param1, const unsigned int* list,
              unsigned char mark, unsigned int count, unsigned int param2 = 0);
  /// Appends copies of all messages of `other`, after removing all messages
  /// first when `replace` is not 0. `other` may be this phrase.
  void Append(const CPhrase& other, unsigned char replace);
  /// `Append(text, kind, param1, param2)`, for the files that report here.
  void AppendMessage(const char* text, unsigned char kind, unsigned int param1, unsigned int param2) override;
  /// When the thread's last system error is not 0, appends its text (no
  /// trailing line end) with kind 3 and parameters 0.
  void AppendSystem();

  /// Gathers the numbers of all messages' lists: sorted ascending, each
  /// number once. With a null `list`, `count` receives how many there are.
  /// Otherwise `count` is the capacity of `list` on entry; at most that many
  /// (the smallest) are stored and `count` receives the number stored.
  void CheckList(unsigned int& count, unsigned int* list) const;
  /// The same into `out` (replacing its contents).
  void CheckList(std::vector<unsigned int>& out) const;

  /// u32 number of messages, then each message's stream form.
  void PackToStream(std::ostream& out) const;
  /// Reads the form above, replacing the messages. On a short or failed
  /// stream the phrase is left as it was, the stream's failbit is set and 0
  /// is returned.
  unsigned char UnPackFromStream(std::istream& in);
};

/// Writes `phrase` as one block at the end of `file` and describes it in
/// `doc`: u32 count; per message its text with a 16-bit length prefix
/// (`WriteString` type 2; no text is written as the empty one), the 8 packed
/// bytes kind, param1, param2, mark, u32 list count and the list. An empty
/// phrase writes nothing and leaves `doc` {0, 0}. Returns 0 when a failure
/// went to the file's sink (`doc` is then {0, 0}).
unsigned char WritePhrase(CPhrase& phrase, CFileBase& file, DOCUMENT& doc);
/// Reads a block written by `WritePhrase`, replacing the messages of
/// `phrase`; does nothing for an empty `doc`. A record outside the file, a
/// count the rest of the file cannot hold or a cut string fail with 110
/// through the file's reporting; with a sink, 0 is returned and `phrase` is
/// unchanged.
unsigned char ReadPhrase(CPhrase& phrase, CFileBase& file, DOCUMENT& doc);

} // namespace zel
