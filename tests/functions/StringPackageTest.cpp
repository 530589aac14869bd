#include "tests/Program.h"

namespace {

using kbtest::ExpectEach;

TEST(StringPackage, Joining) {
  ExpectEach(R"(
    (str-cat) --> "" ;; (str-cat a "b c" 1 2.5) --> "ab c12.5000" ;; (sym-cat a 1 b) --> a1b
    (str-cat (create$ a)) --> !Not a string type.  Value (a ) is a dtList type ;; (get-type (str-cat a)) --> dtString
    (get-type (sym-cat a)) --> dtAtom
  )");
}

TEST(StringPackage, PositionsCountCharacters) {
  ExpectEach(R"(
    (str-length "") --> 0 ;; (str-length "größe") --> 5 ;; (str-index "a" "bab") --> 2 ;; (str-index "e" "größe") --> 5
    (str-index "x" "bab") --> FALSE ;; (str-index "" "bab") --> FALSE ;; (sub-string 2 3 "größe") --> "rö"
    (sub-string 3 5 "größe") --> "öße" ;; (sub-string 2 100 "abc") --> "bc" ;; (sub-string 2 1 "abc") --> ""
    (sub-string 1 2147483647 "abc") --> "abc" ;; (sub-string 0 1 "abc") --> !Invalid substring parameters: 0, 1
    (sub-string 4 4 "abc") --> !Invalid substring parameters: 4, 4
    (sub-string 3 1 "abc") --> !Invalid substring parameters: 3, 1
    (sub-string 2147483647 -2147483648 "abc") --> !Invalid substring parameters: 2147483647, -2147483648
  )");
}

TEST(StringPackage, CompareAndCase) {
  ExpectEach(R"(
    (str-compare abc abc) --> 0 ;; (< (str-compare abc abd) 0) --> TRUE ;; (> (str-compare b abc) 0) --> TRUE
    // by code, not by letter
    (< (str-compare B a) 0) --> TRUE ;; (> (str-compare ö z) 0) --> TRUE ;; (< (str-compare ab abc) 0) --> TRUE
    (lowcase ABC) --> abc ;; (lowcase "ABC") --> "abc" ;; (upcase größer) --> GRÖßER ;; (upcase 12) --> "12"
  )");
}

TEST(StringPackage, Format) {
  ExpectEach(R"(
    (str-format "%s is %d" x 3) --> "x is 3" ;; (str-format "%-5s|%5s|" ab cd) --> "ab   |   cd|"
    (str-format "%05.1f" 2.25) --> "002.2" ;; (str-format "plain" 1) --> "plain 1"
    (str-format "a") --> !Too few arguments for str-format ;; (format t "%d-%s%n" 5 "x") --> 5-"x"
  )");
}

TEST(PredicatePackage, TypeTests) {
  ExpectEach(R"(
    (lexemep a) --> TRUE ;; (lexemep "a") --> TRUE ;; (lexemep 1) --> FALSE ;; (numberp 1) --> TRUE
    (numberp 1.5) --> TRUE ;; (numberp a) --> FALSE ;; (floatp 1) --> FALSE ;; (integerp 1.0) --> FALSE
    (stringp "a") --> TRUE ;; (symbolp "a") --> FALSE ;; (multifieldp (create$)) --> TRUE ;; (fuzzyp 1) --> FALSE
    (objectp 1) --> FALSE ;; (external-addressp 1) --> FALSE ;; (evenp 3.9) --> FALSE ;; (evenp -2) --> TRUE
    (oddp -3) --> TRUE ;; (oddp a) --> !Not a integer type.  Value (a) is a dtAtom type ;; (get-type 1) --> dtInteger
    (bind ?x 1.5) (get-type ?x) --> 1.5000\ndtFloat ;; (get-type (create$)) --> dtList
  )");
}

}  // namespace
