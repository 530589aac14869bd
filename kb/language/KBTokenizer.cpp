#include "kb/language/KBTokenizer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "kb/common/Hash.h"
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBParser.h"
#include "kb/values/KBConsts.h"

namespace kb {

namespace {

constexpr char32_t kLineFeed = U'\n';
constexpr char32_t kReturn = U'\r';
constexpr int kKindEnd = -1;
constexpr int kKindText = 0;
constexpr int kKindString = '"';
constexpr std::array<int, 8> kPunctuation = {kTokenAmpersand,   kTokenOpen,         kTokenClose, kTokenEquals,
                                             kTokenOpenBracket, kTokenCloseBracket, kTokenPipe,  kTokenTilde};
constexpr size_t kTextTable = 256;    // a power of two
constexpr size_t kTextTableMin = 32;  // texts seen before the table pays
constexpr size_t kSharedTextMax = 40;
constexpr size_t kMaxSpelled = 2048;  // tokens kept so that they can be put back cheaply

constexpr bool EndsAtom(char32_t c) {
  switch (c) {
    case U'"':
    case U'&':
    case U'(':
    case U')':
    case U';':
    case U'<':
    case U'[':
    case U']':
    case U'|':
    case U'~':
      return true;
    default:
      return false;
  }
}

constexpr bool IsPunctuation(char32_t c) {
  return std::any_of(kPunctuation.begin(), kPunctuation.end(),
                     [c](int kind) { return static_cast<char32_t>(kind) == c; });
}

/// Only an atom or a variable can end in white space, by way of a backslash.
bool EndsInSpace(const TKBStreamToken& token) {
  if (token.Is(dtString)) return false;
  const std::string_view text = token.GetText().View();
  return !text.empty() && static_cast<unsigned char>(text.back()) <= ' ';
}

}  // namespace

const TClassInfo& TKBTokenizerStream::StaticClass() noexcept {
  static const TClassInfo info{"TKBTokenizerStream", &TGTextStream::StaticClass()};
  return info;
}

const TClassInfo& TKBClipsStream::StaticClass() noexcept {
  static const TClassInfo info{"TKBClipsStream", &TKBTokenizerStream::StaticClass()};
  return info;
}

// Characters.

char32_t TKBClipsStream::GetChar() {
  if (swallowLineFeed_) SwallowLineFeed();
  previous_ = character_;
  const char32_t c = ReadChar();
  if (c == kReturn || (c == kLineFeed && previous_ != kReturn)) ++lineNumber_;
  character_ = c;
  return c;
}

// The character before the last is known, which is enough to count the line end again when it comes back.
void TKBClipsStream::PutBack(char32_t c) {
  TKBTokenizerStream::PutBack(c);
  if (c == kReturn || (c == kLineFeed && previous_ != kReturn)) --lineNumber_;
  character_ = previous_;
}

bool TKBClipsStream::IsEof() {
  if (swallowLineFeed_) SwallowLineFeed();
  return TKBTokenizerStream::IsEof();
}

void TKBClipsStream::SwallowLineFeed() {
  swallowLineFeed_ = false;
  const char32_t c = ReadChar();
  if (HitEnd()) return;
  if (c == kLineFeed) {
    character_ = c;
  } else {
    TKBTokenizerStream::PutBack(c);
  }
}

bool TKBClipsStream::SkipInLineSpaces() {
  for (;;) {
    const char32_t c = GetChar();
    if (HitEnd()) return false;
    if (c > U' ') {
      PutBack(c);
      return false;
    }
    *whitespace_ += static_cast<char>(c);
    if (c == kLineFeed) return true;
    if (c != kReturn) continue;
    const char32_t next = GetChar();
    if (HitEnd()) return true;
    if (next == kLineFeed) {
      *whitespace_ += '\n';
    } else {
      PutBack(next);
    }
    return true;
  }
}

void TKBClipsStream::ReadToLineEnd() {
  for (;;) {
    const char32_t c = GetChar();
    if (HitEnd() || c == kLineFeed) return;
    if (c == kReturn) {
      // Asking for the LF now could wait for a line that nobody has typed yet.
      swallowLineFeed_ = true;
      return;
    }
  }
}

// Making tokens.

// A comment goes to the end of its line and into the white space of the token behind it. Anything that is
// neither punctuation nor a string is an atom at first; Classify tells variables and numbers.
IStreamToken TKBClipsStream::BuildNextToken() {
  for (;;) {
    buffer_.clear();
    while (SkipInLineSpaces()) {
    }
    const char32_t c = GetChar();
    if (HitEnd()) return FinishToken(kKindEnd, buffer_);
    if (c == U';') {
      SkipComment();
      continue;
    }
    if (c == U'"') {
      ReadString();
      return FinishToken(kKindString, buffer_);
    }
    if (!IsPunctuation(c)) return BuildAtom(c);
    Append(c);
    return FinishToken(static_cast<int>(c), buffer_);
  }
}

void TKBClipsStream::SkipComment() {
  *whitespace_ += ';';
  *whitespace_ += GetLine();
  *whitespace_ += kLineEnd;
}

// White space, a quote, a comment and most punctuation end an atom, but not "="; so a=b is one atom, ?x<-(a)
// is variable, arrow and parenthesis. A backslash takes the character behind it in, whatever it is, unless it
// is the first: then it is itself.
IStreamToken TKBClipsStream::BuildAtom(char32_t first) {
  Append(first);
  for (;;) {
    const int line = lineNumber_;
    const char32_t c = GetChar();
    if (HitEnd()) return FinishToken(kKindText, buffer_);
    if (c <= U' ') {
      *whitespace_ += static_cast<char>(c);
      // The token belongs to the line on which it ended, even if its end was the line's.
      const int after = std::exchange(lineNumber_, line);
      IStreamToken token = FinishToken(kKindText, buffer_);
      lineNumber_ = after;
      return token;
    }
    if (EndsAtom(c)) {
      PutBack(c);
      return FinishToken(kKindText, buffer_);
    }
    if (c != U'\\') {
      Append(c);
      continue;
    }
    const char32_t escaped = GetChar();
    if (HitEnd()) return FinishToken(kKindEnd, buffer_);
    Append(escaped);
  }
}

// A backslash gives the character behind it, so that quotes and backslashes can stand in a string; there are
// no further escapes. Line ends are kept.
void TKBClipsStream::ReadString() {
  const int begin = lineNumber_;
  for (;;) {
    char32_t c = GetChar();
    if (!HitEnd() && c == U'"') return;
    if (!HitEnd() && c == U'\\') c = GetChar();
    if (HitEnd()) {
      // Where it begins is of more use than the end of the text.
      throw EKBParseException(TKBMessage::UnterminatedString, FormatMessage(TKBMessage::UnterminatedString), begin);
    }
    Append(c);
  }
}

void TKBClipsStream::Append(char32_t c) {
  if (c < 0x80) {
    buffer_ += static_cast<char>(c);
  } else {
    AppendCodePoint(buffer_, c);
  }
}

IStreamToken TKBClipsStream::FinishToken(int kind, std::string_view text) {
  IStreamToken token;
  bool keepWhitespace = false;
  if (kind == kKindText || (kind == kKindEnd && !text.empty())) {
    token = Classify(text);
    keepWhitespace = token->IsVariable() || (text.size() == 1 && IsNumberSymbol(static_cast<unsigned char>(text[0])));
  } else if (kind == kKindEnd) {
    token = MakeRef<TKBStreamToken>(dtNone, lineNumber_, MakeText("EOF"));
  } else if (kind == kKindString) {
    token = MakeRef<TKBStreamToken>(dtString, lineNumber_, MakeText(text));
  } else if (std::find(kPunctuation.begin(), kPunctuation.end(), kind) != kPunctuation.end()) {
    token = MakeRef<TKBStreamToken>(kind, lineNumber_, Punctuation(kind));
  } else {
    throw EKBParseException(TKBMessage::InvalidTokenHint,
                            FormatMessage(TKBMessage::InvalidTokenHint, {IntegerToString(kind)}), lineNumber_);
  }
  TakeWhitespace(*token, keepWhitespace);
  return token;
}

// A row of variables gathers white space from token to token; the tokens of a long row share one text, so
// that the cost stays linear.
void TKBClipsStream::TakeWhitespace(TKBStreamToken& token, bool keep) {
  if (whitespace_->size() <= kSharedTextMax) {
    token.SetWhitespace(MakeText(*whitespace_));
  } else {
    token.SetWhitespace(TKBWhitespace(whitespace_, whitespace_->size()));
  }
  if (keep) return;
  if (whitespace_.use_count() == 1) {
    whitespace_->clear();
  } else {
    whitespace_ = std::make_shared<std::string>();
  }
}

// What converts as a 32-bit integer is one; what converts as a number otherwise is a float, so 3000000000 is
// one too; what looks like a number and is none, such as 1-2, stays an atom.
IStreamToken TKBClipsStream::Classify(std::string_view text) {
  if (text[0] == '?') {
    TKBText name = text.size() == 1 ? BlankName(SBlankPrefix) : MakeText(text.substr(1));
    if (text.size() > 1 && text[1] == '_') PassGeneratedName(text.substr(1));
    return MakeRef<TKBStreamToken>(dtVariable, lineNumber_, std::move(name));
  }
  if (text.starts_with("$?")) {
    TKBText name = text.size() == 2 ? BlankName(SBlankMulti) : MakeText(text.substr(2));
    if (text.size() > 2 && text[2] == '_') PassGeneratedName(text.substr(2));
    return MakeRef<TKBStreamToken>(dtMultiVariable, lineNumber_, std::move(name));
  }
  const auto first = static_cast<char32_t>(static_cast<unsigned char>(text[0]));
  if (IsNumberChar(first) && !(text.size() == 1 && IsNumberSymbol(first))) {
    if (const auto integer = ParseInteger(text)) {
      return MakeRef<TKBStreamToken>(dtInteger, lineNumber_, TKBText(), static_cast<double>(*integer));
    }
    if (const auto number = ParseFloat(text)) {
      return MakeRef<TKBStreamToken>(dtFloat, lineNumber_, TKBText(), *number);
    }
  }
  return MakeRef<TKBStreamToken>(dtAtom, lineNumber_, MakeText(text));
}

TKBText TKBClipsStream::MakeText(std::string_view text) {
  // Facts and rules say the same words over and over: one copy of the characters serves all of them.
  if (text.empty()) return TKBText();
  if (text.size() > kSharedTextMax || ++textCount_ < kTextTableMin) return TKBText(text);
  if (texts_.empty()) texts_.resize(kTextTable);
  TKBText& shared = texts_[static_cast<uint32_t>(CalculateHash(text)) & (kTextTable - 1)];
  if (shared.View() != text) shared = TKBText(text);
  return shared;
}

const TKBText& TKBClipsStream::Punctuation(int kind) {
  if (punctuation_.empty()) punctuation_.resize(kPunctuation.size());
  const auto index = std::find(kPunctuation.begin(), kPunctuation.end(), kind) - kPunctuation.begin();
  TKBText& text = punctuation_[static_cast<size_t>(index)];
  if (text.Empty()) text = TKBText(std::string(1, static_cast<char>(kind)));
  return text;
}

TKBText TKBClipsStream::BlankName(std::string_view prefix) {
  if (GetEngine() != nullptr) return TKBText(GetEngine()->GenerateSymbol(prefix));
  return TKBText(std::string(prefix) + IntegerToString(blankIndex_++));
}

// A printed rule shows the names that were made for it. Names that are made from now on differ from this one.
void TKBClipsStream::PassGeneratedName(std::string_view name) {
  for (const std::string_view prefix : {SBlankMulti, SBlankPrefix, SEqStarPrefix, SFactPrefix}) {
    const size_t at = name.find(prefix);  // some have the number of their pattern in front
    if (at == std::string_view::npos) continue;
    const auto number = ParseInteger(name.substr(at + prefix.size()));
    if (!number || *number < 0 || *number == INT32_MAX) return;
    if (GetEngine() != nullptr) {
      if (GetEngine()->GetSymbolIndex() <= *number) GetEngine()->SetSymbolIndex(*number + 1);
    } else {
      blankIndex_ = std::max(blankIndex_, *number + 1);
    }
    return;
  }
}

// Handing them out.

void TKBClipsStream::CountParenthesis(int dataType, int step) noexcept {
  if (dataType == kTokenOpen) depth_ += step;
  if (dataType == kTokenClose) depth_ -= step;
}

void TKBClipsStream::DropAhead() noexcept {
  ahead_.clear();
  nextAhead_ = 0;
}

// Reads one expression: a single token, or all from a parenthesis to the one that balances it. A closing
// parenthesis at the start is balanced by a later opening one, or by the end of the text.
void TKBClipsStream::PrepareSExp() {
  spelledHead_.clear();
  spelled_.clear();
  DropAhead();
  int depth = 0;
  try {
    do {
      const IStreamToken token = BuildNextToken();
      ahead_.push_back(
          {token->GetNumber(), token->GetText(), token->Whitespace(), token->GetDataType(), token->GetLineNumber()});
      if (token->IsEof()) break;
      if (token->Is(kTokenOpen)) ++depth;
      if (token->Is(kTokenClose)) --depth;
    } while (depth != 0);
  } catch (...) {
    DropAhead();  // an expression is taken whole or not at all
    throw;
  }
}

IStreamToken TKBClipsStream::TakeToken() {
  if (!putBack_.empty()) {
    IStreamToken token = std::move(putBack_.back());
    putBack_.pop_back();
    return token;
  }
  TAhead& ahead = ahead_[nextAhead_++];
  IStreamToken token = MakeRef<TKBStreamToken>(ahead.dataType, ahead.lineNumber, std::move(ahead.text), ahead.number);
  token->SetWhitespace(std::move(ahead.whitespace));
  return token;
}

IStreamToken TKBClipsStream::NextToken() {
  if (!HasTokens()) PrepareSExp();
  IStreamToken token = TakeToken();
  if (spelled_.size() == kMaxSpelled) FlushSpelled(kMaxSpelled / 2);
  spelled_.push_back({token, current_ && current_->GetLineNumber() < token->GetLineNumber()});
  current_ = token;
  CountParenthesis(token->GetDataType(), 1);
  return token;
}

void TKBClipsStream::PutBackToken(const IStreamToken& token) {
  RequireObject(token, "token");
  CutSpelled(token);
  putBack_.push_back(token);
  current_ = token;
  CountParenthesis(token->GetDataType(), -1);
}

/// Turns the first pieces of the expression text into characters.
void TKBClipsStream::FlushSpelled(size_t count) {
  const auto end = spelled_.begin() + static_cast<std::ptrdiff_t>(count);
  for (auto piece = spelled_.begin(); piece != end; ++piece) piece->AppendTo(spelledHead_);
  spelled_.erase(spelled_.begin(), end);
}

void TKBClipsStream::TSpelled::AppendTo(std::string& text) const {
  if (newLine) text += kLineEnd;
  token->AppendTo(text);
  text += ' ';
}

/// Takes the spelling of a token off the end of the expression text; what is left ends in exactly one blank.
void TKBClipsStream::CutSpelled(const IStreamToken& token) {
  const bool last = !spelled_.empty() && spelled_.back().token == token;
  if (last) {
    spelled_.pop_back();
    if (!spelled_.empty() && !EndsInSpace(*spelled_.back().token)) return;
  }
  FlushSpelled(spelled_.size());
  if (!last) {
    const size_t length = token->ToString().size() + 1;
    spelledHead_.resize(spelledHead_.size() - std::min(spelledHead_.size(), length));
  }
  spelledHead_.resize(TrimRight(spelledHead_).size());
  spelledHead_ += ' ';
}

TKBText TKBClipsStream::Head() {
  const IStreamToken open = NextToken();
  if (!open->Is(kTokenOpen) || !HasTokens()) return TKBText();
  const IStreamToken word = NextToken();
  PutBackToken(word);
  PutBackToken(open);
  switch (word->GetDataType()) {
    case dtAtom:
    case dtVariable:
    case kTokenEquals:
      return word->GetText();
    default:
      return TKBText();
  }
}

void TKBClipsStream::MoveToNextConstruct() {
  while (depth_ != 0) {
    if (NextToken()->IsEof()) depth_ = 0;
  }
}

void TKBClipsStream::DiscardUntilEOL() {
  if (!current_) {
    ReadToLineEnd();
    return;
  }
  const int line = current_->GetLineNumber();
  for (; !putBack_.empty(); putBack_.pop_back()) {
    if (putBack_.back()->GetLineNumber() > line) return;
    CountParenthesis(putBack_.back()->GetDataType(), 1);
  }
  for (; nextAhead_ < ahead_.size(); ++nextAhead_) {
    if (ahead_[nextAhead_].lineNumber > line) return;
    CountParenthesis(ahead_[nextAhead_].dataType, 1);
  }
  if (lineNumber_ == line) {
    ReadToLineEnd();
  } else if (character_ == kReturn) {
    swallowLineFeed_ = true;
  }
}

void TKBClipsStream::Clear() {
  putBack_.clear();
  DropAhead();
  spelled_.clear();
  spelledHead_.clear();
}

IStreamToken TKBClipsStream::GetCurrentToken() {
  if (!current_) return NextToken();
  return current_;
}

std::string TKBClipsStream::ToString() const {
  std::string text = spelledHead_;
  for (const TSpelled& piece : spelled_) piece.AppendTo(text);
  return text;
}

}  // namespace kb
