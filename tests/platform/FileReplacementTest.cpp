// Files that are replaced as a whole or not at all.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "kb/platform/Exceptions.h"
#include "kb/platform/FileReplacement.h"

namespace {

namespace fs = std::filesystem;

class FileReplacement : public testing::Test {
 protected:
  FileReplacement() : folder_(fs::path(testing::TempDir()) / "kb-file-replacement") {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    std::ofstream(Path("old")) << "old";
  }
  ~FileReplacement() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string Path(const char* name) const { return (folder_ / name).string(); }
  [[nodiscard]] std::string Content(const char* name) const {
    std::ifstream file(Path(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  [[nodiscard]] std::ptrdiff_t FileCount() const {
    return std::distance(fs::directory_iterator(folder_), fs::directory_iterator());
  }

  fs::path folder_;
};

TEST_F(FileReplacement, TheOldFileStandsUntilTheNewOneIsComplete) {
  kb::TFileReplacement file(Path("old"));
  file.Stream() << "new" << std::flush;
  EXPECT_EQ(Content("old"), "old");
  file.Commit();
  EXPECT_EQ(Content("old"), "new");
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(FileReplacement, WhatIsNotCompletedLeavesNothing) {
  { kb::TFileReplacement(Path("old")).Stream() << "new"; }
  { kb::TFileReplacement(Path("other")).Stream() << "new"; }
  EXPECT_EQ(Content("old"), "old");
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(FileReplacement, AStreamThatFailedIsNotCommitted) {
  kb::TFileReplacement file(Path("old"));
  file.Stream().setstate(std::ios::badbit);
  EXPECT_THROW(file.Commit(), kb::EStreamError);
  EXPECT_EQ(Content("old"), "old");
}

TEST_F(FileReplacement, ALinkStaysALink) {
  fs::create_symlink("old", folder_ / "link");
  kb::TFileReplacement file(Path("link"));
  file.Stream() << "new";
  file.Commit();
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
  EXPECT_EQ(Content("old"), "new");
}

TEST_F(FileReplacement, AFolderThatIsNotThereRaises) {
  EXPECT_THROW(kb::TFileReplacement(Path("no/such")), kb::EStreamError);
}

}  // namespace
