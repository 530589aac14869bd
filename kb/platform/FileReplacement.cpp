#include "kb/platform/FileReplacement.h"

#include <atomic>
#include <system_error>

#include "kb/platform/Exceptions.h"

// Tested in tests/platform/FileReplacementTest.cpp.

namespace kb {
namespace {

namespace fs = std::filesystem;

// The file that a link stands for is replaced, not the link.
fs::path TargetOf(const fs::path& path) {
  std::error_code error;
  if (!fs::is_symlink(fs::symlink_status(path, error))) return path;
  const fs::path target = fs::weakly_canonical(path, error);
  return error ? path : target;
}

fs::path NameBeside(const fs::path& target) {
  static std::atomic<unsigned> counter{0};
  for (;;) {
    fs::path name = target;
    name += ".new" + std::to_string(counter++);
    std::error_code error;
    if (!fs::exists(fs::symlink_status(name, error))) return name;
  }
}

}  // namespace

TFileReplacement::TFileReplacement(const std::string& fileName) : fileName_(fileName), target_(TargetOf(fileName)) {
  std::error_code error;
  const fs::file_status status = fs::status(target_, error);
  const bool plain = !fs::exists(status) || fs::is_regular_file(status);
  if (plain) temporary_ = NameBeside(target_);
  stream_.open(plain ? temporary_ : target_, std::ios::binary | std::ios::trunc);
  if (stream_) return;
  temporary_.clear();
  throw EStreamError("Cannot create file \"" + fileName_ + "\"");
}

TFileReplacement::~TFileReplacement() {
  if (temporary_.empty()) return;
  stream_.close();
  std::error_code error;
  fs::remove(temporary_, error);
}

void TFileReplacement::Commit() {
  stream_.close();
  std::error_code error;
  if (stream_ && !temporary_.empty()) {
    const fs::file_status status = fs::status(target_, error);
    if (fs::exists(status)) fs::permissions(temporary_, status.permissions(), error);
    error.clear();
    fs::rename(temporary_, target_, error);
    if (!error) temporary_.clear();
  }
  if (!stream_ || error) throw EStreamError("Cannot write file \"" + fileName_ + "\"");
}

}  // namespace kb
