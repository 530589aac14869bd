#include "kb/functions/BuiltinFunction.h"

#include <map>
#include <mutex>

#include "kb/platform/ComponentStream.h"

namespace kb {
namespace {

// The entries of all packages that have been made, by name. What a stream brings belongs to a package, and a package
// has made its functions before it is read.
class TKnownBuiltins {
 public:
  void Add(const TBuiltin& entry) {
    const std::lock_guard<std::mutex> lock(mutex_);
    entries_.try_emplace(entry.name, &entry);
  }
  const TBuiltin& Get(const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(name);
    if (found == entries_.end()) throw EStreamError("the function " + name + " is not known");
    return *found->second;
  }

 private:
  std::mutex mutex_;
  std::map<std::string_view, const TBuiltin*, std::less<>> entries_;
};

TKnownBuiltins& KnownBuiltins() {
  static TKnownBuiltins known;
  return known;
}

// What a stream makes before it says which function it is.
const TBuiltin kNoBuiltin = {"", "", 0, 0, "", [](TFunctionCall& call, TKBContext&) -> IKBValue {
                               throw EKBException(TKBMessage::FunctionUnassigned, {call.GetName().ToString()});
                             }};

}  // namespace

const TClassInfo& TBuiltinFunction::StaticClass() noexcept {
  static const TClassInfo info{
      "TBuiltinFunction", &TKBUserFunction::StaticClass(),
      []() -> std::unique_ptr<TPersistent> { return std::make_unique<TBuiltinFunction>(kNoBuiltin); }};
  return info;
}

void TBuiltinFunction::WriteData(std::vector<TStreamValue>& data) const {
  TKBUserFunction::WriteData(data);
  data.emplace_back(std::string(entry_->name));
}

void TBuiltinFunction::ReadData(TDataReader& data) {
  TKBUserFunction::ReadData(data);
  entry_ = &KnownBuiltins().Get(data.Next().AsText());
  SetArgumentString(entry_->arguments);
}

void TBuiltinFunction::InitMetaData() {
  SetFunctionName(entry_->name);
  SetComment(entry_->comment);
  SetArgumentString(entry_->arguments);
  SetMinArgumentCount(entry_->minArguments);
  SetMaxArgumentCount(entry_->maxArguments);
}

void AddBuiltins(TUserPackage& package, std::span<const TBuiltin> table) {
  for (const TBuiltin& entry : table) {
    KnownBuiltins().Add(entry);
    package.AddFunction(MakeRef<TBuiltinFunction>(entry));
  }
}

}  // namespace kb
