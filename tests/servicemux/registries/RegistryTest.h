#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servicemux/output/TableOnAir.h"
#include "tests/servicemux/doubles/FakeOutput.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/packets.h"

class RegistryTest : public testing::Test {
 protected:
  template <typename Registry>
  static std::vector<vantor::TableOnAir> onAir(Registry& registry) {
    std::vector<vantor::TableOnAir> tables;
    registry.listOnAir(tables);
    return tables;
  }

  /// The first packet of the subtable that a carousel with nothing overdue sends, its counter aside.
  static std::string firstPacket(vantor::TableCarrousel& carrousel) {
    auto next = boost::chrono::steady_clock::now();
    std::string packet(vantor::kPacketSize, '\0');
    EXPECT_EQ(carrousel.get_packet(reinterpret_cast<signed char*>(packet.data()), next, next), 1);
    packet[vantor::kContinuityOffset] = 0x10;
    return packet;
  }

  FakeOutput output;
  RecordedLog log;
};
