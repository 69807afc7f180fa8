#include "zeltools/text/bits.h"

#include <cstring>

namespace zel {

unsigned char ConvStrBit(const char* text, unsigned char* bits) {
  if (text == nullptr || *text == '\0')
    return 1;
  unsigned int i = 0;
  for (; text[i] != '\0'; ++i) {
    if (text[i] == '1')
      BitOn(bits, i);
    else if (text[i] == '0')
      BitOff(bits, i);
    else
      return 0;
  }
  for (; (i & 7) != 0; ++i)
    BitOff(bits, i);
  return 1;
}

int DecodeNumBit(const unsigned char* bits, unsigned int nBytes, unsigned char* out) {
  // The indexes are bytes; the scan ends before 255 so that no index wraps.
  const unsigned long long total = 8ull * nBytes;
  const unsigned int end = total < 255 ? static_cast<unsigned int>(total) : 255u;
  int count = 0;
  for (unsigned int k = 0; k < end; ++k)
    if (BitRead(bits, k)) {
      if (out != nullptr)
        out[count] = static_cast<unsigned char>(k);
      ++count;
    }
  return count;
}

int DecodeNumBit(const unsigned char* bits, unsigned int nBytes, unsigned int* out, unsigned int base) {
  int count = 0;
  for (unsigned int byte = 0; byte < nBytes; ++byte) {
    if (bits[byte] == 0)
      continue;
    for (unsigned int b = 0; b < 8; ++b)
      if (bits[byte] & BitMask[b]) {
        if (out != nullptr)
          out[count] = byte * 8 + b + base;
        ++count;
      }
  }
  return count;
}

void DecodeStrBit(const unsigned char* bits, unsigned int nBytes, char* text) {
  std::memset(text, 0, std::size_t{nBytes} * 8);
  for (unsigned int byte = 0; byte < nBytes; ++byte)
    for (unsigned int b = 0; b < 8; ++b)
      if (bits[byte] & BitMask[b])
        text[std::size_t{byte} * 8 + b] = '1';
}

int SumBit(const unsigned char* bits, unsigned int nBytes, unsigned char* index, unsigned char* rank) {
  int count = 0;
  for (unsigned int byte = 0; byte < nBytes; ++byte)
    for (unsigned int b = 0; b < 8; ++b)
      if (bits[byte] & BitMask[b]) {
        const std::size_t p = std::size_t{byte} * 8 + b;
        if (index != nullptr)
          index[count] = static_cast<unsigned char>(p);
        if (rank != nullptr)
          rank[p] = static_cast<unsigned char>(count + 1);
        ++count;
      }
  return count;
}

} // namespace zel
