#include "programs/tables/sections/dvbpsiDecoder.h"

#include <string>

#include "interface/psi/packet.h"
#include "servicemux/packetize/packetize.h"

namespace vantor::tables {

namespace {

struct HandleDeleter {
  void operator()(dvbpsi_t* handle) const { dvbpsi_delete(handle); }
};
using Handle = std::unique_ptr<dvbpsi_t, HandleDeleter>;

/// Lets a decoder see one version of one subtable and nothing else, so that none of its rules about versions and
/// discontinuities comes into play.
void push(dvbpsi_t* handle, const std::vector<Section>& sections) {
  std::string packets;
  unsigned char counter = 0;
  for (const auto& section : sections) {
    std::string bytes = section.bytes();
    dvbpsi_psi_section_t view{};
    view.p_data = reinterpret_cast<std::uint8_t*>(bytes.data());
    view.p_payload_end = view.p_data + bytes.size();
    // The result is one more than the counter to go on with.
    counter = static_cast<unsigned char>(packetize(0, counter, packets, &view) - 1) & kContinuityMask;
  }
  for (std::size_t at = 0; at < packets.size(); at += kPacketSize)
    dvbpsi_packet_push(handle, reinterpret_cast<std::uint8_t*>(&packets[at]));
}

/// A decoder's callback: hands the table over to the unique_ptr behind `result`.
template <typename TablePtr>
void keep(void* result, typename TablePtr::pointer table) {
  static_cast<TablePtr*>(result)->reset(table);
}

}  // namespace

PatTable decodePat(const std::vector<Section>& sections) {
  PatTable table;
  const Handle handle(dvbpsi_new(nullptr, DVBPSI_MSG_NONE));
  if (!handle || !dvbpsi_pat_attach(handle.get(), keep<PatTable>, &table)) return nullptr;
  push(handle.get(), sections);
  dvbpsi_pat_detach(handle.get());
  return table;
}

CatTable decodeCat(const std::vector<Section>& sections) {
  CatTable table;
  const Handle handle(dvbpsi_new(nullptr, DVBPSI_MSG_NONE));
  if (!handle || !dvbpsi_cat_attach(handle.get(), keep<CatTable>, &table)) return nullptr;
  push(handle.get(), sections);
  dvbpsi_cat_detach(handle.get());
  return table;
}

}  // namespace vantor::tables
