#include <gtest/gtest.h>

#include <memory>

#include "interface/converters/check.h"
#include "interface/converters/t2dNIT.h"
#include "tests/interface/RandomParts.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/sections.h"

// The converters refuse what cannot come on air whole, and nothing else.

using namespace vantor::thrift::dvb_tables;

namespace {

NIT someNit(unsigned seed) {
  RandomParts random(seed);
  NIT nit;
  nit.network_id = 0x3001;
  nit.version_number = 5;
  nit.descriptors = random.descriptors(random.number(0, 10));
  nit.transport_streams.resize(static_cast<std::size_t>(random.number(0, 12)));
  for (NITTransportStream& stream : nit.transport_streams) {
    stream.transport_stream_id = random.number(0, 0xFFFF);
    stream.original_network_id = random.number(0, 0xFFFF);
    stream.descriptors = random.descriptors(random.number(0, 8));
  }
  return nit;
}

/// As t2dNIT makes it, but of any record.
std::vector<Bytes> uncheckedSections(const NIT& record) {
  const std::unique_ptr<dvbpsi_nit_t, decltype(&dvbpsi_nit_delete)> nit(
      dvbpsi_nit_new(0x40, 0x3001, 0x3001, 5, true), &dvbpsi_nit_delete);
  EXPECT_TRUE(addDescriptors(nit.get(), &dvbpsi_nit_descriptor_add, record.descriptors));
  for (const NITTransportStream& stream : record.transport_streams) {
    auto* const ts = dvbpsi_nit_ts_add(nit.get(), static_cast<std::uint16_t>(stream.transport_stream_id),
                                       static_cast<std::uint16_t>(stream.original_network_id));
    EXPECT_TRUE(addDescriptors(ts, &dvbpsi_nit_ts_descriptor_add, stream.descriptors));
  }
  return sectionsOf(*nit);
}

bool arrivesWhole(const NIT& record) {
  const auto sections = uncheckedSections(record);
  return faultIn(sections).empty() && networkDescriptorsIn(sections) == record.descriptors &&
         transportStreamsIn(sections) == record.transport_streams;
}

}  // namespace

TEST(NitLimits, NitIsRefusedExactlyWhenItWouldNotArriveWhole) {
  RecordedLog log;
  int accepted = 0;
  int refused = 0;
  for (unsigned seed = 0; seed < 20000; ++seed) {
    const NIT record = someNit(seed);
    const bool whole = arrivesWhole(record);
    const std::unique_ptr<dvbpsi_nit_t, decltype(&dvbpsi_nit_delete)> nit(t2dNIT(record), &dvbpsi_nit_delete);
    const auto errors = log.takeErrors();
    ASSERT_EQ(nit != nullptr, whole) << "seed " << seed << (errors.empty() ? "" : ", " + errors[0]);
    ASSERT_EQ(errors.size(), whole ? 0U : 1U);
    ++(whole ? accepted : refused);
  }
  EXPECT_GT(accepted, 1000);
  EXPECT_GT(refused, 1000);
}
