// The text plot of fuzzy sets.
//
// Tested in tests/fuzzy/PackageTest.cpp.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/values/KBFuzzyInterfaces.h"

namespace kb {

/// The lines of a plot, without line ends: heading, 21 rows of 50 columns for memberships 1 down to 0, axis and
/// numbers. The I-th set is drawn with the I-th code point of `characters`, or the last one; later sets overwrite
/// earlier ones. `variable` may be null. Raises "Invalid low and high limits specified: %.4f to %.4f" unless `low` is
/// below `high`, and "Missing plot characters" for an empty text.
[[nodiscard]] std::vector<std::string> PlotFuzzySets(const IFuzzyVariable* variable,
                                                     const std::vector<Ref<IFuzzySet>>& sets, double low, double high,
                                                     std::string_view characters);

}  // namespace kb
