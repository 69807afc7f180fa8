#pragma once
/// \file
/// Splitting a text into parts, and named parameters in a text.

#include <string>
#include <vector>

namespace zel {

class VCText;

/// Splits `text` at every character of `separators` (null or empty: the
/// blanks space, tab, line feed, carriage return, vertical tab and form
/// feed) into `parts`, replacing their contents, and returns the number of
/// parts. Each part is trimmed of blanks. Empty parts are dropped unless
/// `keepEmpty` is 1: then "a;;b" at ';' gives "a", "", "b" (an empty or
/// null text gives no part either way).
unsigned int SeparateString(const char* text, VCText& parts, const char* separators = nullptr,
                            unsigned char keepEmpty = 0);
/// The same for a standard string.
unsigned int SeparateString(const std::string& text, VCText& parts, const char* separators = nullptr,
                            unsigned char keepEmpty = 0);
/// The same into standard strings, for callers that keep their texts so.
unsigned int SeparateString(const char* text, std::vector<std::string>& parts, const char* separators = nullptr,
                            unsigned char keepEmpty = 0);
unsigned int SeparateString(const std::string& text, std::vector<std::string>& parts,
                            const char* separators = nullptr, unsigned char keepEmpty = 0);

/// Looks up parameter `name` in a text of items "name = value" separated by
/// ';' or line ends, such as "E = 2.1e5; Name = \"Steel; grade 3\"; nu=0.3".
/// Names are compared without regard to case (Windows-1251 tables) after
/// trimming blanks; the first matching item wins; items without '=' are
/// skipped. The value is trimmed of blanks; a value that starts with '"'
/// runs to the next '"' (it may hold ';' and line ends but no '"'; an
/// unclosed quote runs to the end of the text) and comes without the quotes.
/// Returns 1 with `value` set when found, 0 with `value` unchanged when not.
unsigned char ParamText(const char* text, const char* name, std::string& value);

/// `ParamText` followed by `CharDouble` or `CharInt`: 1 with `value` set
/// when the parameter is found and is a number, 0 with `value` unchanged
/// otherwise.
unsigned char ParamValue(const char* text, const char* name, double& value);
unsigned char ParamValue(const char* text, const char* name, int& value);

} // namespace zel
