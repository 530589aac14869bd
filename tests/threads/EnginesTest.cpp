#include <thread>

#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

int32_t Work(int seed) {
  TEngine engine;
  std::string output;
  engine.OnPrintOut = [&](TInferenceEngine&, std::string_view, std::string_view text) { output += text; };
  engine.Do(
      "(deftemplate n (slot v) (slot name (default none)))(deffunction half (?x) (div ?x 2))"
      "(defrule down ?f <- (n (v ?x&:(> ?x 0)) (name ?m)) => (printout t ?m ?x crlf) (modify ?f (v (half ?x))))"
      "(defrule pair (n (v ?x) (name ?a)) (n (v ?x) (name ~?a)) => (assert (same ?x)))");
  int32_t fired = 0;
  for (int i = 0; i < 100; ++i) {
    engine.Assert("(n (v " + std::to_string(seed + i) + ") (name m" + std::to_string(i % 7) + "))");
    fired += engine.Run();
  }
  return fired;
}

// Each engine on its own thread; they share nothing but constants and pools.
TEST(Engines, WorkInSeveralThreadsWithoutALock) {
  std::vector<int32_t> fired(4);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < fired.size(); ++i) threads.emplace_back([&fired, i] { fired[i] = Work(1000); });
  for (std::thread& thread : threads) thread.join();
  for (const int32_t count : fired) EXPECT_EQ(count, fired[0]);
  EXPECT_EQ(Work(1000), fired[0]);
}

// A second thread gets in between two firings.
TEST(Engines, LockWaitsForTheEndOfAFiring) {
  TEngine engine("(defrule count ?f <- (n ?x&:(< ?x 2000)) => (retract ?f) (assert (n (+ ?x 1))))");
  engine.Assert("(n 0)");
  std::atomic<bool> stop{false};
  std::thread host([&] {
    while (!stop) {
      engine.Lock();
      EXPECT_EQ(engine.GetCurrentAgendaItem(), nullptr);
      engine.Unlock();
    }
  });
  EXPECT_EQ(engine.Run(), 2000);
  stop = true;
  host.join();
}

}  // namespace
}  // namespace kb
