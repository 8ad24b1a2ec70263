#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/output/InsertionPeriods.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/streams/TableCarrousel.h"
#include "servicemux/output/TableOnAir.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/packets.h"

/// An output that is nothing but what a registry reads of it; its muxer does not run.
class FakeOutput final : public vantor::RegistryOwner {
 public:
  const std::string& outputName() const override { return name; }
  vantor::InsertionPeriods& insertionPeriods() override { return periods; }
  const std::shared_ptr<vantor::VBRmuxer>& outputMuxer() const override { return muxer; }
  const std::shared_ptr<vantor::TableCarrousel>& outputSdtCarrousel() const override { return sdtCarrousel; }

  std::string name = "out";
  vantor::InsertionPeriods periods;
  int socket = -1;
  sockaddr_in destination{};
  std::shared_ptr<vantor::VBRmuxer> muxer =
      std::make_shared<vantor::VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
  std::shared_ptr<vantor::TableCarrousel> sdtCarrousel =
      std::make_shared<vantor::TableCarrousel>(muxer, 0x11, vantor::muxed_stream::kNoCC);
};

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
