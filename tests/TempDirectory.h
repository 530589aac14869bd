// A directory for the files of one test.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

namespace kbtest {

/// Makes an empty directory and enters it; the end of the object leaves and removes it.
class TTempDirectory {
 public:
  TTempDirectory() : before_(std::filesystem::current_path()) {
    static int count = 0;
    do {
      path_ = std::filesystem::temp_directory_path() / ("kb_test_" + std::to_string(++count) + "_" + Unique());
    } while (!std::filesystem::create_directory(path_));
    path_ = std::filesystem::canonical(path_);
    std::filesystem::current_path(path_);
  }
  TTempDirectory(const TTempDirectory&) = delete;
  TTempDirectory& operator=(const TTempDirectory&) = delete;
  ~TTempDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] std::string Path() const { return path_.string(); }
  static void Write(const std::string& name, std::string_view bytes) { std::ofstream(name, std::ios::binary) << bytes; }
  [[nodiscard]] static std::string Read(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

 private:
  // Tests of one build may run at the same time, as processes of their own.
  static std::string Unique() {
    const auto ticks = std::filesystem::file_time_type::clock::now().time_since_epoch().count();
    static const int here = 0;
    return std::to_string(ticks) + "_" + std::to_string(reinterpret_cast<uintptr_t>(&here) & 0xFFFFFF);
  }
  std::filesystem::path before_;
  std::filesystem::path path_;
};

}  // namespace kbtest
