#include <gtest/gtest.h>

#include "interface/converters/check.h"
#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/converters/t2dSDT.h"
#include "tests/interface/RandomParts.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/sections.h"

// The converter refuses what cannot be divided into sections, and nothing else.

using namespace vantor::thrift::dvb_tables;
using vantor::SdtTable;

namespace {

SDT someSdt(unsigned seed) {
  RandomParts random(seed);
  SDT sdt;
  sdt.transport_stream_id = 0x0101;
  sdt.original_network_id = 0x20FA;
  sdt.version_number = 5;
  // Hundreds of services may need too many sections.
  sdt.services.resize(static_cast<std::size_t>(random.oneIn(8) ? random.number(200, 350) : random.number(0, 20)));
  const bool apart = random.oneIn(2);
  for (SDTService& service : sdt.services) {
    service.service_id = random.number(0, 0xFFFF);
    service.EIT_schedule_flag = random.oneIn(2);
    service.EIT_present_following_flag = random.oneIn(2);
    service.running_status = static_cast<std::int16_t>(random.number(0, 7));
    service.free_CA_mode = random.oneIn(2);
    service.descriptors = random.descriptors(sdt.services.size() > 20 ? 3 : 6);
    if (apart ? !random.oneIn(10) : random.oneIn(10)) service.__set_starts_section(true);
  }
  return sdt;
}

/// As t2dSDT makes it, but of any record.
std::vector<Bytes> uncheckedSections(const SDT& record) {
  const SdtTable sdt(dvbpsi_sdt_new(0x42, 0x0101, 5, true, 0x20FA));
  for (const SDTService& service : record.services) {
    auto* const added =
        dvbpsi_sdt_service_add(sdt.get(), static_cast<std::uint16_t>(service.service_id), service.EIT_schedule_flag,
                               service.EIT_present_following_flag,
                               static_cast<std::uint8_t>(service.running_status), service.free_CA_mode);
    EXPECT_TRUE(addDescriptors(added, &dvbpsi_sdt_service_descriptor_add, service.descriptors));
  }
  return sectionsOf(*sdt, record);
}

/// What is wrong with where the sections begin.
std::string faultInStarts(const SDT& record, const std::vector<Bytes>& sections) {
  std::size_t next = 0;
  for (const Bytes& section : sections) {
    const std::size_t services = servicesIn({section}).size();
    for (std::size_t i = 1; i < services; ++i)
      if (startsSection(record.services[next + i])) return "service " + std::to_string(next + i) + " begins none";
    next += services;
  }
  return {};
}

}  // namespace

TEST(SdtLimits, SdtIsRefusedExactlyWhenNoSectionsCanHoldIt) {
  RecordedLog log;
  int accepted = 0;
  int refused = 0;
  for (unsigned seed = 0; seed < 4000; ++seed) {
    SDT record = someSdt(seed);
    const auto sections = uncheckedSections(record);
    const SdtTable sdt(t2dSDT(record));
    const auto errors = log.takeErrors();
    ASSERT_EQ(sdt == nullptr, sections.empty()) << "seed " << seed << (errors.empty() ? "" : ", " + errors[0]);
    ASSERT_EQ(errors.size(), sections.empty() ? 1U : 0U);
    ++(sections.empty() ? refused : accepted);
    if (!sdt) continue;
    ASSERT_EQ(sectionsOf(*sdt, record), sections);
    ASSERT_EQ(faultIn(sections), "") << "seed " << seed;
    ASSERT_EQ(faultInStarts(record, sections), "") << "seed " << seed;
    for (SDTService& service : record.services) service.__isset.starts_section = false;
    ASSERT_EQ(servicesIn(sections), record.services) << "seed " << seed;
  }
  EXPECT_GT(accepted, 400);
  EXPECT_GT(refused, 400);
}
