#include "tests/programs/inputs/networkCaptures.h"

#include <gtest/gtest.h>
#include <lzma.h>
#include <zlib.h>

namespace vantor::testing {

const std::string kIpv4Group{"\xEF\x01\x02\x03", 4};
const std::string kIpv6Group{"\xFF\x15\0\0\0\0\0\0\0\0\0\0\0\0\0\x07", 16};

std::string bigEndian(std::uint64_t value, std::size_t size) {
  std::string out;
  for (std::size_t i = size; i-- > 0;) out += static_cast<char>(value >> (8 * i));
  return out;
}

std::string littleEndian(std::uint64_t value, std::size_t size) {
  const std::string big = bigEndian(value, size);
  return {big.rbegin(), big.rend()};
}

std::string markedPacket(unsigned pid, unsigned mark) {
  std::string packet = "\x47" + bigEndian(pid, 2) + "\x10" + bigEndian(mark, 4);
  packet.resize(188, '\xFF');
  return packet;
}

std::string markedPackets(unsigned count, unsigned first) {
  std::string out;
  for (unsigned i = 0; i < count; ++i) out += markedPacket(0x100, first + i);
  return out;
}

std::string rtp(unsigned number, const std::string& payload, unsigned sender) {
  return "\x80\x21" + bigEndian(number, 2) + bigEndian(number * 90, 4) + bigEndian(sender, 4) + payload;
}

std::string udpOverIp(const std::string& address, unsigned port, const std::string& payload) {
  const std::string udp =
      bigEndian(1234, 2) + bigEndian(port, 2) + bigEndian(8 + payload.size(), 2) + bigEndian(0, 2) + payload;
  if (address.size() == 16)
    return bigEndian(0x60000000, 4) + bigEndian(udp.size(), 2) + "\x11\x40" + std::string(16, '\1') + address + udp;
  return bigEndian(0x4500, 2) + bigEndian(20 + udp.size(), 2) + bigEndian(0, 4) + "\x40\x11" + bigEndian(0, 2) +
         std::string(4, '\1') + address + udp;
}

namespace {

std::string etherType(const std::string& ip) { return bigEndian(ip[0] >> 4 == 6 ? 0x86DD : 0x0800, 2); }

}  // namespace

std::string ethernet(const std::string& ip) { return std::string(12, '\2') + etherType(ip) + ip; }

std::string taggedEthernet(const std::string& ip, unsigned outer) {
  return std::string(12, '\2') + bigEndian(outer, 2) + bigEndian(0x0064, 2) + bigEndian(0x81000007, 4) +
         etherType(ip) + ip;
}

std::string loopback(const std::string& ip) { return littleEndian(ip[0] >> 4 == 6 ? 30 : 2, 4) + ip; }

std::string linuxCooked(const std::string& ip) { return std::string(14, '\0') + etherType(ip) + ip; }
std::string linuxCooked2(const std::string& ip) { return etherType(ip) + std::string(18, '\0') + ip; }

std::string pcap(const std::vector<std::string>& frames, unsigned link) {
  std::string out = littleEndian(0xA1B2C3D4, 4) + littleEndian(2, 2) + littleEndian(4, 2) + littleEndian(0, 8) +
                    littleEndian(65535, 4) + littleEndian(link, 4);
  std::uint64_t microseconds = 0;
  for (const std::string& frame : frames) {
    out += littleEndian(1, 4) + littleEndian(microseconds, 4) + littleEndian(frame.size(), 4) +
           littleEndian(frame.size(), 4) + frame;
    microseconds += 1000;
  }
  return out;
}

namespace {

std::string block(unsigned type, std::string body) {
  body.resize((body.size() + 3) / 4 * 4);
  const std::string length = littleEndian(body.size() + 12, 4);
  return littleEndian(type, 4) + length + body + length;
}

}  // namespace

std::string pcapng(const std::vector<std::string>& frames, unsigned link) {
  std::string out = block(0x0A0D0D0A, littleEndian(0x1A2B3C4D, 4) + littleEndian(1, 2) + littleEndian(0, 2) +
                                          std::string(8, '\xFF')) +
                    block(1, littleEndian(link, 4) + littleEndian(65535, 4));
  std::uint64_t microseconds = 1000000;
  for (const std::string& frame : frames) {
    out += block(6, littleEndian(0, 4) + littleEndian(microseconds >> 32, 4) +
                        littleEndian(microseconds & 0xFFFFFFFF, 4) + littleEndian(frame.size(), 4) +
                        littleEndian(frame.size(), 4) + frame);
    microseconds += 1000;
  }
  return out;
}

std::string gzipped(const std::string& bytes) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string out(bytes.size() + 1000, '\0');
  std::string in = bytes;
  stream.next_in = reinterpret_cast<Bytef*>(in.data());
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

std::string xzipped(const std::string& bytes) {
  std::string out(bytes.size() + 1000, '\0');
  std::size_t size = 0;
  EXPECT_EQ(
      lzma_easy_buffer_encode(1, LZMA_CHECK_CRC64, nullptr, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                              bytes.size(), reinterpret_cast<std::uint8_t*>(out.data()), &size, out.size()),
      LZMA_OK);
  out.resize(size);
  return out;
}

}  // namespace vantor::testing
