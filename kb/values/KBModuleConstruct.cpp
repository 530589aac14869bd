// What templates and defined types know of modules.
//
// The list of import modules says in which registries the construct stands; the registries keep it in step when they
// take or drop the construct, and a module takes itself out before it goes. Nothing here follows the pointers.
#include "kb/values/KBModuleConstruct.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModule.h"

namespace kb {

void CheckConstructName(std::string_view name) {
  if (name.empty()) throw EKBException(TKBMessage::MissingName);
  const size_t bad = name.find_first_of(kForbiddenNameCharacters);
  if (bad == std::string_view::npos) return;
  throw EKBException(TKBMessage::UnexpectedCharacter, {std::string(name), std::string(1, name[bad])});
}

bool IsConstructName(std::string_view name) noexcept {
  return !name.empty() && name.find_first_of(kForbiddenNameCharacters) == std::string_view::npos;
}

TModuleConstruct::TModuleConstruct() = default;
TModuleConstruct::~TModuleConstruct() = default;

const TClassInfo& TModuleConstruct::StaticClass() noexcept {
  static const TClassInfo info{"TModuleConstruct", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

void TModuleConstruct::SetModule(TModule* module) noexcept { home_ = module; }

TModule* TModuleConstruct::GetImportModule(int index) const {
  CheckListIndex(index, GetImportModuleCount());
  return imports_[static_cast<size_t>(index)];
}

void TModuleConstruct::AddImportModule(TModule* module) {
  if (module != nullptr && IndexOfImportModule(module) < 0) imports_.push_back(module);
}

void TModuleConstruct::RemoveImportModule(const TModule* module) noexcept { std::erase(imports_, module); }

int TModuleConstruct::IndexOfImportModule(const TModule* module) const noexcept {
  const auto found = std::find(imports_.begin(), imports_.end(), module);
  return found == imports_.end() ? -1 : static_cast<int>(found - imports_.begin());
}

}  // namespace kb
