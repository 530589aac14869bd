// Tested in tests/values/ValueVectorTest.cpp.
#include "kb/values/ValueHashTable.h"

#include "kb/common/Helpers.h"

namespace kb {

void TValueHashTable::Assign(const TValueHashTable& source) {
  if (&source == this) return;
  Update([&] {
    Clear();
    for (int i = 0; i < source.GetCount(); ++i) {
      const IKBValue& value = source.GetValue(i);
      Put(source.GetKey(i), value ? value->Clone() : IKBValue());
    }
  });
}

std::string TValueHashTable::ToString() const {
  std::string text;
  for (int i = 0; i < GetCount(); ++i) {
    text.append(GetKey(i).View()).append(" = ");
    if (GetValue(i)) text += GetValue(i)->ToString();
    text += kLineEnd;
  }
  return text;
}

}  // namespace kb
