// The words of the language for operations, methods, hedges and operators of fuzzy expressions.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "kb/values/KBFuzzyInterfaces.h"

namespace kb {

/// In the order of their enumerations.
inline constexpr std::array<std::string_view, 7> FuzzyOperationNames{"zadeh",   "mean",        "mean-sqr", "mean-sqrt",
                                                                     "product", "bounded-sum", "sum"};
inline constexpr std::array<std::string_view, 2> FuzzyCorrelationNames{"minimum", "product"};
inline constexpr std::array<std::string_view, 5> FuzzyInferenceNames{"min-max", "sum", "mean", "product",
                                                                     "bounded-sum"};
inline constexpr std::array<std::string_view, 11> FuzzyHedgeNames{
    "not", "very", "extremely", "somewhat", "more-or-less", "plus", "slightly", "intensify", "above", "below", "norm"};

/// The names as a message lists what it expected.
inline constexpr std::string_view FuzzyCorrelationSuffixNameList = "minimum or product";
inline constexpr std::string_view FuzzyInferenceSuffixNameList = "min-max, sum, mean, product, or bounded-sum";
/// "zadeh, ..., or sum".
[[nodiscard]] std::string FuzzyOperationNameList();

inline constexpr std::string_view SLowFuzzyTerm = "low";
inline constexpr std::string_view SMediumFuzzyTerm = "medium";
inline constexpr std::string_view SHighFuzzyTerm = "high";
/// Label of a row of the plot, for a membership of 0 to 1.
inline constexpr std::string_view FuzzyFormatStr = "%4.2f";

// Each tells whether the text is a word of its kind, case-sensitive; only then the other arguments are written.

[[nodiscard]] bool IsFuzzyOperation(std::string_view text, TFuzzyOperation& operation) noexcept;
[[nodiscard]] bool IsFuzzyCorrelation(std::string_view text, TFuzzyCorrelationMethod& method) noexcept;
[[nodiscard]] bool IsFuzzyInference(std::string_view text, TFuzzyInferenceMethod& method) noexcept;
/// A prefix: "not", "very" and their kin.
[[nodiscard]] bool IsFuzzyHedge(std::string_view text, TFuzzyHedge& hedge) noexcept;
/// Between a set and a number: "limited-to", "scaled-by" and their kin.
[[nodiscard]] bool IsFuzzyHedgeOperator(std::string_view text, TBaseFuzzyHedge& base, bool& flag) noexcept;
/// Between two sets: "and" and "or" in the way of zadeh, and "<operation>-and" and "<operation>-or" for each operation.
[[nodiscard]] bool IsFuzzyKeyword(std::string_view text, bool& isUnion, TFuzzyOperation& operation) noexcept;
/// Any word of the three kinds, or a bracket: what cannot stand for a set in an expression.
[[nodiscard]] bool IsFuzzyWord(std::string_view text) noexcept;

/// The word of a hedge operator, and of a union or intersection.
[[nodiscard]] std::string_view FuzzyHedgeOperatorName(TBaseFuzzyHedge base, bool flag) noexcept;
[[nodiscard]] std::string FuzzyKeyword(bool isUnion, TFuzzyOperation operation);

}  // namespace kb
