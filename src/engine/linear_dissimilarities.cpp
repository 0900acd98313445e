// The linear algorithm: the groups are kept sorted by their bits over the
// columns seen so far, newest column most significant, as the concatenation
// of the zeros list and the ones list. Each column is a stable partition of
// that order by the column's bit, and each node's `run` is the common prefix
// of its key and its successor's, so the longest agreement of any two groups
// is the largest run.
#include "engine/linear_dissimilarities.h"

#include <algorithm>

#include "base/fatal.h"
#include "engine/budget.h"

void wrongValueWidth() {
  fatal("Something is wrong - calculated value for bits to addres bits in file is not correct.\n");
}

void brokenLinkage() {
  fatal(
      "Error - the linear algorithm cannot go on with the lists that an earlier attribute of "
      "this run left linked. Name one attribute per run with -d, or use -q.\n");
}

namespace {

// The column's bit of the group behind `node`; a sentinel has no group.
unsigned bitOf(const NodeType* node, std::uint32_t byteIndex, unsigned bitIndex) {
  if (node == nullptr || node->row == nullptr) brokenLinkage();
  return (node->row[byteIndex] >> bitIndex) & 1U;
}

void countStep(std::uint64_t& steps, std::uint64_t limit) {
  if (++steps > limit) brokenLinkage();
}

// The largest run of the nodes from the list's first node to its tail.
std::uint64_t maxRun(const single_list<NodeType>& list, std::uint64_t max) {
  std::uint64_t steps = 0;
  for (const NodeType* node = list.head; node != list.tail;) {
    countStep(steps, list.walkLimit);
    node = node->next;
    if (node == nullptr) brokenLinkage();
    if (node->run > max) max = node->run;
  }
  return max;
}

template <typename Value>
void columnLoop(single_list<NodeType>& zeros, single_list<NodeType>& ones, Value* values,
                std::uint64_t columns) {
  auto column = [&](std::uint64_t k, unsigned long long byteIndex, unsigned bitIndex) {
    dissimDoColumn(zeros, ones, byteIndex, bitIndex);
    values[columns - 1 - k] = static_cast<Value>(maxRun(ones, maxRun(zeros, 0)));
  };
  const unsigned long long fullBytes = columns / 8;
  for (unsigned long long byte = 0; byte < fullBytes; ++byte)
    for (unsigned bit = 0; bit < 8; ++bit) column(8 * byte + bit, byte, bit);
  for (unsigned bit = 0; bit < columns % 8; ++bit) column(8 * fullBytes + bit, fullBytes, bit);
}

}  // namespace

void pushGroupNodes(NodeType* nodes, const ArrayBuff& rows, std::uint64_t groupCount,
                    single_list<NodeType>& zeros) {
  for (std::uint64_t g = 0; g < groupCount; ++g) {
    nodes[g].row = rows.data + g * pitchOf(rows.rowSize);
    nodes[g].run = 0;
    zeros.pushFront(&nodes[g]);
  }
}

namespace {

// Where a column's two walks are: `z` in the zeros list, `o` where the next
// node with bit 1 goes in the ones list.
struct Cursors {
  NodeType* zeroSentinel;
  NodeType* oneSentinel;
  NodeType* z;
  NodeType* o;
};

// Pass 1: the nodes of the zeros list with bit 1 move behind o.
inline void moveOnes(single_list<NodeType>& zeros, single_list<NodeType>& ones, std::uint32_t index,
                     unsigned bitIndex, Cursors& at) {
  NodeType* z = at.z;
  NodeType* o = at.o;
  std::uint64_t steps = 0;
  while (z != zeros.tail) {
    countStep(steps, zeros.walkLimit);
    NodeType* x = z->next;
    if (bitOf(x, index, bitIndex)) {
      if (z != at.zeroSentinel) z->run = std::min(z->run, x->run);
      z->next = x->next;
      if (x == zeros.tail) zeros.tail = z;
      x->next = o->next;
      o->next = x;
      if (o == ones.tail) ones.tail = x;
      if (o != at.oneSentinel) o->run += 1;
      o = x;
    } else {
      if (o != at.oneSentinel) o->run = std::min(o->run, x->run);
      z->run += 1;
      z = x;
    }
  }
  z->run = 0;
  o->run = 0;
  at.z = z, at.o = o;
}

// Pass 2: the nodes of the old ones list with bit 0 move behind z.
inline void moveZeros(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                      std::uint32_t index, unsigned bitIndex, Cursors& at) {
  NodeType* z = at.z;
  NodeType* o = at.o;
  std::uint64_t steps = 0;
  while (o != ones.tail) {
    countStep(steps, ones.walkLimit);
    NodeType* y = o->next;
    if (bitOf(y, index, bitIndex)) {
      if (z != at.zeroSentinel) z->run = std::min(z->run, y->run);
      o->run += 1;
      o = y;
    } else {
      if (o != at.oneSentinel) o->run = std::min(o->run, y->run);
      o->next = y->next;
      if (y == ones.tail) ones.tail = o;
      y->next = z->next;
      z->next = y;
      if (z == zeros.tail) zeros.tail = y;
      z->run += 1;
      z = y;
    }
  }
  z->run = 0;
  o->run = 0;
}

}  // namespace

void dissimDoColumn(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                    const unsigned long long& byteIndex, const unsigned int& bitIndex) {
  const std::uint32_t index = static_cast<std::uint32_t>(byteIndex);
  Cursors at{zeros.head, ones.head, zeros.head, ones.head};
  moveOnes(zeros, ones, index, bitIndex, at);
  moveZeros(zeros, ones, index, bitIndex, at);
}

void linearColumns(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                   VectorBuff& columnValues, std::uint64_t columns, unsigned valueWidth) {
  const bool known = withValueType(valueWidth, [&](auto zero) {
    columnLoop(zeros, ones, reinterpret_cast<decltype(zero)*>(columnValues.data), columns);
  });
  if (!known) wrongValueWidth();
}
