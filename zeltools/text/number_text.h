#pragma once
/// \file
/// Numbers from text and to text, and widening or narrowing array copies.
///
/// Accepted text (the same for every reader, independent of the locale):
/// - optional blanks (space, tab, line feed, carriage return, vertical tab,
///   form feed) before and after the number; nothing else may follow it;
/// - an optional sign '+' or '-' directly before the digits;
/// - integers (`CharInt`, `CharWord`): decimal digits only, no point, no
///   exponent;
/// - doubles (`CharDouble`): digits with an optional '.' and fraction
///   ("12", "12.", "12.5", ".5"), then an optional exponent 'e' or 'E' with
///   an optional sign and at least one digit. No "inf" or "nan", no decimal
///   comma, no hexadecimal.
/// An empty or blank text, a null pointer, any other character, and a value
/// out of range are errors. A double too small to tell from zero reads as a
/// zero of its sign; one too large for a double is an error.

namespace zel {

/// The integer in `text` (int range). On failure `error` is set to 1 and the
/// result is 0; on success `error` is left as it was, so that one flag can
/// collect the failures of several conversions.
int CharInt(const char* text, unsigned char& error);
/// 1 with `value` set on success; 0 with `value` unchanged on failure.
unsigned char CharInt(const char* text, int& value);

/// `CharInt` limited to 0…65535: a negative or larger value is an error.
unsigned short CharWord(const char* text, unsigned char& error);
unsigned char CharWord(const char* text, unsigned short& value);

/// The double in `text`, with the error conventions of `CharInt`.
double CharDouble(const char* text, unsigned char& error);
unsigned char CharDouble(const char* text, double& value);

/// Writes the shortest text that `CharDouble` reads back as exactly `value`
/// (plain or exponent notation, whichever is shorter; -0 stays "-0"). An
/// infinity is written "inf" or "-inf" and a NaN "nan", which the readers
/// reject. `text` has `size` bytes including the terminator; returns 1, or 0
/// with the empty text (when size ≥ 1) if the number does not fit. At most
/// 25 bytes are ever needed.
unsigned char DoubleChar(double value, char* text, unsigned int size);

/// Writes `value` rounded to `precision` significant digits (clamped to
/// 1…17) in the manner of "%.*g": plain notation unless the exponent is
/// below −4 or not below the precision, trailing zeros and a trailing point
/// removed, '.' as the decimal point whatever the locale. Size and result as
/// for `DoubleChar`.
unsigned char DoubleCharP(double value, char* text, unsigned int size, int precision);

/// Element-wise copies of n values; the arrays must not overlap.
void CopyWordToInt(int* to, const unsigned short* from, unsigned int n);
void CopyFloatToDouble(double* to, const float* from, unsigned int n);
/// Narrowing rounds to nearest; a value beyond the float range becomes an
/// infinity of its sign, as the processor's conversion gives it.
void CopyDoubleToFloat(float* to, const double* from, unsigned int n);

} // namespace zel
