#pragma once

#include <cstdlib>

#include "interface/converters/check.h"

/// Adds to the lists of ATSC's tables. libdvbpsi frees these lists but has no functions that add to them.

namespace vantor::thrift::dvb_tables {

/// Appends a node of zeros to a list. `end` is where the list's last pointer stands; it moves on to that of the new
/// node. Null when there is no memory.
template <typename Node>
[[nodiscard]] Node* appendNode(Node**& end) {
  auto* const node = static_cast<Node*>(std::calloc(1, sizeof(Node)));
  if (node == nullptr) return nullptr;
  *end = node;
  end = &node->p_next;
  return node;
}

/// Adds one descriptor, in the form that addDescriptors takes. Null when there is no memory.
template <typename Owner>
dvbpsi_descriptor_t* addDescriptor(Owner* owner, std::uint8_t tag, std::uint8_t size, std::uint8_t* data) {
  dvbpsi_descriptor_t* const added = dvbpsi_NewDescriptor(tag, size, data);
  if (added != nullptr) owner->p_first_descriptor = dvbpsi_AddDescriptor(owner->p_first_descriptor, added);
  return added;
}

}  // namespace vantor::thrift::dvb_tables
