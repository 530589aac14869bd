// The functions of the fuzzy package, as programs call them.

#include "tests/Program.h"

namespace {

using kbtest::TProgram;

class TPackage : public TProgram {
 public:
  TPackage() {
    Eval(
        "(set-fuzzy-auto-terms FALSE)(deftype temperature extends (type FUZZY) (range 0 100) (units \"deg C\")"
        "  (values (term cold ((0 1) (50 0))) (term warm (tri 20 50 80)) (term hot ((50 0) (100 1)))))"
        "(deftype speed extends (type FUZZY) (range 0 10) (values (term fast (s 0 10))))"
        "(deftype plain extends (type INTEGER))(deftemplate room (slot temp (type temperature)) (slot name))"
        "(bind ?*w* (create-fuzzy-value temperature warm))(assert (room (temp cold)) (plain 1))");
  }
};

TEST(FuzzyPackage, ReadsSetsFactsAndIds) {
  TPackage().ExpectShown(R"(
    (get-fs ?*w*) --> ((20.0000 0.0000) (50.0000 1.0000) (80.0000 0.0000) ) ;; (get-type (get-fs ?*w*)) --> dtSingletons
    (get-fs-length ?*w*) (get-fs-length 1) --> 32 ;; (get-fs-x ?*w* 1) " " (get-fs-y ?*w* 1) --> 50.0000 1.0000
    (get-fs-x ?*w* 3) --> !List index out of bounds (3)
    (get-fs-variable ?*w*) (get-fs-variable 1) --> temperaturetemperature
    (get-fs-variable (tri 1 2 3)) --> !fuzzy variable is not defined
    (get-fs-value ?*w* 35) (get-fs-value 1 25) --> 0.50000.5000
    (moment-defuzzify ?*w*) " " (moment-defuzzify 1) --> 50.0000 16.6667
    (maximum-defuzzify 1) " " (maximum-defuzzify (create-fuzzy-value temperature hot limited-to 0.5)) --> 0.0000 87.5000
    (is-undecidable ?*w*) (is-undecidable (create-fuzzy-value temperature __EMPTY)) --> FALSETRUE
    (get-compatibility-index 1) --> 0.6667 ;; (moment-defuzzify 2) --> !Fact is not a fuzzy fact
    (moment-defuzzify 99) --> !No Such Fact with ID=99 exists
    (moment-defuzzify warm) --> !Not a fuzzy value type.  Value (warm) is a dtAtom type
    (get-u temperature) "|" (get-u ?*w*) --> 0.0000 - 100.0000 deg C|0.0000 - 100.0000 deg C
    (get-u-from speed) (get-u-to speed) (get-u-units "temperature") --> 0.000010.0000deg C
    (get-u 1) --> !Invalid argument type for deffunction: "dtInteger".  Expected Atom, String, Fuzzy
    (get-u nosuch) --> !Key not found: nosuch ;; (get-u plain) --> !fuzzy variable is not defined
  )");
}

TEST(FuzzyPackage, MakesShapesNamedByTheirCalls) {
  TPackage().ExpectShown(R"(
    (s 0 10) (z 0 10) (pi 5 2) (pi 1 2 9) (tri 1 2 3) (beta 5 1) (beta 5 1 4) (beta 5 1 4 2)
      --> (s 0 10)(z 0 10)(pi 5 2)(pi 1 2 9)(tri 1 2 3)(beta 5 1)(beta 5 1 4)(beta 5 1 4 2)
    (get-fs-value (s 0 10) 5) (get-fs-value (z 0 10) 0) (get-fs-value (pi 5 2) 4) (get-fs-value (pi 1 2 9) 2)
      --> 0.50001.00000.50001.0000
    // The inflection is half-way between center and end, unless it is given.
    (get-fs-value (beta 5 1) 3) (get-fs-value (beta 5 1 4) 4) (get-fs-value (beta 5 1) 0.9) --> 0.50000.50000.0000
    (get-fs-value (tri (+ 1 1) 3 4) 3) --> 1.0000 ;; (tri 1 2) --> !Too few arguments for tri
    (tri 3 2 1) --> !Invalid fuzzy shape: 3.0000 2.0000 1.0000 ;; (s 3 1) --> !Invalid fuzzy shape: 3.0000 2.0000 1.0000
    (pi 3 1 4) --> !Invalid fuzzy shape: 3.0000 1.0000 4.0000 ;; (pi 3 -1) --> !Invalid fuzzy shape: 4.0000 3.0000 2.0000
    (beta 3 1 3) --> !Invalid fuzzy shape: 3.0000 1.0000 3.0000 1.0000 ;; (fuzzyp (s 0 1)) (fuzzyp hot) --> TRUEFALSE
  )");
}

TEST(FuzzyPackage, UnitesAndIntersects) {
  TPackage().ExpectShown(R"(
    (get-fs-value (fuzzy-union ?*w* 1) 40) (get-fs-value (fuzzy-intersection ?*w* 1) 40) --> 0.66670.2000
    (get-fs-value (fuzzy-union-x bounded-sum ?*w* 1 1) 40) --> 1.0000
    (get-fs-value (fuzzy-intersection-x mean ?*w* 1) 40) --> 0.4333
    (fuzzy-union-x sums ?*w* 1)
      --> !Invalid Fuzzy operation specified (sums) for fuzzy-union-x, expected zadeh, mean, mean-sqr, mean-sqrt, product, bounded-sum, or sum
    (fuzzy-union ?*w*) --> !Too few arguments for fuzzy-union
  )");
}

TEST(FuzzyPackage, SettingsGiveThePreviousValue) {
  TPackage().ExpectShown(R"(
    (set-fuzzy-threshold 5) (get-fuzzy-threshold) (set-fuzzy-threshold 0) --> 0.01001.00001.0000
    (set-activation-threshold -3) (get-activation-threshold) --> 0.00000.0000
    (set-fuzzy-auto-terms TRUE) (get-fuzzy-auto-terms) (set-fuzzy-auto-terms 1) (get-fuzzy-auto-terms)
      --> FALSETRUETRUEFALSE
    (set-fuzzy-correlation product) (get-fuzzy-correlation) --> minimumproduct
    (set-fuzzy-correlation x) --> !Invalid Fuzzy Correlation specified (x), expected minimum or product
    (get-fuzzy-correlation) --> product ;; (set-fuzzy-inference "sum") (get-fuzzy-inference) --> min-maxsum
    (set-fuzzy-inference x)
      --> !Invalid Fuzzy Inference specified (x), expected min-max, sum, mean, product, or bounded-sum
    (get-fuzzy-inference) --> sum
  )");
}

TEST(FuzzyPackage, AssertsInAWayOfItsOwn) {
  TPackage program;
  program.ExpectShown(R"(
    (fuzzy-assert mean (room (temp warm)) (other 1)) --> <Fact-4> ;; (get-fs-value 3 40) --> 0.4333
    (fuzzy-assert mean (other 1)) --> FALSE
    (fuzzy-assert 3 (other 2))
      --> !Invalid Fuzzy Inference specified (3), expected min-max, sum, mean, product, or bounded-sum
    (fuzzy-assert min (room))
      --> !Invalid Fuzzy Inference specified (min), expected min-max, sum, mean, product, or bounded-sum
    (fuzzy-assert-unconditional (room (temp hot))) --> <Fact-5> ;; (get-fs-value 5 40) --> 0.0000
    (get-fuzzy-inference) --> min-max
  )");
}

TEST(FuzzyPlot, DrawsTermsToTheLetter) {
  TPackage program;
  std::string lines;
  program.engine.OnPrintOut = [&](kb::TInferenceEngine&, std::string_view out, std::string_view line) {
    EXPECT_EQ(out, "t");
    lines += std::string(line) + "\n";
  };
  EXPECT_EQ(program.engine.ParseNExecuteFunCall("(plot-fuzzy-value t \"cw\" nil nil temperature)"), kb::FCTrue);
  EXPECT_EQ(lines,
            "Fuzzy Variable: temperature\nFuzzy Values: cold(c) warm(w) hot(w)\n\n"
            "1.00c                        w                        \n"
            "0.95 c                      w w                      w\n"
            "0.90  cc                                           ww \n"
            "0.85    c                  w   w                  w   \n"
            "0.80     c                w     w                w    \n"
            "0.75      c              w       w              w     \n"
            "0.70       cc                                 ww      \n"
            "0.65         c          w         w          w        \n"
            "0.60          c        w           w        w         \n"
            "0.55           c      w             w      w          \n"
            "0.50            cc                       ww           \n"
            "0.45              c  w               w  w             \n"
            "0.40               cw                 ww              \n"
            "0.35               wc                 ww              \n"
            "0.30                 cc             ww                \n"
            "0.25              w    c           w    w             \n"
            "0.20             w      c         w      w            \n"
            "0.15            w        c       w        w           \n"
            "0.10                      cc   ww                     \n"
            "0.05           w            c w            w          \n"
            "0.00wwwwwwwwwwwwwwwwwwwwwwwwwwccccccccccccccwwwwwwwwww\n"
            "    |----|----|----|----|----|----|----|----|----|----|\n"
            "   0.00     20.00     40.00     60.00     80.00    100.00\n\n"
            "Universe of Discourse: From 0.00 to 100.00\n");
  lines.clear();
  const kb::IKBValue cold = program.engine.ParseNExecuteFunCall("(create-fuzzy-value temperature cold)");
  program.engine.PlotFuzzySet("t", cold, 0, 200, "*");
  EXPECT_NE(lines.find("   0.00     40.00     80.00    120.00    160.00    200.00\n"), std::string::npos);
}

TEST(FuzzyPlot, LimitsItemsAndCharacters) {
  TPackage program;
  const auto line = [&](const std::string& arguments, const std::string& head) {
    std::string found;
    program.engine.OnPrintOut = [&](kb::TInferenceEngine&, std::string_view, std::string_view text) {
      if (text.find(head) != std::string_view::npos) found = text;
    };
    program.engine.Parse("(plot-fuzzy-value t " + arguments + ")", true);
    return found;
  };
  EXPECT_EQ(line("\"*\" -50 500 ?*w*", "20.00"), "   0.00     20.00     40.00     60.00     80.00    100.00");
  EXPECT_EQ(line("\"*\" 50 60 ?*w* 1", "Values"), "Fuzzy Values: warm(*) cold(*)");
  EXPECT_EQ(line("\"äö\" 50 60 ?*w* 1", "Values"), "Fuzzy Values: warm(ä) cold(ö)");
  EXPECT_EQ(line("\"*\" nil nil (tri 2 4 7)", "5.00"), "   2.00      3.00      4.00      5.00      6.00      7.00");
  EXPECT_EQ(line("\"*\" nil nil (tri 2 4 7)", "Universe"), "");
  // A membership of exactly one half is row 10.
  EXPECT_EQ(line("\"x\" 0 100 (create-fuzzy-value temperature ((0 0.5) (1 0.5)))", "0.50"),
            "0.50" + std::string(50, 'x'));
  program.engine.OnPrintOut = [&](kb::TInferenceEngine&, std::string_view, std::string_view text) {
    program.output += text;
  };
  program.ExpectShown(R"(
    (plot-fuzzy-value t "*" 60 50 ?*w*) --> !Invalid low and high limits specified: 60.0000 to 50.0000
    (plot-fuzzy-value t "*" 200 300 ?*w*) --> !Invalid low and high limits specified: 200.0000 to 100.0000
    (plot-fuzzy-value t "" 0 50 ?*w*) --> !Missing plot characters
    (plot-fuzzy-value t "*" 0 50 ?*w* (create-fuzzy-value speed fast))
      --> !Fuzzy variables are different, warm is a term from temperature and fast is a term from speed
    (plot-fuzzy-value t "*" 0 50 2) --> !Fact is not a fuzzy fact
    (plot-fuzzy-value t "*" 0 50 77) --> !No Such Fact with ID=77 exists
    (plot-fuzzy-value t "*" 0 50 nosuch) --> !Key not found: nosuch
  )");
}

}  // namespace
