// The shared constants. They are made once when the library is loaded and never freed: engines on any thread
// and static objects of a host may use them to the end of the process.
#include <algorithm>
#include <array>
#include <numbers>

#include "kb/values/KBValue.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

[[nodiscard]] IKBValue MakeConstant(IKBValue value) {
  value->MakeImmortal();
  return value;
}

[[nodiscard]] IKBValue MakeEmptyListConstant() {
  auto list = MakeRef<TValueVector>();
  list->MakeImmortal();
  return MakeConstant(MakeRef<TKBValue>(list));
}

}  // namespace

const IKBValue FCTrue = MakeConstant(MakeAtom("TRUE"));
const IKBValue FCFalse = MakeConstant(MakeAtom("FALSE"));
const IKBValue FCEmptyString = MakeConstant(MakeAtom(""));
const IKBValue FCNil = MakeConstant(MakeAtom(""));
const IKBValue FCNilList = MakeEmptyListConstant();
const IKBValue FCCatch = MakeConstant(MakeAtom("catch"));
const IKBValue FCFinally = MakeConstant(MakeAtom("finally"));
const IKBValue FCExcept = MakeConstant(MakeAtom("except"));
const IKBValue FCElse = MakeConstant(MakeAtom("else"));
const IKBValue FCDo = MakeConstant(MakeAtom("do"));
const IKBValue FCEOF = MakeConstant(MakeAtom("EOF"));
const IKBValue FCThen = MakeConstant(MakeAtom("then"));
const IKBValue FCPI = MakeConstant(MakeFloat(std::numbers::pi));
const IKBValue FCZero = MakeConstant(MakeFloat(0.0));
const IKBValue FCPopFocus = MakeConstant(MakeAtom("pop-focus"));

bool IsValueConstant(const TKBValue* value) noexcept {
  if (value == nullptr || !value->IsImmortal()) return false;
  const auto constants = {FCTrue.Get(),  FCFalse.Get(),   FCEmptyString.Get(), FCNil.Get(),  FCNilList.Get(),
                          FCCatch.Get(), FCFinally.Get(), FCExcept.Get(),      FCElse.Get(), FCDo.Get(),
                          FCEOF.Get(),   FCThen.Get(),    FCPI.Get(),          FCZero.Get()};
  return std::find(constants.begin(), constants.end(), value) != constants.end();
}

}  // namespace kb
