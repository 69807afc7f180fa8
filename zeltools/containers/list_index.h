#pragma once
/// \file
/// In-place editing of number lists: arrays of 1-based object numbers in
/// which 0 means no entry.

#include "zeltools/containers/vector.h"

namespace zel {

/// Keeps, in order and in place, the entries that are neither 0 nor above
/// `max`; `n` becomes the number kept.
void CheckListIndex(unsigned int& n, unsigned int* list, unsigned int max);

/// Renumbers the list in place through the table `newNumber` (max + 1
/// entries): each entry v ≤ max, in order, is replaced by newNumber[v] and
/// kept when that is not 0; entries above `max` are dropped; `n` becomes the
/// number kept. The new number is written at the output place even when it
/// is 0, so list[n] may be overwritten by a 0 when n < the old count.
void RenumberListIndex(unsigned int& n, unsigned int* list, unsigned int max, const unsigned int* newNumber);

/// Removes from the list, in place and keeping the order of the rest, every
/// entry equal to one of the `count` numbers of `removed`; `n` becomes the
/// number kept. Returns 1 when something was removed, 0 when the list is
/// unchanged. When `removed` is in increasing order it is searched by
/// bisection (n·log count); otherwise each entry is looked up linearly.
/// Nothing is allocated.
unsigned char RemoveListIndex(unsigned int& n, unsigned int* list, unsigned int count, const unsigned int* removed);

/// With n = 0 does nothing. Otherwise sizes `marks` to (largest listed
/// value) + 1 entries, keeping the existing entries below that size and
/// setting new ones to 0, and sets marks[v] = 1 for every listed v.
void SetListByte(unsigned int n, const unsigned int* list, Vector<unsigned char>& marks);

} // namespace zel
