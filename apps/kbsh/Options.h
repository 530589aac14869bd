// What the command line of the shell asks for.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kb/values/KBTypes.h"

namespace kbsh {

struct TOptions {
  std::vector<std::string> files;
  std::vector<std::string> texts;
  bool run = false;
  kb::TConstructWatches watch;
  std::optional<kb::TSearchStrategy> strategy;
  std::string helpFunction;  // a name to tell of
  bool help = false;
  bool version = false;
};

/// A command line that the shell does not understand; what() says why.
class TUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads the arguments behind the program's name. Files and options may come in any order; "--" ends the
/// options, and a long option takes its value as the next argument or behind "=". Raises TUsageError.
[[nodiscard]] TOptions ParseOptions(const std::vector<std::string>& arguments);

/// What --help prints.
[[nodiscard]] std::string_view HelpText() noexcept;

}  // namespace kbsh
