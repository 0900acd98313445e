#include "project/attribute_index.h"

std::size_t FnvHash::operator()(const std::string& key) const {
  std::uint32_t hash = 2166136261u;
  for (char c : key) {
    hash ^= static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(c)));
    hash *= 16777619u;
  }
  return hash;
}

void freeAttributeIndex(AttributeIndex& index) {
  for (auto& attribute : index) {
    if (attribute.second == nullptr) continue;
    for (auto& group : *attribute.second) delete group.second;
    delete attribute.second;
  }
  index.clear();
}
