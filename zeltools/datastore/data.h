#pragma once
/// \file
/// `CData`: a numbered table of lines, each with a text, up to five typed
/// lists (the bases) and a fixed-size data block of the caller's layout.
/// `_CData` adds a fixed-size head record written after the table.
///
/// Lifetime rule: texts and list elements are pieces of the table's own
/// portion allocator (`CData` is a `KZAllocator`). Growing a list or a text
/// takes a fresh piece and abandons the old one; nothing is freed before
/// `Compress`, `Clear` or destruction, so a pointer returned by `GetText` or
/// `GetBase(...)->list` stays valid until then.
///
/// Line numbers are 1-based; 0 and numbers beyond the last line are no line
/// (null, 0, the empty text, or no effect), never an error.
///
/// Every list starts aligned for its elements (up to 8 bytes), so the
/// pointers of `GetBase` and `GetList` may be used as typed arrays. A packed
/// portion (`Compress`, `Read`) still holds exactly the full size: its
/// pieces are kept in groups of falling alignment rather than line by line.
///
/// Sizes. The stored line size is 4 + 8 × bases + data size and the data
/// offset 4 + 8 × bases (the 32-bit image that files and callers count
/// with, `GetLineSize`/`GetDataOffset`). In memory a line image is native:
/// a text pointer, `quantityBase` `SData` records, then the data block,
/// padded to pointer alignment (`GetLineImageSize`, `GetImageDataOffset`).
/// Functions that take or return line images use the native form.
///
/// Modify marks: structural and data changes OR 0x11, text changes 0x22;
/// the low nibble is "changed", the high nibble "changed since the last
/// save point".

#include <utility>
#include <vector>

#include "zeltools/memory/allocator.h"

namespace zel {

class CFileBase;
class CPhrase;
class VBase;
class VKZUINT;
struct SStoredLayout;
struct DOCUMENT;
struct DOCUMENT_OLD;

/// One list of a line: `count` elements of the base's element size.
struct SData {
  unsigned int count = 0;
  void* list = nullptr;
};

/// The start of a native line image: the text pointer (null: empty text).
/// `quantityBase` `SData` records follow it, then the data block.
struct SDataLine {
  char* text = nullptr;
};

class CData : public KZAllocator {
public:
  /// `numList` value meaning the table has no number list.
  static constexpr unsigned char NoNumList = 100;
  /// Most bases a line can carry; index `MaxBases` of the type tables is the
  /// text slot.
  static constexpr unsigned char MaxBases = 5;
  /// Data byte values from this one up mark a separate class of lines that
  /// `Heritage` treats apart (type codes 241..255).
  static constexpr unsigned char HeritageClass = 241;

  /// Shape of `Init(0, 0, 0)`, but the line vector is not allocated yet:
  /// `GetMaxSize()` is 0xFFFFFFFF until a line (or the spare) is made.
  CData() noexcept;
  /// Whole copy: texts and lists go into this table's own allocator.
  CData(const CData& other);
  CData& operator=(const CData& other);
  virtual ~CData();

  /// Clears everything and sets the shape: `dataSize` bytes of data per
  /// line of which the first `dataLength` are compared and stored, and
  /// `quantityBase` bases (cut to 5). Bases get type 2, the text slot type 1
  /// (both one byte per element); version 0, no number list; the line vector
  /// holds only the spare line.
  void Init(unsigned short dataSize, unsigned short dataLength, unsigned char quantityBase);
  /// Removes every line (OR 0x11 when there were some) and every piece;
  /// the shape stays.
  virtual void Clear();
  /// Makes this table a whole copy of `src` (shape, lines, texts, lists,
  /// version, number list). `flag` not 0 also copies the modify marks;
  /// with 0 the copy is marked changed (0x11, and 0x22 when it has texts).
  void Copy(const CData& src, unsigned char flag);

  // --- shape ----------------------------------------------------------------

  /// Retypes base `base` (0..4) or the text slot (5); the element size
  /// follows the type-size rule (`size` for type 0). Ignored for `base` > 5.
  /// Existing lists are not converted: retype before filling.
  void SetTypeBase(unsigned char base, unsigned char type, unsigned short size);
  unsigned char GetTypeBase(unsigned char base) const noexcept { return base <= MaxBases ? type_[base] : 0; }
  unsigned short GetSizeBase(unsigned char base) const noexcept { return base <= MaxBases ? size_[base] : 0; }
  /// Stores `n` when `n` ≤ `quantityBase`. The value `quantityBase` itself
  /// is accepted and addresses no base: number-list operations then find
  /// no list. `NoNumList` may always be set.
  void SetNumList(unsigned char n) noexcept;
  unsigned char GetNumList() const noexcept { return numList_; }
  unsigned char GetQuantityBase() const noexcept { return quantityBase_; }
  unsigned short GetLineSize() const noexcept { return lineSize_; }
  unsigned short GetDataOffset() const noexcept { return dataOffset_; }
  unsigned short GetDataSize() const noexcept { return dataSize_; }
  unsigned short GetDataLength() const noexcept { return dataLength_; }
  unsigned int GetLineImageSize() const noexcept { return stride_; }
  unsigned int GetImageDataOffset() const noexcept { return imageDataOffset_; }
  unsigned char GetVersion() const noexcept { return version_; }
  void SetVersion(unsigned char version) noexcept { version_ = version; }

  /// Lines in the vector less the spare one (0 for an unallocated vector).
  unsigned int GetSize() const noexcept;
  unsigned int GetQuantity() const noexcept { return GetSize(); }
  /// Capacity in lines less one: 0xFFFFFFFF for a vector never allocated.
  unsigned int GetMaxSize() const noexcept;
  /// Reserves room for `n` lines and the spare one.
  void SetMaxSize(unsigned int n);
  /// Resizes to `n` lines, new ones zero; OR 0x11 when the count changes.
  void SetSize(unsigned int n);
  /// Appends `k` zero lines, OR 0x11; returns the first new number (0 for k 0).
  unsigned int AddSize(unsigned int k);

  // --- lines ------------------------------------------------------------------

  SDataLine* Get(unsigned int n) noexcept;
  const SDataLine* Get(unsigned int n) const noexcept;
  void* GetData(unsigned int n) noexcept;
  const void* GetData(unsigned int n) const noexcept;
  /// Copies `dataLength` bytes when they differ from the line's (OR 0x11);
  /// identical bytes change nothing. Null `data` does nothing.
  void SetData(unsigned int n, const void* data);
  /// The line's text; the empty text (never null) for no text or no line.
  const char* GetText(unsigned int n) const noexcept;
  /// Null or empty clears the text (0x22 only when there was one). A text
  /// equal to the old one without regard to case is not stored (texts are
  /// names compared without case). Otherwise the old piece is overwritten
  /// when long enough, else a new piece is taken; OR 0x22.
  void SetText(unsigned int n, const char* text);

  /// Appends `k` lines from `k` consecutive native line images (each through
  /// `Replace`); returns the first new number, 0 when `k` is 0 or `lines` null.
  unsigned int Append(unsigned int k, const void* lines);
  /// Appends a line from a native image, with `text` in place of its text.
  unsigned int Append(const void* line, const char* text);
  /// Appends the lines of `src` named in `list` (all of them when `count`
  /// is 0); numbers outside `src` are skipped. Returns the first new number.
  unsigned int Append(const CData& src, unsigned int count, const unsigned int* list);
  /// Appends line `n` of `src` (0 when it has no such line).
  unsigned int Append(unsigned int n, const CData& src);
  /// Overwrites line `n` from a native image: text, data (when `dataLength`
  /// > 0) and every base. 0 when there is no line `n`.
  unsigned char Replace(unsigned int n, const void* line);
  unsigned char Replace(unsigned int n, const void* line, const char* text);
  /// Overwrites line `n` with line `line` of `src` (which may be this
  /// table). Data: the common leading bytes of both data lengths; bases:
  /// the common ones, a list being copied only when both element sizes
  /// agree (otherwise it becomes empty).
  unsigned char Replace(unsigned int n, const CData& src, unsigned int line);
  /// Zeroes the images first..last (`first` 0: 1; `last` 0 or beyond the
  /// table: the last line). OR 0x11, and 0x22 when a text went with them.
  /// The pieces stay in the allocator until `Compress`.
  void Zero(unsigned int first, unsigned int last);
  /// Removes first..last (`first` 0: 1; `last` 0: `first`), moving later
  /// lines down. OR 0x11 when something went.
  void Erase(unsigned int first, unsigned int last);
  void EraseLast() { Erase(quantity_, quantity_); }
  /// Removes, from the last line up, the lines whose data byte at `offset`
  /// is `type`. Negative or out-of-block `offset` does nothing.
  void EraseType(unsigned char type, int offset);
  /// Removes the lines whose number list is empty or all zeros; nothing
  /// without a number list.
  void EraseEmpty();

  // --- bases and the number list ---------------------------------------------

  SData* GetBase(unsigned int n, unsigned char base) noexcept;
  const SData* GetBase(unsigned int n, unsigned char base) const noexcept;
  /// A piece of `count` elements of base `base` (copied from `src` when
  /// given); the caller stores it. Null for count 0 or a bad base.
  void* SetBase(unsigned char base, unsigned int count, const void* src);
  /// Appends `count` elements (zeros when `src` is null); OR 0x11.
  void AppendBase(unsigned int n, unsigned char base, unsigned int count, const void* src);
  /// Makes the list exactly `count` elements of `src` (zeros when null);
  /// the old piece is reused when large enough. OR 0x11.
  void ReplaceBase(unsigned int n, unsigned char base, unsigned int count, const void* src);
  void AppendList(unsigned int n, unsigned int count, const unsigned int* list) { AppendBase(n, numList_, count, list); }
  void ReplaceList(unsigned int n, unsigned int count, const unsigned int* list) { ReplaceBase(n, numList_, count, list); }
  /// The number list of line `n`: count 0 and null when there is none.
  void GetList(unsigned int n, unsigned int& count, unsigned int*& list) noexcept;
  unsigned int GetList(unsigned int n) const noexcept;
  /// Replaces `out` by the number list of line `n`; returns its count.
  unsigned int GetList(unsigned int n, std::vector<unsigned int>& out) const;
  /// Appends the number list of line `n` to `out`; 1 when it had numbers.
  unsigned char GetList(std::vector<unsigned int>& out, unsigned int n) const;
  /// Inverse of the number lists: for every number v of 1..`n` held by some
  /// line, pos[v − 1] becomes that line (the highest when several hold it,
  /// as `GetNumber`); other entries become 0. Returns 0 without a number list.
  unsigned char GetPosList(unsigned int n, unsigned int* pos) const;
  /// The highest line whose number list holds `number`; 0 when none.
  ///
  /// Repeated look-ups are answered from an index (number → highest line)
  /// that the table builds on the fourth look-up after a change and drops
  /// at every change. A change is any edit through this class and any
  /// access that hands out writable line memory (`Get`, `GetData`,
  /// `GetBase`, `GetList` with a pointer, `GetInList`, all non-const). A
  /// list written through such a pointer after a later `GetNumber` is not
  /// seen until the next change: take the pointer again before writing.
  /// `GetNumber` is const but not safe to call from two threads at once on
  /// one table.
  unsigned int GetNumber(unsigned int number) const noexcept;
  SDataLine* GetInList(unsigned int number) noexcept { return Get(GetNumber(number)); }
  /// Removes the `count` numbers of `list` from the number list of line `n`.
  /// With `firstOnly` only the first occurrence of each listed number goes.
  /// OR 0x11 when something was removed.
  void RemoveList(unsigned int n, unsigned int count, const unsigned int* list, unsigned char firstOnly);
  /// The same for every line.
  void RemoveList(unsigned int count, const unsigned int* list, unsigned char firstOnly);
  /// Maps every number v of 1..n to table[v − 1] (kept even when 0) and
  /// drops 0 and numbers above n.
  void Renumber(unsigned int n, const unsigned int* table);
  /// Drops zeros and numbers above `n` from the lists of `base` (100: the
  /// number list).
  void CheckIndex(unsigned int n, unsigned char base);
  /// Appends `list` to the number lists holding `number`, on lines chosen
  /// by `mode` (−1 all, 0 first data byte below 241, other 241 and above).
  void Heritage(unsigned int number, unsigned int count, const unsigned int* list, int mode);

  // --- comparison ------------------------------------------------------------

  /// Line comparison flags.
  static constexpr unsigned char CompareText = 1;  ///< texts, without case
  static constexpr unsigned char CompareData = 2;  ///< the leading `dataLength` bytes
  static constexpr unsigned char CompareBases = 4; ///< every base, count then bytes
  static constexpr unsigned char CompareAll = 7;

  /// Three-way order of whole tables: line count, then the shape fields as
  /// unsigned bytes, then line by line with every flag.
  int Compare(const CData& src) const noexcept;
  /// Line `n` against line `m` of `src`, field by field in the order text,
  /// data, bases (0 up), each only when its flag is set: texts by the
  /// case-free order; data as unsigned bytes over the shorter data length,
  /// then the shorter length first; a base by count, then its bytes when
  /// the element sizes agree, else by element size; a base missing on one
  /// side is an empty list. A missing line is smaller than any line; two
  /// missing lines are equal.
  int Compare(unsigned int n, const CData& src, unsigned int m, unsigned char flags) const noexcept;
  int Compare(unsigned int n, unsigned int m, unsigned char flags) const noexcept { return Compare(n, *this, m, flags); }
  /// Merges: each line of `src` named in `list` (all when `count` is 0)
  /// that equals no line of this table by `Compare(…, CompareAll)` is
  /// appended; equal lines (also among those appended) are not repeated.
  /// Returns the number of lines appended.
  unsigned int Union(const CData& src, unsigned int count, const unsigned int* list);

  // --- packing ---------------------------------------------------------------

  /// Bytes of every live text (length + 1, empty texts count nothing) and
  /// list.
  unsigned int GetFullSize() const noexcept;
  void SetFullSize() noexcept { fullSize_ = GetFullSize(); }
  unsigned int GetStoredFullSize() const noexcept { return fullSize_; }
  /// With lines and at least two portions, moves every live piece into one
  /// new portion of exactly the full size (none when that is 0) and frees
  /// the rest; pieces keep their contents, pointers to them change.
  virtual void Compress();
  /// Removes lines and packs. A line is removed when its number is one of
  /// the `count` numbers of `list`, or, when `offset` ≥ 0 lies inside the
  /// data block, when its data byte at `offset` equals `type`. `map`, when
  /// given, receives one entry per old line: its new number, 0 for removed
  /// lines. `newQuantity` gets the lines left. The rest is then packed as by
  /// `Compress()`, also from a single portion; with no line left every
  /// portion goes. Numbers inside the lists are left alone: the map is in
  /// the form `Renumber(oldQuantity, map)` takes, for the tables that refer
  /// to these lines.
  virtual void Compress(unsigned short type, int offset, unsigned int count, const unsigned int* list,
                        unsigned int& newQuantity, VKZUINT* map);
  /// Returns the lines left.
  unsigned int Compress(unsigned short type, int offset, unsigned int count, const unsigned int* list);
  /// Returns the lines left; `map` as above.
  unsigned int Compress(unsigned short type, int offset, unsigned int count, const unsigned int* list, VKZUINT& map);

  // --- modify marks ----------------------------------------------------------

  unsigned char GetModify() const noexcept { return modify_; }
  void SetModify(unsigned char flags) noexcept { modify_ |= flags; }
  void ClearModify() noexcept { modify_ = 0; }
  unsigned char GetModifyLast() const noexcept { return static_cast<unsigned char>(modify_ & 0xF0); }
  void ClearModifyLast() noexcept { modify_ &= 0x0F; }

  // --- files kept as lines ---------------------------------------------------

  /// Marks line `n`'s file changed (OR 0x11); nothing for no line.
  void ModifyFile(unsigned int n) noexcept;
  /// Loads the disk file `name` into line `n`: its text becomes `name`, base
  /// 0 its bytes. Failures go to `sink` (thrown without one); 0 then, and
  /// the line is left as it was.
  unsigned char ReplaceFileA(unsigned int n, const char* name, CPhrase* sink);
  /// Reloads the line whose text is `name` (without case), or appends and
  /// loads a new one (removed again when the load fails). Returns the line
  /// or 0.
  unsigned int AppendFile(const char* name, CPhrase* sink);

  // --- persistence -----------------------------------------------------------

  /// One block: version (1), quantity (4), full size (4), the leading
  /// `dataLength` data bytes of every line, then per line its text with its
  /// zero and per base a 4-byte count and the elements. Packs first when
  /// 0x11 is set; clears `modify` once the block is written (a failed write
  /// leaves `doc` {0, 0} and the marks set). An empty table with `flag` 0
  /// writes nothing and clears `doc`; with `flag` set it writes the nine head
  /// bytes. The version is written as it stands.
  void Write(CFileBase& file, DOCUMENT& doc, unsigned char flag);
  /// Clears the lines and reads the block back into this table's shape (the
  /// block does not hold the shape: `Init` the reader as the writer was).
  /// A damaged block (counts or texts beyond the block, bytes left over, a
  /// full size that disagrees with the lists) reports 110 through the file
  /// and leaves the table empty; nothing is allocated before the whole
  /// block has been checked. Returns 1, or 0 on a failure reported to the
  /// file's sink. `flag` is unused and kept for callers.
  unsigned char Read(CFileBase& file, const DOCUMENT& doc, unsigned int flag = 0);
  /// The older layout, in a `DOCUMENT_OLD` block: version (1), quantity (4,
  /// nothing more when 0), then per line its text with a 16-bit length and
  /// no zero (texts are cut to 65,535 characters), its fixed part (the
  /// leading `dataLength` data bytes), and, for every base that `mask` does
  /// not exclude, a 4-byte count and the elements. A character '0' at index
  /// b of `mask` excludes base b; a null or shorter mask excludes nothing.
  /// Empty tables are written too (five bytes). Clears `modify` as `Write`
  /// does.
  void WriteOld(CFileBase& file, DOCUMENT_OLD& doc, const char* mask = nullptr);
  /// The same with the fixed parts taken from `fixed`: element n (its own
  /// width) for line n, zeros for lines beyond its count; data blocks are
  /// not stored.
  void WriteOld(CFileBase& file, DOCUMENT_OLD& doc, const VBase& fixed, const char* mask = nullptr);
  /// Reads an older block written with the same `mask`; excluded bases come
  /// back empty. Damage is handled as by `Read`.
  unsigned char ReadOld(CFileBase& file, const DOCUMENT_OLD& doc, const char* mask = nullptr);
  /// The same with the fixed parts read into `fixed` (resized to the lines
  /// read, element width unchanged); data blocks come back zero. `fixed` is
  /// left as it was when the block is refused.
  unsigned char ReadOld(CFileBase& file, const DOCUMENT_OLD& doc, VBase& fixed, const char* mask = nullptr);

protected:
  /// For table classes whose lines must keep their numbers (others refer to
  /// them): their renumbering `Compress` calls this, which throws message
  /// 301 ("… CompressObject is not applied").
  [[noreturn]] static void CompressNotApplied();
  /// Clears the lines and pieces down to the spare line, keeping the shape
  /// and the marks.
  void ClearLines();
  /// Writable line memory: every caller may change a number list, so the
  /// look-up index goes.
  unsigned char* LineBytes(unsigned int n) noexcept {
    DropIndex();
    return lines_.data() + static_cast<std::size_t>(n) * stride_;
  }
  void DropIndex() const noexcept {
    indexed_ = false;
    lookups_ = 0;
  }
  const unsigned char* LineBytes(unsigned int n) const noexcept {
    return lines_.data() + static_cast<std::size_t>(n) * stride_;
  }
  bool ValidLine(unsigned int n) const noexcept { return n != 0 && n <= quantity_; }
  unsigned char modify_ = 0;
  unsigned char version_ = 0;

private:
  SData* BaseOf(unsigned char* line, unsigned char base) const noexcept;
  const SData* BaseOf(const unsigned char* line, unsigned char base) const noexcept;
  void ResizeLines(unsigned int count);
  void BuildIndex() const noexcept;
  void RecountLines() noexcept;
  unsigned int FullSize(const unsigned char* lines, unsigned int quantity) const noexcept;
  /// Moves the pieces of `quantity` line images of this table's shape at
  /// `lines` into one new portion of `target`; returns its size.
  unsigned int PackLines(KZAllocator& target, unsigned char* lines, unsigned int quantity) const;
  unsigned char ReadBlock(CFileBase& file, const DOCUMENT& doc, const SStoredLayout& layout);
  unsigned char ReadPayload(CFileBase& file, const unsigned char* block, std::size_t length,
                            const SStoredLayout& layout);
  void WritePayload(CFileBase& file, const SStoredLayout& layout) const;

  unsigned int quantity_ = 0;
  unsigned char quantityBase_ = 0;
  unsigned char numList_ = NoNumList;
  unsigned short lineSize_ = 4;
  unsigned short dataOffset_ = 4;
  unsigned short dataSize_ = 0;
  unsigned short dataLength_ = 0;
  unsigned short size_[MaxBases + 1] = {1, 1, 1, 1, 1, 1};
  unsigned char type_[MaxBases + 1] = {2, 2, 2, 2, 2, 1};
  unsigned int stride_ = sizeof(SDataLine);
  unsigned int imageDataOffset_ = sizeof(SDataLine);
  unsigned int fullSize_ = 0;
  std::vector<unsigned char> lines_; // quantity + 1 native images once allocated
  // Look-up index of `GetNumber`: (number, highest line holding it), sorted
  // by number; valid while `indexed_`.
  mutable std::vector<std::pair<unsigned int, unsigned int>> index_;
  mutable bool indexed_ = false;
  mutable unsigned int lookups_ = 0; // look-ups since the last change
};

/// A `CData` with a fixed-size head record stored after the table block.
class _CData : public CData {
public:
  _CData() = default;
  _CData(const _CData&) = default;
  _CData& operator=(const _CData&) = default;

  /// `CData::Init` and a zeroed head of `sizeHead` bytes.
  void Init(unsigned short dataSize, unsigned short dataLength, unsigned char quantityBase, unsigned int sizeHead);
  /// `CData::Clear` and a zeroed head.
  void Clear() override;
  /// `CData::Copy` and the head (resized to the source's).
  void Copy(const _CData& src, unsigned char flag);
  /// Copies min(`size`, head size) bytes; OR 0x11 only when a byte differs.
  void SetHead(const void* head, unsigned int size);
  const void* GetHead() const noexcept { return head_.empty() ? nullptr : head_.data(); }
  void* GetHead() noexcept { return head_.empty() ? nullptr : head_.data(); }
  unsigned int GetSizeHead() const noexcept { return static_cast<unsigned int>(head_.size()); }

  /// Raises the version to 2 and writes the table block, then, after the
  /// block and outside its length, the 4-byte head size and the head. An
  /// empty table writes nothing with `flag` 0 (`doc` untouched); with
  /// `flag` set `doc` is cleared and only the head size and head are
  /// written (a head that `Read` never reads back: it reads the head only
  /// after a non-empty block of version 2 or more). A table block that fails
  /// is not followed by a head; a head that fails leaves `doc` {0, 0} and the
  /// marks as they were, as a failed block does.
  void Write(CFileBase& file, DOCUMENT& doc, unsigned char flag);
  /// The table, then the head (at most this table's head size) when the
  /// version is 2 or more and `doc` has a length.
  unsigned char Read(CFileBase& file, const DOCUMENT& doc, unsigned int flag = 0);

private:
  std::vector<unsigned char> head_;
};

} // namespace zel
