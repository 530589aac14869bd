// Directed graphs: base of the network, and order of constructs by inheritance.
#pragma once

#include <memory>
#include <vector>

#include "kb/platform/Exceptions.h"

namespace kb {

class TGGraph;
class TGLinkedGraphNode;

/// A directed edge; owned by the node that it leaves.
class TGGraphEdge {
 public:
  TGGraphEdge(TGLinkedGraphNode& from, TGLinkedGraphNode& to) noexcept : from_(&from), to_(&to) {}
  TGGraphEdge(const TGGraphEdge&) = delete;
  TGGraphEdge& operator=(const TGGraphEdge&) = delete;
  virtual ~TGGraphEdge() = default;
  [[nodiscard]] TGLinkedGraphNode& GetFrom() const noexcept { return *from_; }
  [[nodiscard]] TGLinkedGraphNode& GetTo() const noexcept { return *to_; }

 private:
  TGLinkedGraphNode* from_;
  TGLinkedGraphNode* to_;
};

/// A node with its edges, in order of their creation.
class TGLinkedGraphNode {
 public:
  TGLinkedGraphNode() = default;
  TGLinkedGraphNode(const TGLinkedGraphNode&) = delete;
  TGLinkedGraphNode& operator=(const TGLinkedGraphNode&) = delete;
  virtual ~TGLinkedGraphNode() = default;

  [[nodiscard]] TGGraph* GetGraph() const noexcept { return graph_; }
  /// Raises EListError for a missing edge and for one that leaves another node.
  TGGraphEdge& AddEdge(std::unique_ptr<TGGraphEdge> edge);
  void RemoveEdge(TGGraphEdge& edge);
  /// Takes away all edges that leave or enter.
  void RemoveEdges();
  [[nodiscard]] int GetEdgeCount() const noexcept { return static_cast<int>(out_.size()); }
  /// Raises EListError for a bad index.
  [[nodiscard]] TGGraphEdge& GetEdge(int index) const { return *ItemAt(out_, index); }
  [[nodiscard]] int GetOutDegree() const noexcept { return GetEdgeCount(); }
  [[nodiscard]] int GetInDegree() const noexcept { return static_cast<int>(in_.size()); }

 protected:
  /// Called before the first edge enters and after the last one is gone.
  virtual void AddingEdgeFrom(TGLinkedGraphNode& /*from*/) {}
  virtual void RemovingEdgeFrom(TGLinkedGraphNode& /*from*/) {}

 private:
  friend class TGGraph;
  TGGraph* graph_ = nullptr;
  std::vector<std::unique_ptr<TGGraphEdge>> out_;
  std::vector<TGGraphEdge*> in_;
};

/// Owns its nodes, in order of their addition.
class TGGraph {
 public:
  TGGraph() = default;
  TGGraph(const TGGraph&) = delete;
  TGGraph& operator=(const TGGraph&) = delete;
  virtual ~TGGraph();

  /// Raises EListError for a missing node.
  virtual TGLinkedGraphNode& AddNode(std::unique_ptr<TGLinkedGraphNode> node);
  /// Takes the node out with all its edges and gives it to the caller. Linear in the nodes behind it.
  virtual std::unique_ptr<TGLinkedGraphNode> Extract(TGLinkedGraphNode& node);
  virtual void RemoveNode(TGLinkedGraphNode& node);
  /// Index of the node or -1.
  [[nodiscard]] int FindNode(const TGLinkedGraphNode& node) const noexcept;
  /// Raises EListError for a bad index.
  [[nodiscard]] TGLinkedGraphNode& GetNode(int index) const { return *ItemAt(nodes_, index); }
  [[nodiscard]] int GetNodeCount() const noexcept { return static_cast<int>(nodes_.size()); }
  virtual void Clear();

  [[nodiscard]] bool IsAcyclic() const { return static_cast<int>(TopologicalOrder().size()) == GetNodeCount(); }
  /// Nodes so that each edge leads forward, otherwise in order of addition; nodes on cycles are left out.
  [[nodiscard]] std::vector<TGLinkedGraphNode*> TopologicalOrder() const;

 private:
  std::vector<std::unique_ptr<TGLinkedGraphNode>> nodes_;
};

}  // namespace kb
