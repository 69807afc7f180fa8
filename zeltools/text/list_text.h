#pragma once
/// \file
/// The number-list text form: object numbers written as a compact text of
/// single numbers, ranges and arithmetic runs, and read back.
///
/// `ListText` writes each item with "%d" and compresses a run of three or
/// more items with a constant difference d ≥ 0 into "first-last" (d of 0 or
/// 1) or "first r last d " (d ≥ 2); items are separated by one blank and an
/// item of value 0 writes nothing but its separator. {1, 2, 3, 4, 7, 9, 11,
/// 13} gives "1-4 7 r 13 2 " and {0, 4} gives " 4".
///
/// What the round trip keeps: `TextList(ListText(x))` is x without its zero
/// items, except that a run of three or more equal values ("5-5") reads back
/// as that value once. Values above 2147483647 are written as negative
/// numbers by "%d" and are read back as the same unsigned values.
///
/// Grammar read by `TextList` (it reads everything `ListText` writes):
/// - Items are separated by blanks (space, tab, line feed, carriage return,
///   vertical tab, form feed) and commas, in any number.
/// - A number is an optional sign and decimal digits with no blank between.
///   A negative number −m (m ≤ 2147483648) stands for the unsigned value
///   2^32 − m, the value "%d" shows for it; larger magnitudes are errors.
/// - An item is one number `a`, a range `a-b` (a, a+1, …, b), or a run
///   `a r b s` (a, a+s, a+2s, … up to and not beyond b; 'r' or 'R'). Blanks
///   may stand around the '-' and the 'r'. A '-' that follows a blank and is
///   directly followed by a digit is instead the sign of the next number:
///   "1 -4" is two items, "1-4" and "1 - 4" are ranges.
/// - Errors: any other character, a missing number, b < a, s = 0, a value
///   that the element type cannot hold (above 65535 for `unsigned short`),
///   and an item that would take the list beyond its limit. A range or run is
///   sized before anything is stored, so "1-4000000000" fails at once and
///   allocates nothing.
/// - On error the result is 0 and the list holds the items read before the
///   faulty one; on success the result is 1.

#include <vector>

namespace zel {

/// The largest number of values the vector forms of `TextList` produce
/// unless the caller gives another limit (64 MB of `unsigned int`).
inline constexpr unsigned int TextListMaxCount = 1u << 24;

/// Writes the n numbers of `list` in the text form into `text`, a buffer of
/// `size` bytes, zero-terminated. The text holds at most size − 2 characters:
/// when the next piece (a blank, a number, a range end or a run) would go
/// beyond, the function stops there and returns 0; the text then holds what
/// was written so far, which reads back as a prefix of the list. Returns 1
/// when the whole list was written. With size 0 nothing is written and the
/// result is 0.
int ListText(unsigned int n, const unsigned int* list, char* text, unsigned int size);
int ListText(unsigned int n, const unsigned short* list, char* text, unsigned int size);

/// Replaces `text` with the whole text form of the list followed by a
/// terminating zero; returns 1.
int ListText(unsigned int n, const unsigned int* list, std::vector<char>& text);
int ListText(unsigned int n, const unsigned short* list, std::vector<char>& text);

/// Reads the text form into `list`, replacing its contents; at most
/// `maxCount` values. A null text reads as the empty list. See the grammar
/// above for the result.
unsigned char TextList(const char* text, std::vector<unsigned int>& list,
                       unsigned int maxCount = TextListMaxCount);
unsigned char TextList(const char* text, std::vector<unsigned short>& list,
                       unsigned int maxCount = TextListMaxCount);

/// Reads the text form into the caller's array `list` of `size` entries;
/// `n` becomes the number of values stored. A text with more values than
/// `size` is an error.
unsigned char TextList(const char* text, unsigned int& n, unsigned int* list, unsigned int size);
unsigned char TextList(const char* text, unsigned int& n, unsigned short* list, unsigned int size);

} // namespace zel
