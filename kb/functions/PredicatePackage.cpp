#include "kb/functions/PredicatePackage.h"

#include "kb/common/Helpers.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/platform/ComponentStream.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {
namespace {

constexpr std::string_view kComment =
    "Returns TRUE if the argument is of the following type(s): %s.  If the argument is any other type, FALSE "
    "is "
    "returned";

struct TTypeTest {
  std::string_view name;
  TKBTypes types;
};
constexpr TTypeTest kTypeTests[] = {
    {"lexemep", {dtAtom, dtString}}, {"numberp", {dtInteger, dtFloat}}, {"floatp", {dtFloat}},
    {"integerp", {dtInteger}},       {"stringp", {dtString}},           {"symbolp", {dtAtom}},
    {"fuzzyp", {dtFuzzy}},           {"multifieldp", {dtList}},         {"external-addressp", {dtExternalAddress}},
    {"objectp", {dtObject}},
};

template <int Remainder>
IKBValue HasParity(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean((IntegerArgument(call, 0, context) & 1) == Remainder);
}

IKBValue GetValueType(TFunctionCall& call, TKBContext& context) {
  return MakeAtom(GetKBTypeName(call.Evaluate(0, context)->GetDType()));
}

const TBuiltin kPredicateFunctions[] = {
    {"evenp", " <integer-expression>", 1, 1, "Returns TRUE if the number, cut to an integer, is even", HasParity<0>},
    {"oddp", " <integer-expression>", 1, 1, "Returns TRUE if the number, cut to an integer, is odd", HasParity<1>},
    {"get-type", " <expression>", 1, 1, "Returns the name of the type of the value, such as dtInteger", GetValueType},
};

}  // namespace

const TClassInfo& TVerifyTypePFunction::StaticClass() noexcept {
  static const TClassInfo info{"TVerifyTypePFunction", &TKBUserFunction::StaticClass(),
                               []() -> std::unique_ptr<TPersistent> {
                                 return std::make_unique<TVerifyTypePFunction>(std::string_view(), TKBTypes());
                               }};
  return info;
}

void TVerifyTypePFunction::InitMetaData() {
  TKBUserFunction::InitMetaData();
  SetFunctionName(name_);
  SetTypes(types_);
  SetArgumentString(" <expression>");
  SetMinArgumentCount(1);
  SetMaxArgumentCount(1);
}

void TVerifyTypePFunction::SetTypes(TKBTypes types) {
  types_ = types;
  SetComment(FormatText(kComment, {SetToString(types, ", ", false)}));
}

void TVerifyTypePFunction::Assign(const TPersistent& source) {
  if (const auto* function = dynamic_cast<const TVerifyTypePFunction*>(&source)) types_ = function->types_;
  TKBUserFunction::Assign(source);
}

void TVerifyTypePFunction::WriteData(std::vector<TStreamValue>& data) const {
  TKBUserFunction::WriteData(data);
  data.emplace_back(static_cast<int64_t>(types_.Bits()));
}

void TVerifyTypePFunction::ReadData(TDataReader& data) {
  TKBUserFunction::ReadData(data);
  types_ = TKBTypes::FromBits(static_cast<uint32_t>(data.Next().AsInteger()));
}

void TVerifyTypePFunction::Call(TFunctionCall& call, TKBContext& context, IKBValue& result) {
  result = MakeBoolean(types_.Has(call.Evaluate(0, context)->GetDType()));
}

const TClassInfo& TPredicatePackage::StaticClass() noexcept {
  static const TClassInfo info{"TPredicatePackage", &TUserPackage::StaticClass(), nullptr,
                               &NewPackage<TPredicatePackage>};
  return info;
}

void TPredicatePackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  for (const TTypeTest& test : kTypeTests) AddFunction(MakeRef<TVerifyTypePFunction>(test.name, test.types));
  AddBuiltins(*this, kPredicateFunctions);
}

}  // namespace kb
