#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "interface/converters/check.h"
#include "interface/converters/t2dNIT.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/sections.h"

// The converters refuse what cannot come on air whole, and nothing else.

using namespace vantor::thrift::dvb_tables;

namespace {

class Generator {
 public:
  explicit Generator(unsigned seed) : random(seed) {}

  /// Up to `most` descriptors with sizes from a range that differs from list to list.
  Descriptors descriptors(int most) {
    Descriptors list(static_cast<std::size_t>(number(0, most)));
    const int longest = number(0, 1) == 0 ? 255 : number(0, 255);
    for (Descriptor& descriptor : list) {
      descriptor.tag = static_cast<std::int16_t>(number(0, 255));
      descriptor.data =
          std::string(static_cast<std::size_t>(number(0, longest)), static_cast<char>(number(0, 255)));
    }
    return list;
  }

  int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); }

 private:
  std::mt19937 random;
};

NIT someNit(unsigned seed) {
  Generator generator(seed);
  NIT nit;
  nit.network_id = 0x3001;
  nit.version_number = 5;
  nit.descriptors = generator.descriptors(generator.number(0, 10));
  nit.transport_streams.resize(static_cast<std::size_t>(generator.number(0, 12)));
  for (NITTransportStream& stream : nit.transport_streams) {
    stream.transport_stream_id = generator.number(0, 0xFFFF);
    stream.original_network_id = generator.number(0, 0xFFFF);
    stream.descriptors = generator.descriptors(generator.number(0, 8));
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
