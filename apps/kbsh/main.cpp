// kbsh: runs rule programs from files, from the command line and from standard input.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include "apps/kbsh/Options.h"
#include "apps/kbsh/Shell.h"
#include "kb/common/Version.h"

namespace {

constexpr int kUsageStatus = 2;

bool IsTerminal() {
#if defined(_WIN32)
  return _isatty(_fileno(stdin)) != 0;
#else
  return isatty(STDIN_FILENO) != 0;
#endif
}

int Main(const std::vector<std::string>& arguments) {
  const kbsh::TOptions options = kbsh::ParseOptions(arguments);
  if (options.help) {
    std::cout << kbsh::HelpText();
    return 0;
  }
  if (options.version) {
    std::cout << "kbsh " << kb::GetLibraryVersion() << '\n';
    return 0;
  }
  kbsh::TShell shell(std::cin, std::cout, std::cerr, IsTerminal());
  return shell.Run(options);
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  try {
    return Main(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  } catch (const kbsh::TUsageError& error) {
    std::cerr << "kbsh: " << error.what() << "\nTry 'kbsh --help'.\n";
    return kUsageStatus;
  } catch (const std::exception& error) {
    std::cerr << "kbsh: " << error.what() << '\n';
    return 1;
  }
}
