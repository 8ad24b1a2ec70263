#include "programs/tables/kinds/Digest.h"

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <xxhash.h>

namespace vantor::tables {

using apache::thrift::protocol::TBinaryProtocolT;
using apache::thrift::transport::TMemoryBuffer;

Digester::Digester()
    : bytes(std::make_shared<TMemoryBuffer>()),
      protocol(std::make_shared<TBinaryProtocolT<TMemoryBuffer>>(bytes)) {}

Digester& Digester::addNumber(std::int64_t number) {
  protocol->writeI64(number);
  return *this;
}

Digester& Digester::addText(const std::string& text) {
  protocol->writeString(text);
  return *this;
}

Digest Digester::finish() {
  std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  bytes->getBuffer(&data, &size);
  const XXH128_hash_t hash = XXH3_128bits(data, size);
  bytes->resetBuffer();
  return {hash.low64, hash.high64};
}

}  // namespace vantor::tables
