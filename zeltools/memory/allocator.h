#pragma once
/// \file
/// `KZAllocator`: an arena that hands out many small zero-filled pieces cut
/// from a few large blocks (portions) of the memory layer.
///
/// Lifetime rule: a piece is never freed on its own. Every piece stays valid,
/// and never moves, until the arena is reset (`Free`), emptied (`Clear`,
/// assignment) or destroyed; then all pieces die together with their
/// portions. Only the most recent piece can be taken back (`ReturnPortion`).
///
/// Growth: a request that does not fit the current portion opens a new one of
/// max(request, used / 4) bytes, where used is what was handed out since the
/// last reset, so the number of portions stays logarithmic in the total size.
/// The rest of the abandoned portion is not used again before a reset.
///
/// The sizes are 32-bit, as the arena's users count them; the figures wrap
/// beyond 4 GB handed out in one cycle, which only affects the size chosen
/// for the next portion and the one kept by `Free`.

#include <cstring>

namespace zel {

class KZAllocator {
public:
  /// Every portion is followed by at least this many readable bytes that are
  /// never handed out, so that a reader may copy a piece in fixed-size blocks
  /// that run past its end (the payload writers do) without leaving the
  /// portion's memory.
  static constexpr unsigned int ReadSlack = 96;

  /// An empty arena: no portion, nothing handed out.
  KZAllocator() noexcept = default;
  /// Copies nothing: the copy is an empty arena (pieces belong to one arena).
  KZAllocator(const KZAllocator&) noexcept {}
  /// Empties this arena with `Clear` and copies nothing (also when assigned
  /// to itself).
  KZAllocator& operator=(const KZAllocator&) noexcept;
  /// Takes over the other arena's portions; the other is left empty.
  KZAllocator(KZAllocator&& other) noexcept;
  /// Releases this arena's portions and takes over the other's.
  KZAllocator& operator=(KZAllocator&& other) noexcept;
  ~KZAllocator();

  /// Makes sure the current portion has at least `size` free bytes: when it
  /// has fewer, a new zero-filled portion of exactly `size` bytes becomes the
  /// current one. Returns the cursor (the next byte to be handed out); null
  /// for `size` 0, without allocating. Exhaustion throws message 201 or 202.
  /// The bytes at the cursor belong to the arena until `SetPortion` hands
  /// them out: writing there directly defeats the zero-filling of pieces.
  unsigned char* SetPortionSize(unsigned int size);

  /// Hands out `n` zero-filled bytes (see the growth rule above). `n` 0
  /// returns the cursor without moving it (null on an arena that has no
  /// portion yet).
  unsigned char* SetPortion(unsigned int n) {
    // n - 1 < free is n <= free for every n but 0, which takes the slow path.
    if (n - 1u < free_) {
      unsigned char* piece = cursor_;
      if (dirty_ != 0) {
        std::memset(piece, 0, n);
        dirty_ = dirty_ > n ? dirty_ - n : 0u;
      }
      cursor_ += n;
      free_ -= n;
      used_ += n;
      return piece;
    }
    return SetPortionSlow(n);
  }
  /// `SetPortion(count × size)`, the product taken in 32 bits (wrapping).
  unsigned char* SetPortion(unsigned int count, unsigned int size) { return SetPortion(count * size); }
  /// Reserves strlen(text) + 1 zero bytes and returns them. The text is NOT
  /// copied: the caller writes it. A null `text` counts as empty (1 byte).
  char* SetPortion(const char* text);

  /// `SetPortion(count × size)` and, when `source` is not null, a copy of the
  /// count × size bytes at `source` into the piece.
  void* Set(unsigned int count, const void* source, unsigned int size);
  unsigned char* SetByte(unsigned int n, const unsigned char* source);
  unsigned short* SetWord(unsigned int n, const unsigned short* source);
  unsigned int* SetUINT(unsigned int n, const unsigned int* source);
  double* SetDbl(unsigned int n, const double* source);

  /// Takes back the last `n` bytes handed out: the cursor moves back, free
  /// grows and used shrinks by `n`, and the bytes are zeroed. The caller
  /// guarantees they were the last piece; `n` is cut to what was handed out
  /// of the current portion, so a wrong `n` cannot move the cursor out of it.
  void ReturnPortion(unsigned int n) noexcept;

  /// Appends one working buffer sized by `SetMaxSize(percent, size)` of the
  /// memory layer and makes it the current portion with `size` free bytes.
  /// Its bytes are zeroed as they are handed out. When no buffer can be had,
  /// nothing changes.
  void SetMaxPortion(unsigned int percent);

  /// Resets for reuse. With exactly one portion, the cursor returns to its
  /// start, free becomes total and used 0 (the bytes are zeroed as they are
  /// handed out again). Otherwise everything is released and one portion of
  /// the former total size is allocated, so the next cycle fits one block
  /// (an arena that never had a portion stays empty).
  void Free();
  /// Releases every portion and the portion table; all figures become 0.
  void Clear() noexcept;

  /// Exchanges the whole state of two arenas; pieces stay valid and now
  /// belong to the other object.
  void Swap(KZAllocator& other) noexcept;

  /// Number of portions held.
  unsigned int GetPortionCount() const noexcept { return count_; }
  /// Bytes left in the current portion.
  unsigned int GetFree() const noexcept { return free_; }
  /// Sum of the sizes of all portions.
  unsigned int GetTotal() const noexcept { return total_; }
  /// Bytes handed out since the last reset.
  unsigned int GetUsed() const noexcept { return used_; }
  /// The next byte to be handed out (null before the first portion).
  const unsigned char* GetCursor() const noexcept { return cursor_; }

private:
  unsigned char* SetPortionSlow(unsigned int n);
  void AppendPortion(unsigned char* portion, unsigned int size);

  unsigned int capacity_ = 0;         // slots of the portion table
  unsigned int count_ = 0;            // portions held
  unsigned char** portions_ = nullptr; // owned table of owned portions
  unsigned int free_ = 0;             // bytes left in the current portion
  unsigned int total_ = 0;            // sum of the portion sizes
  unsigned int used_ = 0;             // bytes handed out since the last reset
  unsigned char* cursor_ = nullptr;   // next free byte of the current portion
  unsigned int dirty_ = 0;            // bytes after the cursor that may not be zero
};

} // namespace zel
