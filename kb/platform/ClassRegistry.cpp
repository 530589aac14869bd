#include "kb/platform/ClassRegistry.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string>

namespace kb {
namespace {

struct TRegistry {
  std::mutex mutex;
  std::map<std::string, const TClassInfo*, std::less<>> classes;  // by the name in lower case
};

// Made at the first use, which may be while static objects are made.
TRegistry& Registry() {
  static TRegistry registry;
  return registry;
}

std::string KeyOf(std::string_view name) {
  std::string key(name);
  std::transform(key.begin(), key.end(), key.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return key;
}

}  // namespace

void RegisterClass(const TClassInfo& info) {
  TRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  registry.classes.insert_or_assign(KeyOf(info.name), &info);
}

void UnRegisterClass(const TClassInfo& info) {
  TRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  const auto found = registry.classes.find(KeyOf(info.name));
  if (found != registry.classes.end() && found->second == &info) registry.classes.erase(found);
}

const TClassInfo* FindClass(std::string_view name) {
  TRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  const auto found = registry.classes.find(KeyOf(name));
  return found == registry.classes.end() ? nullptr : found->second;
}

}  // namespace kb
