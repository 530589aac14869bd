// Components to a stream and back: a tree of components with their properties, in a form for people (text) and a short
// one (binary). docs/streaming.md describes both.
//
// A component tells what there is to store in DefineProperties, which a writer and a reader both call: each property
// names itself, says how its value is got, and how it is set. A tree is read in four steps: the whole stream is taken
// apart and checked, the components are made from their classes (kb/platform/ClassRegistry.h), the properties are set,
// in the order of the stream, and Loaded is called on every component. References between components of one tree are
// stored by number; a reference to one outside is stored by its name, which the reader's host resolves.
//
// Tested in tests/platform/ComponentStreamTest.cpp and tests/engine/StreamingTest.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "kb/platform/Component.h"

namespace kb {

/// A reference to a component: its number in the stream, or, for 0, the name of one outside.
struct TStreamReference {
  int id = 0;
  std::string outer;
  friend bool operator==(const TStreamReference&, const TStreamReference&) = default;
};

/// One stored value, or a list of them. A getter for another kind raises EStreamError "Expected %s", but an integer
/// also serves as a real number.
class TStreamValue {
 public:
  using TList = std::vector<TStreamValue>;
  using TContent = std::variant<bool, int64_t, double, std::string, TStreamReference, TList>;

  TStreamValue() = default;
  explicit TStreamValue(bool value) : content_(value) {}
  explicit TStreamValue(int64_t value) : content_(value) {}
  explicit TStreamValue(double value) : content_(value) {}
  explicit TStreamValue(std::string value) : content_(std::move(value)) {}
  explicit TStreamValue(TStreamReference value) : content_(std::move(value)) {}
  explicit TStreamValue(TList value) : content_(std::move(value)) {}

  [[nodiscard]] bool AsBoolean() const;
  [[nodiscard]] int64_t AsInteger() const;
  [[nodiscard]] double AsReal() const;
  [[nodiscard]] const std::string& AsText() const;
  [[nodiscard]] const TStreamReference& AsReference() const;
  [[nodiscard]] const TList& AsList() const;
  [[nodiscard]] std::vector<std::string> AsTexts() const;
  [[nodiscard]] static TStreamValue OfTexts(const std::vector<std::string>& texts);
  [[nodiscard]] const TContent& Content() const noexcept { return content_; }
  friend bool operator==(const TStreamValue&, const TStreamValue&) = default;

 private:
  TContent content_{int64_t{0}};
};

/// What a component sees of a writer or reader in DefineProperties.
class TFiler {
 public:
  TFiler() = default;
  TFiler(const TFiler&) = delete;
  TFiler& operator=(const TFiler&) = delete;
  virtual ~TFiler() = default;

  /// A writer asks `get` when `stored` is set; a reader calls `set` with what it finds under the name.
  virtual void Property(std::string_view name, bool stored, const std::function<TStreamValue()>& get,
                        const std::function<void(const TStreamValue&)>& set) = 0;

  // Plain properties, which are stored when they differ from their default.
  void Text(std::string_view name, const std::string& value, const std::function<void(const std::string&)>& set);
  void Flag(std::string_view name, bool value, bool normal, const std::function<void(bool)>& set);
  /// The reader raises EStreamError for a number outside `least` to `greatest`.
  void Integer(std::string_view name, int64_t value, int64_t normal, int64_t least, int64_t greatest,
               const std::function<void(int64_t)>& set);
  void Real(std::string_view name, double value, double normal, const std::function<void(double)>& set);
  void Texts(std::string_view name, const std::vector<std::string>& value,
             const std::function<void(const std::vector<std::string>&)>& set);
  /// Stored unless null.
  void Reference(std::string_view name, TComponent* value, const std::function<void(TComponent*)>& set);

 protected:
  [[nodiscard]] virtual TStreamReference ReferenceTo(const TComponent& component) const = 0;
  [[nodiscard]] virtual TComponent* ComponentOf(const TStreamReference& reference) const = 0;
};

enum TStreamForm { sfText, sfBinary };

/// Writes the component with those it streams as its children. "A component without a name is referred to from
/// outside" (EStreamError) for a reference that no reader could resolve; EStreamError when writing fails. Nothing is
/// written when a component raises. Linear.
void WriteComponent(std::ostream& stream, TComponent& root, TStreamForm form);

/// Finds the component outside a tree to which a stream refers by name; null for none.
using TOuterComponents = std::function<TComponent*(std::string_view name)>;

/// Makes what the stream holds, in either form, under `owner`, which may be null and owns the result otherwise. A
/// damaged stream raises EStreamError, which says where: "Component stream, line 12: ..." or "Component stream, byte
/// 345: ...". So do unknown classes, properties and references, and what a component raises while its properties are
/// set. Whatever was made is freed then.
TComponent* ReadComponent(std::istream& stream, TComponent* owner, const TOuterComponents& outer = {});

/// The same into a component that is there, whose class must be that of the stream. After an exception its properties
/// may have been set in part.
void ReadComponent(std::istream& stream, TComponent& root, const TOuterComponents& outer = {});

}  // namespace kb
