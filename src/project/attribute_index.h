// The attribute index: attribute name -> value -> files with that value.
//
// Both levels are Google sparsehash maps hashed with 32-bit FNV-1a over the
// key's bytes sign-extended to 32 bits. Nothing sorts the groups: every
// consumer walks a ValueGroups map in the container's own iteration order,
// which therefore decides the order of groups everywhere. Lists and maps are
// owned through raw pointers by the Project (see project.h), which frees them.
#ifndef OVRELL_PROJECT_ATTRIBUTE_INDEX_H_
#define OVRELL_PROJECT_ATTRIBUTE_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <google/sparse_hash_map>
#include <string>
#include <vector>

struct FnvHash {
  std::size_t operator()(const std::string& key) const;
};

// Indices into the project's file list, strictly ascending, never empty.
using FileIndexList = std::vector<std::uint32_t>;
using ValueGroups = google::sparse_hash_map<std::string, FileIndexList*, FnvHash>;
using AttributeIndex = google::sparse_hash_map<std::string, ValueGroups*, FnvHash>;

// Deletes every list and map the index owns and empties it.
void freeAttributeIndex(AttributeIndex& index);

#endif  // OVRELL_PROJECT_ATTRIBUTE_INDEX_H_
