#include <gmock/gmock.h>

#include <random>

#include "tests/servicemux/sections/decoded.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

struct SdtDeleter {
  void operator()(dvbpsi_sdt_t* sdt) const { dvbpsi_sdt_delete(sdt); }
};
using Sdt = std::unique_ptr<dvbpsi_sdt_t, SdtDeleter>;

/// An SDT whose services, numbered from 0, have descriptors of these sizes.
Sdt makeSdt(const std::vector<std::vector<int>>& services) {
  Sdt sdt(dvbpsi_sdt_new(0x42, 0x1234, 5, true, 0x20FA));
  std::uint8_t data[255];
  std::fill(std::begin(data), std::end(data), std::uint8_t{0xAB});
  std::uint16_t id = 0;
  for (const auto& descriptors : services) {
    auto* const service = dvbpsi_sdt_service_add(sdt.get(), id++, true, true, 4, false);
    for (const int size : descriptors)
      dvbpsi_sdt_service_descriptor_add(service, 0x48, static_cast<std::uint8_t>(size), data);
  }
  return sdt;
}

std::vector<Decoded> sectionsOf(const Sdt& sdt, unsigned char tableId = 0x46,
                                const vantor::SectionStarts& starts = {}) {
  return decode(vantor::generateSections(*sdt, tableId, starts), kSdtShape);
}

}  // namespace

TEST(SdtSections, OtherStreamsHaveTheirOwnTableId) {
  const Sdt sdt = makeSdt({{20}});
  EXPECT_EQ(sectionsOf(sdt, 0x42).at(0).tableId, 0x42U);
  EXPECT_EQ(sectionsOf(sdt, 0x46).at(0).tableId, 0x46U);
}

TEST(SdtSections, ReservedBitsOfTheHeaderAreOnes) {
  for (const unsigned char tableId : {0x42, 0x46})
    EXPECT_EQ(bytesOf(vantor::generateSections(*makeSdt({{20}}), tableId, {})).at(0).at(1) & 0xF0, 0xF0);
}

TEST(SdtSections, TableWithoutServicesIsOneSection) {
  const auto sections = sectionsOf(makeSdt({}));
  ASSERT_THAT(sections, SizeIs(1));
  EXPECT_EQ(sections[0].size, 15U);
  EXPECT_THAT(sections[0].items, SizeIs(0));
}

TEST(SdtSections, ServiceGoesToTheNextSectionWhereTheOneBeforeIsFull) {
  // 11 bytes of header, 5 + 502 and 5 + 497 of services and 4 of CRC_32 are 1024.
  EXPECT_THAT(sectionsOf(makeSdt({{255, 243}, {255, 238}})), SizeIs(1));
  const auto sections = sectionsOf(makeSdt({{255, 243}, {255, 239}, {}}));
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(sections[0].ids(), ElementsAre(0));
  EXPECT_THAT(sections[1].ids(), ElementsAre(1, 2));
  EXPECT_EQ(sections[1].number, 1U);
  EXPECT_EQ(sections[0].lastNumber, 1U);
}

TEST(SdtSections, ServiceCanBeginASectionThoughThereIsRoom) {
  const auto sections = sectionsOf(makeSdt({{10}, {10}, {10}, {10}}), 0x46, {false, false, true});
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(sections[0].ids(), ElementsAre(0, 1));
  EXPECT_THAT(sections[1].ids(), ElementsAre(2, 3));
}

TEST(SdtSections, ServiceThatFitsNoSectionYieldsNothing) {
  EXPECT_THAT(sectionsOf(makeSdt({{255, 255, 255, 231}})), SizeIs(1));
  EXPECT_EQ(vantor::generateSections(*makeSdt({{255, 255, 255, 232}}), 0x46, {}), nullptr);
}

TEST(SdtSections, TableIsWholeAfterwards) {
  const Sdt sdt = makeSdt({{255, 255}, {255, 255}, {255, 255}});
  sectionsOf(sdt);
  int services = 0;
  for (const auto* service = sdt->p_first_service; service != nullptr; service = service->p_next) ++services;
  EXPECT_EQ(services, 3);
}

TEST(SdtSections, RandomTablesArriveWhole) {
  std::mt19937 random(42);
  const auto number = [&random](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
  for (int round = 0; round < 5000; ++round) {
    std::vector<std::vector<int>> services(static_cast<std::size_t>(number(0, 30)));
    const int longest = number(0, 255);
    for (auto& descriptors : services) {
      descriptors.resize(static_cast<std::size_t>(number(0, 3)));
      for (int& size : descriptors) size = number(0, longest);
    }
    std::size_t next = 0;
    const auto sections = sectionsOf(makeSdt(services));
    for (std::size_t i = 0; i < sections.size(); ++i) {
      ASSERT_EQ(sections[i].number, i);
      ASSERT_EQ(sections[i].lastNumber, sections.size() - 1);
      ASSERT_LE(sections[i].size, 1024U);
      for (const Item& item : sections[i].items) {
        std::size_t loop = 0;
        for (const int size : services.at(next)) loop += 2 + static_cast<std::size_t>(size);
        ASSERT_EQ(item.id, next++);
        ASSERT_EQ(item.loop.size(), loop);
      }
    }
    ASSERT_EQ(next, services.size()) << "round " << round;
  }
}
