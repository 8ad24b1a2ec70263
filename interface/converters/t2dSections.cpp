#include "interface/converters/t2dSections.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "interface/checks/periods.h"
#include "interface/checks/sectionCrc.h"
#include "interface/converters/check.h"

namespace vantor::thrift::dvb_tables {

namespace {

constexpr std::int64_t kLastPid = kNullPid - 1;
/// EN 300 468 clause 5.2.6.
constexpr std::size_t kShortestTot = kTotHead + kCrcSize;

std::uint8_t byteAt(const std::string& section, std::size_t i) { return static_cast<std::uint8_t>(section[i]); }

std::size_t wordAt(const std::string& section, std::size_t i) {
  return static_cast<std::size_t>(byteAt(section, i)) << 8 | byteAt(section, i + 1);
}

bool hasSyntax(const std::string& section) { return (byteAt(section, 1) & kSectionSyntax) != 0; }

psi::TableKey keyOf(const std::string& section) {
  psi::TableKey key;
  key.table_id = byteAt(section, 0);
  if (hasSyntax(section)) key.extension = static_cast<std::uint16_t>(wordAt(section, kExtensionOffset));
  return key;
}

std::string bytes(std::size_t size) { return std::to_string(size) + " bytes"; }

bool hasRightLength(const Field& field, const std::string& section) {
  const auto refuse = [&](std::string reason) { return field.refuse(bytes(section.size()), std::move(reason)); };
  if (section.size() < kSectionHeaderSize) return refuse("are no whole section");
  const std::size_t size = kSectionHeaderSize + (wordAt(section, 1) & kSectionLengthMask);
  if (section.size() != size) return refuse("are there, and section_length asks for " + std::to_string(size));
  if (size > kLongestSection) return refuse("are more than " + std::to_string(kLongestSection));
  const std::size_t least = hasSyntax(section) ? kSectionOverhead : endsWithCrc(section) ? kShortestTot : 0;
  return size >= least || refuse("are less than " + std::to_string(least));
}

bool isSection(const Field& field, const std::string& section, const psi::TableKey& first) {
  if (!hasRightLength(field, section)) return false;
  if (endsWithCrc(section) && !isCrcRight(section)) return field.refuse("has a wrong CRC_32");
  const psi::TableKey key = keyOf(section);
  if (key.table_id != first.table_id)
    return field.refuse("has table_id " + hex(key.table_id) + ", the first section " + hex(first.table_id));
  if (key.extension != first.extension)
    return field.refuse("has table_id_extension " + std::to_string(key.extension) + ", the first section " +
                        std::to_string(first.extension));
  return true;
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

bool canBeSent(const Field& record, const Sections& sections) {
  if (!inRange(record["pid"], sections.pid, kLastPid)) return false;
  if (!isPeriod(record["period"], sections.period)) return false;
  if (std::any_of(sections.name.begin(), sections.name.end(), &isControl))
    return record["name"].refuse("has a control character");
  const Field list = record["sections"];
  if (sections.sections.empty()) return list.refuse("is empty");
  if (!fitsSectionCount(list, sections.sections.size())) return false;
  if (!hasRightLength(list.element(0), sections.sections.front())) return false;
  const psi::TableKey first = keyOf(sections.sections.front());
  for (std::size_t i = 0; i < sections.sections.size(); ++i)
    if (!isSection(list.element(i), sections.sections[i], first)) return false;
  return true;
}

using Chain = std::unique_ptr<dvbpsi_psi_section_t, decltype(&dvbpsi_DeletePSISections)>;

/// Null when there is no memory.
Chain makeSection(const std::string& bytes) {
  Chain made(dvbpsi_NewPSISection(static_cast<int>(bytes.size())), &dvbpsi_DeletePSISections);
  if (!made) return made;
  std::memcpy(made->p_data, bytes.data(), bytes.size());
  made->i_table_id = byteAt(bytes, 0);
  made->b_syntax_indicator = hasSyntax(bytes);
  made->i_length = static_cast<std::uint16_t>(wordAt(bytes, 1) & kSectionLengthMask);
  made->p_payload_end = made->p_data + bytes.size() - (made->b_syntax_indicator ? kCrcSize : 0);
  return made;
}

}  // namespace

std::optional<Refusal> check(const Sections& record) { return refusalOf(record, &canBeSent); }

psi::TableKey tableKeyOf(const Sections& record) { return keyOf(record.sections.front()); }

dvbpsi_psi_section_t* t2dSections(const Sections& record) {
  if (isRefused("Sections", check(record))) return nullptr;
  Chain first(nullptr, &dvbpsi_DeletePSISections);
  for (auto bytes = record.sections.rbegin(); bytes != record.sections.rend(); ++bytes) {
    Chain section = makeSection(*bytes);
    if (!section) return nullptr;
    section->p_next = first.release();
    first = std::move(section);
  }
  return first.release();
}

}  // namespace vantor::thrift::dvb_tables
