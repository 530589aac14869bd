#include "kb/platform/Object.h"

#include "kb/platform/Exceptions.h"
#include "kb/platform/Reflection.h"

namespace kb {

const TClassInfo& TObject::StaticClass() noexcept {
  static constexpr TClassInfo info{"TObject", nullptr, nullptr, nullptr};
  return info;
}

std::string_view TObject::ClassName() const noexcept { return ClassOf(*this).name; }

const TClassInfo& TPersistent::StaticClass() noexcept {
  static const TClassInfo info{"TPersistent", &TObject::StaticClass(), nullptr, nullptr};
  return info;
}

void TPersistent::Assign(const TPersistent& source) { source.AssignTo(*this); }

void TPersistent::AssignTo(TPersistent& target) const {
  throw EConvertError("Cannot assign a " + std::string(ClassName()) + " to a " + std::string(target.ClassName()));
}

const TClassInfo& THostObject::StaticClass() noexcept {
  static const TClassInfo info{"THostObject", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

}  // namespace kb
