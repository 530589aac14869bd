#include "kb/fuzzy/FuzzyPlot.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kb/common/Helpers.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/KBValue.h"

namespace kb {
namespace {

constexpr int kRows = 21;
constexpr int kColumns = 50;
constexpr std::string_view kAxis = "    |----|----|----|----|----|----|----|----|----|----|";

/// Numbers in the manner of printf, independent of the locale.
[[nodiscard]] std::string PlotNumbers(std::string_view format, std::initializer_list<double> numbers) {
  std::vector<IKBValue> values;
  for (const double number : numbers) values.push_back(MakeFloat(number));
  return CLIPSFormat(format, values);
}

/// The code point at `index`, or the last one.
[[nodiscard]] std::string PlotCharacter(std::string_view characters, size_t index) {
  index = std::min(index, CodePointCount(characters) - 1);
  const size_t from = CodePointOffset(characters, index);
  return std::string(characters.substr(from, CodePointOffset(characters, index + 1) - from));
}

using TPlotGrid = std::array<std::array<std::string, kColumns>, kRows>;

void DrawSet(TPlotGrid& grid, const IFuzzySet& set, double low, double step, const std::string& character) {
  double x = low;
  for (size_t column = 0; column < kColumns; ++column) {
    const double y = std::min(set.DegreeOfMembership(x), 1.0);
    // Halves go to the even row.
    const auto row = static_cast<size_t>(std::nearbyint(y * (kRows - 1)));
    grid[row][column] = character;
    x += step;
  }
}

}  // namespace

std::vector<std::string> PlotFuzzySets(const IFuzzyVariable* variable, const std::vector<Ref<IFuzzySet>>& sets,
                                       double low, double high, std::string_view characters) {
  if (!(low < high) || !std::isfinite(high - low)) {
    throw EKBException(TKBMessage::InvalidPlotLimits, {FloatToString(low), FloatToString(high)});
  }
  if (characters.empty()) throw EKBException(TKBMessage::InvalidPlotCharacters);
  TPlotGrid grid;
  for (auto& row : grid) row.fill(" ");
  std::string heading = "Fuzzy Values:";
  for (size_t i = 0; i < sets.size(); ++i) {
    const std::string character = PlotCharacter(characters, i);
    DrawSet(grid, *sets[i], low, (high - low) / kColumns, character);
    heading += " " + sets[i]->ToString() + "(" + character + ")";
  }
  std::vector<std::string> lines;
  if (variable != nullptr) lines.push_back("Fuzzy Variable: " + variable->Name());
  lines.push_back(heading);
  lines.emplace_back();
  for (int row = kRows - 1; row >= 0; --row) {
    std::string line = PlotNumbers(FuzzyFormatStr, {row / (kRows - 1.0)});
    for (const std::string& cell : grid[static_cast<size_t>(row)]) line += cell;
    lines.push_back(std::move(line));
  }
  lines.emplace_back(kAxis);
  const double fifth = (high - low) / 5.0;
  lines.push_back(PlotNumbers("%7.2f %9.2f %9.2f %9.2f %9.2f %9.2f",
                              {low, low + fifth, low + 2 * fifth, low + 3 * fifth, low + 4 * fifth, high}));
  lines.emplace_back();
  if (variable != nullptr) {
    lines.push_back(PlotNumbers("Universe of Discourse: From %0.2f to %.2f", {variable->From(), variable->To()}));
  }
  return lines;
}

}  // namespace kb
