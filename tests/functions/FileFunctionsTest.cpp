// Files, directories, paths and the operating system, through the language.
#include "kb/platform/Files.h"
#include "tests/Program.h"
#include "tests/TempDirectory.h"

namespace {

namespace fs = std::filesystem;
using kbtest::TProgram;

class FileFunctions : public testing::Test {
 protected:
  kbtest::TTempDirectory directory;
  TProgram program;
};

TEST_F(FileFunctions, TextsOfPaths) {
  program.ExpectShown(R"(
    (get-file-ext "a.tar.gz") --> .gz ;; (eq (get-file-ext "d.x/a") "") --> TRUE
    (get-file-ext ".profile") --> .profile ;; (get-filename "d/e/a.txt") --> a.txt
    (eq (get-filename "d/") "") --> TRUE ;; (get-file-path "d/e/a.txt") --> d/e/
    (eq (get-file-path "a.txt") "") --> TRUE ;; (change-file-ext "d/a.txt" ".md") --> d/a.md
    (change-file-ext "d.x/a" ".md") --> d.x/a.md ;; (change-file-ext "a.txt" "") --> a
    (change-file-path "d/a.txt" "e") --> e/a.txt ;; (change-file-path "d/a.txt" "e/") --> e/a.txt
    (change-file-path "d/a.txt" "") --> a.txt ;; (get-parent-dir "/a/b/../c") --> /a ;; (get-parent-dir "/a/") --> /
    (eq (get-parent-dir "/") "") --> TRUE ;; (get-root-dir "x/y") --> /
    (dir-delim) " " (get-type (dir-delim)) --> / dtAtom
  )");
  EXPECT_EQ(program.Show("(get-parent-dir \"x\")"), directory.Path());
}

TEST_F(FileFunctions, CopyingAndMovingFiles) {
  directory.Write("a", "A");
  directory.Write("b", "B");
  fs::create_directory("d");
  program.Expect(R"(
    (is-file-exists "a") (is-file-exists "d") (is-file-exists "none") --> TRUE\nFALSE\nFALSE
    (copy-file "a" "b") --> FALSE ;; (copy-file "a" "b" 1) --> FALSE ;; (copy-file "none" "c") --> FALSE
    (copy-file "d" "c") --> FALSE ;; (copy-file (throw x) "c") --> FALSE
    (copy-file "a" "d/with blank ä.txt") --> TRUE ;; (is-file-exists "d/with blank ä.txt") --> TRUE
    (move-file "a" "b") --> FALSE ;; (move-file "d" "e") --> FALSE ;; (move-file "d/with blank ä.txt" "d/m") --> TRUE
    (rename-file "d/m" "elsewhere/n") --> TRUE ;; (is-file-exists "d/n") --> TRUE ;; (rename-file "d/n" "n") --> FALSE
    (rename "b" "a") --> FALSE ;; (rename "b" "b2") (rename "b" "b3") --> TRUE\nFALSE ;; (rename "b2" (throw x)) --> !x
    (rename (throw first) (throw second)) --> !second ;; (remove "b2") (remove "b2") (remove "d") --> TRUE\nFALSE\nFALSE
    (remove (throw x)) --> !x ;; (delete-file "d/n") (delete-file "d/n") (delete-file "d") --> TRUE\nFALSE\nFALSE
  )");
  directory.Write("b", "B");
  EXPECT_EQ(program.Eval("(copy-file \"a\" \"b\" TRUE)"), "TRUE");
  EXPECT_EQ(directory.Read("b"), "A");
  // `exit` is no failure of the file system.
  EXPECT_EQ(program.Eval("(copy-file (exit) \"c\")"), "!Operation aborted");
}

TEST_F(FileFunctions, MakingAndRemovingDirectories) {
  directory.Write("file", "");
  program.Expect(R"(
    (create-dir "a/b/c") (create-dir "a/b") --> TRUE\nTRUE ;; (create-dir "file") (create-dir "file/x") --> FALSE\nFALSE
    (is-dir-exists "a/b/c") (is-dir-exists "file") (is-dir-exists "none") --> TRUE\nFALSE\nFALSE
    (is-dir-empty "a/b/c") (is-dir-empty "a") --> TRUE\nFALSE
    (is-dir-empty "none") --> !Cannot read directory "none": No such file or directory
    (is-dir-empty "file") --> !Cannot read directory "file": Not a directory
    (delete-dir "a") (delete-dir "a" 1) --> FALSE\nFALSE
    (delete-dir "file" TRUE) (delete-dir "" TRUE) (delete-dir "none") --> FALSE\nFALSE\nFALSE
    (delete-dir "a/b/c") --> TRUE ;; (delete-dir "a" TRUE) (is-dir-exists "a") --> TRUE\nFALSE
  )");
}

TEST_F(FileFunctions, CopyingAndMovingDirectories) {
  fs::create_directories("from/sub");
  directory.Write("from/x", "X");
  directory.Write("from/sub/y", "Y");
  program.Expect(R"(
    (copy-dir "from" "to/deep") --> TRUE
    (copy-dir "from" "from/sub/copy") (is-dir-exists "from/sub/copy") --> FALSE\nFALSE
    (copy-dir "none" "x") (copy-dir "from/x" "x") --> FALSE\nFALSE ;; (move-dir "from" "to") --> FALSE
    (move-dir "from/x" "x") --> FALSE ;; (move-dir "from" "from/inner") --> FALSE
    (move-dir "from" "moved") (is-dir-exists "from") --> TRUE\nFALSE
  )");
  EXPECT_EQ(directory.Read("to/deep/sub/y") + directory.Read("moved/x"), "YX");
  // What is there already is neither replaced nor mixed with a part of the copy.
  fs::create_directories("partly/sub");
  directory.Write("partly/sub/y", "old");
  EXPECT_EQ(program.Eval("(copy-dir \"moved\" \"partly\")"), "FALSE");
  EXPECT_EQ(directory.Read("partly/sub/y"), "old");
  EXPECT_FALSE(fs::exists("partly/x"));
  fs::remove("partly/sub/y");
  EXPECT_EQ(program.Eval("(copy-dir \"moved\" \"partly\")"), "TRUE");
  EXPECT_EQ(directory.Read("partly/sub/y"), "Y");
}

TEST_F(FileFunctions, ListsWithPatterns) {
  fs::create_directories("d/sub.txt");
  for (const char* name : {"d/b.txt", "d/a.txt", "d/a.md", "d/\xC3\xA4.txt", "d/plain"}) directory.Write(name, "");
  program.ExpectShown(R"(
    (implode$ (get-files "d")) --> d/a.md d/a.txt d/b.txt d/plain d/ä.txt
    (implode$ (get-files "d" "?.txt")) --> d/a.txt d/b.txt d/ä.txt
    (implode$ (get-files "d" "a.*")) --> d/a.md d/a.txt ;; (implode$ (get-files "d/" "*l*n")) --> d/plain
    (length$ (get-files "d" "A*")) --> 0 ;; (implode$ (get-dirs "d")) --> d/sub.txt
    (length$ (get-dirs "d" "x*")) --> 0 ;; (length$ (get-files "d/sub.txt")) --> 0
    (get-files "none") --> !Cannot read directory "none": No such file or directory
    (get-dirs "d/plain") --> !Cannot read directory "d/plain": Not a directory
    (get-files "") --> !Cannot read directory "": No such file or directory
  )");
}

TEST_F(FileFunctions, LinksAreFollowedButNotThroughRemovals) {
  fs::create_directory("d");
  directory.Write("d/x", "X");
  fs::create_symlink("d/x", "to-file");
  fs::create_directory_symlink("d", "to-dir");
  fs::create_symlink("none", "to-none");
  program.Expect(R"(
    (is-file-exists "to-file") (is-dir-exists "to-dir") --> TRUE\nTRUE
    (is-file-exists "to-none") (is-file-exists "to-dir") --> FALSE\nFALSE
    (printout t (implode$ (get-files ".")) crlf (implode$ (get-dirs "."))) --> ./to-file ./to-none\n./d ./to-dir
    (move-file "d/x" "to-none") --> FALSE ;; (delete-file "to-none") (delete-file "to-file") --> TRUE\nTRUE
    (delete-dir "to-dir" TRUE) (is-file-exists "d/x") --> TRUE\nTRUE
  )");
  fs::create_symlink("x", "d/link");
  EXPECT_EQ(program.Eval("(copy-dir \"d\" \"e\")"), "TRUE");
  EXPECT_TRUE(fs::is_symlink("e/link"));
}

TEST_F(FileFunctions, WhatIsForbiddenIsFalseOrAnError) {
  fs::create_directory("closed");
  directory.Write("closed/x", "");
  fs::permissions("closed", fs::perms::none);
  std::error_code error;
  fs::directory_iterator readable("closed", error);
  if (!error) {
    fs::permissions("closed", fs::perms::owner_all);
    GTEST_SKIP() << "this user may read everything";
  }
  EXPECT_EQ(program.Eval("(is-file-exists \"closed/x\") (delete-file \"closed/x\") (create-dir \"closed/y\")"),
            "FALSE\nFALSE\nFALSE");
  EXPECT_EQ(program.Eval("(get-files \"closed\")"), "!Cannot read directory \"closed\": Permission denied");
  EXPECT_EQ(program.Eval("(open \"closed/x\" f)"), "!Cannot open file \"closed/x\": Permission denied");
  fs::permissions("closed", fs::perms::owner_all);
}

TEST_F(FileFunctions, TheCurrentDirectory) {
  fs::create_directory("d");
  EXPECT_EQ(program.Show("(get-current-dir)"), directory.Path());
  EXPECT_EQ(program.Show("(set-current-dir \"d\")"), directory.Path() + "/d");
  program.ExpectShown("(set-current-dir \"none\") --> !Cannot enter directory \"none\": No such file or directory");
  EXPECT_EQ(program.Show("(get-current-dir)"), directory.Path() + "/d");
}

TEST_F(FileFunctions, TheSystemIsKnown) {
  program.Expect(R"(
    (get-type (get-os-name)) (neq (get-os-name) "") --> dtString\nTRUE
    (get-type (get-os-platform)) (get-type (get-os-architecture)) --> dtAtom\ndtAtom
    (integerp (get-os-minor-version)) (integerp (get-os-build-version)) --> TRUE\nTRUE
    (is-dir-exists (get-temp-path)) (stringp (get-home-path)) --> TRUE\nTRUE
    (eq (get-documents-path) (str-cat (get-home-path) (dir-delim) Documents)) --> TRUE
  )");
#ifdef __linux__
  program.Expect(R"((get-os-platform) (> (get-os-major-version) 1) --> Linux\nTRUE)");
#endif
}

}  // namespace
