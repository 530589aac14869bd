// The shell: an engine on standard input and output.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "apps/kbsh/Options.h"
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"

namespace kbsh {

/// An engine whose plots end their lines: output here is one stream of text.
class TShellEngine final : public kb::TInferenceEngine {
 public:
  void PrintLine(std::string_view outId, std::string_view line) override {
    PrintOut(outId, std::string(line) + std::string(kb::kLineEnd));
  }
};

/// Runs one command line. The streams must outlive the shell.
class TShell {
 public:
  /// `interactive`: the input is a terminal, which is prompted.
  TShell(std::istream& in, std::ostream& out, std::ostream& err, bool interactive);
  TShell(const TShell&) = delete;
  TShell& operator=(const TShell&) = delete;

  /// Does what the options ask for and gives the exit status: 0, or 1 after an exception, which has been printed.
  int Run(const TOptions& options);

 private:
  void ConnectChannel();
  void RunAll(const TOptions& options);
  void ReadInput();
  void Converse();
  [[nodiscard]] std::string HelpOn(std::string_view name);
  bool AnswerHelp(std::string_view text);
  bool GatherExpression(std::string& text);
  bool IsComplete(const std::string& text);
  bool ReadInputLine(std::string& line);
  void Report(std::string_view message);

  std::istream& in_;
  std::ostream& out_;
  std::ostream& err_;
  bool interactive_;
  std::string_view where_;                    // what is being read or run, for messages
  kb::TKBTokenizerStream* source_ = nullptr;  // standard input while it is read like a file
  TShellEngine engine_;
};

}  // namespace kbsh
