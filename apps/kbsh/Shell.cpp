#include "apps/kbsh/Shell.h"

#include <exception>
#include <istream>
#include <ostream>

#include "kb/common/Helpers.h"
#include "kb/language/KBTokenizer.h"
#include "kb/platform/Exceptions.h"

namespace kbsh {
namespace {

constexpr std::string_view kPrompt = "kb> ";
constexpr std::string_view kContinuation = "  > ";

// Has the parser read another stream for the time of a scope.
class TParserSource {
 public:
  TParserSource(kb::TKBParser& parser, kb::TKBTokenizerStream& stream) : parser_(parser), saved_(parser.GetStream()) {
    parser_.SetStream(&stream);
  }
  TParserSource(const TParserSource&) = delete;
  TParserSource& operator=(const TParserSource&) = delete;
  ~TParserSource() { parser_.SetStream(saved_); }

 private:
  kb::TKBParser& parser_;
  kb::TKBTokenizerStream* saved_;
};

}  // namespace

TShell::TShell(std::istream& in, std::ostream& out, std::ostream& err, bool interactive)
    : in_(in), out_(out), err_(err), interactive_(interactive) {
  ConnectChannel();
}

void TShell::ConnectChannel() {
  engine_.OnPrintOut = [this](kb::TInferenceEngine&, std::string_view, std::string_view text) {
    if (text.find('\r') == std::string_view::npos) {
      out_ << text;
    } else {
      out_ << kb::ReplaceAll(text, kb::kLineEnd, "\n");
    }
  };
  engine_.OnReadLine = [this](kb::TInferenceEngine&, std::string_view, std::string& line) { ReadInputLine(line); };
  engine_.OnReadToken = [this](kb::TInferenceEngine& engine, std::string_view, kb::IStreamToken& token) {
    std::string line;
    ReadInputLine(line);
    // An empty text gives the token of its end, which is also what the end of the input gives.
    kb::TKBClipsStream stream(line);
    stream.SetEngine(&engine);
    token = stream.NextToken();
  };
}

int TShell::Run(const TOptions& options) {
  int status = 0;
  try {
    RunAll(options);
  } catch (const kb::EAbort&) {
    status = 0;
  } catch (const std::exception& error) {
    Report(error.what());
    status = 1;
  }
  out_.flush();
  return status;
}

void TShell::RunAll(const TOptions& options) {
  where_ = "kbsh";
  engine_.SetWatch(options.watch);
  if (options.strategy) engine_.SetStrategy(*options.strategy);
  for (const std::string& file : options.files) {
    where_ = file;
    engine_.LoadFromFile(file);
  }
  for (const std::string& text : options.texts) {
    where_ = "-e";
    engine_.Parse(text, true);
  }
  if (!options.helpFunction.empty()) {
    where_ = "help";
    const std::string help = HelpOn(options.helpFunction);
    if (help.empty()) throw kb::EKBException(kb::TKBMessage::UnknownConstructName, {"function", options.helpFunction});
    out_ << help;
    return;
  }
  if (options.files.empty() && options.texts.empty()) ReadInput();
  if (!options.run) return;
  where_ = "run";
  engine_.Reset();
  engine_.Run();
}

void TShell::ReadInput() {
  where_ = "stdin";
  if (interactive_) return Converse();
  // A line at a time, so that a call that reads gets the lines behind its own.
  kb::TKBClipsStream stream(in_, nullptr, kb::trLines);
  stream.SetEngine(&engine_);
  source_ = &stream;
  const TParserSource scope(engine_.GetParser(), stream);
  try {
    engine_.GetParser().Parse(true);
  } catch (...) {
    source_ = nullptr;
    throw;
  }
  source_ = nullptr;
}

void TShell::Converse() {
  std::string text;
  while (GatherExpression(text)) {
    try {
      if (!AnswerHelp(text)) engine_.Parse(text, true);
    } catch (const kb::EAbort&) {
      throw;
    } catch (const std::exception& error) {
      Report(error.what());
    }
  }
  out_ << '\n';
}

// What is known of a function or of the keyword of a construct; nothing when there is none of that name.
std::string TShell::HelpOn(std::string_view name) {
  kb::TKBParser& parser = engine_.GetParser();
  std::string help;
  kb::Ref<kb::IUserFunction> function;
  if (engine_.ContainsUserFunction(name, function)) {
    help = engine_.PrettyPrint(*function);
  } else if (!name.empty()) {
    help = parser.PrettyPrint(parser.FindConstructType(name));
  }
  help = kb::ReplaceAll(help, kb::kLineEnd, "\n");
  if (!help.empty() && help.back() != '\n') help += '\n';
  return help;
}

// "?name" asks for help, unless nothing bears the name: then it may be a variable.
bool TShell::AnswerHelp(std::string_view text) {
  const std::string_view line = kb::Trim(text);
  if (!line.starts_with('?')) return false;
  const std::string help = HelpOn(line.substr(1));
  out_ << help;
  return !help.empty();
}

bool TShell::GatherExpression(std::string& text) {
  text.clear();
  std::string line;
  do {
    out_ << (text.empty() ? kPrompt : kContinuation) << std::flush;
    if (!ReadInputLine(line)) return !text.empty();
    text += line + "\n";
  } while (!IsComplete(text));
  return true;
}

bool TShell::IsComplete(const std::string& text) {
  // The tokenizer of the language decides what is inside a string or a comment.
  kb::TKBClipsStream stream(text);
  int depth = 0;
  try {
    while (true) {
      const kb::IStreamToken token = stream.NextToken();
      if (token->IsEof()) return depth <= 0;
      if (token->Is(kb::kTokenOpen)) ++depth;
      if (token->Is(kb::kTokenClose)) --depth;
    }
  } catch (const kb::EException&) {
    return false;  // the one thing that a tokenizer refuses is a string that has not ended
  }
}

bool TShell::ReadInputLine(std::string& line) {
  out_.flush();
  line.clear();
  if (!std::getline(in_, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (source_ != nullptr) source_->SetLineNumber(source_->GetLineNumber() + 1);
  return true;
}

void TShell::Report(std::string_view message) {
  out_.flush();
  err_ << "kbsh: " << where_ << ": " << kb::ReplaceAll(message, kb::kLineEnd, "\n") << '\n' << std::flush;
}

}  // namespace kbsh
