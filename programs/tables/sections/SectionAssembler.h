#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// Puts the sections of one PID together from its packets, ISO/IEC 13818-1 clause 2.4.4.
///
/// libdvbpsi's own packet layer does the same but keeps what it drops to itself; this one tells.
class SectionAssembler {
 public:
  using SectionSink = std::function<void(Section)>;
  using FaultSink = std::function<void(SectionFault)>;

  SectionAssembler(SectionSink onSection, FaultSink onFault)
      : onSection(std::move(onSection)), onFault(std::move(onFault)) {}

  /// Takes the PID's next packet (188 bytes, in sync). `time` is when it came, in whatever unit begun() is to have.
  void push(std::string_view packet, std::int64_t time = 0);

  // For the sinks, while they are called.

  /// The time of the packet with the first byte of the section. That of its last byte is in the packet just pushed.
  std::int64_t begun() const { return begunAt; }
  /// What there is of the section that has the fault.
  std::string_view faulty() const { return section; }

 private:
  bool continues(std::string_view packet, bool discontinuityIndicated);
  void begin(std::string_view payload);
  void append(std::string_view data, bool moreMayFollow);
  void finishSection();
  void drop(SectionFault why);
  void lose(SectionFault why);

  SectionSink onSection;
  FaultSink onFault;
  std::string lastPacket;
  std::int64_t now = 0;      // the time of lastPacket
  std::int64_t begunAt = 0;  // likewise of the packet in which the section under way began
  std::string section;       // what is there of the section under way
  bool collecting = false;   // the next payload byte belongs to a section or is stuffing
};

}  // namespace vantor::tables
