#include "bench/Measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "kb/common/Pool.h"

namespace kb::bench {
namespace {

struct TFigure {
  TOutcome outcome;
  double seconds = 0;
};

TFigure BestOf(const TMeasurement& measurement, size_t size, int rounds) {
  TFigure best;
  for (int round = 0; round < rounds; ++round) {
    TStopWatch watch;
    TOutcome outcome = measurement.run(size, watch);
    if (round > 0 && watch.Seconds() >= best.seconds) continue;
    best = {std::move(outcome), watch.Seconds()};
  }
  return best;
}

// The slope of the least-squares line through (log work, log time).
double GrowthExponent(const std::vector<TFigure>& figures) {
  double sumX = 0;
  double sumY = 0;
  double sumXX = 0;
  double sumXY = 0;
  for (const TFigure& figure : figures) {
    const double x = std::log(figure.outcome.work);
    const double y = std::log(figure.seconds);
    sumX += x;
    sumY += y;
    sumXX += x * x;
    sumXY += x * y;
  }
  const auto count = static_cast<double>(figures.size());
  return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

void PrintFigure(size_t size, const TFigure& figure) {
  std::printf("  %9zu %12.0f %9.3f s %9.0f ns", size, figure.outcome.work, figure.seconds,
              figure.seconds * 1e9 / figure.outcome.work);
  if (figure.outcome.bytes > 0) std::printf(" %6.0f B", figure.outcome.bytes / figure.outcome.work);
  std::printf("  %s\n", figure.outcome.remark.c_str());
  std::fflush(stdout);
}

}  // namespace

void Measure(const TMeasurement& measurement, int rounds) {
  std::printf("%s\n  %9s %12s %11s %12s\n", measurement.name.c_str(), "size", measurement.unit.c_str(), "time", "each");
  std::vector<TFigure> figures;
  for (const size_t size : measurement.sizes) {
    figures.push_back(BestOf(measurement, size, rounds));
    PrintFigure(size, figures.back());
  }
  if (figures.size() > 1) std::printf("  time grows with the work to the power of %.2f\n", GrowthExponent(figures));
  std::printf("\n");
}

std::vector<TMeasurement> AllMeasurements() {
  std::vector<TMeasurement> list;
  AddProgramMeasurements(list);
  AddAgendaMeasurements(list);
  AddSeatingMeasurements(list);
  AddPersistenceMeasurements(list);
  AddFuzzyMeasurements(list);
  return list;
}

double ProcessorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

double MemoryInUse() {
  std::ifstream file("/proc/self/statm");
  double total = 0;
  double resident = 0;
  constexpr double kPage = 4096;
  // What earlier rounds have left in the pools is not in use.
  return file >> total >> resident ? resident * kPage - static_cast<double>(PoolFreeBytes()) : 0;
}

}  // namespace kb::bench
