// kb_bench [--quick] [--rounds N] [WORD...]: runs the measurements whose name contains one of the words, all
// without words. --quick leaves out the two larger sizes of each.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Measure.h"

namespace {

struct TOptions {
  bool quick = false;
  int rounds = 3;
  std::vector<std::string> words;
};

TOptions ReadOptions(int argc, char** argv) {
  TOptions options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--quick") {
      options.quick = true;
    } else if (argument == "--rounds" && i + 1 < argc) {
      options.rounds = std::max(1, std::atoi(argv[++i]));
    } else {
      options.words.emplace_back(argument);
    }
  }
  return options;
}

bool Wanted(const TOptions& options, const std::string& name) {
  return options.words.empty() || std::any_of(options.words.begin(), options.words.end(), [&](const std::string& word) {
           return name.find(word) != std::string::npos;
         });
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const TOptions options = ReadOptions(argc, argv);
    for (kb::bench::TMeasurement& measurement : kb::bench::AllMeasurements()) {
      if (!Wanted(options, measurement.name)) continue;
      if (options.quick) measurement.sizes.resize(std::min<size_t>(2, measurement.sizes.size()));
      kb::bench::Measure(measurement, options.rounds);
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kb_bench: %s\n", error.what());
    return 1;
  }
}
