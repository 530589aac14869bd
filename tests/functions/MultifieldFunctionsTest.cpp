#include "tests/Program.h"

namespace {

using kbtest::ExpectEach, kbtest::TProgram;

TEST(MultifieldFunctions, MakingAndTakingApart) {
  ExpectEach(R"(
    (create$) --> ;; (printout t (create$ a 1 2.5 "s")) --> (a 1 2.5000 "s" )
    // A nested multifield stays one element.
    (length$ (create$ a (create$ b c))) --> 2 ;; (length$ (explode$ "  a   b ")) --> 2 ;; (length$ (explode$ "")) --> 0
    // Only the blank separates.
    (length$ (explode$ "a	b c")) --> 2 ;; (get-type (nth$ 0 (explode$ "12"))) --> dtAtom
    (implode$ (create$ a "b c" 1 2.5)) --> "a b c 1 2.5000" ;; (implode$ (create$)) --> ""
    (first$ (create$ a b)) --> a ;; (first$ (create$)) --> ;; (rest$ (create$ a b c)) --> b c\s
    (rest$ (create$)) --> !List index out of bounds (0) ;; (nth$ 0 (create$ a)) --> a
    (nth$ 1 (create$ a)) --> !List index out of bounds (1) ;; (nth$ -1 (create$ a)) --> !List index out of bounds (-1)
    (length$ 5) --> !Not a list type.  Value (5) is a dtInteger type
  )");
}

TEST(MultifieldFunctions, Ranges) {
  ExpectEach(R"(
    (delete$ (create$ a b c) 1 1) --> a c\s ;; (delete$ (create$ a b c) 1 100) --> a\s
    (delete$ (create$ a b c) 7 9) --> a b c\s
    (delete$ (create$ a) 2 1) --> !Invalid multifield begin and end parameters: 2, 1
    (subseq$ (create$ a b c d) 1 2) --> b c\s ;; (subseq$ (create$ a b) 1 2) --> !List index out of bounds (2)
    (subseq$ (create$ a b) 1 2147483647) --> !List index out of bounds (2147483647)
    (subseq$ (create$ a b) 1 0) --> !Invalid multifield begin and end parameters: 1, 0
    (replace$ (create$ a b c) 1 1 x y) --> a y x c\s ;; (replace$ (create$ a b c) 0 1) --> c\s
    (replace$ (create$ a b c) 2 0 x) --> !Invalid multifield begin and end parameters: 2, 0
    (insert$ (create$ a b) 1 x y) --> a y x b\s ;; (insert$ (create$ a b) 2 x) --> a b x\s
    (insert$ (create$ a b) 3 x) --> !List index out of bounds (3)
  )");
}

TEST(MultifieldFunctions, Searching) {
  ExpectEach(R"(
    (member$ a (create$ b a)) --> 1 ;; (member$ z (create$ b a)) --> FALSE ;; (member$ 1 (create$ 1.0 1)) --> 1
    (member$ (create$ a b) (create$ a b)) --> FALSE ;; (member$ (create$ a) (create$ x (create$ a))) --> 1
    (member b a b c) --> 1 ;; (member z a b) --> FALSE ;; (subsetp a (create$ a)) --> TRUE
    (subsetp (create$ b c) (create$ a b c d)) --> TRUE ;; (subsetp (create$ a c) (create$ a b c)) --> FALSE
    (subsetp (create$ a b) (create$ a c a b)) --> TRUE ;; (subsetp a (create$)) --> FALSE
    (subsetp (create$) (create$ a)) --> !List index out of bounds (0)
  )");
}

TEST(MultifieldFunctions, TheGivenListStaysAsItIs) {
  TProgram program("(bind ?list (create$ a b c))");
  for (const char* text : {"(insert$ ?list 1 x)", "(rest$ ?list)", "(delete$ ?list 0 1)", "(replace$ ?list 0 0 z)",
                           "(subseq$ ?list 0 1)", "(foreach e ?list (bind ?list2 (insert$ ?list 0 ?e)))"}) {
    program.Eval(text);
    EXPECT_EQ(program.Eval("(implode$ ?list)"), "\"a b c\"") << text;
  }
}

}  // namespace
