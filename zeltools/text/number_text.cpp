#include "zeltools/text/number_text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace zel {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

const char* SkipBlanks(const char* p) {
  while (IsBlank(*p))
    ++p;
  return p;
}

// [blanks][sign]digits[blanks] within [low, high].
bool ParseInteger(const char* text, long long low, long long high, long long& value) {
  if (text == nullptr)
    return false;
  const char* p = SkipBlanks(text);
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+')
    ++p;
  if (!IsDigit(*p))
    return false;
  long long magnitude = 0;
  for (; IsDigit(*p); ++p) {
    magnitude = magnitude * 10 + (*p - '0');
    if (magnitude > high + 1) // stays far below overflow of long long
      return false;
  }
  if (*SkipBlanks(p) != '\0')
    return false;
  const long long v = negative ? -magnitude : magnitude;
  if (v < low || v > high)
    return false;
  value = v;
  return true;
}

bool ParseDouble(const char* text, double& value) {
  if (text == nullptr)
    return false;
  const char* p = SkipBlanks(text);
  const char* number = *p == '+' ? p + 1 : p; // from_chars takes '-' only
  if (*p == '-' || *p == '+')
    ++p;
  // Decimal position of the leading non-zero digit, to tell an underflow
  // from an overflow when the value is out of range.
  long long lead = 0;
  bool haveLead = false;
  long long intDigits = 0;
  const char* digitsStart = p;
  for (; IsDigit(*p); ++p, ++intDigits)
    if (!haveLead && *p != '0') {
      haveLead = true;
      lead = -intDigits; // corrected by the digit count below
    }
  if (haveLead)
    lead += intDigits - 1;
  bool anyDigit = p != digitsStart;
  if (*p == '.') {
    ++p;
    for (long long j = 0; IsDigit(*p); ++p, ++j) {
      anyDigit = true;
      if (!haveLead && *p != '0') {
        haveLead = true;
        lead = -(j + 1);
      }
    }
  }
  if (!anyDigit)
    return false;
  long long exponent = 0;
  if (*p == 'e' || *p == 'E') {
    ++p;
    const bool negativeExp = *p == '-';
    if (*p == '-' || *p == '+')
      ++p;
    if (!IsDigit(*p))
      return false;
    for (; IsDigit(*p); ++p)
      if (exponent < 100000000)
        exponent = exponent * 10 + (*p - '0');
    if (negativeExp)
      exponent = -exponent;
  }
  const char* end = p;
  if (*SkipBlanks(end) != '\0')
    return false;
  double v = 0;
  const auto result = std::from_chars(number, end, v);
  if (result.ptr != end)
    return false;
  if (result.ec == std::errc::result_out_of_range) {
    if (!haveLead || lead + exponent >= 0)
      return false; // too large for a double
    v = *number == '-' ? -0.0 : 0.0;
  } else if (result.ec != std::errc()) {
    return false;
  }
  value = v;
  return true;
}

unsigned char Store(const char* begin, const char* end, char* text, unsigned int size) {
  const std::size_t length = static_cast<std::size_t>(end - begin);
  if (text == nullptr || size == 0)
    return 0;
  if (length + 1 > size) {
    text[0] = '\0';
    return 0;
  }
  std::memcpy(text, begin, length);
  text[length] = '\0';
  return 1;
}

} // namespace

int CharInt(const char* text, unsigned char& error) {
  long long v = 0;
  if (!ParseInteger(text, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), v)) {
    error = 1;
    return 0;
  }
  return static_cast<int>(v);
}

unsigned char CharInt(const char* text, int& value) {
  long long v = 0;
  if (!ParseInteger(text, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), v))
    return 0;
  value = static_cast<int>(v);
  return 1;
}

unsigned short CharWord(const char* text, unsigned char& error) {
  long long v = 0;
  if (!ParseInteger(text, 0, 65535, v)) {
    error = 1;
    return 0;
  }
  return static_cast<unsigned short>(v);
}

unsigned char CharWord(const char* text, unsigned short& value) {
  long long v = 0;
  if (!ParseInteger(text, 0, 65535, v))
    return 0;
  value = static_cast<unsigned short>(v);
  return 1;
}

double CharDouble(const char* text, unsigned char& error) {
  double v = 0;
  if (!ParseDouble(text, v)) {
    error = 1;
    return 0;
  }
  return v;
}

unsigned char CharDouble(const char* text, double& value) { return ParseDouble(text, value) ? 1 : 0; }

unsigned char DoubleChar(double value, char* text, unsigned int size) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return Store(buffer, result.ptr, text, size);
}

unsigned char DoubleCharP(double value, char* text, unsigned int size, int precision) {
  char buffer[64];
  const int digits = precision < 1 ? 1 : precision > 17 ? 17 : precision;
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits);
  return Store(buffer, result.ptr, text, size);
}

void CopyWordToInt(int* to, const unsigned short* from, unsigned int n) {
  for (unsigned int i = 0; i < n; ++i)
    to[i] = from[i];
}

void CopyFloatToDouble(double* to, const float* from, unsigned int n) {
  for (unsigned int i = 0; i < n; ++i)
    to[i] = from[i];
}

void CopyDoubleToFloat(float* to, const double* from, unsigned int n) {
  // Converting a double beyond the float range is undefined in C++; the
  // rounding threshold of the largest float is 2^128 − 2^103 (a tie there
  // rounds to even, i.e. up to infinity).
  constexpr double overflow = 340282356779733661637539395458142568448.0; // 2^128 − 2^103
  for (unsigned int i = 0; i < n; ++i) {
    const double v = from[i];
    if (std::fabs(v) >= overflow)
      to[i] = v > 0 ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity();
    else
      to[i] = static_cast<float>(v);
  }
}

} // namespace zel
