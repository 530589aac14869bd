// The form of a component stream for people; see docs/streaming.md.
#include <algorithm>
#include <charconv>

#include "kb/platform/Exceptions.h"
#include "kb/platform/StackGuard.h"
#include "kb/platform/StreamNode.h"

namespace kb::streaming {
namespace {

constexpr std::string_view kHead = "kb-components 1";
constexpr std::string_view kStep = "  ";

// ---- Writing

class TTextWriter {
 public:
  std::string Write(const TNode& root) {
    text_ = std::string(kHead) + "\n";
    WriteNode(root, 0);
    return std::move(text_);
  }

 private:
  void StartLine(int level) {
    for (int i = 0; i < level; ++i) text_ += kStep;
  }

  void WriteNode(const TNode& node, int level) {
    CheckStack();
    StartLine(level);
    text_ += "object " + node.className;
    if (!node.name.empty()) {
      text_ += ' ';
      WriteQuoted(node.name);
    }
    text_ += " #" + std::to_string(node.id) + "\n";
    for (const TNodeProperty& property : node.properties) {
      StartLine(level + 1);
      text_ += property.name + " = ";
      WriteValue(property.value, level + 1);
      text_ += '\n';
    }
    for (const TNode& child : node.children) WriteNode(child, level + 1);
    StartLine(level);
    text_ += "end\n";
  }

  void WriteValue(const TStreamValue& value, int level) {
    CheckStack();
    std::visit([&](const auto& content) { Write(content, level); }, value.Content());
  }
  void Write(bool value, int /*level*/) { text_ += value ? "true" : "false"; }
  void Write(int64_t value, int /*level*/) { text_ += std::to_string(value); }
  void Write(double value, int /*level*/) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    const std::string_view digits(buffer, static_cast<size_t>(result.ptr - buffer));
    text_ += digits;
    if (digits.find_first_of(".en") == std::string_view::npos) text_ += ".0";
  }
  void Write(const TStreamReference& reference, int /*level*/) {
    text_ += '@';
    if (reference.id > 0) {
      text_ += std::to_string(reference.id);
    } else {
      WriteQuoted(reference.outer);
    }
  }
  void Write(const TStreamValue::TList& list, int level) {
    if (list.empty()) {
      text_ += "[]";
      return;
    }
    text_ += "[\n";
    for (const TStreamValue& value : list) {
      StartLine(level + 1);
      WriteValue(value, level + 1);
      text_ += '\n';
    }
    StartLine(level);
    text_ += ']';
  }
  // A text of several lines stands in several pieces.
  void Write(const std::string& value, int level) {
    size_t begin = 0;
    for (;;) {
      const size_t end = std::min(value.find('\n', begin), value.size());
      const size_t stop = std::min(end + 1, value.size());
      WriteQuoted(std::string_view(value).substr(begin, stop - begin));
      begin = stop;
      if (begin >= value.size()) return;
      text_ += '\n';
      StartLine(level + 1);
      text_ += "+ ";
    }
  }

  void WriteQuoted(std::string_view value) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    text_ += '"';
    for (const char c : value) {
      const auto code = static_cast<unsigned char>(c);
      if (c == '"' || c == '\\') {
        text_ += '\\';
        text_ += c;
      } else if (c == '\n') {
        text_ += "\\n";
      } else if (c == '\r') {
        text_ += "\\r";
      } else if (c == '\t') {
        text_ += "\\t";
      } else if (code < 0x20 || code == 0x7F) {
        text_ += "\\x";
        text_ += kDigits[code / 16];
        text_ += kDigits[code % 16];
      } else {
        text_ += c;
      }
    }
    text_ += '"';
  }

  std::string text_;
};

// ---- Reading

constexpr bool IsBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

constexpr bool IsWordChar(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
         c == '+' || c == '-';
}

int HexDigit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

class TTextReader {
 public:
  explicit TTextReader(std::string_view text) : text_(text) {}

  TNode Read() {
    if (text_.starts_with("\xEF\xBB\xBF")) text_.remove_prefix(3);
    if (!text_.starts_with(kHead)) Raise("expected \"" + std::string(kHead) + "\"");
    at_ = kHead.size();
    if (at_ < text_.size() && !IsBlank(text_[at_])) Raise("the version is not known");
    TNode root = ReadNode();
    SkipBlanks();
    if (at_ < text_.size()) Raise("text behind the end of the outermost object");
    return root;
  }

 private:
  [[noreturn]] void Raise(std::string_view what) const { RaiseAt(sfText, line_, what); }

  void SkipBlanks() {
    for (; at_ < text_.size() && IsBlank(text_[at_]); ++at_) line_ += text_[at_] == '\n' ? 1 : 0;
  }
  [[nodiscard]] char Peek() {
    SkipBlanks();
    if (at_ >= text_.size()) Raise("the stream ends in the middle of an object");
    return text_[at_];
  }
  void Expect(char c) {
    if (Peek() != c) Raise(std::string("expected \"") + c + "\"");
    ++at_;
  }
  std::string Word(std::string_view what) {
    SkipBlanks();
    if (at_ >= text_.size()) Raise("the stream ends in the middle of an object");
    const size_t begin = at_;
    while (at_ < text_.size() && IsWordChar(text_[at_])) ++at_;
    if (at_ == begin) Raise("expected " + std::string(what));
    return std::string(text_.substr(begin, at_ - begin));
  }

  TNode ReadNode() {
    CheckStack();
    const std::string word = Word("\"object\"");
    if (word != "object") Raise("expected \"object\"");
    return ReadBody();
  }

  TNode ReadBody() {
    CheckStack();
    TNode node;
    node.place = line_;
    node.className = Word("the name of a class");
    if (Peek() == '"') node.name = Quoted();
    Expect('#');
    node.id = static_cast<int>(Number<int32_t>(Word("a number")));
    if (node.id <= 0) Raise("the number of a component is 1 or more");
    for (;;) {
      const size_t begin = at_;
      const size_t beginLine = line_;
      const std::string word = Word("a property, \"object\" or \"end\"");
      if (Peeks('=')) {
        TNodeProperty property{word, {}, line_};
        Expect('=');
        property.value = Value();
        node.properties.push_back(std::move(property));
      } else if (word == "object") {
        node.children.push_back(ReadBody());
      } else if (word == "end") {
        return node;
      } else {
        at_ = begin;
        line_ = beginLine;
        SkipBlanks();
        Raise("expected a property, \"object\" or \"end\"");
      }
    }
  }

  /// Looks at the next character of the same or a later line; the end of the stream is no such character.
  bool Peeks(char c) {
    const size_t at = at_;
    const size_t line = line_;
    SkipBlanks();
    if (at_ < text_.size() && text_[at_] == c) return true;
    at_ = at;
    line_ = line;
    return false;
  }

  TStreamValue Value() {
    CheckStack();
    switch (Peek()) {
      case '"':
        return TStreamValue(Pieces());
      case '[':
        return List();
      case '@':
        return Reference();
      default:
        return Simple(Word("a value"));
    }
  }

  TStreamValue List() {
    Expect('[');
    TStreamValue::TList list;
    while (Peek() != ']') list.push_back(Value());
    Expect(']');
    return TStreamValue(std::move(list));
  }

  TStreamValue Reference() {
    Expect('@');
    TStreamReference reference;
    if (Peek() == '"') {
      reference.outer = Quoted();
    } else {
      reference.id = static_cast<int>(Number<int32_t>(Word("the number of a component")));
      if (reference.id <= 0) Raise("the number of a component is 1 or more");
    }
    return TStreamValue(std::move(reference));
  }

  TStreamValue Simple(const std::string& word) {
    if (word == "true" || word == "false") return TStreamValue(word == "true");
    if (word.find_first_of(".en") == std::string::npos) return TStreamValue(Number<int64_t>(word));
    return TStreamValue(Number<double>(word));
  }

  template <class T>
  T Number(std::string_view word) {
    T number{};
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || stop != word.data() + word.size()) {
      Raise("\"" + std::string(word) + "\" is no value");
    }
    return number;
  }

  std::string Pieces() {
    std::string value = Quoted();
    while (Peeks('+')) {
      Expect('+');
      if (Peek() != '"') Raise("expected a text behind \"+\"");
      value += Quoted();
    }
    return value;
  }

  std::string Quoted() {
    Expect('"');
    std::string value;
    for (;;) {
      if (at_ >= text_.size() || text_[at_] == '\n') Raise("a text without its closing quote");
      const char c = text_[at_++];
      if (c == '"') return value;
      value += c == '\\' ? Escaped() : c;
    }
  }

  char Escaped() {
    if (at_ >= text_.size()) Raise("a text without its closing quote");
    const char c = text_[at_++];
    switch (c) {
      case 'n':
        return '\n';
      case 'r':
        return '\r';
      case 't':
        return '\t';
      case '"':
      case '\\':
        return c;
      case 'x': {
        const int high = at_ < text_.size() ? HexDigit(text_[at_]) : -1;
        const int low = at_ + 1 < text_.size() ? HexDigit(text_[at_ + 1]) : -1;
        if (high < 0 || low < 0) Raise("expected two digits behind \"\\x\"");
        at_ += 2;
        return static_cast<char>(high * 16 + low);
      }
      default:
        Raise("an unknown escape in a text");
    }
  }

  std::string_view text_;
  size_t at_ = 0;
  size_t line_ = 1;
};

}  // namespace

std::string EncodeText(const TNode& root) { return TTextWriter().Write(root); }

TNode DecodeText(std::string_view text) { return TTextReader(text).Read(); }

}  // namespace kb::streaming
