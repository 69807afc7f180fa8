#pragma once
/// \file
/// File-system helpers: free disk space, the configuration and executable
/// folders, and the text rules for splitting and joining paths.
///
/// Path rules, shared by every function here:
/// - '/' and '\\' both separate folders, so paths written on either system
///   split alike.
/// - A drive is a letter and a colon at the very start ("C:"); it is kept as
///   text and never looked up.
/// - The name is what follows the last separator (or the drive). Its
///   extension begins at its last '.', provided some character before that
///   dot is not a dot: "a.b.txt" has ".txt", "archive." has ".", while
///   ".profile", "." and ".." have none.
/// - Every path these functions write fits `PathSize` bytes (259 characters
///   and the terminator), so buffers of that size always suffice; a result
///   that would not fit is written as the empty string rather than cut into a
///   different path.

namespace zel {

/// Bytes of every path buffer filled here.
constexpr unsigned int PathSize = 260;

/// Bytes free for the caller on the file system that holds `path` (null or
/// empty: the current folder). A path that does not exist yet is measured at
/// its nearest existing parent folder, so the space for a file about to be
/// written can be asked for by its name. -1 when the system cannot tell
/// (last error set).
long long SgGetFreeDiskSpace(const char* path);

/// `path` := the common configuration folder followed directly by `tail`
/// (no separator is inserted and none converted: `tail` brings its own,
/// "/app/app.cfg" here). The folder is the system's common application-data
/// folder where it has one (Windows: every user's program data), else the
/// first entry of XDG_CONFIG_DIRS when that is an absolute path, else
/// "/etc/xdg", without a trailing separator. The empty string when the result would not fit. `size` is not
/// used: callers have always passed `PathSize` buffers, and some pass no
/// meaningful size.
void GetPathCfg(const char* tail, char* path, unsigned int size);

/// `path` := the running executable's folder combined with `name` by
/// `FilePathBase`; the empty string when the executable's path is unknown.
void FilePathRoot(const char* name, char* path);

/// `path` := the drive and folder of the file path `base` followed by
/// `name`; a `name` that is itself rooted (it starts with a separator or a
/// drive) is taken alone. When `extension` is not null, the result's
/// extension is replaced by it (given with or without its dot; the empty
/// text removes it). Null texts read as empty.
void FilePathBase(const char* base, const char* name, char* path, const char* extension = nullptr);

/// `name` := the name of `path` with its extension, without drive or folder.
void FileGetName(const char* path, char* name);

/// `out` := `name` with `text` inserted before its extension
/// ("/d/model.dat" and "_1" give "/d/model_1.dat").
void FileNameAddText(const char* name, const char* text, char* out);

/// Splits `path` into drive ("C:" or empty), folder (with its final
/// separator), name and extension (with its dot), so that the four parts
/// joined give `path` back. Null outputs are skipped. A path longer than
/// 259 characters gives four empty parts.
void FileSplit(const char* path, char* drive, char* folder, char* name, char* extension);

} // namespace zel
