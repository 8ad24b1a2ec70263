#include <algorithm>

#include "interface/psi/tableIds.h"
#include "servicemux/sections/generate.h"
#include "servicemux/sections/sections.h"

namespace vantor {

namespace {

/// Puts the sections of an EIT together.
class EITSections {
 public:
  EITSections(dvbpsi_eit_t& eit, const EITLayout& layout)
      : eit(eit), layout(layout), events(eit, &dvbpsi_eit_t::p_first_event) {}

  /// One event after the other as they fit, without segments. A receiver looks for events up to
  /// segment_last_section_number, so that is the last section of all.
  SectionChain packed() {
    if (!addEvents(0, events.size()) || !sections.number()) return nullptr;
    segmentLast.assign(sections.size(), sections[0].i_last_number);
    return finish();
  }

  /// Section 0 holds the present event, section 1 the following one; either may be empty.
  SectionChain presentFollowing() {
    const std::size_t present = layout.presentMissing ? 0 : std::min<std::size_t>(events.size(), 1);
    if (events.size() > present + 1) return nullptr;
    if (!addEvents(0, present) || !addEvents(present, events.size()) || !sections.number()) return nullptr;
    segmentLast.assign(sections.size(), 1);
    return finish();
  }

  /// Segments of three hours, 8 section numbers each; empty ones have a section without events.
  SectionChain schedule() {
    std::size_t begin = 0;
    for (int segment = 0; segment == 0 || begin < events.size(); ++segment) {
      std::size_t end = begin;
      while (end < events.size() && segmentOf(events[end].i_start_time, layout.firstDay) == segment) ++end;
      if (segment == kSegmentsPerTable || !addSegment(segment * kSectionsPerSegment, begin, end)) return nullptr;
      begin = end;
    }
    const unsigned char last = sections[sections.size() - 1].i_number;
    for (std::size_t i = 0; i < sections.size(); ++i) sections[i].i_last_number = last;
    return finish();
  }

 private:
  bool addEvents(std::size_t begin, std::size_t end) {
    const auto generator = [this](dvbpsi_t* handle) {
      return dvbpsi_eit_sections_generate(handle, &eit, eit.i_table_id);
    };
    return sections.addItems(events, layout.starts, begin, end, kEitRoom, generator);
  }

  /// Adds the events of one segment, in sections numbered from `firstNumber` on.
  bool addSegment(std::size_t firstNumber, std::size_t begin, std::size_t end) {
    const std::size_t first = sections.size();
    if (!addEvents(begin, end)) return false;
    const std::size_t count = sections.size() - first;
    if (count > kSectionsPerSegment) return false;
    for (std::size_t i = 0; i < count; ++i)
      sections[first + i].i_number = static_cast<unsigned char>(firstNumber + i);
    segmentLast.resize(sections.size(), static_cast<unsigned char>(firstNumber + count - 1));
    return true;
  }

  /// Writes what the generator cannot know of sections that it made one at a time.
  SectionChain finish() {
    for (std::size_t i = 0; i < sections.size(); ++i)
      sections[i].p_data[kLongSectionHeaderSize + kEitSegmentLastOffset] = segmentLast[i];
    return sections.chain();
  }

  dvbpsi_eit_t& eit;
  const EITLayout& layout;
  TableItems<dvbpsi_eit_t, dvbpsi_eit_event_t> events;
  SectionGatherer sections;
  std::vector<unsigned char> segmentLast;  // segment_last_section_number of each
};

bool isSchedule(unsigned char tableId) { return tableId >= kEitScheduleActualFirst; }

}  // namespace

SectionChain generateSections(dvbpsi_eit_t& eit, const EITLayout& layout) {
  EITSections sections(eit, layout);
  if (!layout.standard) return sections.packed();
  return isSchedule(eit.i_table_id) ? sections.schedule() : sections.presentFollowing();
}

}  // namespace vantor
