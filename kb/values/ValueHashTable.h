// A table of named values.
#pragma once

#include <string>

#include "kb/common/Table.h"
#include "kb/values/KBValue.h"

namespace kb {

/// Values by name, in the order in which the names came in. The table shares the value objects that it is given.
class TValueHashTable : public TQDStringHashTable<IKBValue> {
 public:
  /// Replaces the content by clones of the source's values; the change event fires once, at the end. Linear.
  virtual void Assign(const TValueHashTable& source);
  /// "name = value" for each entry, each with its line end.
  [[nodiscard]] virtual std::string ToString() const;
};

}  // namespace kb
