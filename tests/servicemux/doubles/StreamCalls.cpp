#include "tests/servicemux/doubles/StreamCalls.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <typeinfo>
#include <utility>

#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

using vantor::SubTable;
using vantor::TableCarrousel;

// Guarded by mutex.
std::mutex mutex;
bool recording = false;
std::vector<std::string> calls;
std::map<const SubTable*, int> tableIds;

void record(const std::string& call) {
  const std::lock_guard lock(mutex);
  if (recording) calls.push_back(call);
}

std::string hex(int tableId) {
  char text[16];
  std::snprintf(text, sizeof text, "%02x", static_cast<unsigned int>(tableId));
  return text;
}

/// Of the section that begins in the first packet.
int tableIdOf(const std::string& packets) {
  constexpr std::size_t kSection = 5;
  return packets.size() > kSection ? static_cast<unsigned char>(packets[kSection]) : -1;
}

int tableIdOf(const SubTable* sub) {
  const std::lock_guard lock(mutex);
  const auto known = tableIds.find(sub);
  return known == tableIds.end() ? -1 : known->second;
}

/// The library's own function of this name, which has std::string among its arguments.
template <typename Function>
Function* realFunction(const char* beforeString, const char* behindString) {
  return nextFunction<Function>((std::string(beforeString) + typeid(std::string).name() + behindString).c_str());
}

}  // namespace

StreamCalls::StreamCalls() {
  const std::lock_guard lock(mutex);
  calls.clear();
  tableIds.clear();
  recording = true;
}

StreamCalls::~StreamCalls() {
  const std::lock_guard lock(mutex);
  recording = false;
}

std::vector<std::string> StreamCalls::take() {
  const std::lock_guard lock(mutex);
  return std::exchange(calls, {});
}

namespace vantor {

SubTable* TableCarrousel::new_packetized_subtable(std::string& packets, unsigned int period,
                                                  unsigned char nSections) {
  static auto* const real = realFunction<SubTable*(TableCarrousel*, std::string&, unsigned int, unsigned char)>(
      "_ZN6vantor14TableCarrousel23new_packetized_subtableER", "jh");
  const int tableId = tableIdOf(packets);
  SubTable* const sub = real(this, packets, period, nSections);
  record("new " + hex(tableId) + " " + std::to_string(nSections) + "s");
  const std::lock_guard lock(mutex);
  tableIds[sub] = tableId;
  return sub;
}

int TableCarrousel::replace_packetized_subtable(SubTable* sub, std::string& packets, unsigned char nSections) {
  static auto* const real = realFunction<int(TableCarrousel*, SubTable*, std::string&, unsigned char)>(
      "_ZN6vantor14TableCarrousel27replace_packetized_subtableEPNS_8SubTableER", "h");
  if (!packets.empty()) record("replace " + hex(tableIdOf(packets)) + " " + std::to_string(nSections) + "s");
  return real(this, sub, packets, nSections);
}

int TableCarrousel::clear_packetized_subtable(SubTable* sub) {
  static auto* const real = nextFunction<int(TableCarrousel*, SubTable*)>(
      "_ZN6vantor14TableCarrousel25clear_packetized_subtableEPNS_8SubTableE");
  record("clear " + hex(tableIdOf(sub)));
  return real(this, sub);
}

void SectionQueue::queue_section(const std::string& data, unsigned int newRate) {
  static auto* const real = realFunction<void(SectionQueue*, const std::string&, unsigned int)>(
      "_ZN6vantor12SectionQueue13queue_sectionERK", "j");
  if (!data.empty()) record("queue " + std::to_string(data.size()) + "b " + std::to_string(newRate) + "bps");
  real(this, data, newRate);
}

}  // namespace vantor
