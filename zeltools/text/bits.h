#pragma once
/// \file
/// Bit sets over caller-owned byte arrays. Bit k lives in byte k/8 under the
/// mask 1 << (k mod 8): least significant bit first.

namespace zel {

/// The masks of bits 0…7 of a byte, and their complements.
inline constexpr unsigned char BitMask[8] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80};
inline constexpr unsigned char BitClearMask[8] = {0xFE, 0xFD, 0xFB, 0xF7, 0xEF, 0xDF, 0xBF, 0x7F};

/// Sets bit k.
inline void BitOn(unsigned char* bits, unsigned int k) noexcept { bits[k >> 3] |= BitMask[k & 7]; }
/// Clears bit k.
inline void BitOff(unsigned char* bits, unsigned int k) noexcept { bits[k >> 3] &= BitClearMask[k & 7]; }
/// 1 when bit k is set, else 0.
inline int BitRead(const unsigned char* bits, unsigned int k) noexcept { return (bits[k >> 3] & BitMask[k & 7]) != 0; }

/// Reads a text of '0' and '1' characters into `bits`, bit i from character
/// i. At the first other character it returns 0, with the bits before it
/// already stored. After the last character the remaining bits of the last
/// byte written are cleared up to the byte boundary, and the result is 1.
/// An empty or null text returns 1 and changes nothing.
unsigned char ConvStrBit(const char* text, unsigned char* bits);

/// Lists the indexes of the set bits among the first nBytes·8 in increasing
/// order into `out` (when not null) and returns their count. Indexes are
/// bytes: the scan covers bits 0…254 only, so bit 255 and above are never
/// reported.
int DecodeNumBit(const unsigned char* bits, unsigned int nBytes, unsigned char* out);

/// The same for any number of bits, writing each index plus `base` as an
/// `unsigned int` (base 1 turns a bit set into a list of 1-based object
/// numbers). No 255 limit.
int DecodeNumBit(const unsigned char* bits, unsigned int nBytes, unsigned int* out, unsigned int base);

/// Fills nBytes·8 characters of `text` with zero bytes and writes '1' at the
/// position of every set bit. Unset bits are zero bytes, not '0'; no
/// terminator is written after the nBytes·8 characters.
void DecodeStrBit(const unsigned char* bits, unsigned int nBytes, char* text);

/// For the k-th set bit (k from 0) at position p: index[k] = p and
/// rank[p] = k + 1, each only when its array is not null (`rank` needs
/// nBytes·8 entries). Returns the number of set bits. Meant for sets of at
/// most 256 bits: beyond, the stored positions and ranks wrap modulo 256,
/// while the count covers every bit.
int SumBit(const unsigned char* bits, unsigned int nBytes, unsigned char* index, unsigned char* rank);

} // namespace zel
