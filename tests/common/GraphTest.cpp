#include <gtest/gtest.h>

#include "kb/common/Graph.h"

namespace kb {
namespace {

struct TNode : TGLinkedGraphNode {
  explicit TNode(char n) : name(n) {}
  char name;
};

class Graph : public ::testing::Test {
 protected:
  TNode& Node(char name) { return static_cast<TNode&>(graph.AddNode(std::make_unique<TNode>(name))); }
  static TGGraphEdge& Link(TNode& from, TNode& to) { return from.AddEdge(std::make_unique<TGGraphEdge>(from, to)); }
  std::string Order() const {
    std::string text;
    for (const TGLinkedGraphNode* node : graph.TopologicalOrder()) text += static_cast<const TNode*>(node)->name;
    return text;
  }
  TGGraph graph;
};

TEST_F(Graph, TheOrderFollowsTheEdgesAndElseTheAdditions) {
  TNode& a = Node('a');
  TNode& b = Node('b');
  TNode& c = Node('c');
  TNode& d = Node('d');
  Link(d, a);
  TGGraphEdge& edge = Link(c, b);
  EXPECT_EQ(Order(), "cbda");
  EXPECT_TRUE(graph.IsAcyclic());
  Link(b, c);
  EXPECT_FALSE(graph.IsAcyclic());
  EXPECT_EQ(Order(), "da") << "nodes on a cycle are left out";
  c.RemoveEdge(edge);
  EXPECT_EQ(Order(), "bcda");
}

TEST_F(Graph, ANodeThatLeavesTakesItsEdgesWithItAndWrongArgumentsChangeNothing) {
  TNode& a = Node('a');
  TNode& b = Node('b');
  EXPECT_THROW(graph.AddNode(nullptr), EListError);
  EXPECT_THROW(a.AddEdge(nullptr), EListError);
  EXPECT_THROW(a.AddEdge(std::make_unique<TGGraphEdge>(b, a)), EListError);
  EXPECT_THROW((void)graph.GetNode(2), EListError);
  EXPECT_THROW((void)a.GetEdge(0), EListError);
  Link(a, b);
  Link(b, b);
  Link(b, a);
  const auto taken = graph.Extract(b);
  EXPECT_EQ(graph.GetNodeCount(), 1);
  EXPECT_EQ(a.GetOutDegree(), 0);
  EXPECT_EQ(a.GetInDegree(), 0);
  EXPECT_EQ(graph.FindNode(b), -1);
  EXPECT_EQ(graph.Extract(b), nullptr);
}

}  // namespace
}  // namespace kb
