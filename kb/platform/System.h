// The operating system and its well-known directories.
#pragma once

#include <string>

namespace kb {

/// What is known of the running system; what the platform does not tell is empty or 0.
struct TOSVersion {
  std::string name;          // as users know it, with its version: on Linux the pretty name of the distribution
  std::string architecture;  // "IntelX86", "IntelX64", "ARM32", "ARM64", else the system's own word for it
  std::string platform;      // "Linux", "MacOS", "Windows", else the system's own name
  int major = 0;             // version of the system's kernel, as in 6.1.38: 6,
  int minor = 0;             // 1,
  int build = 0;             // and 38
};

/// The same for the life of the process; worked out at the first call. Safe from any thread.
[[nodiscard]] const TOSVersion& GetOSVersion();

/// The user's home directory: the environment's HOME (USERPROFILE on Windows), else what the system has on record.
[[nodiscard]] std::string GetHomePath();
/// The directory Documents of the home directory; it need not exist.
[[nodiscard]] std::string GetDocumentsPath();
/// Where temporary files go, without separator at the end: the environment's TMPDIR and the like, else /tmp.
[[nodiscard]] std::string GetTempPath();

}  // namespace kb
