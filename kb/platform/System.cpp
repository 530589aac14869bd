#include "kb/platform/System.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "kb/platform/Files.h"

#ifndef _WIN32
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>
#endif

namespace kb {
namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

#ifndef _WIN32

// The value of a line KEY=value or KEY="value" of the system's description of itself; empty without one.
std::string ReleaseEntry(std::string_view key) {
  std::ifstream file("/etc/os-release");
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != '=') continue;
    std::string value = line.substr(key.size() + 1);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    return value;
  }
  return {};
}

std::string ArchitectureName(std::string_view machine) {
  if (machine == "x86_64" || machine == "amd64") return "IntelX64";
  if (machine == "aarch64" || machine == "arm64") return "ARM64";
  if (machine.starts_with("arm")) return "ARM32";
  if (machine.size() == 4 && machine.starts_with("i") && machine.ends_with("86")) return "IntelX86";
  return std::string(machine);
}

TOSVersion ReadVersion() {
  TOSVersion version;
  utsname system{};
  if (uname(&system) != 0) return version;
  const std::string_view name = system.sysname;
  version.platform = name == "Darwin" ? "MacOS" : std::string(name);
  version.architecture = ArchitectureName(system.machine);
  version.name = ReleaseEntry("PRETTY_NAME");
  if (version.name.empty()) version.name = std::string(name) + " " + system.release;
  // Up to three numbers with dots between them; a system that numbers otherwise leaves zeros.
  char* rest = system.release;
  for (int* part : {&version.major, &version.minor, &version.build}) {
    char* end = rest;
    *part = static_cast<int>(std::strtol(rest, &end, 10));
    if (end == rest || *end != '.') break;
    rest = end + 1;
  }
  return version;
}

std::string RecordedHome() {
  const passwd* user = getpwuid(getuid());
  return user == nullptr || user->pw_dir == nullptr ? std::string() : std::string(user->pw_dir);
}

constexpr const char* kHomeVariable = "HOME";

#else

TOSVersion ReadVersion() {
  TOSVersion version;
  version.name = version.platform = "Windows";
#if defined(_M_ARM64)
  version.architecture = "ARM64";
#elif defined(_M_X64)
  version.architecture = "IntelX64";
#else
  version.architecture = "IntelX86";
#endif
  return version;
}

std::string RecordedHome() { return Variable("HOMEDRIVE") + Variable("HOMEPATH"); }

constexpr const char* kHomeVariable = "USERPROFILE";

#endif

}  // namespace

const TOSVersion& GetOSVersion() {
  static const TOSVersion version = ReadVersion();
  return version;
}

std::string GetHomePath() {
  const std::string home = Variable(kHomeVariable);
  return home.empty() ? RecordedHome() : home;
}

std::string GetDocumentsPath() { return files::PathText(files::PathOf(GetHomePath()) / "Documents"); }

std::string GetTempPath() {
  std::error_code error;
  std::filesystem::path path = std::filesystem::temp_directory_path(error);
  if (error) path = "/tmp";
  return files::PathText(path.has_filename() ? path : path.parent_path());
}

}  // namespace kb
