#pragma once
/// \file
/// The folder-choice and file open/save dialogs.
///
/// On Windows they are the system's common dialogs, owned by the window
/// given (where one is). Elsewhere they run the desktop's own dialog program,
/// `zenity` or else `kdialog`, found on the search path, and only when a
/// display is there (DISPLAY or WAYLAND_DISPLAY set): without one, or
/// without either program, a dialog returns "cancelled" at once, so a
/// process without a display never waits on one. With a display the call
/// waits for the user's answer, as a dialog does.
///
/// Results: 1 when the user chose, 0 when the dialog was cancelled or could
/// not be shown; `path` is changed only on 1. Paths are returned as the
/// system spells them and fit `PathSize` bytes (a longer choice counts as
/// cancelled). Titles and filter descriptions are Windows-1251 texts, shown
/// converted to UTF-8; paths pass as the file system spells them.

#include "zeltools/files/file_system.h"

namespace zel {

/// A window that owns a dialog (may be null). The desktop programs that serve
/// as dialogs outside Windows have no owner, and there it is not used.
using HWND = void*;

/// Lets the user choose a folder. `path` (`PathSize` bytes) brings the folder
/// to start in (may be empty) and receives the choice, without a trailing
/// separator.
int DialogOpenDirectory(const char* title, char* path, HWND owner);

/// Lets the user choose an existing file to read. `path` (`PathSize` bytes)
/// receives the choice. `filter` lists pairs of description and patterns,
/// each ended by '|', patterns separated by ';', the list ended by a second
/// '|' ("Models (*.mdl)|*.mdl|All files (*.*)|*.*||"); null or empty: all
/// files. `extension` (without dot; may be null) is the default extension;
/// the dialog starts in `folder` at the name `name` (either may be null).
int DialogReadFile(const char* title, char* path, const char* filter, const char* extension, const char* folder,
                   const char* name);

/// As `DialogReadFile`, for a file to write (which may not exist yet). A
/// chosen name without an extension is given `extension`.
int DialogWriteFile(const char* title, char* path, const char* filter, const char* extension, const char* folder,
                    const char* name);

} // namespace zel
