// Files, directories and paths.
//
// Names are UTF-8 texts; on Linux their bytes go to the system as they are. Operations on the file system raise
// EStreamError with the name and the system's reason, and follow links unless they say otherwise. Operations on the
// text of a path touch no file and take the last separator as the end of the directory part: "/", on Windows also "\"
// and ":".
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace kb::files {

/// A path from UTF-8 text; raises EStreamError for a text with a zero character.
[[nodiscard]] std::filesystem::path PathOf(std::string_view name);
/// The UTF-8 text of a path.
[[nodiscard]] std::string PathText(const std::filesystem::path& path);
/// Separator of directories that the platform prints: '/' or '\'.
[[nodiscard]] char DirectoryDelimiter() noexcept;

// ---- Text of paths

/// The part behind the last separator.
[[nodiscard]] std::string_view ExtractFileName(std::string_view name) noexcept;
/// The part up to the last separator, with it; empty without one.
[[nodiscard]] std::string_view ExtractFilePath(std::string_view name) noexcept;
/// The last dot of the file name and what follows it; empty without a dot. ".profile" is all extension.
[[nodiscard]] std::string_view ExtractFileExt(std::string_view name) noexcept;
/// `name` with `extension`, which includes the dot, in place of its own; without one it is added.
[[nodiscard]] std::string ChangeFileExt(std::string_view name, std::string_view extension);
/// The file name of `name` in the directory `path`, with or without a separator at its end; an empty one gives the bare
/// file name.
[[nodiscard]] std::string ChangeFilePath(std::string_view name, std::string_view path);
/// Whether the whole name fits the pattern: "*" stands for any characters, also none, "?" for exactly one, all others
/// for themselves. Upper and lower case differ except on Windows. "*.*" asks for a dot.
[[nodiscard]] bool MatchesPattern(std::string_view name, std::string_view pattern) noexcept;

// ---- Files

/// Opens a file to read its bytes; a directory is an error: "Cannot open file "%s": reason".
[[nodiscard]] std::ifstream OpenInput(const std::filesystem::path& path);
/// Makes a file anew to write bytes: "Cannot create file "%s": reason".
[[nodiscard]] std::ofstream CreateOutput(const std::filesystem::path& path);
/// Something that is no directory exists under the name. What cannot be looked at does not exist.
[[nodiscard]] bool FileExists(std::string_view name);
/// Contents and permissions; `to` is replaced if `overwrite` is set, and must not exist otherwise.
void CopyFile(std::string_view from, std::string_view to, bool overwrite);
/// A link is removed, not what it leads to. A name that does not exist and a directory are errors.
void DeleteFile(std::string_view name);
/// Also between file systems, by copying. `to` must not exist.
void MoveFile(std::string_view from, std::string_view to);
/// The same for a file, link or directory, within one file system.
void Rename(std::string_view from, std::string_view to);

// ---- Directories

[[nodiscard]] bool DirectoryExists(std::string_view name);
[[nodiscard]] std::string CurrentDirectory();
/// Of the whole process.
void SetCurrentDirectory(std::string_view name);
enum class TEntries { Files, Directories };
/// The entries of a directory whose names fit the pattern, each behind the name of the directory, in the order of
/// their bytes. A link counts as what it leads to, and as a file when it leads nowhere.
[[nodiscard]] std::vector<std::string> ListDirectory(std::string_view name, TEntries kind,
                                                     std::string_view pattern = "*");
/// The directory above, as an absolute path without "." and ".."; empty above the root. Nothing needs to exist.
[[nodiscard]] std::string ParentDirectory(std::string_view name);
/// The root of the path, such as "/".
[[nodiscard]] std::string RootDirectory(std::string_view name);
[[nodiscard]] bool IsDirectoryEmpty(std::string_view name);
/// With the parents that are missing; one that exists is no error.
void CreateDirectory(std::string_view name);
/// The directory with all that it holds, links as links. An existing target is added to; a file that exists there
/// already is an error, before anything is copied, as is a target inside the source.
void CopyDirectory(std::string_view from, std::string_view to);
/// Also between file systems, by copying. `to` must not exist.
void MoveDirectory(std::string_view from, std::string_view to);
/// Without `recursive` the directory must be empty. Links are removed, never followed.
void DeleteDirectory(std::string_view name, bool recursive);

}  // namespace kb::files
