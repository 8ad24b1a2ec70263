#include "servicemux/streams/TableCarrousel.h"

#include <boost/thread/lock_guard.hpp>
#include <memory>

#include "interface/psi/section.h"
#include "servicemux/muxer/classicRates.h"
#include "servicemux/streams/SttSource.h"

namespace vantor {

TableCarrousel::TableCarrousel(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned char initialCC,
                               Tenancy tenancy)
    : muxed_stream(muxer, pid, true, initialCC, tenancy) {}

TableCarrousel::~TableCarrousel() {
  unlinkFromMuxer();
  const boost::lock_guard<boost::mutex> guard(lock);
  while (!subtables.empty()) remove(subtables.front());
}

SubTable* TableCarrousel::new_packetized_subtable(std::string& packets, unsigned int period,
                                                  unsigned char nSections) {
  if (packets.empty() || period < kSectionDistance) return nullptr;
  return add(std::make_unique<SubTable>(packets, period, nSections, false, nullptr));
}

SubTable* TableCarrousel::new_packetized_subtable(unsigned int period, SttSource* registry) {
  if (period < kSectionDistance) return nullptr;
  std::string none;
  return add(std::make_unique<SubTable>(none, period, 1, true, registry));
}

SubTable* TableCarrousel::add(std::unique_ptr<SubTable> owned) {
  SubTable* const sub = owned.release();
  sub->facts = factsOf(sub->content.bytes());
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    subtables.push_back(*sub);
    turns.add(*sub);
    if (subtables.size() == 1) {
      current = sub;
      pace.begin(boost::chrono::steady_clock::now());
    }
    totalBitrate += sub->bitrate;
    recalculate_timing();
  }
  linkWhileFilled();
  announce(*sub);
  return sub;
}

int TableCarrousel::replace_packetized_subtable(SubTable* sub, std::string& packets, unsigned char nSections) {
  const TableFacts facts = factsOf(packets);
  std::unique_ptr<SubTable> removed;  // freed when the lock is free again
  bool isEmpty = false;
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    if (!sub->is_linked()) return -1;
    totalBitrate -= sub->bitrate;
    if (packets.empty()) {
      removed = remove(*sub);
    } else {
      sub->NewPackets(packets);
      sub->facts = facts;
      sub->NewNSections(nSections);
      sub->NewPeriod(sub->period);
      sub->repetition = {};
      totalBitrate += sub->bitrate;
    }
    recalculate_timing();
    isEmpty = subtables.empty();
  }
  if (removed)
    withdraw(*removed);
  else
    announce(*sub);
  if (isEmpty) linkWhileFilled();
  return 0;
}

int TableCarrousel::replace_packetized_subtable(SubTable* sub) {
  const boost::lock_guard<boost::mutex> guard(lock);
  return sub->is_linked() ? 0 : -1;
}

int TableCarrousel::SetPeriod(SubTable* sub, unsigned int period) {
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    if (!sub->is_linked() || period < kSectionDistance) return -1;
    totalBitrate -= sub->bitrate;
    sub->NewPeriod(period);
    totalBitrate += sub->bitrate;
    recalculate_timing();
  }
  announcePeriod(*sub);
  return 0;
}

int TableCarrousel::clear_packetized_subtable(SubTable* sub) {
  std::string none;
  return replace_packetized_subtable(sub, none, 0);
}

unsigned int TableCarrousel::GetNumberSubTables() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return subtables.size();
}

StreamedTable TableCarrousel::onAir(const SubTable& sub) {
  const boost::lock_guard<boost::mutex> guard(lock);
  return {sub.period, sub.facts, sub.repetition};
}

unsigned int TableCarrousel::getBitrate() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return totalBitrate;
}

int TableCarrousel::get_packet(signed char* packet, time_point now, time_point& next) {
  const boost::lock_guard<boost::mutex> guard(lock);
  if (subtables.empty()) return 0;
  return pace.offer(now, next, [&]() SERVICEMUX_REQUIRES(lock) { return sendPacket(packet, now); }) ? 1 : 0;
}

/// Uses the slot: sends the current subtable's next packet, or only chooses a subtable when the current
/// one was removed.
bool TableCarrousel::sendPacket(signed char* packet, time_point now) {
  if (current == nullptr) {
    GetNextTable(now);
    return false;
  }
  if (takePacket(*current, packet, now)) GetNextTable(now);
  restamp_cc(packet);
  return true;
}

/// Takes a subtable's packet; true when another subtable may follow.
bool TableCarrousel::takePacket(SubTable& sub, signed char* packet, time_point now) {
  if (sub.content.isAtBeginning()) sub.repetition.begin(now);
  return turns.change(sub, [&] { return sub.GetSubtablePacket(packet); });
}

/// Makes the subtable current whose turn it is, the first of the list when none is overdue.
void TableCarrousel::GetNextTable(time_point now) {
  ClassicTurn* const turn = turns.choose(current, now);
  current = turn == nullptr ? &subtables.front() : static_cast<SubTable*>(turn);
}

void TableCarrousel::beginClassic(time_point now) {
  const boost::lock_guard<boost::mutex> guard(lock);
  pace.begin(now);
  for (SubTable& sub : subtables)
    turns.change(sub, [&] {
      sub.beginAt(now);
      return true;
    });
}

TableLayout TableCarrousel::layoutOf(PacedTable& table) {
  const boost::lock_guard<boost::mutex> guard(lock);
  const auto& sub = static_cast<const SubTable&>(table);
  TableLayout layout;
  layout.period = sub.period;
  if (sub.dynamic) {
    layout.hasSections = true;
    layout.packets = {1};
    layout.second = sub.registry;
    return layout;
  }
  layout.hasSections = sub.facts.hasSection;
  layout.key = sub.facts.key;
  layout.packets = sub.content.sectionPackets();
  return layout;
}

bool TableCarrousel::takeSection(PacedTable& table, std::size_t section, time_point now, std::string& packets) {
  const boost::lock_guard<boost::mutex> guard(lock);
  auto& sub = static_cast<SubTable&>(table);
  if (!sub.is_linked()) return false;
  if (sub.dynamic)
    sub.makePacket(packets);
  else if (!sub.content.copySection(section, packets))
    return false;
  if (section == 0) sub.repetition.begin(now);
  return true;
}

std::vector<PacedTable*> TableCarrousel::pacedTables() {
  const boost::lock_guard<boost::mutex> guard(lock);
  std::vector<PacedTable*> all;
  all.reserve(subtables.size());
  for (SubTable& sub : subtables) all.push_back(&sub);
  return all;
}

/// Takes a subtable out and hands it to whoever is to free it.
std::unique_ptr<SubTable> TableCarrousel::remove(SubTable& sub) {
  if (current == &sub) current = nullptr;
  turns.remove(sub);
  subtables.erase(subtables.iterator_to(sub));
  return std::unique_ptr<SubTable>(&sub);
}

/// Links the carousel when it holds a subtable and unlinks it when it does not. Another thread may
/// add a first subtable or clear the last one meanwhile, so whoever changed the link looks again: the last change
/// of the link then agrees with the last change of the content.
void TableCarrousel::linkWhileFilled() {
  bool filled = false;
  do {
    filled = GetNumberSubTables() != 0;
    if (filled)
      linkToMuxer();
    else
      unlinkFromMuxer();
  } while (filled != (GetNumberSubTables() != 0));
}

void TableCarrousel::recalculate_timing() { pace.setInterval(classic::carrouselInterval(totalBitrate)); }

}  // namespace vantor
