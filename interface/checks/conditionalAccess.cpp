#include "interface/checks/conditionalAccess.h"

#include <string_view>

#include "interface/checks/Field.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/section.h"

namespace vantor::thrift {

namespace {

using general::CaFormat;
using general::ScramblerType;

/// Of the section that the bytes begin with, header included.
std::size_t sectionSize(std::string_view bytes) {
  const unsigned high = static_cast<unsigned char>(bytes[1]);
  const unsigned low = static_cast<unsigned char>(bytes[2]);
  return kSectionHeaderSize + ((high << 8 | low) & kSectionLengthMask);
}

/// True when the bytes are whole sections back to back.
bool areSections(std::string_view bytes) {
  while (bytes.size() >= kSectionHeaderSize && sectionSize(bytes) <= bytes.size())
    bytes.remove_prefix(sectionSize(bytes));
  return bytes.empty();
}

/// Message is one of the records with a format and data.
template <typename Message>
bool isMessage(const Field& field, const Message& message) {
  if (message.format != CaFormat::SECTIONS && message.format != CaFormat::PACKETS)
    return field["format"].refuse(std::to_string(message.format), "is neither 0 (sections) nor 1 (packets)");
  const auto refuse = [&](const char* reason) {
    return field["data"].refuse(std::to_string(message.data.size()) + " bytes", reason);
  };
  if (message.format == CaFormat::PACKETS)
    return message.data.size() % kPacketSize == 0 || refuse("are no whole packets of 188");
  return areSections(message.data) || refuse("are no whole sections");
}

bool arePids(const Field& field, const char* name, const std::map<std::int32_t, std::vector<std::int32_t>>& lists) {
  for (const auto& [usid, pids] : lists) {
    const Field list = field.entry(name, usid);
    for (std::size_t i = 0; i < pids.size(); ++i)
      if (!inRange(list.element(i), pids[i], kMaxPid)) return false;
  }
  return true;
}

bool isConfig(const Field& field, const general::ScramblerConfig& config) {
  if (!config.enabled || config.scrambler_type == ScramblerType::FIXED_PIDS) return true;
  if (config.scrambler_type != ScramblerType::SIMULCRYPT)
    return field["scrambler_type"].refuse(std::to_string(config.scrambler_type),
                                          "is neither 0 (fixed PIDs) nor 3 (Simulcrypt)");
  return arePids(field, "ecm_pids", config.ecm_pids) && arePids(field, "emm_pids", config.emm_pids);
}

bool isEcm(const Field& field, const simulcrypt::ECMItem& ecm) {
  if (!inRange(field["pid"], ecm.pid, kMaxPid)) return false;
  if (ecm.data.empty()) return true;
  if (!isMessage(field, ecm)) return false;
  return ecm.format == CaFormat::SECTIONS || inRange(field["period"], ecm.period, kMax16Bits);
}

bool isEmm(const Field& field, const simulcrypt::EMMItem& emm) {
  if (!inRange(field["pid"], emm.pid, kMaxPid)) return false;
  if (emm.data.empty()) return field["data"].refuse("is empty");
  return isMessage(field, emm);
}

}  // namespace

std::optional<Refusal> general::check(const ScramblerConfig& config) { return refusalOf(config, &isConfig); }

std::optional<Refusal> general::check(const simulCryptData& message) {
  return refusalOf(message, &isMessage<simulCryptData>);
}

std::optional<Refusal> simulcrypt::check(const ECMItem& ecm) { return refusalOf(ecm, &isEcm); }

std::optional<Refusal> simulcrypt::check(const EMMItem& emm) { return refusalOf(emm, &isEmm); }

}  // namespace vantor::thrift
