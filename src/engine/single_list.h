// The two lists of the linear dissimilarity algorithm.
//
// A single_list is circular and singly linked, with a sentinel: `head`
// points at the list's own sentinel, whose `next` is the first node; the
// last node, `tail`, points back at the sentinel; an empty list has `tail`
// == `head` and the sentinel pointing at itself. Nodes live in a store owned
// by the analysis run and move between the zeros list and the ones list as
// the columns are processed; a list never owns or frees a node.
//
// The lists are deliberately not emptied between the attributes of one run,
// so from the second attribute on they can hold cycles, or lead into the
// other list's sentinel. Every walk over them is therefore bounded by
// `walkLimit` steps, far more than any walk that ends takes; whoever walks
// past it, or would read a sentinel's row as a group's, calls
// brokenLinkage().
#ifndef OVRELL_ENGINE_SINGLE_LIST_H_
#define OVRELL_ENGINE_SINGLE_LIST_H_

#include <cstdint>

struct NodeType {
  const unsigned char* row;  // the group's packed column bits; null in a sentinel
  std::uint64_t run;         // columns on which this group and its successor agree
  NodeType* next;
};

template <typename Node>
struct single_list {
  // An empty list for a store of `nodeCount` nodes shared by two lists.
  explicit single_list(std::uint64_t nodeCount)
      : head(&sentinel),
        tail(&sentinel),
        sentinel{nullptr, 0, &sentinel},
        walkLimit(64 * (nodeCount + 2)) {}
  single_list(const single_list&) = delete;
  single_list& operator=(const single_list&) = delete;

  // Links `node` in as the first node; it becomes the tail only when the
  // list was empty. Whatever still points at `node` keeps pointing at it.
  void pushFront(Node* node) {
    if (head->next == head) tail = node;
    node->next = head->next;
    head->next = node;
  }

  Node* head;
  Node* tail;
  Node sentinel;
  std::uint64_t walkLimit;
};

// Ends the run with a message of its own when the lists left linked by an
// earlier attribute cannot be walked any more, and advises what to do.
[[noreturn]] void brokenLinkage();

// Ends the run when a column loop is asked for a value width other than
// 1, 2, 4 or 8 (which the budget never chooses).
[[noreturn]] void wrongValueWidth();

#endif  // OVRELL_ENGINE_SINGLE_LIST_H_
