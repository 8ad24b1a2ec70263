#pragma once

#include <cstdlib>

#include "interface/converters/check.h"

/// libdvbpsi frees the lists of ATSC's tables but has no functions that add to them, so these do.

namespace vantor::thrift::dvb_tables {

/// Puts a node of zeros at a list's end, whose pointer moves on. Null when there is no memory.
template <typename Node>
[[nodiscard]] Node* appendNode(Node**& end) {
  auto* const node = static_cast<Node*>(std::calloc(1, sizeof(Node)));
  if (node == nullptr) return nullptr;
  *end = node;
  end = &node->p_next;
  return node;
}

/// For addDescriptors.
template <typename Owner>
dvbpsi_descriptor_t* addDescriptor(Owner* owner, std::uint8_t tag, std::uint8_t size, std::uint8_t* data) {
  dvbpsi_descriptor_t* const added = dvbpsi_NewDescriptor(tag, size, data);
  if (added != nullptr) owner->p_first_descriptor = dvbpsi_AddDescriptor(owner->p_first_descriptor, added);
  return added;
}

}  // namespace vantor::thrift::dvb_tables
