// Streams under logical names, batches and dribble, through the language.
#include "kb/platform/Encoding.h"
#include "tests/Program.h"
#include "tests/TempDirectory.h"

namespace {

using namespace std::string_literals;
using kbtest::TProgram;

class StreamFunctions : public testing::Test {
 protected:
  kbtest::TTempDirectory directory;
  TProgram program;
};

TEST_F(StreamFunctions, WhatIsWrittenIsReadBack) {
  EXPECT_EQ(program.Eval("(printout t (open \"x.txt\" out \"w\") crlf)"), "out");
  program.Eval("(printout out \"first line\" crlf 12 \" rest\" crlf) (format out \"%5.1f|%n\" 2.25) (close out)");
  EXPECT_EQ(directory.Read("x.txt"), "first line\r\n12 rest\r\n  2.2|\r\n");
  program.Eval("(open \"x.txt\" in)");
  EXPECT_EQ(program.Show("(readline in) / (read in) / (readline in) / (readline in) / (readline in)"),
            "first line/12/  2.2|/EOF/EOF");
  EXPECT_EQ(program.Eval("(get-type (read in)) (close in)"), "dtAtom\nTRUE");
}

TEST_F(StreamFunctions, EachModeOpensInItsWay) {
  directory.Write("old.txt", "one\n");
  for (const auto& [text, file, content] :
       {std::tuple("(open \"old.txt\" f \"a\") (printout f \"two\" crlf) (close f)", "old.txt", "one\ntwo\r\n"),
        {"(open \"new.txt\" f \"a\") (printout f x) (close)", "new.txt", "x"},
        {"(open \"old.txt\" f \"r+\") (readline f) (printout f TWO) (close f)", "old.txt", "one\nTWO\r\n"},
        {"(open \"old.txt\" f \"w\") (close f)", "old.txt", ""}}) {
    program.Eval(text);
    EXPECT_EQ(directory.Read(file), content) << text;
  }
}

TEST_F(StreamFunctions, WhatCannotBeOpenedSaysWhy) {
  program.Expect(R"(
    (open "none.txt" f) --> !Cannot open file "none.txt": No such file or directory
    (open "none.txt" f "r+") --> !Cannot open file "none.txt": No such file or directory
    (open "no/dir.txt" f "w") --> !Cannot create file "no/dir.txt": No such file or directory
    (open "." f) --> !Cannot open file ".": Is a directory
    (open "x.txt" f "q") --> !Invalid File Access Specifier: "q" ;; (open "x.txt" f "") --> !Invalid File Access Specifier: ""
    (try (open "none.txt" f) catch ?__ERROR) --> "Cannot open file \"none.txt\": No such file or directory"
  )");
  EXPECT_FALSE(std::filesystem::exists("x.txt"));
  EXPECT_EQ(program.engine.GetIOStreams().GetCount(), 0);
}

TEST_F(StreamFunctions, AStreamAllowsOnlyWhatItsModeSaysAndIsClosedOnce) {
  directory.Write("x.txt", "text");
  program.Expect(R"(
    (close) --> TRUE ;; (open "x.txt" in) (open "y.txt" out "w") --> in\nout
    (printout in a) --> !Stream is not open for writing "x.txt" ;; (readline out) --> EOF
    (read out) --> !Invalid class typecast: the stream "out" gives no tokens
    (close in) (close in) --> TRUE\n!Invalid stream name: in ;; (close) (close out) --> TRUE\n!Invalid stream name: out
  )");
}

// Two streams in turn under one name: the first one's text must not come behind the second's.
TEST_F(StreamFunctions, AnotherFileUnderTheSameName) {
  program.Eval("(open \"x.txt\" f \"w\") (printout f old) (open \"x.txt\" f \"w\") (printout f new) (close f)");
  EXPECT_EQ(directory.Read("x.txt"), "new");
  program.Eval("(open \"x.txt\" f \"w\") (printout f text) (open \"x.txt\" f)");
  EXPECT_EQ(program.Show("(readline f)"), "text");
  program.engine.SetDuplicateConstructs(kb::dcError);
  EXPECT_EQ(program.Eval("(open \"x.txt\" f)"), "!Duplicate streams defined with same name: \"f\"");
}

TEST_F(StreamFunctions, LineEndsAndEncodingsOfAllKinds) {
  directory.Write("mac.txt", "a\rb\r");
  directory.Write("mixed.txt", "a\nb\r\nc");
  directory.Write("mark.txt", "\xEF\xBB\xBFü\r\n2");
  const std::string wide = kb::TEncoding::UTF16BE()->Encode("währung €\n2.5\n");
  directory.Write("wide.txt", std::string(kb::TEncoding::UTF16BE()->Preamble()) + wide);
  program.Eval(
      "(deffunction lines (?name) (bind ?all (create$)) (open ?name f) (bind ?l (readline f)) (while (neq ?l EOF)"
      " (bind ?all (insert$ ?all (length$ ?all) ?l)) (bind ?l (readline f))) (close f) (implode$ ?all))");
  program.ExpectShown(R"(
    (lines "mac.txt") --> a b ;; (lines "mixed.txt") --> a b c ;; (lines "mark.txt") --> ü 2
    (lines "wide.txt") --> währung € 2.5
  )");
}

TEST_F(StreamFunctions, ALongFileIsReadByAndBy) {
  std::string text;
  for (int i = 0; i < 30000; ++i) text += "line " + std::to_string(i) + " \xC3\xA9\xE2\x82\xAC\r\n";
  directory.Write("long.txt", text);
  program.Eval("(open \"long.txt\" f)");
  EXPECT_EQ(program.Show("(readline f)"), "line 0 \xC3\xA9\xE2\x82\xAC");
  EXPECT_LT(program.engine.GetIOStreams().FindStream("f")->GetText().size(), 100000U);
  EXPECT_EQ(program.Eval("(bind ?n 1) (while (neq (bind ?l (readline f)) EOF)"
                         " (if (neq ?l (str-cat \"line \" ?n \" \xC3\xA9\xE2\x82\xAC\")) then (throw ?l))"
                         " (bind ?n (+ ?n 1))) ?n"),
            "1\nFALSE\n30000");
}

TEST_F(StreamFunctions, BatchesNestAndFeedTheirReads) {
  directory.Write("outer.bat",
                  "(printout t (read) crlf)\none\n(batch \"inner.bat\")\n(printout t (readline) crlf)\nlast\n");
  directory.Write("inner.bat", "(printout t (readline) crlf)\ntwo words\n");
  EXPECT_EQ(program.Eval("(batch \"outer.bat\")"), "one\none\ntwo words\ntwo words\nTRUE\nlast\nlast\nTRUE");
  EXPECT_EQ(program.Eval("(batch \"none.bat\")"), "!Cannot open file \"none.bat\": No such file or directory");
}

TEST_F(StreamFunctions, DribbleTakesTheStandardChannel) {
  program.Expect(R"(
    (dribble-on "log.txt") (printout t hidden crlf) --> ;; (dribble-off) (printout t shown) --> TRUE\nshown
    (dribble-off) --> TRUE ;; (dribble-on "no/log.txt") --> !Cannot create file "no/log.txt": No such file or directory
  )");
  EXPECT_EQ(directory.Read("log.txt"), "TRUE\r\nhidden\r\n");
}

TEST_F(StreamFunctions, AFileIsLoaded) {
  directory.Write("k.clp", "(deffacts d (a 1))\n(defrule r (a ?x) => (printout t ?x crlf))\n(reset)\n");
  program.Expect(R"(
    (load "k.clp") (run) --> TRUE\nTRUE\n1\n1 ;; (load "none") --> !Cannot open file "none": No such file or directory
  )");
}

TEST_F(StreamFunctions, KnowledgeAndFactsAreSavedAndLoaded) {
  program.Eval(
      "(deftemplate p (slot x)) (defrule r (p (x ?x)) => (printout t ?x crlf)) (assert (p (x 1)) (q 2) (r 3))");
  program.Expect(R"(
    (save "k.clp") (save-facts "all.fct") (save-facts "some.fct" r p) --> TRUE\nTRUE\nTRUE
    (try (save-facts "some.fct" (throw x)) catch FALSE) --> FALSE
  )");
  EXPECT_EQ(directory.Read("some.fct"), "(r 3 )\r\n(p (x 1))\r\n");
  program.Eval("(clear)");
  program.Eval("(load \"k.clp\")");  // prints what the calls in the text give
  program.Expect(R"(
    (retract *) (load-facts "some.fct") (run) --> TRUE\nTRUE\n1\n1
    (clear) (deftemplate p (slot x)) (load-facts "all.fct") (assert (q 2)) --> TRUE\nTRUE\nFALSE
    (load-facts "none") --> !Cannot open file "none": No such file or directory
  )");
  directory.Write("bad.fct", "(a 1)\n(b");
  EXPECT_TRUE(program.Eval("(load-facts \"bad.fct\")").starts_with("!Parsing Error"));
}

}  // namespace
