#pragma once
// The documents zeltool writes and lists: a work file (its mark first)
// whose logical position 0 holds the DOCUMENT record of the table of
// contents, and whose last block is that table, a vector of DOCUMENT
// records, one per block in the order the writer chose.

#include <zeltools/containers/vector.h>
#include <zeltools/files/document.h>
#include <zeltools/files/file_work.h>

namespace zeltool {

/// Reserves the record at logical position 0 of a new, empty work file.
void BeginDocument(zel::CFileWork& file);

/// Appends `contents` as the last block, points the record at position 0 to
/// it (`where` receives it) and marks the file with the time and its length.
void EndDocument(zel::CFileWork& file, const zel::Vector<zel::DOCUMENT>& contents, zel::DOCUMENT& where);

/// Reads the table of contents of a document (`where` receives the record at
/// position 0). A file too short for the record, or a record or table that
/// does not lie inside the file, throws the library's message naming the
/// file.
zel::Vector<zel::DOCUMENT> ReadContents(zel::CFileWork& file, zel::DOCUMENT& where);

} // namespace zeltool
