// Files that are replaced as a whole or not at all.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>

#include "kb/platform/Exceptions.h"
#include "kb/platform/FileReplacement.h"
#include "tests/TempDirectory.h"

namespace {

namespace fs = std::filesystem;

class FileReplacement : public testing::Test {
 protected:
  FileReplacement() { directory_.Write("old", "old"); }

  static std::string Content(const std::string& name) { return kbtest::TTempDirectory::Read(name); }
  static std::ptrdiff_t FileCount() { return std::distance(fs::directory_iterator("."), fs::directory_iterator()); }

  kbtest::TTempDirectory directory_;
};

TEST_F(FileReplacement, TheOldFileStandsUntilTheNewOneIsComplete) {
  kb::TFileReplacement file("old");
  file.Stream() << "new" << std::flush;
  EXPECT_EQ(Content("old"), "old");
  file.Commit();
  EXPECT_EQ(Content("old"), "new");
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(FileReplacement, WhatIsNotCompletedLeavesNothing) {
  { kb::TFileReplacement("old").Stream() << "new"; }
  { kb::TFileReplacement("other").Stream() << "new"; }
  EXPECT_EQ(Content("old"), "old");
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(FileReplacement, AStreamThatFailedIsNotCommitted) {
  kb::TFileReplacement file("old");
  file.Stream().setstate(std::ios::badbit);
  EXPECT_THROW(file.Commit(), kb::EStreamError);
  EXPECT_EQ(Content("old"), "old");
}

TEST_F(FileReplacement, ALinkStaysALink) {
  fs::create_symlink("old", "link");
  kb::TFileReplacement file("link");
  file.Stream() << "new";
  file.Commit();
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(Content("old"), "new");
}

TEST_F(FileReplacement, AFolderThatIsNotThereRaises) {
  EXPECT_THROW(kb::TFileReplacement("no/such"), kb::EStreamError);
}

}  // namespace
