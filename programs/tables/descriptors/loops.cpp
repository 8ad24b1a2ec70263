#include "programs/tables/descriptors/loops.h"

#include "interface/psi/descriptors.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kLengthSize = 2;

}  // namespace

std::string_view takeLoop(std::string_view& bytes) {
  const std::string_view loop = bytes.substr(kLengthSize, loopLength(bytes, 0));
  bytes.remove_prefix(kLengthSize + loop.size());
  return loop;
}

bool holdsDescriptors(std::string_view bytes) {
  while (bytes.size() >= kDescriptorHeaderSize) {
    const std::size_t size = kDescriptorHeaderSize + byteAt(bytes, 1);
    if (size > bytes.size()) return false;
    bytes.remove_prefix(size);
  }
  return bytes.empty();
}

bool holdsItems(std::string_view loop, std::size_t headSize) {
  while (loop.size() >= headSize) {
    const std::size_t descriptors = loopLength(loop, headSize - kLengthSize);
    loop.remove_prefix(headSize);
    if (descriptors > loop.size() || !holdsDescriptors(loop.substr(0, descriptors))) return false;
    loop.remove_prefix(descriptors);
  }
  return loop.empty();
}

std::vector<LoopItem> itemsOf(std::string_view loop, std::size_t headSize) {
  std::vector<LoopItem> items;
  while (!loop.empty()) {
    const std::string_view head = loop.substr(0, headSize);
    loop.remove_prefix(headSize - kLengthSize);
    items.push_back({head, takeLoop(loop)});
  }
  return items;
}

Descriptors descriptorsOf(std::string_view loop) {
  Descriptors descriptors;
  while (!loop.empty()) {
    const std::size_t length = byteAt(loop, 1);
    thrift::dvb_tables::Descriptor& descriptor = descriptors.emplace_back();
    descriptor.tag = byteAt(loop, 0);
    descriptor.data = loop.substr(kDescriptorHeaderSize, length);
    loop.remove_prefix(kDescriptorHeaderSize + length);
  }
  return descriptors;
}

}  // namespace vantor::tables
