#pragma once

#include <string>
#include <vector>

#include "interface/records.h"

/// Sections and streams made for a test.

namespace vantor::testing {

// The sections that libdvbpsi makes of a record.
std::vector<std::string> sectionsOf(const thrift::dvb_tables::PAT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::CAT& record);
std::vector<std::string> sectionsOf(const thrift::dvb_tables::NIT& record);

/// A section with this head and payload and a right CRC_32.
std::string makeSection(unsigned tableId, unsigned extension, unsigned version, unsigned number,
                        unsigned lastNumber, const std::string& payload);

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

}  // namespace vantor::testing
