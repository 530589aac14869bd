// A component tree as data, between the components and the two forms of a stream. Internal to component streams.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/platform/ComponentStream.h"

namespace kb::streaming {

struct TNodeProperty {
  std::string name;
  TStreamValue value;
  size_t place = 0;  // a line or a byte of the stream
};

struct TNode {
  std::string className;
  std::string name;
  int id = 0;  // from 1, each once
  std::vector<TNodeProperty> properties;
  std::vector<TNode> children;
  size_t place = 0;
};

/// A tree with the form that its places count in.
struct TTree {
  TNode root;
  TStreamForm form = sfText;
};

[[nodiscard]] std::string EncodeText(const TNode& root);
[[nodiscard]] std::string EncodeBinary(const TNode& root);
/// Raise EStreamError for what is not complete and correct in form.
[[nodiscard]] TNode DecodeText(std::string_view text);
[[nodiscard]] TNode DecodeBinary(std::string_view bytes);

/// Whether the bytes begin as the binary form does.
[[nodiscard]] bool IsBinary(std::string_view bytes) noexcept;

[[noreturn]] void RaiseAt(TStreamForm form, size_t place, std::string_view what);

}  // namespace kb::streaming
