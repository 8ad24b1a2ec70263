#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace apache::thrift {
namespace protocol {
class TProtocol;
}
namespace transport {
class TMemoryBuffer;
}
}  // namespace apache::thrift

namespace vantor::tables {

/// 128 bits that stand for a content, so that it can be compared without being kept. No two contents that anybody
/// will ever have share them.
struct Digest {
  std::uint64_t low = 0;
  std::uint64_t high = 0;

  friend bool operator==(const Digest& a, const Digest& b) { return a.low == b.low && a.high == b.high; }
  friend bool operator!=(const Digest& a, const Digest& b) { return !(a == b); }
};

/// Makes digests of records and of what goes with them, in the order in which they are added.
class Digester {
 public:
  Digester();

  Digester& addNumber(std::int64_t number);
  Digester& addText(const std::string& text);
  template <typename Record>
  Digester& addRecord(const Record& record) {
    record.write(protocol.get());
    return *this;
  }
  /// All of a record but its version_number, which is put back when it is through.
  template <typename Record>
  Digester& addContent(Record& record) {
    const auto version = std::exchange(record.version_number, 0);
    addRecord(record);
    record.version_number = version;
    return *this;
  }

  /// Of what was added since the last one.
  Digest finish();

 private:
  std::shared_ptr<apache::thrift::transport::TMemoryBuffer> bytes;
  std::shared_ptr<apache::thrift::protocol::TProtocol> protocol;
};

}  // namespace vantor::tables
