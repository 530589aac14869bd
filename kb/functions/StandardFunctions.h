// Bodies of the functions of the standard package, by theme. For the .cpp files of this folder only; what
// each function does for a user stands as its comment in the table of StandardPackage.cpp.
#pragma once

#include <span>

#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/KBPackages.h"

namespace kb::standard {

// StandardLogic.cpp
IKBValue And(TFunctionCall& call, TKBContext& context);
IKBValue Or(TFunctionCall& call, TKBContext& context);
IKBValue Not(TFunctionCall& call, TKBContext& context);
IKBValue Eq(TFunctionCall& call, TKBContext& context);
IKBValue EqStar(TFunctionCall& call, TKBContext& context);
IKBValue Neq(TFunctionCall& call, TKBContext& context);
IKBValue NumericEquals(TFunctionCall& call, TKBContext& context);
IKBValue NumericDiffers(TFunctionCall& call, TKBContext& context);
IKBValue Greater(TFunctionCall& call, TKBContext& context);
IKBValue GreaterOrEqual(TFunctionCall& call, TKBContext& context);
IKBValue Less(TFunctionCall& call, TKBContext& context);
IKBValue LessOrEqual(TFunctionCall& call, TKBContext& context);

// StandardControl.cpp
IKBValue If(TFunctionCall& call, TKBContext& context);
IKBValue While(TFunctionCall& call, TKBContext& context);
IKBValue ForEach(TFunctionCall& call, TKBContext& context);
IKBValue Try(TFunctionCall& call, TKBContext& context);
IKBValue Throw(TFunctionCall& call, TKBContext& context);
IKBValue Return(TFunctionCall& call, TKBContext& context);
IKBValue Exit(TFunctionCall& call, TKBContext& context);
IKBValue Bind(TFunctionCall& call, TKBContext& context);
IKBValue GetVar(TFunctionCall& call, TKBContext& context);

// StandardEngine.cpp
IKBValue Halt(TFunctionCall& call, TKBContext& context);
IKBValue Run(TFunctionCall& call, TKBContext& context);
IKBValue Reset(TFunctionCall& call, TKBContext& context);
IKBValue Clear(TFunctionCall& call, TKBContext& context);
IKBValue Version(TFunctionCall& call, TKBContext& context);
IKBValue GenSym(TFunctionCall& call, TKBContext& context);
IKBValue Watch(TFunctionCall& call, TKBContext& context);
IKBValue Unwatch(TFunctionCall& call, TKBContext& context);
IKBValue Store(TFunctionCall& call, TKBContext& context);
IKBValue Fetch(TFunctionCall& call, TKBContext& context);
IKBValue ClearStorage(TFunctionCall& call, TKBContext& context);
IKBValue DoBackwardChaining(TFunctionCall& call, TKBContext& context);

// StandardText.cpp
IKBValue PrintOut(TFunctionCall& call, TKBContext& context);
IKBValue Format(TFunctionCall& call, TKBContext& context);
IKBValue Read(TFunctionCall& call, TKBContext& context);
IKBValue ReadLine(TFunctionCall& call, TKBContext& context);

// StandardFacts.cpp
IKBValue Assert(TFunctionCall& call, TKBContext& context);
IKBValue AssertString(TFunctionCall& call, TKBContext& context);
IKBValue Retract(TFunctionCall& call, TKBContext& context);
IKBValue RetractString(TFunctionCall& call, TKBContext& context);
IKBValue Modify(TFunctionCall& call, TKBContext& context);
IKBValue Duplicate(TFunctionCall& call, TKBContext& context);
IKBValue GetSlotValue(TFunctionCall& call, TKBContext& context);
IKBValue GetFactDuplication(TFunctionCall& call, TKBContext& context);
IKBValue SetFactDuplication(TFunctionCall& call, TKBContext& context);

// StandardMultifields.cpp
IKBValue CreateMultifield(TFunctionCall& call, TKBContext& context);
IKBValue DeleteRange(TFunctionCall& call, TKBContext& context);
IKBValue Explode(TFunctionCall& call, TKBContext& context);
IKBValue First(TFunctionCall& call, TKBContext& context);
IKBValue Implode(TFunctionCall& call, TKBContext& context);
IKBValue Insert(TFunctionCall& call, TKBContext& context);
IKBValue Length(TFunctionCall& call, TKBContext& context);
IKBValue Member(TFunctionCall& call, TKBContext& context);
IKBValue MemberOfList(TFunctionCall& call, TKBContext& context);
IKBValue Nth(TFunctionCall& call, TKBContext& context);
IKBValue ReplaceRange(TFunctionCall& call, TKBContext& context);
IKBValue Rest(TFunctionCall& call, TKBContext& context);
IKBValue Subsequence(TFunctionCall& call, TKBContext& context);
IKBValue IsSubsequence(TFunctionCall& call, TKBContext& context);

// StandardModules.cpp
IKBValue GetCurrentModule(TFunctionCall& call, TKBContext& context);
IKBValue SetCurrentModule(TFunctionCall& call, TKBContext& context);
IKBValue Focus(TFunctionCall& call, TKBContext& context);
IKBValue ClearFocusStack(TFunctionCall& call, TKBContext& context);
IKBValue GetFocus(TFunctionCall& call, TKBContext& context);
IKBValue GetFocusStack(TFunctionCall& call, TKBContext& context);
IKBValue PopFocus(TFunctionCall& call, TKBContext& context);

// StandardStreams.cpp
IKBValue Open(TFunctionCall& call, TKBContext& context);
IKBValue Close(TFunctionCall& call, TKBContext& context);
IKBValue Batch(TFunctionCall& call, TKBContext& context);
IKBValue DribbleOn(TFunctionCall& call, TKBContext& context);
IKBValue DribbleOff(TFunctionCall& call, TKBContext& context);
IKBValue Load(TFunctionCall& call, TKBContext& context);
IKBValue Save(TFunctionCall& call, TKBContext& context);
IKBValue LoadFacts(TFunctionCall& call, TKBContext& context);
IKBValue SaveFacts(TFunctionCall& call, TKBContext& context);

// StandardFiles.cpp
IKBValue RemoveFile(TFunctionCall& call, TKBContext& context);
IKBValue RenameAny(TFunctionCall& call, TKBContext& context);
/// The functions on directories, files, the operating system and paths, in the order of registration.
[[nodiscard]] std::span<const TBuiltin> FileFunctions() noexcept;

}  // namespace kb::standard
