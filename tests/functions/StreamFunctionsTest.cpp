// Streams under logical names, batches and dribble, through the language.
#include "kb/platform/Encoding.h"
#include "tests/TempDirectory.h"
#include "tests/functions/Program.h"

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
  EXPECT_EQ(program.Eval("(open \"old.txt\" f \"a\") (printout f \"two\" crlf) (close f)"), "f\nTRUE");
  EXPECT_EQ(directory.Read("old.txt"), "one\ntwo\r\n");
  program.Eval("(open \"new.txt\" f \"a\") (printout f x) (close)");
  EXPECT_EQ(directory.Read("new.txt"), "x");
  program.Eval("(open \"old.txt\" f \"r+\") (readline f) (printout f TWO) (close f)");
  EXPECT_EQ(directory.Read("old.txt"), "one\nTWO\r\n");
  program.Eval("(open \"old.txt\" f \"w\") (close f)");
  EXPECT_EQ(directory.Read("old.txt"), "");
}

TEST_F(StreamFunctions, WhatCannotBeOpenedSaysWhy) {
  EXPECT_EQ(program.Eval("(open \"none.txt\" f)"), "!Cannot open file \"none.txt\": No such file or directory");
  EXPECT_EQ(program.Eval("(open \"none.txt\" f \"r+\")"), "!Cannot open file \"none.txt\": No such file or directory");
  EXPECT_EQ(program.Eval("(open \"no/dir.txt\" f \"w\")"),
            "!Cannot create file \"no/dir.txt\": No such file or directory");
  EXPECT_EQ(program.Eval("(open \".\" f)"), "!Cannot open file \".\": Is a directory");
  EXPECT_EQ(program.Eval("(open \"x.txt\" f \"q\")"), "!Invalid File Access Specifier: \"q\"");
  EXPECT_EQ(program.Eval("(open \"x.txt\" f \"\")"), "!Invalid File Access Specifier: \"\"");
  EXPECT_FALSE(std::filesystem::exists("x.txt"));
  EXPECT_EQ(program.engine.GetIOStreams().GetCount(), 0);
  EXPECT_EQ(program.Show("(try (open \"none.txt\" f) catch (str-cat \"no: \" ?__ERROR))"),
            "no: Cannot open file \"none.txt\": No such file or directory");
}

TEST_F(StreamFunctions, ClosingTwiceIsAnError) {
  EXPECT_EQ(program.Eval("(close)"), "TRUE");
  program.Eval("(open \"a\" a \"w\") (open \"b\" b \"w\")");
  EXPECT_EQ(program.Eval("(close a) (close a)"), "TRUE\n!Invalid stream name: a");
  EXPECT_EQ(program.Eval("(close) (close b)"), "TRUE\n!Invalid stream name: b");
}

TEST_F(StreamFunctions, AModeAllowsOnlyWhatItSays) {
  directory.Write("x.txt", "text");
  program.Eval("(open \"x.txt\" in) (open \"y.txt\" out \"w\")");
  EXPECT_EQ(program.Eval("(printout in a)"), "!Stream is not open for writing \"x.txt\"");
  EXPECT_EQ(program.Eval("(read out)"), "!Invalid class typecast: the stream \"out\" gives no tokens");
  EXPECT_EQ(program.Eval("(readline out)"), "EOF");
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
  directory.Write("mark.txt",
                  "\xEF\xBB\xBF"
                  "caf\xC3\xA9\r\n2");
  const std::string wide = kb::TEncoding::UTF16BE()->Encode("w\xC3\xA4hrung \xE2\x82\xAC\n2.5\n");
  directory.Write("wide.txt", std::string(kb::TEncoding::UTF16BE()->Preamble()) + wide);
  const std::string lines =
      "(deffunction lines (?name) (bind ?all (create$)) (open ?name f)"
      " (bind ?l (readline f)) (while (neq ?l EOF)"
      " (bind ?all (insert$ ?all (length$ ?all) ?l)) (bind ?l (readline f)))"
      " (close f) (implode$ ?all))";
  program.Eval(lines);
  EXPECT_EQ(program.Show("(lines \"mac.txt\")"), "a b");
  EXPECT_EQ(program.Show("(lines \"mixed.txt\")"), "a b c");
  EXPECT_EQ(program.Show("(lines \"mark.txt\")"), "caf\xC3\xA9 2");
  EXPECT_EQ(program.Show("(lines \"wide.txt\")"), "w\xC3\xA4hrung \xE2\x82\xAC 2.5");
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
  EXPECT_EQ(program.Eval("(dribble-on \"log.txt\") (printout t hidden crlf)"), "");
  EXPECT_EQ(program.Eval("(dribble-off) (printout t shown)"), "TRUE\nshown");
  EXPECT_EQ(directory.Read("log.txt"), "TRUE\r\nhidden\r\n");
  EXPECT_EQ(program.Eval("(dribble-off)"), "TRUE");
  EXPECT_EQ(program.Eval("(dribble-on \"no/log.txt\")"),
            "!Cannot create file \"no/log.txt\": No such file or directory");
}

TEST_F(StreamFunctions, AFileIsLoaded) {
  directory.Write("k.clp", "(deffacts d (a 1))\n(defrule r (a ?x) => (printout t ?x crlf))\n(reset)\n");
  EXPECT_EQ(program.Eval("(load \"k.clp\") (run)"), "TRUE\nTRUE\n1\n1");
  EXPECT_EQ(program.Eval("(load \"none.clp\")"), "!Cannot open file \"none.clp\": No such file or directory");
}

TEST_F(StreamFunctions, KnowledgeAndFactsAreSavedAndLoaded) {
  program.Eval(
      "(deftemplate p (slot x)) (defrule r (p (x ?x)) => (printout t ?x crlf)) (assert (p (x 1)) (q 2) (r 3))");
  EXPECT_EQ(program.Eval("(save \"k.clp\") (save-facts \"all.fct\") (save-facts \"some.fct\" r p)"),
            "TRUE\nTRUE\nTRUE");
  EXPECT_EQ(directory.Read("some.fct"), "(r 3 )\r\n(p (x 1))\r\n");
  program.Eval("(clear)");
  program.Eval("(load \"k.clp\")");  // prints what the calls in the text give
  EXPECT_EQ(program.Eval("(retract *) (load-facts \"some.fct\") (run)"), "TRUE\nTRUE\n1\n1");
  EXPECT_EQ(program.Eval("(clear) (deftemplate p (slot x)) (load-facts \"all.fct\") (assert (q 2))"), "TRUE\nTRUE\nFALSE");
  EXPECT_EQ(program.Eval("(load-facts \"none\")"), "!Cannot open file \"none\": No such file or directory");
  EXPECT_EQ(program.Eval("(try (save-facts \"some.fct\" (throw x)) catch FALSE)"), "FALSE");
  EXPECT_EQ(directory.Read("some.fct"), "(r 3 )\r\n(p (x 1))\r\n");
  directory.Write("bad.fct", "(a 1)\n(b");
  EXPECT_EQ(program.Eval("(load-facts \"bad.fct\")").substr(0, 14), "!Parsing Error");
}

}  // namespace
