#include "kb/common/Text.h"

#include <cstring>
#include <new>

#include "kb/platform/Exceptions.h"

namespace kb {

TKBText::Rep* TKBText::Make(std::string_view text) {
  if (text.size() > UINT32_MAX) throw EListError("Text is too long");
  void* memory = ::operator new(sizeof(Rep) + text.size());
  auto* rep = new (memory) Rep;
  rep->length = static_cast<uint32_t>(text.size());
  std::memcpy(static_cast<char*>(memory) + sizeof(Rep), text.data(), text.size());
  rep->hash = TTextHash(text);
  rep->needsEscape = text.find_first_of("\"\\") != std::string_view::npos;
  return rep;
}

void TKBText::Free(const Rep* rep) noexcept {
  rep->~Rep();
  ::operator delete(const_cast<Rep*>(rep));
}

}  // namespace kb
