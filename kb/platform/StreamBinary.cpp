// The short form of a component stream; see docs/streaming.md.
#include <bit>
#include <limits>

#include "kb/platform/Exceptions.h"
#include "kb/platform/StackGuard.h"
#include "kb/platform/StreamNode.h"

namespace kb::streaming {
namespace {

constexpr std::string_view kMark = "\x8Bkbc\x01";  // the last byte is the version
constexpr size_t kSumSize = 8;

enum TTag : uint8_t { tagFalse, tagTrue, tagInteger, tagReal, tagText, tagInner, tagOuter, tagList };

// Finds damage, not intent (FNV-1a).
uint64_t SumOf(std::string_view bytes) noexcept {
  uint64_t sum = 0xCBF29CE484222325ULL;
  for (const char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
  return sum;
}

// ---- Writing

class TBinaryWriter {
 public:
  std::string Write(const TNode& root) {
    bytes_ = kMark;
    WriteNode(root);
    Fixed(SumOf(bytes_));
    return std::move(bytes_);
  }

 private:
  void Byte(uint8_t value) { bytes_ += static_cast<char>(value); }
  void Fixed(uint64_t value) {
    for (int i = 0; i < 8; ++i) Byte(static_cast<uint8_t>(value >> (8 * i)));
  }
  void Number(uint64_t value) {
    for (; value >= 0x80; value >>= 7) Byte(static_cast<uint8_t>(value | 0x80));
    Byte(static_cast<uint8_t>(value));
  }
  void Text(std::string_view value) {
    Number(value.size());
    bytes_ += value;
  }

  void WriteNode(const TNode& node) {
    CheckStack();
    Text(node.className);
    Text(node.name);
    Number(static_cast<uint64_t>(node.id));
    Number(node.properties.size());
    for (const TNodeProperty& property : node.properties) {
      Text(property.name);
      WriteValue(property.value);
    }
    Number(node.children.size());
    for (const TNode& child : node.children) WriteNode(child);
  }

  void WriteValue(const TStreamValue& value) {
    CheckStack();
    std::visit([this](const auto& content) { Write(content); }, value.Content());
  }
  void Write(bool value) { Byte(value ? tagTrue : tagFalse); }
  void Write(int64_t value) {
    Byte(tagInteger);
    // The sign goes to the last bit, so that small numbers stay short.
    Number((static_cast<uint64_t>(value) << 1) ^ static_cast<uint64_t>(value >> 63));
  }
  void Write(double value) {
    Byte(tagReal);
    Fixed(std::bit_cast<uint64_t>(value));
  }
  void Write(const std::string& value) {
    Byte(tagText);
    Text(value);
  }
  void Write(const TStreamReference& reference) {
    Byte(reference.id > 0 ? tagInner : tagOuter);
    if (reference.id > 0) {
      Number(static_cast<uint64_t>(reference.id));
    } else {
      Text(reference.outer);
    }
  }
  void Write(const TStreamValue::TList& list) {
    Byte(tagList);
    Number(list.size());
    for (const TStreamValue& value : list) WriteValue(value);
  }

  std::string bytes_;
};

// ---- Reading

class TBinaryReader {
 public:
  explicit TBinaryReader(std::string_view bytes) : bytes_(bytes) {}

  TNode Read() {
    at_ = kMark.size();
    TNode root = ReadNode();
    const size_t end = at_;
    const uint64_t sum = Fixed();
    if (at_ != bytes_.size()) Raise("bytes behind the end of the stream");
    if (sum != SumOf(bytes_.substr(0, end))) {
      at_ = end;
      Raise("the check sum does not fit what stands in front of it");
    }
    return root;
  }

 private:
  [[noreturn]] void Raise(std::string_view what) const { RaiseAt(sfBinary, at_, what); }

  uint8_t Byte() {
    if (at_ >= bytes_.size()) Raise("the stream ends too early");
    return static_cast<uint8_t>(bytes_[at_++]);
  }
  uint64_t Fixed() {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value |= static_cast<uint64_t>(Byte()) << (8 * i);
    return value;
  }
  uint64_t Number() {
    uint64_t value = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      const uint8_t byte = Byte();
      if (shift == 63 && byte > 1) break;
      value |= static_cast<uint64_t>(byte & 0x7F) << shift;
      if (byte < 0x80) return value;
    }
    Raise("a number is too long");
  }
  /// Of items that take a byte each at least.
  size_t Count() {
    const uint64_t count = Number();
    if (count > bytes_.size() - at_) Raise("more is announced than the stream holds");
    return static_cast<size_t>(count);
  }
  int Id() {
    const uint64_t id = Number();
    if (id == 0 || id > static_cast<uint64_t>(std::numeric_limits<int>::max())) Raise("a bad number of a component");
    return static_cast<int>(id);
  }
  std::string Text() {
    const size_t size = Count();
    std::string text(bytes_.substr(at_, size));
    at_ += size;
    return text;
  }

  TNode ReadNode() {
    CheckStack();
    TNode node;
    node.place = at_;
    node.className = Text();
    node.name = Text();
    node.id = Id();
    for (size_t count = Count(); count > 0; --count) {
      TNodeProperty property;
      property.place = at_;
      property.name = Text();
      property.value = Value();
      node.properties.push_back(std::move(property));
    }
    for (size_t count = Count(); count > 0; --count) node.children.push_back(ReadNode());
    return node;
  }

  TStreamValue Value() {
    CheckStack();
    switch (Byte()) {
      case tagFalse:
        return TStreamValue(false);
      case tagTrue:
        return TStreamValue(true);
      case tagInteger: {
        const uint64_t value = Number();
        return TStreamValue(static_cast<int64_t>((value >> 1) ^ (~(value & 1) + 1)));
      }
      case tagReal:
        return TStreamValue(std::bit_cast<double>(Fixed()));
      case tagText:
        return TStreamValue(Text());
      case tagInner:
        return TStreamValue(TStreamReference{Id(), {}});
      case tagOuter:
        return TStreamValue(TStreamReference{0, Text()});
      case tagList: {
        TStreamValue::TList list;
        for (size_t count = Count(); count > 0; --count) list.push_back(Value());
        return TStreamValue(std::move(list));
      }
      default:
        --at_;
        Raise("an unknown kind of value");
    }
  }

  std::string_view bytes_;
  size_t at_ = 0;
};

}  // namespace

bool IsBinary(std::string_view bytes) noexcept { return !bytes.empty() && bytes[0] == kMark[0]; }

std::string EncodeBinary(const TNode& root) { return TBinaryWriter().Write(root); }

TNode DecodeBinary(std::string_view bytes) {
  if (!bytes.starts_with(kMark)) RaiseAt(sfBinary, 0, "the mark of a component stream of version 1 is missing");
  if (bytes.size() < kMark.size() + kSumSize) RaiseAt(sfBinary, bytes.size(), "the stream ends too early");
  return TBinaryReader(bytes).Read();
}

}  // namespace kb::streaming
