#include "apps/kbsh/Options.h"

#include <array>
#include <utility>

namespace kbsh {
namespace {

constexpr std::array<std::pair<std::string_view, kb::TConstructWatches>, 7> kWatchWords{{
    {"all", kb::KBAllWatches},
    {"activations", {kb::cwActivation}},
    {"compilations", {kb::cwCompilation}},
    {"facts", {kb::cwFact}},
    {"focus", {kb::cwFocus}},
    {"rules", {kb::cwRule}},
    {"statistics", {kb::cwStatistics}},
}};

constexpr std::string_view kHelp =
    "Usage: kbsh [OPTION]... [FILE]...\n"
    "Runs rule programs.\n"
    "\n"
    "Each FILE is read in order and its calls are run as they are met; then each TEXT. Without FILE and "
    "TEXT,\n"
    "standard input is read: from a terminal expression by expression, with a prompt, going on after an "
    "error;\n"
    "otherwise like a file, except that it is taken in line by line. A (read) or (readline) then gets the "
    "line\n"
    "behind the one on which its expression ends.\n"
    "\n"
    "  -e TEXT             run TEXT after the files; may be given several times\n"
    "      --run           reset and run when everything has been read\n"
    "      --watch LIST    trace from the start: words of activations, compilations, facts, focus, rules,\n"
    "                      statistics, all, with commas between them\n"
    "      --strategy S    depth or breadth: newest or oldest of equally salient activations first\n"
    "      --help          print this help and end\n"
    "      --help-function NAME\n"
    "                      print what the function NAME does and how it is called, and end; the same as a line ?NAME\n"
    "                      at the prompt\n"
    "      --version       print the version and end\n"
    "\n"
    "The standard channel prints to standard output, and reads a line of standard input for each request.\n"
    "The status is 0 at the end and after (exit), 1 after an error, 2 for a wrong command line.\n";

kb::TConstructWatches WatchesOf(std::string_view list) {
  kb::TConstructWatches result;
  while (!list.empty()) {
    const size_t comma = std::min(list.find(','), list.size());
    const std::string_view word = list.substr(0, comma);
    list.remove_prefix(std::min(comma + 1, list.size()));
    const auto* found = kWatchWords.begin();
    while (found != kWatchWords.end() && found->first != word) ++found;
    if (found == kWatchWords.end()) throw TUsageError("cannot watch '" + std::string(word) + "'");
    result += found->second;
  }
  return result;
}

kb::TSearchStrategy StrategyOf(std::string_view word) {
  if (word == "depth") return kb::ssDepthFirst;
  if (word == "breadth") return kb::ssBreadthFirst;
  throw TUsageError("unknown strategy '" + std::string(word) + "'");
}

// Walks over the arguments and applies each to the options.
class TReader {
 public:
  explicit TReader(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  TOptions Read() {
    while (next_ < arguments_.size()) {
      const std::string& argument = arguments_[next_++];
      if (filesOnly_ || argument.size() < 2 || argument[0] != '-') {
        options_.files.push_back(argument);
      } else if (argument == "--") {
        filesOnly_ = true;
      } else {
        ReadOption(argument);
      }
    }
    return std::move(options_);
  }

 private:
  void ReadOption(std::string_view argument) {
    const size_t equals = argument.find('=');
    name_ = argument.substr(0, equals);
    value_.reset();
    if (equals != std::string_view::npos && argument.substr(0, 2) == "--") value_ = argument.substr(equals + 1);
    if (name_ == "-e") {
      options_.texts.emplace_back(Value());
    } else if (name_ == "--watch") {
      options_.watch += WatchesOf(Value());
    } else if (name_ == "--help-function") {
      options_.helpFunction = Value();
    } else if (name_ == "--strategy") {
      options_.strategy = StrategyOf(Value());
    } else {
      ReadFlag(argument);
    }
  }

  void ReadFlag(std::string_view argument) {
    if (argument == "--run") {
      options_.run = true;
    } else if (argument == "--help") {
      options_.help = true;
    } else if (argument == "--version") {
      options_.version = true;
    } else {
      throw TUsageError("unknown option '" + std::string(argument) + "'");
    }
  }

  // The value of the present option: behind "=", or the next argument whatever it looks like.
  std::string_view Value() {
    if (value_) return *value_;
    if (next_ >= arguments_.size()) throw TUsageError("option '" + std::string(name_) + "' needs a value");
    return arguments_[next_++];
  }

  const std::vector<std::string>& arguments_;
  size_t next_ = 0;
  bool filesOnly_ = false;
  std::string_view name_;
  std::optional<std::string_view> value_;
  TOptions options_;
};

}  // namespace

TOptions ParseOptions(const std::vector<std::string>& arguments) { return TReader(arguments).Read(); }

std::string_view HelpText() noexcept { return kHelp; }

}  // namespace kbsh
