#pragma once
/// \file
/// `CMessageSink`: where a file records its failures when the caller asked
/// it not to throw. The file layer knows only this interface; the message
/// list `CPhrase` implements it, so a caller passes a `CPhrase*` wherever a
/// sink is taken.

namespace zel {

class CMessageSink {
public:
  CMessageSink() = default;
  CMessageSink(const CMessageSink&) = default;
  CMessageSink& operator=(const CMessageSink&) = default;
  virtual ~CMessageSink() = default;

  /// Records one message: its text (never null), its kind (3 a message of
  /// the catalogue, 11 the system's text for the last error) and two numbers
  /// (for a file: the message id or the system's error code, and 0).
  virtual void AppendMessage(const char* text, unsigned char kind, unsigned int param1, unsigned int param2) = 0;
};

} // namespace zel
