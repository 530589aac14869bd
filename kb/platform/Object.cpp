#include "kb/platform/Object.h"

#include "kb/platform/Exceptions.h"

namespace kb {

const TClassInfo& TObject::StaticClass() noexcept {
  static constexpr TClassInfo info{"TObject", nullptr, nullptr, nullptr};
  return info;
}

const TClassInfo& TPersistent::StaticClass() noexcept {
  static const TClassInfo info{"TPersistent", &TObject::StaticClass(), nullptr, nullptr};
  return info;
}

void TPersistent::Assign(const TPersistent& source) { source.AssignTo(*this); }

void TPersistent::AssignTo(TPersistent& target) const {
  throw EConvertError("Cannot assign a " + std::string(ClassName()) + " to a " + std::string(target.ClassName()));
}

}  // namespace kb
