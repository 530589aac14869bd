// Files that are replaced as a whole or not at all.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace kb {

/// A file under construction. What is written goes to a file beside the one that is meant; Commit puts it in its place.
/// Without Commit, for want of room or because of an exception, the old file stays as it was. What is no plain file,
/// such as a device, is written directly.
class TFileReplacement {
 public:
  /// Raises EStreamError "Cannot create file "%s"".
  explicit TFileReplacement(const std::string& fileName);
  TFileReplacement(const TFileReplacement&) = delete;
  TFileReplacement& operator=(const TFileReplacement&) = delete;
  /// Removes what was not committed.
  ~TFileReplacement();
  [[nodiscard]] std::ostream& Stream() noexcept { return stream_; }
  /// Raises EStreamError "Cannot write file "%s"" when something did not get through; the old file then stays.
  void Commit();

 private:
  std::string fileName_;
  std::filesystem::path target_;
  std::filesystem::path temporary_;  // empty when the target is written directly
  std::ofstream stream_;
};

}  // namespace kb
