// Built-in functions as entries of a table.
#pragma once

#include <span>

#include "kb/functions/KBPackages.h"

namespace kb {

/// One built-in function: everything that help and checks know of it, and its body.
struct TBuiltin {
  using Body = IKBValue (*)(TFunctionCall& call, TKBContext& context);
  const char* name;
  const char* arguments;  // syntax behind the name, with its leading blank
  int minArguments;
  int maxArguments;
  const char* comment;
  Body body;
};

/// The function object of a table entry; the entry outlives it. In a component stream it is stored with the name of its
/// entry, so that it is found again under whatever name it goes.
class TBuiltinFunction final : public TKBUserFunction {
 public:
  explicit TBuiltinFunction(const TBuiltin& entry) noexcept : entry_(&entry) {}
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void WriteData(std::vector<TStreamValue>& data) const override;
  void ReadData(TDataReader& data) override;

 protected:
  void InitMetaData() override;
  void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) override {
    result = entry_->body(call, context);
  }

 private:
  const TBuiltin* entry_;
};

/// Adds one function for each entry, in order. The entries stay in use for the life of the process.
void AddBuiltins(TUserPackage& package, std::span<const TBuiltin> table);

}  // namespace kb
