// The seating problem: guests around a table so that neighbours differ in sex and share a hobby. The rules
// search depth first and keep the path to each seating as facts of its own; matching grows faster than the
// number of guests, since each seat is tried against each guest that is left.

#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Measure.h"
#include "kb/engine/InferenceEngine.h"

namespace kb::bench {
namespace {

constexpr std::string_view kRules = R"(
(deftemplate guest (slot name) (slot sex) (slot hobby))
(deftemplate table (slot seats))
(deftemplate phase (slot name))
(deftemplate counter (slot next))
(deftemplate seating (slot id) (slot parent) (slot seat) (slot guest) (slot complete))
(deftemplate path (slot id) (slot seat) (slot guest))
(deftemplate tried (slot id) (slot guest) (slot hobby))
(deftemplate frontier (slot id))

(defrule first-seat
  ?p <- (phase (name start))
  (guest (name ?guest))
  ?c <- (counter (next ?n))
  =>
  (assert (seating (id ?n) (parent 0) (seat 1) (guest ?guest) (complete yes)))
  (assert (path (id ?n) (seat 1) (guest ?guest)))
  (assert (frontier (id ?n)))
  (modify ?c (next (+ ?n 1)))
  (modify ?p (name seat)))

(defrule next-seat
  ?p <- (phase (name seat))
  (seating (id ?id) (seat ?seat) (guest ?left) (complete yes))
  (guest (name ?left) (sex ?sex) (hobby ?hobby))
  (guest (name ?right) (sex ~?sex) (hobby ?hobby))
  ?c <- (counter (next ?n))
  (not (path (id ?id) (guest ?right)))
  (not (tried (id ?id) (guest ?right) (hobby ?hobby)))
  ?f <- (frontier (id ?id))
  =>
  (modify ?f (id ?n))
  (assert (seating (id ?n) (parent ?id) (seat (+ ?seat 1)) (guest ?right) (complete no)))
  (assert (path (id ?n) (seat (+ ?seat 1)) (guest ?right)))
  (assert (tried (id ?id) (guest ?right) (hobby ?hobby)))
  (modify ?c (next (+ ?n 1)))
  (modify ?p (name path)))

(defrule step-back
  (declare (salience -10))
  (phase (name seat))
  ?f <- (frontier (id ?id))
  (seating (id ?id) (parent ?parent))
  =>
  (modify ?f (id ?parent)))

(defrule copy-path
  (declare (salience 10))
  (phase (name path))
  (seating (id ?id) (parent ?parent) (complete no))
  (path (id ?parent) (seat ?seat) (guest ?guest))
  (not (path (id ?id) (guest ?guest)))
  =>
  (assert (path (id ?id) (seat ?seat) (guest ?guest))))

(defrule path-copied
  ?p <- (phase (name path))
  ?s <- (seating (complete no))
  =>
  (modify ?s (complete yes))
  (modify ?p (name check)))

(defrule all-seated
  (declare (salience 10))
  ?p <- (phase (name check))
  (table (seats ?last))
  (seating (seat ?last) (id ?id))
  =>
  (modify ?p (name report))
  (assert (solution ?id)))

(defrule go-on
  ?p <- (phase (name check))
  =>
  (modify ?p (name seat)))

(defrule report
  (phase (name report))
  (solution ?id)
  (path (id ?id) (guest ?guest) (seat ?seat))
  =>
  (seat ?seat ?guest))
)";

struct TGuest {
  char sex = 'm';
  std::vector<int> hobbies;
};

// Half of each sex, each with two or three of three hobbies, so that any two have one in common.
std::vector<TGuest> Invite(size_t count) {
  std::mt19937 random(static_cast<unsigned>(count));
  std::vector<TGuest> guests(count);
  for (size_t i = 0; i < count; ++i) {
    guests[i].sex = i % 2 == 0 ? 'm' : 'f';
    const int missing = static_cast<int>(random() % 4);
    for (int hobby = 1; hobby <= 3; ++hobby) {
      if (hobby != missing) guests[i].hobbies.push_back(hobby);
    }
  }
  return guests;
}

void AssertGuests(TInferenceEngine& engine, const std::vector<TGuest>& guests) {
  for (size_t i = 0; i < guests.size(); ++i) {
    for (const int hobby : guests[i].hobbies) {
      engine.Assert("(guest (name " + std::to_string(i) + ") (sex " + guests[i].sex + ") (hobby h" +
                    std::to_string(hobby) + "))");
    }
  }
}

bool ShareHobby(const TGuest& one, const TGuest& two) {
  for (const int a : one.hobbies) {
    for (const int b : two.hobbies) {
      if (a == b) return true;
    }
  }
  return false;
}

void CheckTable(const std::vector<TGuest>& guests, const std::vector<int>& table) {
  std::vector<bool> seated(guests.size());
  for (size_t seat = 0; seat < table.size(); ++seat) {
    if (table[seat] < 0 || seated[static_cast<size_t>(table[seat])]) throw std::logic_error("a seat is wrong");
    seated[static_cast<size_t>(table[seat])] = true;
    if (seat == 0) continue;
    const TGuest& left = guests[static_cast<size_t>(table[seat - 1])];
    const TGuest& right = guests[static_cast<size_t>(table[seat])];
    if (left.sex == right.sex || !ShareHobby(left, right)) throw std::logic_error("neighbours do not suit");
  }
}

TOutcome Seat(size_t size, TStopWatch& watch) {
  const std::vector<TGuest> guests = Invite(size);
  std::vector<int> table(size, -1);
  TInferenceEngine engine;
  engine.RegisterFunction(
      "seat",
      [&table](TFunctionArguments& arguments) -> IKBValue {
        table.at(static_cast<size_t>(arguments[0]->GetAsInteger()) - 1) =
            static_cast<int>(arguments[1]->GetAsInteger());
        return FCTrue;
      },
      2, 2);
  engine.Parse(kRules, false);
  engine.Reset();
  watch.Start();
  engine.Assert("(table (seats " + std::to_string(size) + "))");
  engine.Assert("(counter (next 1))");
  AssertGuests(engine, guests);
  engine.Assert("(phase (name start))");
  const int32_t fired = engine.Run();
  watch.Stop();
  CheckTable(guests, table);
  return {static_cast<double>(size), 0, std::to_string(fired) + " firings"};
}

}  // namespace

void AddSeatingMeasurements(std::vector<TMeasurement>& list) {
  list.push_back({"seating problem", "guests", {16, 32, 64, 128}, Seat});
}

}  // namespace kb::bench
