// Functions that ask for the type of a value, and for odd and even.
#pragma once

#include "kb/functions/KBPackages.h"
#include "kb/values/KBTypes.h"

namespace kb {

/// Tells whether the type of its one argument belongs to a set: numberp, stringp and the like.
class TVerifyTypePFunction final : public TKBUserFunction {
 public:
  TVerifyTypePFunction(std::string_view name, TKBTypes types) : name_(name), types_(types) {}
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  [[nodiscard]] TKBTypes GetTypes() const noexcept { return types_; }
  /// The comment follows.
  void SetTypes(TKBTypes types);
  void Assign(const TPersistent& source) override;
  void WriteData(std::vector<TStreamValue>& data) const override;
  void ReadData(TDataReader& data) override;

 protected:
  void InitMetaData() override;
  void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) override;

 private:
  std::string name_;  // until the meta data are set
  TKBTypes types_;
};

class TPredicatePackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
