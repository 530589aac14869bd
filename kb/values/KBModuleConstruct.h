// Base of the constructs that modules can share: templates and defined types.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/Ref.h"
#include "kb/common/WeakRef.h"
#include "kb/platform/Object.h"
#include "kb/values/KBTypes.h"

namespace kb {

/// Raises "Missing name" for an empty name and ""%s" contains unexpected character: "%s"" for one that holds
/// a character that no name may hold.
void CheckConstructName(std::string_view name);
/// Whether that passes. A template that a fact or a pattern implies may have another name, and is implied again when
/// they are read: it has no text of its own.
[[nodiscard]] bool IsConstructName(std::string_view name) noexcept;

/// A construct with a home module and the list of modules in whose registries it stands, its own included.
/// Modules are back references. A module that goes takes itself out of the lists; as a home it becomes null.
class TModuleConstruct : public TPersistent, public RefCounted {
 public:
  TModuleConstruct();
  ~TModuleConstruct() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TModule* GetModule() const noexcept { return home_.Get(); }
  void SetModule(TModule* module) noexcept;
  [[nodiscard]] int GetImportModuleCount() const noexcept { return static_cast<int>(imports_.size()); }
  /// Raises EListError for a bad index.
  [[nodiscard]] TModule* GetImportModule(int index) const;
  /// A missing module and one that is there already are ignored.
  void AddImportModule(TModule* module);
  void RemoveImportModule(const TModule* module) noexcept;
  [[nodiscard]] int IndexOfImportModule(const TModule* module) const noexcept;
  [[nodiscard]] bool IsShared() const noexcept { return !imports_.empty(); }

  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

 private:
  std::vector<TModule*> imports_;
  TWeakRef<TModule> home_;
  intptr_t tag_ = 0;
};

}  // namespace kb
