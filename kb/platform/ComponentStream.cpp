// Component trees to nodes and back; the forms of the nodes are in StreamText.cpp and StreamBinary.cpp.
#include "kb/platform/ComponentStream.h"

#include <algorithm>
#include <istream>
#include <map>
#include <ostream>
#include <unordered_map>

#include "kb/platform/ClassRegistry.h"
#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"
#include "kb/platform/StackGuard.h"
#include "kb/platform/StreamNode.h"

namespace kb {

using streaming::RaiseAt;
using streaming::TNode;
using streaming::TNodeProperty;
using streaming::TTree;

// ---- Values

namespace {

template <class T>
const T& Expect(const TStreamValue::TContent& content, const char* what) {
  const T* value = std::get_if<T>(&content);
  if (value == nullptr) throw EStreamError(std::string("Expected ") + what);
  return *value;
}

}  // namespace

bool TStreamValue::AsBoolean() const { return Expect<bool>(content_, "true or false"); }
int64_t TStreamValue::AsInteger() const { return Expect<int64_t>(content_, "an integer"); }
double TStreamValue::AsReal() const {
  if (const auto* integer = std::get_if<int64_t>(&content_)) return static_cast<double>(*integer);
  return Expect<double>(content_, "a number");
}
const std::string& TStreamValue::AsText() const { return Expect<std::string>(content_, "a text"); }
const TStreamReference& TStreamValue::AsReference() const {
  return Expect<TStreamReference>(content_, "a reference to a component");
}
const TStreamValue::TList& TStreamValue::AsList() const { return Expect<TList>(content_, "a list"); }

std::vector<std::string> TStreamValue::AsTexts() const {
  std::vector<std::string> texts;
  for (const TStreamValue& value : AsList()) texts.push_back(value.AsText());
  return texts;
}

TStreamValue TStreamValue::OfTexts(const std::vector<std::string>& texts) {
  TList list;
  for (const std::string& text : texts) list.emplace_back(text);
  return TStreamValue(std::move(list));
}

// ---- Properties

void TFiler::Text(std::string_view name, const std::string& value, const std::function<void(const std::string&)>& set) {
  Property(
      name, !value.empty(), [&] { return TStreamValue(value); },
      [&](const TStreamValue& stored) { set(stored.AsText()); });
}

void TFiler::Flag(std::string_view name, bool value, bool normal, const std::function<void(bool)>& set) {
  Property(
      name, value != normal, [&] { return TStreamValue(value); },
      [&](const TStreamValue& stored) { set(stored.AsBoolean()); });
}

void TFiler::Integer(std::string_view name, int64_t value, int64_t normal, int64_t least, int64_t greatest,
                     const std::function<void(int64_t)>& set) {
  Property(
      name, value != normal, [&] { return TStreamValue(value); },
      [&](const TStreamValue& stored) {
        const int64_t number = stored.AsInteger();
        if (number < least || number > greatest) {
          throw EStreamError("Expected a number from " + std::to_string(least) + " to " + std::to_string(greatest));
        }
        set(number);
      });
}

void TFiler::Real(std::string_view name, double value, double normal, const std::function<void(double)>& set) {
  Property(
      name, value != normal, [&] { return TStreamValue(value); },
      [&](const TStreamValue& stored) { set(stored.AsReal()); });
}

void TFiler::Texts(std::string_view name, const std::vector<std::string>& value,
                   const std::function<void(const std::vector<std::string>&)>& set) {
  Property(
      name, !value.empty(), [&] { return TStreamValue::OfTexts(value); },
      [&](const TStreamValue& stored) { set(stored.AsTexts()); });
}

void TFiler::Reference(std::string_view name, TComponent* value, const std::function<void(TComponent*)>& set) {
  Property(
      name, value != nullptr, [&] { return TStreamValue(ReferenceTo(*value)); },
      [&](const TStreamValue& stored) { set(ComponentOf(stored.AsReference())); });
}

// ---- Writing

namespace {

using TNumbers = std::unordered_map<const TComponent*, int>;

class TWriter final : public TFiler {
 public:
  TWriter(TNode& node, const TNumbers& numbers) : node_(node), numbers_(numbers) {}
  void Property(std::string_view name, bool stored, const std::function<TStreamValue()>& get,
                const std::function<void(const TStreamValue&)>& /*set*/) override {
    if (stored) node_.properties.push_back({std::string(name), get(), 0});
  }

 protected:
  [[nodiscard]] TStreamReference ReferenceTo(const TComponent& component) const override {
    const auto found = numbers_.find(&component);
    if (found != numbers_.end()) return {found->second, {}};
    if (component.GetName().empty()) throw EStreamError("A component without a name is referred to from outside");
    return {0, component.GetName()};
  }
  [[nodiscard]] TComponent* ComponentOf(const TStreamReference& /*reference*/) const override { return nullptr; }

 private:
  TNode& node_;
  const TNumbers& numbers_;
};

// Numbers come first, so that a component can refer to one that follows.
void NumberComponents(TComponent& component, TNumbers& numbers) {
  CheckStack();
  numbers.emplace(&component, static_cast<int>(numbers.size()) + 1);
  for (TComponent* child : component.GetStreamedChildren()) NumberComponents(*child, numbers);
}

TNode NodeOf(TComponent& component, const TNumbers& numbers) {
  CheckStack();
  TNode node;
  node.className = component.ClassName();
  node.name = component.GetName();
  node.id = numbers.at(&component);
  TWriter writer(node, numbers);
  component.DefineProperties(writer);
  for (TComponent* child : component.GetStreamedChildren()) node.children.push_back(NodeOf(*child, numbers));
  return node;
}

}  // namespace

void WriteComponent(std::ostream& stream, TComponent& root, TStreamForm form) {
  TNumbers numbers;
  NumberComponents(root, numbers);
  const TNode node = NodeOf(root, numbers);
  WriteStringToStream(stream, form == sfText ? streaming::EncodeText(node) : streaming::EncodeBinary(node), nullptr);
}

// ---- Reading

namespace {

using TComponents = std::map<int, TComponent*>;

/// Sets the properties of one component from its node.
class TReader final : public TFiler {
 public:
  TReader(const TTree& tree, const TNode& node, const TComponents& components, const TOuterComponents& outer)
      : tree_(tree), node_(node), components_(components), outer_(outer) {}

  /// In the order of the stream.
  void Read(TComponent& component) {
    for (const TNodeProperty& property : node_.properties) {
      current_ = &property;
      found_ = false;
      component.DefineProperties(*this);
      if (!found_) Raise("a " + node_.className + " has no property " + property.name);
    }
  }

  void Property(std::string_view name, bool /*stored*/, const std::function<TStreamValue()>& /*get*/,
                const std::function<void(const TStreamValue&)>& set) override {
    if (current_ == nullptr || found_ || current_->name != name) return;
    found_ = true;
    try {
      set(current_->value);
    } catch (const EAbort&) {
      throw;
    } catch (const std::exception& error) {
      Raise(node_.className + "." + current_->name + ": " + error.what());
    }
  }

 protected:
  [[nodiscard]] TStreamReference ReferenceTo(const TComponent& /*component*/) const override { return {}; }
  [[nodiscard]] TComponent* ComponentOf(const TStreamReference& reference) const override {
    if (reference.id == 0) {
      TComponent* found = outer_ ? outer_(reference.outer) : nullptr;
      if (found == nullptr) throw EStreamError("there is no component named \"" + reference.outer + "\" outside");
      return found;
    }
    const auto found = components_.find(reference.id);
    if (found == components_.end()) throw EStreamError("there is no component #" + std::to_string(reference.id));
    return found->second;
  }

 private:
  [[noreturn]] void Raise(const std::string& what) const { RaiseAt(tree_.form, current_->place, what); }

  const TTree& tree_;
  const TNode& node_;
  const TComponents& components_;
  const TOuterComponents& outer_;
  const TNodeProperty* current_ = nullptr;
  bool found_ = false;
};

/// Makes the components of a tree and brings them to life.
class TTreeReader {
 public:
  TTreeReader(std::istream& stream, const TOuterComponents& outer) : outer_(outer) {
    const std::string bytes = ReadAllBytes(stream);
    tree_.form = streaming::IsBinary(bytes) ? sfBinary : sfText;
    tree_.root = tree_.form == sfBinary ? streaming::DecodeBinary(bytes) : streaming::DecodeText(bytes);
  }
  TTreeReader(const TTreeReader&) = delete;
  TTreeReader& operator=(const TTreeReader&) = delete;
  // What was made goes unless it has been completed; children go with their owners, so only the outermost count.
  ~TTreeReader() {
    for (TComponent* component : order_) component->CancelLoading();
    for (TComponent* component : made_) delete component;
  }

  TComponent* ReadUnder(TComponent* owner) {
    TComponent& root = Make(tree_.root, owner);
    made_.push_back(&root);
    Register(tree_.root, root);
    MakeChildren(tree_.root, root, false);
    return Complete();
  }

  void ReadInto(TComponent& root) {
    if (root.ClassName() != tree_.root.className) {
      Raise(tree_.root, "the stream holds a " + tree_.root.className + " and no " + std::string(root.ClassName()));
    }
    Register(tree_.root, root);
    MakeChildren(tree_.root, root, true);
    Complete();
  }

 private:
  TComponent& Make(const TNode& node, TComponent* owner) {
    const TClassInfo* info = FindClass(node.className);
    if (info == nullptr) Raise(node, "the class " + node.className + " is not known");
    if (info->createComponent == nullptr) Raise(node, "the class " + node.className + " is no component");
    return *info->createComponent(owner);
  }

  void Register(const TNode& node, TComponent& component) {
    if (!components_.emplace(node.id, &component).second) {
      Raise(node, "a second component #" + std::to_string(node.id));
    }
    component.BeginLoading();
    order_.push_back(&component);
    nodes_.push_back(&node);
    if (!node.name.empty()) component.SetName(node.name);
  }

  void MakeChildren(const TNode& node, TComponent& component, bool outermost) {
    CheckStack();
    for (const TNode& child : node.children) {
      TComponent& made = Make(child, &component);
      if (outermost) made_.push_back(&made);
      Register(child, made);
      MakeChildren(child, made, false);
    }
  }

  TComponent* Complete() {
    for (size_t i = 0; i < order_.size(); ++i) TReader(tree_, *nodes_[i], components_, outer_).Read(*order_[i]);
    TComponent* root = order_.front();
    const std::vector<TComponent*> order = order_;
    TDelayedError error;
    for (TComponent* component : order) error.Run([component] { component->Loaded(); });
    error.Rethrow();
    order_.clear();
    made_.clear();
    return root;
  }

  [[noreturn]] void Raise(const TNode& node, const std::string& what) const { RaiseAt(tree_.form, node.place, what); }

  const TOuterComponents& outer_;
  TTree tree_;
  TComponents components_;           // by number
  std::vector<TComponent*> order_;   // as they stand in the stream
  std::vector<const TNode*> nodes_;  // of the components in that order
  std::vector<TComponent*> made_;    // what is to be freed when reading fails
};

}  // namespace

TComponent* ReadComponent(std::istream& stream, TComponent* owner, const TOuterComponents& outer) {
  return TTreeReader(stream, outer).ReadUnder(owner);
}

void ReadComponent(std::istream& stream, TComponent& root, const TOuterComponents& outer) {
  TTreeReader(stream, outer).ReadInto(root);
}

void streaming::RaiseAt(TStreamForm form, size_t place, std::string_view what) {
  throw EStreamError("Component stream, " + std::string(form == sfText ? "line " : "byte ") + std::to_string(place) +
                     ": " + std::string(what));
}

}  // namespace kb
