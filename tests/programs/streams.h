#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interface/records.h"

/// Sections and streams made for a test.

namespace vantor::testing {

// The sections that libdvbpsi makes of a record.
std::vector<std::string> sectionsOf(const thrift::dvb_tables::PAT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::CAT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::NIT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::PMT& record);
/// As SDT actual (0x42) or other (0x46).
std::vector<std::string> sectionsOf(const thrift::dvb_tables::SDT& record, unsigned tableId);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::EIT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::MGT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::VCT& record);

/// A section with this head and payload and a right CRC_32.
std::string makeSection(unsigned tableId, unsigned extension, unsigned version, unsigned number,
                        unsigned lastNumber, const std::string& payload);

/// A section of these bytes, the last four of which a right CRC_32 takes the place of.
std::string withCrc(std::string bytes);

/// The payload of an EIT section, of service events that each have one descriptor of this size.
struct MadeEvent {
  int id;
  std::int64_t start;
  std::size_t descriptorSize = 10;  // bytes of data, at most 255
};
std::string eitPayload(unsigned segmentLast, unsigned lastTableId, const std::vector<MadeEvent>& events);

/// Makes the packets of one PID, with running counters.
class Packer {
 public:
  explicit Packer(unsigned pid) : pid(pid) {}

  /// Each section starts a packet of its own.
  std::string apart(const std::vector<std::string>& sections);
  /// Sections follow one another without gaps.
  std::string packed(const std::vector<std::string>& sections);
  /// Leaves out one value of the counter.
  void skip() { ++counter; }

 private:
  std::string packet(bool start, const std::string& payload);

  unsigned pid;
  unsigned counter = 0;
};

thrift::dvb_tables::PAT makePat(int version, int programs);
thrift::dvb_tables::CAT makeCat(int version, int descriptors);
thrift::dvb_tables::NIT makeNit(int version, int streams);
thrift::dvb_tables::PMT makePmt(int program, int version);
/// With services of about 110 bytes each.
thrift::dvb_tables::SDT makeSdt(int transportStream, int version, int services);
thrift::dvb_tables::EITEvent makeEvent(const MadeEvent& made);

}  // namespace vantor::testing
