// The frame of the whole-program benchmarks: a measurement runs a program at four sizes and prints, for each,
// the best time of some rounds, the time per unit of work and the memory per unit; then the exponent with
// which time grows. Time is processor time, where the platform tells it: the programs have one thread and
// wait for nothing, and what else the machine does is left out.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kb::bench {

/// Processor time that the process has used, in seconds.
[[nodiscard]] double ProcessorSeconds();

/// A stop watch that a program starts when its preparations are done, and stops before it tidies up.
class TStopWatch {
 public:
  void Start() { start_ = ProcessorSeconds(); }
  void Stop() { seconds_ += ProcessorSeconds() - start_; }
  /// Sum of all spans, in seconds.
  [[nodiscard]] double Seconds() const noexcept { return seconds_; }

 private:
  double start_ = 0;
  double seconds_ = 0;
};

/// What one run of a program tells besides its time.
struct TOutcome {
  double work = 0;     // units of work done, the measure of linear growth
  double bytes = 0;    // memory that the standing objects take; 0: not measured
  std::string remark;  // shown behind the figures
};

struct TMeasurement {
  std::string name;
  std::string unit;  // what `work` counts
  std::vector<size_t> sizes;
  std::function<TOutcome(size_t size, TStopWatch& watch)> run;
};

/// All measurements in the order in which they are shown.
[[nodiscard]] std::vector<TMeasurement> AllMeasurements();
/// The parts of that list, one for each source file.
void AddProgramMeasurements(std::vector<TMeasurement>& list);
void AddAgendaMeasurements(std::vector<TMeasurement>& list);
void AddSeatingMeasurements(std::vector<TMeasurement>& list);
void AddPersistenceMeasurements(std::vector<TMeasurement>& list);
void AddFuzzyMeasurements(std::vector<TMeasurement>& list);

/// Runs a measurement, `rounds` times at each size, and prints its table.
void Measure(const TMeasurement& measurement, int rounds);

/// Memory of the process that is in use, in bytes; 0 where the platform does not tell.
[[nodiscard]] double MemoryInUse();

}  // namespace kb::bench
