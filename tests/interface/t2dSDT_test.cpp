#include "interface/converters/t2dSDT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::SdtTable;

namespace {

SDTService service(int id, const Descriptors& descriptors = {}) {
  SDTService service;
  service.service_id = id;
  service.EIT_schedule_flag = id % 2 == 0;
  service.EIT_present_following_flag = id % 3 == 0;
  service.running_status = static_cast<std::int16_t>(id % 8);
  service.free_CA_mode = id % 5 == 0;
  service.descriptors = descriptors;
  return service;
}

SDT sdtOf(const std::vector<SDTService>& services) {
  SDT record;
  record.transport_stream_id = 0x0101;
  record.original_network_id = 0x20FA;
  record.version_number = 9;
  record.services = services;
  return record;
}

/// Services that fill a section each: 1024 bytes with 11 before them, 5 of their own and CRC_32.
SDTService fullService(int id) {
  return service(id, {descriptorOf(255), descriptorOf(255), descriptorOf(255), descriptorOf(231)});
}

std::vector<SDTService> fullServices(int count) {
  std::vector<SDTService> services;
  for (int id = 0; id < count; ++id) services.push_back(fullService(id));
  return services;
}

class SdtConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const SDT& record) {
    EXPECT_EQ(SdtTable(t2dSDT(record)), nullptr);
    return log.takeErrors();
  }

  void expectWhole(const SDT& record, std::size_t sectionCount) {
    const SdtTable sdt(t2dSDT(record));
    ASSERT_NE(sdt, nullptr) << testing::PrintToString(log.takeErrors());
    const auto sections = sectionsOf(*sdt, record);
    EXPECT_EQ(faultIn(sections), "");
    ASSERT_THAT(sections, SizeIs(sectionCount));
    EXPECT_EQ(tableId(sections[0]), 0x42);
    EXPECT_EQ(extension(sections[0]), record.transport_stream_id);
    EXPECT_EQ(version(sections[0]), record.version_number);
    EXPECT_EQ(isCurrent(sections[0]), record.current_next_indicator);
    EXPECT_EQ(originalNetworkIdIn(sections[0]), record.original_network_id);
    EXPECT_EQ(servicesIn(sections), record.services);
    EXPECT_EQ(decodedSdt(sections), record);
  }

  RecordedLog log;
};

}  // namespace

TEST_F(SdtConverter, EveryFieldReachesTheTable) {
  SDT record = sdtOf({service(0xFFFF, {descriptor(0x48, "name")}), service(0)});
  record.transport_stream_id = 0xFFFE;
  record.original_network_id = 0xFFFD;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.services[0].running_status = 7;
  const SdtTable sdt(t2dSDT(record));
  ASSERT_NE(sdt, nullptr);
  EXPECT_EQ(sdt->i_table_id, 0x42);
  EXPECT_EQ(sdt->i_extension, 0xFFFE);
  EXPECT_EQ(sdt->i_network_id, 0xFFFD);
  EXPECT_EQ(sdt->i_version, 31);
  EXPECT_FALSE(sdt->b_current_next);
  const auto* const first = sdt->p_first_service;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_service_id, 0xFFFF);
  EXPECT_FALSE(first->b_eit_schedule);
  EXPECT_TRUE(first->b_eit_present);
  EXPECT_EQ(first->i_running_status, 7);
  EXPECT_TRUE(first->b_free_ca);
  ASSERT_NE(first->p_first_descriptor, nullptr);
  EXPECT_EQ(first->p_first_descriptor->i_tag, 0x48);
  ASSERT_NE(first->p_next, nullptr);
  EXPECT_EQ(first->p_next->i_service_id, 0);
  EXPECT_EQ(first->p_next->p_next, nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(SdtConverter, SmallTableIsThisSection) {
  SDT record = sdtOf({service(0x0405, {descriptor(0x48, "abc")})});
  record.services[0].EIT_schedule_flag = true;
  record.services[0].EIT_present_following_flag = false;
  record.services[0].running_status = 4;
  record.services[0].free_CA_mode = true;
  const SdtTable sdt(t2dSDT(record));
  const Bytes expected = {0x42, 0xF0, 0x16, 0x01, 0x01, 0xD3, 0x00, 0x00, 0x20, 0xFA, 0xFF, 0x04, 0x05,
                          0xFE, 0x90, 0x05, 0x48, 0x03, 0x61, 0x62, 0x63, 0x68, 0x2C, 0x42, 0xE8};
  EXPECT_THAT(sectionsOf(*sdt, record), ElementsAre(expected));
}

TEST_F(SdtConverter, EveryFlagArrivesByItself) {
  for (int flags = 0; flags < 8; ++flags) {
    SDT record = sdtOf({service(1)});
    record.services[0].EIT_schedule_flag = (flags & 1) != 0;
    record.services[0].EIT_present_following_flag = (flags & 2) != 0;
    record.services[0].free_CA_mode = (flags & 4) != 0;
    expectWhole(record, 1);
  }
}

TEST_F(SdtConverter, ArrivesWholeOverAsManySectionsAsItNeeds) {
  expectWhole(sdtOf({}), 1);
  expectWhole(sdtOf({service(1, {descriptorOf(20), descriptorOf(0)}), service(2), service(0xFFFF)}), 1);
  expectWhole(sdtOf({fullService(6)}), 1);
  expectWhole(sdtOf({fullService(1), service(2), service(3, {descriptorOf(30)})}), 2);
  expectWhole(sdtOf(fullServices(256)), 256);
}

TEST_F(SdtConverter, ServiceBeginsASectionWhereItIsToldTo) {
  SDT record = sdtOf({service(1), service(2), service(3)});
  record.services[1].__set_starts_section(true);
  const SdtTable sdt(t2dSDT(record));
  const auto sections = sectionsOf(*sdt, record);
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(servicesIn({sections[0]}), ElementsAre(service(1)));
  EXPECT_THAT(servicesIn({sections[1]}), ElementsAre(service(2), service(3)));
}

TEST_F(SdtConverter, RefusesA257thSection) {
  EXPECT_THAT(refusal(sdtOf(fullServices(257))), ElementsAre("SDT: services: needs 257 sections, more than 256"));
  SDT record = sdtOf(std::vector<SDTService>(257, service(1)));
  for (SDTService& service : record.services) service.__set_starts_section(true);
  EXPECT_THAT(refusal(record), ElementsAre("SDT: services: needs 257 sections, more than 256"));
  record.services[100].starts_section = false;
  EXPECT_NE(SdtTable(t2dSDT(record)), nullptr);
}

TEST_F(SdtConverter, RefusesAServiceThatFitsNoSection) {
  SDT record = sdtOf({service(1), fullService(2)});
  record.services[1].descriptors.back() = descriptorOf(232);
  EXPECT_THAT(refusal(record), ElementsAre("SDT: services[1].descriptors: 1005 bytes do not fit in a section"));
}

TEST_F(SdtConverter, RefusesNumbersThatDoNotFitTheirFields) {
  SDT record = sdtOf({});
  record.transport_stream_id = 65536;
  EXPECT_THAT(refusal(record), ElementsAre("SDT: transport_stream_id: 65536 is above 0xFFFF"));
  record = sdtOf({});
  record.original_network_id = -1;
  EXPECT_THAT(refusal(record), ElementsAre("SDT: original_network_id: -1 is negative"));
  EXPECT_THAT(refusal(sdtOf({service(1), service(65536)})),
              ElementsAre("SDT: services[1].service_id: 65536 is above 0xFFFF"));
  record = sdtOf({service(1)});
  record.services[0].running_status = 8;
  EXPECT_THAT(refusal(record), ElementsAre("SDT: services[0].running_status: 8 is above 0x7"));
  record.services[0].running_status = -1;
  EXPECT_THAT(refusal(record), ElementsAre("SDT: services[0].running_status: -1 is negative"));
}

TEST_F(SdtConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  EXPECT_THAT(refusal(sdtOf({service(1), service(2, {descriptorOf(1), descriptor(-1, "")})})),
              ElementsAre("SDT: services[1].descriptors[1].tag: -1 is negative"));
  EXPECT_THAT(refusal(sdtOf({service(1, {descriptorOf(256)})})),
              ElementsAre("SDT: services[0].descriptors[0].data: 256 bytes are more than 255"));
}

TEST_F(SdtConverter, LeavesVersionsAbove31ToTheCaller) {
  SDT record = sdtOf({});
  record.version_number = 1000;
  const SdtTable sdt(t2dSDT(record));
  ASSERT_NE(sdt, nullptr);
  EXPECT_GT(sdt->i_version, 31);
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("SDT: version_number: -1 is negative"));
}
