// What values ask of fuzzy sets and variables. The sets themselves live in kb/fuzzy.
#pragma once

#include <string>
#include <string_view>

#include "kb/common/Ref.h"
#include "kb/values/KBTypes.h"

namespace kb {

/// A fuzzy set as a value holds it.
class IFuzzySet : public RefCounted {
 public:
  [[nodiscard]] virtual std::string ToString() const = 0;
  /// The crisp value that the set stands for.
  [[nodiscard]] virtual double Crisp() const = 0;
  [[nodiscard]] virtual IFuzzyVariable* Variable() const = 0;
  /// Comparison of the language with any value: sets by overlap, numbers by membership.
  [[nodiscard]] virtual bool Equals(const TKBValue& value) const = 0;
  /// Degree of the match, 0 to 1.
  [[nodiscard]] virtual double FuzzyEquals(const TKBValue& value) const = 0;
};

/// A fuzzy variable: a universe with named sets.
class IFuzzyVariable : public RefCounted {
 public:
  [[nodiscard]] virtual std::string Name() const = 0;
  /// The term of that name, or null.
  [[nodiscard]] virtual Ref<IFuzzySet> FindSet(std::string_view name) const = 0;
};

}  // namespace kb
