#include "kb/common/Graph.h"

#include <algorithm>
#include <queue>
#include <unordered_map>

namespace kb {

TGGraphEdge& TGLinkedGraphNode::AddEdge(std::unique_ptr<TGGraphEdge> edge) {
  if (edge == nullptr || &edge->GetFrom() != this) throw EListError("An edge is added to the node that it leaves");
  TGLinkedGraphNode& to = edge->GetTo();
  to.AddingEdgeFrom(*this);
  to.in_.push_back(edge.get());
  out_.push_back(std::move(edge));
  return *out_.back();
}

void TGLinkedGraphNode::RemoveEdge(TGGraphEdge& edge) {
  auto found = std::find_if(out_.begin(), out_.end(), [&](const auto& e) { return e.get() == &edge; });
  if (found == out_.end()) return;
  const std::unique_ptr<TGGraphEdge> owned = std::move(*found);
  out_.erase(found);
  TGLinkedGraphNode& to = owned->GetTo();
  std::erase(to.in_, &edge);
  to.RemovingEdgeFrom(*this);
}

void TGLinkedGraphNode::RemoveEdges() {
  while (!out_.empty()) RemoveEdge(*out_.back());
  while (!in_.empty()) in_.back()->GetFrom().RemoveEdge(*in_.back());
}

TGGraph::~TGGraph() = default;

TGLinkedGraphNode& TGGraph::AddNode(std::unique_ptr<TGLinkedGraphNode> node) {
  if (node == nullptr) throw EListError("A graph takes no missing node");
  node->graph_ = this;
  nodes_.push_back(std::move(node));
  return *nodes_.back();
}

std::unique_ptr<TGLinkedGraphNode> TGGraph::Extract(TGLinkedGraphNode& node) {
  // Rules mostly go in the reverse order of their making.
  auto found = std::find_if(nodes_.rbegin(), nodes_.rend(), [&](const auto& n) { return n.get() == &node; });
  if (found == nodes_.rend()) return nullptr;
  node.RemoveEdges();
  std::unique_ptr<TGLinkedGraphNode> owned = std::move(*found);
  nodes_.erase(std::next(found).base());
  return owned;
}

void TGGraph::RemoveNode(TGLinkedGraphNode& node) { Extract(node).reset(); }

int TGGraph::FindNode(const TGLinkedGraphNode& node) const noexcept {
  for (size_t i = 0; i < nodes_.size(); ++i) {
    if (nodes_[i].get() == &node) return static_cast<int>(i);
  }
  return -1;
}

void TGGraph::Clear() {
  // The nodes go one by one, so that one that ends finds the graph without itself and its edges.
  while (!nodes_.empty()) Extract(*nodes_.back()).reset();
}

std::vector<TGLinkedGraphNode*> TGGraph::TopologicalOrder() const {
  std::unordered_map<const TGLinkedGraphNode*, size_t> place;
  std::vector<int> waiting;
  for (size_t i = 0; i < nodes_.size(); ++i) {
    place[nodes_[i].get()] = i;
    waiting.push_back(nodes_[i]->GetInDegree());
  }
  std::priority_queue<size_t, std::vector<size_t>, std::greater<>> ready;
  for (size_t i = 0; i < nodes_.size(); ++i) {
    if (waiting[i] == 0) ready.push(i);
  }
  std::vector<TGLinkedGraphNode*> order;
  while (!ready.empty()) {
    TGLinkedGraphNode& node = *nodes_[ready.top()];
    ready.pop();
    order.push_back(&node);
    for (const auto& edge : node.out_) {
      const size_t to = place[&edge->GetTo()];
      if (--waiting[to] == 0) ready.push(to);
    }
  }
  return order;
}

}  // namespace kb
