#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>

#include "interface/converters/t2dCAT.h"
#include "interface/converters/t2dNIT.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/sections.h"

// The converters refuse what libdvbpsi's generators would not bring on air whole, and nothing else. Here the
// generators also get what is refused: sections have room behind their end, so that writing there harms nothing.

using namespace vantor::thrift::dvb_tables;

dvbpsi_psi_section_t* dvbpsi_NewPSISection(int size) {
  auto* const section = static_cast<dvbpsi_psi_section_t*>(std::calloc(1, sizeof(dvbpsi_psi_section_t)));
  section->p_data = static_cast<std::uint8_t*>(std::calloc(8, static_cast<std::size_t>(size)));
  section->p_payload_end = section->p_data;
  return section;
}

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
  const auto bytes = [](const Descriptor& descriptor) {
    return const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(descriptor.data.data()));
  };
  const auto size = [](const Descriptor& descriptor) { return static_cast<std::uint8_t>(descriptor.data.size()); };
  for (const Descriptor& descriptor : record.descriptors)
    dvbpsi_nit_descriptor_add(nit.get(), static_cast<std::uint8_t>(descriptor.tag), size(descriptor),
                              bytes(descriptor));
  for (const NITTransportStream& stream : record.transport_streams) {
    auto* const ts = dvbpsi_nit_ts_add(nit.get(), static_cast<std::uint16_t>(stream.transport_stream_id),
                                       static_cast<std::uint16_t>(stream.original_network_id));
    for (const Descriptor& descriptor : stream.descriptors)
      dvbpsi_nit_ts_descriptor_add(ts, static_cast<std::uint8_t>(descriptor.tag), size(descriptor),
                                   bytes(descriptor));
  }
  return sectionsOf(*nit);
}

bool arrivesWhole(const NIT& record) {
  const auto sections = uncheckedSections(record);
  return faultIn(sections).empty() && networkDescriptorsIn(sections) == record.descriptors &&
         transportStreamsIn(sections) == record.transport_streams;
}

}  // namespace

TEST(GeneratorLimits, NitIsRefusedExactlyWhenItWouldNotArriveWhole) {
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
