#include "kb/functions/BuiltinFunction.h"

namespace kb {

void TBuiltinFunction::InitMetaData() {
  SetFunctionName(entry_.name);
  SetComment(entry_.comment);
  SetArgumentString(entry_.arguments);
  SetMinArgumentCount(entry_.minArguments);
  SetMaxArgumentCount(entry_.maxArguments);
}

void AddBuiltins(TUserPackage& package, std::span<const TBuiltin> table) {
  for (const TBuiltin& entry : table) package.AddFunction(MakeRef<TBuiltinFunction>(entry));
}

}  // namespace kb
