#include "kb/platform/Files.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"

namespace kb::files {
namespace fs = std::filesystem;
namespace {

#ifdef _WIN32
constexpr std::string_view kSeparators = "/\\:";
constexpr bool kCaseMatters = false;
#else
constexpr std::string_view kSeparators = "/";
constexpr bool kCaseMatters = true;
#endif

[[noreturn]] void Fail(std::string_view what, std::string_view name, const std::error_code& error) {
  throw EStreamError(std::string(what) + " \"" + std::string(name) + "\": " + error.message());
}

void Check(std::string_view what, std::string_view name, const std::error_code& error) {
  if (error) Fail(what, name, error);
}

std::error_code Reason(std::errc reason) { return std::make_error_code(reason); }

// Why a stream could not be opened, where the system says so.
std::error_code LastReason() { return {errno != 0 ? errno : EIO, std::generic_category()}; }

// Whether the name itself is taken, by a link that leads nowhere too.
bool IsTaken(const fs::path& path) {
  std::error_code ignored;
  const fs::file_status status = fs::symlink_status(path, ignored);
  return fs::status_known(status) && fs::exists(status);
}

bool IsDirectory(const fs::path& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

bool IsLink(const fs::path& path) {
  std::error_code ignored;
  return fs::is_symlink(path, ignored);
}

void RequireDirectory(std::string_view what, std::string_view name) {
  std::error_code error;
  const bool isDirectory = fs::is_directory(PathOf(name), error);
  Check(what, name, error);
  if (!isDirectory) Fail(what, name, Reason(std::errc::not_a_directory));
}

void RequireFree(std::string_view what, std::string_view name) {
  if (IsTaken(PathOf(name))) Fail(what, name, Reason(std::errc::file_exists));
}

// True when it is done, false when source and target lie in different file systems.
bool RenameWithin(std::string_view what, std::string_view from, std::string_view to) {
  RequireFree(what, to);
  std::error_code error;
  fs::rename(PathOf(from), PathOf(to), error);
  if (error == std::errc::cross_device_link) return false;
  Check(what, from, error);
  return true;
}

bool SameCharacter(char32_t a, char32_t b) noexcept {
  if (a == b) return true;
  const auto lower = [](char32_t c) { return c >= U'A' && c <= U'Z' ? c + (U'a' - U'A') : c; };
  return !kCaseMatters && lower(a) == lower(b);
}

// The first file of a directory tree that the copy would have to replace, or an empty path.
fs::path FindConflict(const fs::path& from, const fs::path& to) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(from)) {
    const fs::path target = to / entry.path().lexically_relative(from);
    const bool merges = entry.is_directory() && !entry.is_symlink() && IsDirectory(target);
    if (!merges && IsTaken(target)) return target;
  }
  return {};
}

bool IsInside(const fs::path& inner, const fs::path& outer) {
  const fs::path relative = fs::weakly_canonical(inner).lexically_relative(fs::weakly_canonical(outer));
  return !relative.empty() && *relative.begin() != "..";
}

}  // namespace

fs::path PathOf(std::string_view name) {
  if (name.find('\0') != std::string_view::npos) {
    throw EStreamError("Invalid file name \"" + std::string(name.substr(0, name.find('\0'))) + "\"");
  }
  return fs::path(std::u8string(name.begin(), name.end()));
}

std::string PathText(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

char DirectoryDelimiter() noexcept { return static_cast<char>(fs::path::preferred_separator); }

// ---- Text of paths

std::string_view ExtractFileName(std::string_view name) noexcept {
  return name.substr(name.find_last_of(kSeparators) + 1);  // npos + 1 is 0
}

std::string_view ExtractFilePath(std::string_view name) noexcept {
  return name.substr(0, name.size() - ExtractFileName(name).size());
}

std::string_view ExtractFileExt(std::string_view name) noexcept {
  const std::string_view file = ExtractFileName(name);
  const size_t dot = file.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : file.substr(dot);
}

std::string ChangeFileExt(std::string_view name, std::string_view extension) {
  return std::string(name.substr(0, name.size() - ExtractFileExt(name).size())) + std::string(extension);
}

std::string ChangeFilePath(std::string_view name, std::string_view path) {
  std::string result(path);
  if (!result.empty() && kSeparators.find(result.back()) == std::string_view::npos) result += DirectoryDelimiter();
  return result += ExtractFileName(name);
}

// Only the last "*" is ever gone back to: what an earlier one could give up, that one can take as well.
bool MatchesPattern(std::string_view name, std::string_view pattern) noexcept {
  size_t n = 0;
  size_t p = 0;
  size_t starPattern = std::string_view::npos;
  size_t starName = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      starPattern = ++p;
      starName = n;
      continue;
    }
    size_t nextName = n;
    const char32_t c = NextCodePoint(name, nextName);
    if (p < pattern.size()) {
      size_t nextPattern = p;
      const char32_t wanted = NextCodePoint(pattern, nextPattern);
      if (wanted == U'?' || SameCharacter(c, wanted)) {
        n = nextName;
        p = nextPattern;
        continue;
      }
    }
    if (starPattern == std::string_view::npos) return false;
    (void)NextCodePoint(name, starName);
    n = starName;
    p = starPattern;
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

// ---- Files

std::ifstream OpenInput(const fs::path& path) {
  constexpr std::string_view kWhat = "Cannot open file";
  // A directory opens as a file on some systems and then fails to read, so it is told apart here.
  if (IsDirectory(path)) Fail(kWhat, PathText(path), Reason(std::errc::is_a_directory));
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) Fail(kWhat, PathText(path), LastReason());
  return file;
}

std::ofstream CreateOutput(const fs::path& path) {
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) Fail("Cannot create file", PathText(path), LastReason());
  return file;
}

bool FileExists(std::string_view name) {
  std::error_code ignored;
  const fs::file_status status = fs::status(PathOf(name), ignored);
  return fs::status_known(status) && fs::exists(status) && !fs::is_directory(status);
}

void CopyFile(std::string_view from, std::string_view to, bool overwrite) {
  constexpr std::string_view kWhat = "Cannot copy file";
  if (!overwrite) RequireFree(kWhat, to);
  std::error_code error;
  fs::copy_file(PathOf(from), PathOf(to), overwrite ? fs::copy_options::overwrite_existing : fs::copy_options::none,
                error);
  Check(kWhat, from, error);
}

void DeleteFile(std::string_view name) {
  constexpr std::string_view kWhat = "Cannot delete file";
  const fs::path path = PathOf(name);
  if (IsDirectory(path) && !IsLink(path)) Fail(kWhat, name, Reason(std::errc::is_a_directory));
  std::error_code error;
  const bool removed = fs::remove(path, error);
  Check(kWhat, name, error);
  if (!removed) Fail(kWhat, name, Reason(std::errc::no_such_file_or_directory));
}

void MoveFile(std::string_view from, std::string_view to) {
  constexpr std::string_view kWhat = "Cannot move file";
  if (IsDirectory(PathOf(from))) Fail(kWhat, from, Reason(std::errc::is_a_directory));
  if (RenameWithin(kWhat, from, to)) return;
  CopyFile(from, to, false);
  DeleteFile(from);
}

void Rename(std::string_view from, std::string_view to) {
  constexpr std::string_view kWhat = "Cannot rename";
  if (!RenameWithin(kWhat, from, to)) Fail(kWhat, from, Reason(std::errc::cross_device_link));
}

// ---- Directories

bool DirectoryExists(std::string_view name) { return IsDirectory(PathOf(name)); }

std::string CurrentDirectory() {
  std::error_code error;
  const fs::path path = fs::current_path(error);
  Check("Cannot find current directory", "", error);
  return PathText(path);
}

void SetCurrentDirectory(std::string_view name) {
  std::error_code error;
  fs::current_path(PathOf(name), error);
  Check("Cannot enter directory", name, error);
}

std::vector<std::string> ListDirectory(std::string_view name, TEntries kind, std::string_view pattern) {
  constexpr std::string_view kWhat = "Cannot read directory";
  std::vector<std::string> found;
  std::error_code error;
  fs::directory_iterator entry(PathOf(name), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (IsDirectory(entry->path()) != (kind == TEntries::Directories)) continue;
    if (MatchesPattern(PathText(entry->path().filename()), pattern)) found.push_back(PathText(entry->path()));
  }
  Check(kWhat, name, error);
  std::sort(found.begin(), found.end());
  return found;
}

std::string ParentDirectory(std::string_view name) {
  std::error_code error;
  fs::path path = fs::absolute(PathOf(name), error).lexically_normal();
  Check("Cannot find parent directory of", name, error);
  if (!path.has_filename()) path = path.parent_path();  // without the separator at the end
  return path == path.root_path() ? std::string() : PathText(path.parent_path());
}

std::string RootDirectory(std::string_view name) {
  std::error_code error;
  const fs::path path = fs::absolute(PathOf(name), error);
  Check("Cannot find root directory of", name, error);
  return PathText(path.root_path());
}

bool IsDirectoryEmpty(std::string_view name) {
  constexpr std::string_view kWhat = "Cannot read directory";
  RequireDirectory(kWhat, name);
  std::error_code error;
  const bool isEmpty = fs::is_empty(PathOf(name), error);
  Check(kWhat, name, error);
  return isEmpty;
}

void CreateDirectory(std::string_view name) {
  constexpr std::string_view kWhat = "Cannot create directory";
  std::error_code error;
  fs::create_directories(PathOf(name), error);
  Check(kWhat, name, error);
  RequireDirectory(kWhat, name);
}

void CopyDirectory(std::string_view from, std::string_view to) {
  constexpr std::string_view kWhat = "Cannot copy directory";
  RequireDirectory(kWhat, from);
  const fs::path source = PathOf(from);
  const fs::path target = PathOf(to);
  try {
    if (IsInside(target, source)) Fail(kWhat, from, Reason(std::errc::invalid_argument));
    const fs::path conflict = FindConflict(source, target);
    if (!conflict.empty()) Fail(kWhat, PathText(conflict), Reason(std::errc::file_exists));
    fs::create_directories(target);
    fs::copy(source, target, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  } catch (const fs::filesystem_error& error) {
    Fail(kWhat, PathText(error.path1()), error.code());
  }
}

void MoveDirectory(std::string_view from, std::string_view to) {
  constexpr std::string_view kWhat = "Cannot move directory";
  RequireDirectory(kWhat, from);
  if (RenameWithin(kWhat, from, to)) return;
  CopyDirectory(from, to);
  DeleteDirectory(from, true);
}

void DeleteDirectory(std::string_view name, bool recursive) {
  constexpr std::string_view kWhat = "Cannot delete directory";
  RequireDirectory(kWhat, name);
  std::error_code error;
  if (recursive) {
    fs::remove_all(PathOf(name), error);
  } else {
    fs::remove(PathOf(name), error);
  }
  Check(kWhat, name, error);
}

}  // namespace kb::files
