#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

#include "interface/converters/owned.h"
#include "tests/servicemux/sections/decoded.h"

/// ATSC's tables put together by hand.

/// Adds a node of zeros to a list of libdvbpsi's, which frees it.
template <typename Node>
Node& append(Node*& list) {
  Node** end = &list;
  while (*end != nullptr) end = &(*end)->p_next;
  *end = static_cast<Node*>(std::calloc(1, sizeof(Node)));
  return **end;
}

template <typename Owner>
void addDescriptor(Owner& owner, std::uint8_t tag, Bytes data) {
  owner.p_first_descriptor = dvbpsi_AddDescriptor(
      owner.p_first_descriptor, dvbpsi_NewDescriptor(tag, static_cast<std::uint8_t>(data.size()), data.data()));
}

/// Descriptors that are so many bytes long together, headers included.
template <typename Owner>
void addLoop(Owner& owner, std::size_t size) {
  while (size > 0) {
    const std::size_t next = size <= 257 ? size : size - 257 < 2 ? size - 2 : 257;
    addDescriptor(owner, 0x80, Bytes(next - 2, 0xAB));
    size -= next;
  }
}

/// A lone section without its CRC_32, which is right.
inline Bytes onlySection(const vantor::SectionChain& chain) {
  const auto sections = bytesOf(chain);
  if (sections.size() != 1) return {};
  return {sections[0].begin(), sections[0].end() - 4};
}
