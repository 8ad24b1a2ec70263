#include "servicemux/streams/SimpleTable.h"

#include <boost/thread/lock_guard.hpp>

#include "servicemux/muxer/classicRates.h"

namespace vantor {

SimpleTable::SimpleTable(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned int period)
    : muxed_stream(muxer, pid, true, kNoCC), period(period) {}

SimpleTable::~SimpleTable() { unlinkFromMuxer(); }

void SimpleTable::SetPeriod(unsigned int newPeriod) {
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    period = newPeriod;
    recalculate_timing();
  }
  announcePeriod(paced);
}

void SimpleTable::new_packetized_table(std::string& newPackets) {
  if (newPackets.empty()) {
    clear_packetized_table();
    return;
  }
  const TableFacts newFacts = factsOf(newPackets);
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    content.swap(newPackets);
    facts = newFacts;
    pace.begin(boost::chrono::steady_clock::now());
    repetition = {};
    recalculate_timing();
  }
  linkToMuxer();
  announce(paced);
}

void SimpleTable::new_packetized_table_with_metadata(std::string& newPackets, unsigned char newVersion,
                                                     unsigned int newSize) {
  version.store(newVersion);
  size.store(newSize);
  new_packetized_table(newPackets);
}

int SimpleTable::clear_packetized_table() {
  unlinkFromMuxer();
  const boost::lock_guard<boost::mutex> guard(lock);
  content.clear();
  facts = {};
  size.store(0);
  return 0;
}

unsigned char SimpleTable::metadataVersion() const { return version.load(); }

unsigned int SimpleTable::metadataSize() const { return size.load(); }

StreamedTable SimpleTable::onAir() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return {period, facts, repetition};
}

unsigned int SimpleTable::getBitrate() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return bitrate;
}

int SimpleTable::get_packet(signed char* packet, time_point now, time_point& next) {
  const boost::lock_guard<boost::mutex> guard(lock);
  if (content.empty()) return 0;
  const bool sent = pace.offer(now, next, [&]() SERVICEMUX_REQUIRES(lock) {
    if (content.isAtBeginning()) repetition.begin(now);
    content.take(packet);
    restamp_cc(packet);
    return true;
  });
  return sent ? 1 : 0;
}

void SimpleTable::beginClassic(time_point now) {
  const boost::lock_guard<boost::mutex> guard(lock);
  pace.begin(now);
}

TableLayout SimpleTable::layoutOf(PacedTable&) {
  const boost::lock_guard<boost::mutex> guard(lock);
  TableLayout layout;
  layout.kind = period == 0 ? TableLayout::Kind::kFiller : TableLayout::Kind::kRepeated;
  layout.period = period;
  layout.hasSections = facts.hasSection;
  layout.key = facts.key;
  layout.packets = content.sectionPackets();
  return layout;
}

bool SimpleTable::takeSection(PacedTable&, std::size_t section, time_point now, std::string& packets) {
  const boost::lock_guard<boost::mutex> guard(lock);
  if (!content.copySection(section, packets)) return false;
  if (section == 0) repetition.begin(now);
  return true;
}

void SimpleTable::recalculate_timing() {
  const classic::TablePace asked = classic::tablePace(content.bytes().size(), period);
  bitrate = asked.bitrate;
  pace.setInterval(asked.interval);
}

}  // namespace vantor
