// A textbook controller: two inputs, nine rules, one output. Its crisp outputs on a grid are worked out here by
// other means, sampling the inferred set.

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/Program.h"

namespace {

using kbtest::TProgram;

constexpr const char* kController =
    "(deftype error extends (type FUZZY) (range -10 10)"
    "  (values (term negative ((-10 1) (0 0))) (term zero (tri -10 0 10)) (term positive ((0 0) (10 1)))))"
    "(deftype rate extends (type FUZZY) (range -5 5)"
    "  (values (term falling ((-5 1) (0 0))) (term steady (tri -5 0 5)) (term rising ((0 0) (5 1)))))"
    "(deftype power extends (type FUZZY) (range 0 100)"
    "  (values (term off (tri -25 0 25)) (term less (tri 0 25 50)) (term same (tri 25 50 75))"
    "          (term more (tri 50 75 100)) (term full (tri 75 100 125))))"
    "(deftemplate input (slot error (type error)) (slot rate (type rate)))"
    "(deftemplate output (slot power (type power)))"
    "(defrule r0 (input (error negative) (rate falling)) => (assert (output (power off))))"
    "(defrule r1 (input (error negative) (rate steady)) => (assert (output (power off))))"
    "(defrule r2 (input (error negative) (rate rising)) => (assert (output (power less))))"
    "(defrule r3 (input (error zero) (rate falling)) => (assert (output (power less))))"
    "(defrule r4 (input (error zero) (rate steady)) => (assert (output (power same))))"
    "(defrule r5 (input (error zero) (rate rising)) => (assert (output (power more))))"
    "(defrule r6 (input (error positive) (rate falling)) => (assert (output (power more))))"
    "(defrule r7 (input (error positive) (rate steady)) => (assert (output (power full))))"
    "(defrule r8 (input (error positive) (rate rising)) => (assert (output (power full))))";

double Triangle(double x, double center, double width) { return std::max(0.0, 1 - std::abs(x - center) / width); }
double Grade(int term, double x, double width) {
  if (term == 1) return Triangle(x, 0, width);
  return std::clamp((term == 0 ? -x : x) / width, 0.0, 1.0);
}
// The center of the output of each rule, by error and rate.
constexpr std::array<double, 9> kCenters{0, 0, 25, 25, 50, 75, 75, 100, 100};

double ExpectedOutput(double error, double rate, bool product) {
  double area = 0;
  double moment = 0;
  constexpr int kSteps = 20000;
  for (int i = 0; i < kSteps; ++i) {
    const double x = (i + 0.5) * 100 / kSteps;
    double y = 0;
    for (int rule = 0; rule < 9; ++rule) {
      const double strength = std::min(Grade(rule / 3, error, 10), Grade(rule % 3, rate, 5));
      // A match that is not above the threshold does not fire.
      if (strength <= 0.01) continue;
      const double grade = Triangle(x, kCenters[static_cast<size_t>(rule)], 25);
      y = std::max(y, product ? strength * grade : std::min(strength, grade));
    }
    area += y;
    moment += x * y;
  }
  return moment / area;
}

TEST(FuzzyController, OutputsOnAGridAgreeWithSampling) {
  for (const bool product : {false, true}) {
    TProgram program(kController);
    program.engine.SetFuzzyCorrelationMethod(product ? kb::fcmProduct : kb::fcmMinimum);
    for (double error = -9; error <= 9; error += 2) {
      for (double rate = -4.5; rate <= 4.5; rate += 1.5) {
        program.engine.Reset();
        program.engine.Assert("(input (error " + kb::FloatToString(error) + ") (rate " + kb::FloatToString(rate) +
                              "))");
        program.engine.Run();
        ASSERT_EQ(program.engine.GetFacts().GetCount(), 3);
        const kb::IFact output = program.engine.GetFacts().Get(2);
        ASSERT_NEAR(output->GetValue("power")->GetAsNumeric(), ExpectedOutput(error, rate, product), 1e-3)
            << error << " " << rate << (product ? " product" : " minimum");
      }
    }
  }
}

}  // namespace
