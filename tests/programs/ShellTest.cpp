#include <gtest/gtest.h>

#include <sstream>

#include "apps/kbsh/Shell.h"

namespace {

using kbsh::ParseOptions;
using kbsh::TOptions;
using kbsh::TUsageError;

struct TOutcome {
  int status;
  std::string out;
  std::string err;
};

TOutcome RunShell(const std::vector<std::string>& arguments, const std::string& input = "", bool interactive = false) {
  std::istringstream in(input);
  std::ostringstream out;
  std::ostringstream err;
  kbsh::TShell shell(in, out, err, interactive);
  const int status = shell.Run(ParseOptions(arguments));
  return {status, out.str(), err.str()};
}

TEST(ShellOptions, AllForms) {
  const TOptions options = ParseOptions({"a.clp", "-e", "--run", "--watch", "facts,rules", "--strategy=breadth",
                                         "--run", "-e", "(x)", "--watch=focus", "--", "-b.clp"});
  EXPECT_EQ(options.files, (std::vector<std::string>{"a.clp", "-b.clp"}));
  EXPECT_EQ(options.texts, (std::vector<std::string>{"--run", "(x)"}));
  EXPECT_TRUE(options.run);
  EXPECT_EQ(options.watch, (kb::TConstructWatches{kb::cwFact, kb::cwRule, kb::cwFocus}));
  EXPECT_EQ(options.strategy, kb::ssBreadthFirst);
}

TEST(ShellOptions, WhatIsNotUnderstood) {
  using TArguments = std::vector<std::string>;
  for (const TArguments& arguments :
       {TArguments{"--nosuch"}, TArguments{"-x"}, TArguments{"-e"}, TArguments{"--watch"},
        TArguments{"--watch", "facts,nothing"}, TArguments{"--strategy", "random"}, TArguments{"--run=yes"}}) {
    EXPECT_THROW(static_cast<void>(ParseOptions(arguments)), TUsageError) << arguments[0];
  }
}

TEST(Shell, TextsComeInOrderAndNothingRunsUnasked) {
  EXPECT_EQ(RunShell({"-e", "(bind ?x 1)", "-e", "(printout t ?x crlf)"}).out, "1\n1\n");
  const std::string rule = "(deffacts f (a)) (defrule r (a) => (printout t fired crlf))";
  EXPECT_EQ(RunShell({"-e", rule}).out, "");
  EXPECT_EQ(RunShell({"-e", rule, "--run"}).out, "fired\n");
}

TEST(Shell, ErrorsNameTheirPlace) {
  const TOutcome text = RunShell({"-e", "(printout t before crlf) (throw \"no good\")", "-e", "(printout t never)"});
  EXPECT_EQ(text.status, 1);
  EXPECT_EQ(text.out, "before\n");
  EXPECT_EQ(text.err, "kbsh: -e: no good\n");

  const TOutcome file = RunShell({"/nonexistent/file.clp"});
  EXPECT_EQ(file.status, 1);
  EXPECT_EQ(file.err.find("kbsh: /nonexistent/file.clp: "), 0U);

  const TOutcome run = RunShell({"-e", "(defrule r => (throw oops))", "--run"});
  EXPECT_EQ(run.err, "kbsh: run: oops\n");

  const TOutcome input = RunShell({}, "(+ 1 2)\n\n(+ 1\n");
  EXPECT_EQ(input.status, 1);
  EXPECT_EQ(input.out, "3\n");
  EXPECT_NE(input.err.find("Unexpected end of stream in ParseFunCall at line 4"), std::string::npos) << input.err;
}

TEST(Shell, ExitEndsEverything) {
  const TOutcome outcome = RunShell({"-e", "(printout t bye crlf) (exit)", "-e", "(printout t never)", "--run"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out + outcome.err, "bye\n");
  EXPECT_EQ(RunShell({}, "(exit)\n(+ 1 2)\n", true).out, "kb> ");
}

TEST(Shell, InputIsSharedWithItsReaders) {
  const TOutcome outcome = RunShell({},
                                    "(bind ?name (readline))\nAnn Smith\n(bind ?n\n  (read)) ; a comment\n42 and more\n"
                                    "(printout t ?name \" \" (+ ?n 1) crlf)\n(throw late)\n");
  EXPECT_EQ(outcome.out, "\"Ann Smith\"\n42\nAnn Smith 43\n");
  EXPECT_EQ(outcome.err, "kbsh: stdin: late\n");
  EXPECT_EQ(RunShell({"-e", "(eq (read) EOF) (eq (readline) EOF)"}).out, "TRUE\nTRUE\n");
  EXPECT_EQ(RunShell({"-e", "(read) (read) (readline)"}, "one two\r\n\"a b\"\r\nlast line").out,
            "one\n\"a b\"\n\"last line\"\n");
}

TEST(Shell, ATerminalIsPromptedAndGoesOnAfterAnError) {
  const TOutcome outcome = RunShell({},
                                    "(+ 1 2)\n(printout t\n  \"a ( in a string\nover two lines\" ; and ) in a comment\n"
                                    "  crlf)\n(throw oops)\n\n(read)\nword\n(+ 2 2) (+ 3 3)",
                                    true);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "kbsh: stdin: oops\n");
  EXPECT_EQ(outcome.out, "kb> 3\nkb>   >   >   > a ( in a string\nover two lines\nkb> kb> kb> word\nkb> 4\n6\nkb> \n");
}

TEST(Shell, TellsWhatFunctionsAndConstructsDo) {
  const TOutcome option = RunShell({"--help-function", "evenp"});
  EXPECT_EQ(option.out,
            ";; evenp function\n;;    Returns TRUE if the number, cut to an integer, is even\n"
            ";; \n;;      Syntax: (evenp <integer-expression>)\n");
  EXPECT_EQ(option.status, 0);
  const TOutcome unknown = RunShell({"--help-function=none"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err, "kbsh: help: Unknown function name: none\n");
  const TOutcome own = RunShell({"-e", "(deffunction f (?x) ?x)", "--help-function", "f"});
  EXPECT_EQ(own.out, "(deffunction f (?x)\n   ?x\n)\n");

  const TOutcome prompt = RunShell({}, "?evenp\n(bind ?x 5)\n?x\n?deffacts\n", true);
  EXPECT_NE(prompt.out.find("kb> ;; evenp function\n"), std::string::npos) << prompt.out;
  EXPECT_NE(prompt.out.find("kb> 5\nkb> 5\nkb> deffacts function\n"), std::string::npos) << prompt.out;
}

}  // namespace
