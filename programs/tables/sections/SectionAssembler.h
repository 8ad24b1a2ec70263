#pragma once

#include <functional>
#include <string>

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

  /// Takes the PID's next packet (188 bytes, in sync).
  void push(std::string_view packet);

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
  std::string section;      // what is there of the section under way
  bool collecting = false;  // the next payload byte belongs to a section or is stuffing
};

}  // namespace vantor::tables
