#include <gmock/gmock.h>

#include <random>

#include "interface/converters/owned.h"
#include "tests/servicemux/sections/decoded.h"

namespace {

using testing::SizeIs;
using vantor::NitTable;

using Sizes = std::vector<std::size_t>;

NitTable newNit() { return NitTable(dvbpsi_nit_new(0x40, 0x3001, 0x3001, 9, true)); }

/// Network descriptors and the descriptors of transport streams, of these sizes.
NitTable makeNit(const Sizes& network, const std::vector<Sizes>& streams) {
  NitTable nit = newNit();
  Bytes data(255, 0xAB);
  for (const std::size_t size : network)
    dvbpsi_nit_descriptor_add(nit.get(), 0x40, static_cast<std::uint8_t>(size), data.data());
  std::uint16_t id = 0;
  for (const Sizes& sizes : streams) {
    auto* const stream = dvbpsi_nit_ts_add(nit.get(), id++, 0x20FA);
    for (const std::size_t size : sizes)
      dvbpsi_nit_ts_descriptor_add(stream, 0x41, static_cast<std::uint8_t>(size), data.data());
  }
  return nit;
}

/// The same section with reserved_future_use set, which libdvbpsi clears.
Bytes withReservedBitSet(Bytes section) {
  section.at(1) |= 0x40;
  section.resize(section.size() - 4);
  const std::uint32_t crc = crcOver(section);
  for (int shift = 24; shift >= 0; shift -= 8) section.push_back(static_cast<std::uint8_t>(crc >> shift));
  return section;
}

std::size_t loopOf(const Sizes& sizes) {
  std::size_t bytes = 0;
  for (const std::size_t size : sizes) bytes += 2 + size;
  return bytes;
}

}  // namespace

TEST(NitSections, SmallTableIsThisOneSection) {
  const NitTable nit = newNit();
  Bytes name = {'n', 'e', 't'};
  Bytes data = {0xAA, 0xBB};
  dvbpsi_nit_descriptor_add(nit.get(), 0x40, 3, name.data());
  dvbpsi_nit_ts_descriptor_add(dvbpsi_nit_ts_add(nit.get(), 0x4321, 0x2222), 0x5F, 2, data.data());
  dvbpsi_nit_ts_add(nit.get(), 0x0015, 0x0015);
  const Bytes expected = {0x40, 0xF0, 0x22, 0x30, 0x01, 0xD3, 0x00, 0x00, 0xF0, 0x05, 0x40, 0x03, 0x6E,
                          0x65, 0x74, 0xF0, 0x10, 0x43, 0x21, 0x22, 0x22, 0xF0, 0x04, 0x5F, 0x02, 0xAA,
                          0xBB, 0x00, 0x15, 0x00, 0x15, 0xF0, 0x00, 0x33, 0x02, 0xAC, 0xAA};
  EXPECT_THAT(bytesOf(vantor::generateSections(*nit)), testing::ElementsAre(expected));
}

TEST(NitSections, TableThatFitsOneSectionIsAsLibdvbpsiMakesItButForTheReservedBit) {
  std::mt19937 random(7);
  const auto number = [&random](std::size_t to) {
    return std::uniform_int_distribution<std::size_t>(0, to)(random);
  };
  for (int round = 0; round < 2000; ++round) {
    Sizes network(number(3));
    for (std::size_t& size : network) size = number(80);
    std::vector<Sizes> streams(number(5));
    for (Sizes& stream : streams) {
      stream.resize(number(3));
      for (std::size_t& size : stream) size = number(40);
    }
    const NitTable nit = makeNit(network, streams);
    const auto generated = generatedByLibdvbpsi(
        [&](dvbpsi_t* handle) { return dvbpsi_nit_sections_generate(handle, nit.get(), 0x40); });
    ASSERT_THAT(generated, SizeIs(1));
    ASSERT_THAT(bytesOf(vantor::generateSections(*nit)), testing::ElementsAre(withReservedBitSet(generated[0])))
        << "round " << round;
  }
}

TEST(NitSections, NetworkDescriptorsComeFirstAndStreamsStayWhole) {
  // 8 + 4 + 1008 + 4 bytes: one full section of descriptors, then the rest of them and what fits behind.
  const NitTable nit = makeNit({255, 255, 255, 235, 10}, {{255, 255, 255}, {255, 255, 255}, {}});
  const auto sections = bytesOf(vantor::generateSections(*nit));
  ASSERT_THAT(sections, SizeIs(3));
  const Sizes network = {loopOf({255, 255, 255, 235}), loopOf({10}), 0};
  const Sizes streams = {0, 6 + loopOf({255, 255, 255}), 6 + loopOf({255, 255, 255}) + 6};
  for (std::size_t i = 0; i < sections.size(); ++i) {
    EXPECT_EQ(sections[i][0], 0x40);
    EXPECT_EQ(sections[i][1] & 0xF0, 0xF0) << "reserved bits are ones";
    EXPECT_EQ(sections[i][6], i);
    EXPECT_EQ(sections[i][7], 2);
    EXPECT_EQ(wordAt(sections[i], 8) & 0xFFFU, network[i]);
    EXPECT_EQ(wordAt(sections[i], 10 + network[i]) & 0xFFFU, streams[i]);
    EXPECT_EQ(sections[i].size(), 8 + 2 + network[i] + 2 + streams[i] + 4);
  }
}

TEST(NitSections, TableIdIsThatOfTheLayout) {
  for (const unsigned char id : {0x41, 0x4A}) {
    vantor::NITLayout layout;
    layout.tableId = id;
    for (const auto& section : bytesOf(vantor::generateSections(*makeNit({255, 255, 255, 255}, {{}}), layout)))
      EXPECT_EQ(section[0], id);
  }
}

TEST(NitSections, DescriptorsStandInEachSectionWhereTheyAreRepeated) {
  vantor::NITLayout layout;
  layout.repeatsDescriptors = true;
  // 8 + 2 + 259 + 2 + 2 x 263 bytes leave no room for a third stream.
  const NitTable nit = makeNit({255}, {{255}, {255}, {255}, {}});
  const auto sections = bytesOf(vantor::generateSections(*nit, layout));
  ASSERT_THAT(sections, SizeIs(2));
  const Sizes streams = {2 * (6 + loopOf({255})), 6 + loopOf({255}) + 6};
  for (std::size_t i = 0; i < sections.size(); ++i) {
    EXPECT_EQ(wordAt(sections[i], 8) & 0xFFFU, loopOf({255}));
    EXPECT_EQ(wordAt(sections[i], 10 + loopOf({255})) & 0xFFFU, streams[i]);
  }
  EXPECT_THAT(bytesOf(vantor::generateSections(*makeNit({255}, {}), layout)), SizeIs(1));
}

TEST(NitSections, RepeatedDescriptorsThatLeaveNoRoomYieldNothing) {
  vantor::NITLayout layout;
  layout.repeatsDescriptors = true;
  EXPECT_THAT(bytesOf(vantor::generateSections(*makeNit({255, 255, 255, 229}, {{}}), layout)), SizeIs(1));
  EXPECT_EQ(vantor::generateSections(*makeNit({255, 255, 255, 230}, {{}}), layout), nullptr);
  EXPECT_EQ(vantor::generateSections(*makeNit({255, 255, 255, 255}, {}), layout), nullptr);
}

TEST(NitSections, MarkedStreamsBeginASection) {
  vantor::NITLayout layout;
  layout.starts = {true, false, true, true};
  const auto lengths = [&](const Sizes& network) {
    std::vector<std::size_t> all;
    for (const auto& section : bytesOf(vantor::generateSections(*makeNit(network, {{}, {}, {}, {}, {}}), layout)))
      all.push_back(wordAt(section, 10 + (wordAt(section, 8) & 0xFFFU)) & 0xFFFU);
    return all;
  };
  EXPECT_THAT(lengths({}), testing::ElementsAre(12, 6, 12)) << "the first section is new anyway";
  EXPECT_THAT(lengths({10}), testing::ElementsAre(0, 12, 6, 12)) << "it has descriptors";
  layout.repeatsDescriptors = true;
  EXPECT_THAT(lengths({10}), testing::ElementsAre(12, 6, 12)) << "as every section has";
}

TEST(NitSections, StreamThatFitsNoSectionYieldsNothing) {
  EXPECT_THAT(bytesOf(vantor::generateSections(*makeNit({}, {{255, 255, 255, 229}}))), SizeIs(1));
  EXPECT_EQ(vantor::generateSections(*makeNit({}, {{255, 255, 255, 230}})), nullptr);
  EXPECT_EQ(vantor::generateSections(*makeNit({9}, {{}, {255, 255, 255, 230}})), nullptr);
}

TEST(NitSections, NoMoreThan256Sections) {
  EXPECT_THAT(bytesOf(vantor::generateSections(*makeNit({}, std::vector<Sizes>(256, {255, 255, 255, 229})))),
              SizeIs(256));
  EXPECT_EQ(vantor::generateSections(*makeNit({}, std::vector<Sizes>(257, {255, 255, 255, 229}))), nullptr);
}

TEST(NitSections, TableIsWholeAfterwards) {
  const NitTable nit = makeNit({255, 255, 255, 255, 255}, {{255, 255, 255}, {255, 255, 255}});
  const auto once = bytesOf(vantor::generateSections(*nit));
  EXPECT_EQ(bytesOf(vantor::generateSections(*nit)), once);
}
