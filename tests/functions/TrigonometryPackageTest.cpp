#include "tests/functions/NumberTable.h"

namespace {

using kbtest::ExpectEach, kbtest::ExpectNumbers;

// The numbers were computed with 40 digits by another program.
TEST(TrigonometryPackage, FunctionsAgreeWithATable) {
  ExpectNumbers(R"(
    (sin 0.7) --> 0.64421768723769105 ;; (cos 0.7) --> 0.76484218728448843 ;; (tan 0.7) --> 0.84228838046307945
    (sec 0.7) --> 1.3074592597335939 ;; (csc 0.7) --> 1.5522703269571039 ;; (cot 0.7) --> 1.1872418321266794
    (sinh 0.7) --> 0.7585837018395335 ;; (cosh 0.7) --> 1.255169005630943 ;; (tanh 0.7) --> 0.6043677771171635
    (sech 0.7) --> 0.79670545999287503 ;; (csch 0.7) --> 1.3182460914662972 ;; (coth 0.7) --> 1.6546216358026294
    (asin 0.7) --> 0.77539749661075306 ;; (acos 0.7) --> 0.79539883018414356 ;; (atan 0.7) --> 0.61072596438920862
    (asinh 0.7) --> 0.65266656608235579 ;; (atanh 0.7) --> 0.86730052769405319 ;; (asech 0.7) --> 0.89558809952997582
    (acsch 0.7) --> 1.1544773942370684 ;; (acosh 2.5) --> 1.5667992369724111 ;; (asec 2.5) --> 1.1592794807274086
    (acsc 2.5) --> 0.41151684606748802 ;; (acot 0.5) --> 1.1071487177940905 ;; (acot -2.5) --> 2.7610862764774284
    (acsc -2.5) --> 3.5531094996572813 ;; (asec -2.5) --> 4.3008721343172018 ;; (acoth -2.5) --> -0.42364893019360181
    (acsch -2.5) --> -0.39003531977071528 ;; (asinh -2.5) --> -1.6472311463710957 ;; (cot -2.5) --> 1.3386481283041514
    (csc -2.5) --> -1.6709215455586799 ;; (sec -2.5) --> -1.2482156514688178 ;; (coth -2.5) --> -1.0135673098126085
    (atan2 -1 2) --> 2.0344439357957027 ;; (atan2 -1 -2) --> -2.0344439357957027
    (deg-rad 0.7) --> 0.012217304763960307 ;; (rad-deg 0.7) --> 40.107045659157625
    (grad-rad 0.7) --> 0.010995574287564276 ;; (rad-grad 0.7) --> 44.563384065730694
    (cycle-rad 0.7) --> 4.3982297150257105 ;; (rad-cycle 0.7) --> 0.11140846016432674 ;; (deg-grad 90) --> 100
    (grad-deg 100) --> 90 ;; (hypotenuse 3 -4) --> 5
  )",
                1e-14);
}

TEST(TrigonometryPackage, DistancesOfPoints) {
  ExpectNumbers(R"(
    (distance (create$ 0 0) (create$ 3 4)) --> 5 ;; (distance-sqr (create$ 0 0) (create$ 3 4)) --> 25
    (distance-manhattan (create$ 3 4 1) (create$ 0 0 2.5)) --> 8.5 ;; (distance (create$) (create$)) --> 0
    (distance (create$ "1" (+ 1 1)) (create$ 1 2.5)) --> 0.5
  )",
                1e-15);
}

TEST(TrigonometryPackage, WhatHasNoResultRaises) {
  ExpectEach(R"(
    (acos 2) --> !Invalid floating point operation ;; (asin -1.1) --> !Invalid floating point operation
    (acosh 0.5) --> !Invalid floating point operation ;; (atanh 1) --> !Floating point overflow
    (acoth 1) --> !Floating point overflow ;; (acoth 0.5) --> !Invalid floating point operation
    (asec 0.5) --> !Invalid floating point operation ;; (asech 2) --> !Invalid floating point operation
    (csc 0) --> !Floating point division by zero ;; (cot 0) --> !Floating point division by zero
    (acsch 0) --> !Floating point division by zero ;; (coth 0) --> !Floating point division by zero
    (sinh 1000) --> !Floating point overflow ;; (sin a) --> !Not a numeric type.  Value (a) is a dtAtom type
    (try (acos 2) catch caught) --> caught
    (distance (create$ 1 2) (create$ 1))
      --> !Invalid multifield arguments, the two multifields must be of the same length
    (distance 1 2) --> !Not a list type.  Value (1) is a dtInteger type
    (distance (create$ a) (create$ 1)) --> !Not a numeric type.  Value (a) is a dtAtom type
  )");
}

}  // namespace
