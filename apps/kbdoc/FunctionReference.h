// The reference of all functions, made from what the functions tell of themselves and from a file of examples.
//
// The file of examples holds one block for each function:
//
//   == name
//   input
//   --
//   what the input prints in a new engine
//
// Values of calls are printed as the shell does; an error prints as "!" and its message.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace kbdoc {

struct TExample {
  std::string input;
  std::string output;  // lines end with LF, the last one too
};

using TExamples = std::map<std::string, TExample, std::less<>>;

/// Raises std::runtime_error with the line of a block that is not complete or stands twice.
[[nodiscard]] TExamples ReadExamples(std::string_view text);

/// What the input prints in an engine of its own.
[[nodiscard]] std::string RunExample(std::string_view input);

/// The reference in Markdown, functions sorted within their packages.
[[nodiscard]] std::string FunctionReference(const TExamples& examples);

}  // namespace kbdoc
