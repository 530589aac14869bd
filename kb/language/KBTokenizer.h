// The tokenizer: text of the rule language to tokens.
//
// The reader takes one whole top-level expression ahead, from its first token to the parenthesis that
// balances it, and hands out tokens from there. Putting tokens back is therefore free, for any number of
// them, and after an error the rest of the faulty expression can be dropped without looking at its structure.
// Nothing behind the expression is read, so that a dialogue is answered at the end of each input.
//
// Each token carries the white space and the comments before it; that is how comments come to calls and patterns.
// The text that messages show, the tokens handed out so far, is only built when somebody asks for it.
//
// Cost: linear in the text. Tested in tests/language/TokenizerTest.cpp.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/common/TextStream.h"
#include "kb/language/KBStreamToken.h"

namespace kb {

/// A text stream that also gives tokens. It belongs to one thread at a time, serves one text and is never rewound.
class TKBTokenizerStream : public TGTextStream {
 public:
  using TGTextStream::TGTextStream;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// The engine that made the stream; it numbers the anonymous variables. Null: the stream numbers them itself.
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  void SetEngine(TInferenceEngine* engine) noexcept { engine_ = engine; }

  /// Forgets the tokens read ahead and the expression text.
  virtual void Clear() = 0;
  /// Drops what is left of the line on which the current token ended, tokens read ahead included. A line that the
  /// token itself used up is not followed by another one. Without a token: drops the rest of the present line.
  virtual void DiscardUntilEOL() = 0;
  /// Drops the rest of the top-level expression of which tokens have been handed out.
  virtual void MoveToNextConstruct() = 0;
  /// The next token; at the end of the text one of class dtNone, as often as asked. Raises EKBParseException
  /// "Invalid string value, string was not terminated".
  [[nodiscard]] virtual IStreamToken NextToken() = 0;
  /// The next NextToken gives this token. Any number may be put back, in reverse order of reading.
  virtual void PutBackToken(const IStreamToken& token) = 0;
  /// The head word of the expression whose "(" comes next, without consuming anything; empty for a head that
  /// is no word. When something else than "(" comes next, that token is consumed and the result is empty.
  [[nodiscard]] virtual TKBText Head() = 0;

  /// The token handed out or put back last; reads one if there was none.
  [[nodiscard]] virtual IStreamToken GetCurrentToken() = 0;
  /// The tokens handed out of the present expression, each followed by a blank, line by line.
  [[nodiscard]] virtual std::string ToString() const = 0;

  /// Line of the character that comes next, from 1.
  [[nodiscard]] int GetLineNumber() const noexcept { return lineNumber_; }
  /// Lets a text start at another line.
  void SetLineNumber(int value) noexcept { lineNumber_ = value; }

 protected:
  int lineNumber_ = 1;

 private:
  TInferenceEngine* engine_ = nullptr;
};

/// The reader of the language.
class TKBClipsStream : public TKBTokenizerStream {
 public:
  using TKBTokenizerStream::TKBTokenizerStream;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  void Clear() override;
  void DiscardUntilEOL() override;
  void MoveToNextConstruct() override;
  [[nodiscard]] IStreamToken NextToken() override;
  void PutBackToken(const IStreamToken& token) override;
  [[nodiscard]] TKBText Head() override;
  [[nodiscard]] IStreamToken GetCurrentToken() override;
  [[nodiscard]] std::string ToString() const override;

  // Characters: as in the base class, counting lines. CR, LF and CR LF are one line end each.
  char32_t GetChar() override;
  void PutBack(char32_t c) override;
  bool SkipInLineSpaces() override;
  [[nodiscard]] bool IsEof() override;

 protected:
  /// Reads one token from the characters. What is read ahead keeps all of it but the tag.
  [[nodiscard]] virtual IStreamToken BuildNextToken();
  /// Makes the token of a text. `kind` is the character of a punctuation token, '"' for a string, 0 for
  /// anything that has to be classified, -1 for the same at the end of the text. Raises EKBParseException
  /// "Invalid Token hint for parsing token: %s" for another one.
  [[nodiscard]] virtual IStreamToken FinishToken(int kind, std::string_view text);

 private:
  /// A token that was read ahead. An expression may be a whole file of facts, so these are kept small.
  struct TAhead {
    double number;
    TKBText text;
    TKBWhitespace whitespace;
    int dataType;
    int lineNumber;
  };
  /// One piece of the expression text.
  struct TSpelled {
    IStreamToken token;
    bool newLine;  // CR LF goes before it
    void AppendTo(std::string& text) const;
  };

  [[nodiscard]] bool HasTokens() const noexcept { return !putBack_.empty() || nextAhead_ < ahead_.size(); }
  [[nodiscard]] IStreamToken TakeToken();
  void PrepareSExp();
  void DropAhead() noexcept;
  [[nodiscard]] IStreamToken BuildAtom(char32_t first);
  void ReadString();
  void SkipComment();
  void Append(char32_t c);
  [[nodiscard]] IStreamToken Classify(std::string_view text);
  [[nodiscard]] TKBText MakeText(std::string_view text);
  void TakeWhitespace(TKBStreamToken& token, bool keep);
  [[nodiscard]] TKBText BlankName(std::string_view prefix);
  void PassGeneratedName(std::string_view name);
  [[nodiscard]] const TKBText& Punctuation(int kind);
  void CountParenthesis(int dataType, int step) noexcept;
  void CutSpelled(const IStreamToken& token);
  void FlushSpelled(size_t count);
  void ReadToLineEnd();
  void SwallowLineFeed();

  std::vector<IStreamToken> putBack_;  // handed out before anything else, the next one last
  std::vector<TAhead> ahead_;          // the expression that was read ahead, in its order
  size_t nextAhead_ = 0;               // the first of them not yet handed out
  std::vector<TSpelled> spelled_;      // the last pieces of the expression text, behind spelledHead_
  std::string spelledHead_;
  IStreamToken current_;
  int depth_ = 0;  // parentheses open among the tokens handed out
  std::string buffer_;
  std::shared_ptr<std::string> whitespace_ = std::make_shared<std::string>();
  char32_t previous_ = 0;
  char32_t character_ = 0;
  bool swallowLineFeed_ = false;  // the line was dropped up to its CR: an LF that follows belongs to it
  int blankIndex_ = 0;            // numbers anonymous variables when there is no engine
  std::vector<TKBText> punctuation_;
  std::vector<TKBText> texts_;  // recent texts by hash: equal words share their characters
  size_t textCount_ = 0;
};

}  // namespace kb
