#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "servicemux/streams/Repetition.h"

namespace vantor {

/// One table as it is on air at this moment; also the null packets, and the messages of conditional access.
struct TableOnAir {
  TableOnAir(std::string name, unsigned short pid, const StreamedTable& sent)
      : name(std::move(name)),
        pid(pid),
        table_id(sent.facts.hasSection ? sent.facts.key.table_id : -1),
        key(sent.facts.key),
        version(sent.facts.version),
        sections(sent.facts.sections),
        bytes(sent.facts.bytes),
        packets(sent.facts.packets),
        period(sent.period),
        repetitions(sent.repetition.count()),
        measuredPeriod(sent.repetition.meanPeriod()) {}

  /// Named after its kind and what tells it from others.
  TableOnAir(unsigned short pid, const StreamedTable& sent) : TableOnAir(tableName(sent.facts.key), pid, sent) {}

  std::string name;  ///< like "PAT", "PMT 101", "SDT other 2/1", "EIT p/f actual 258" or "null packets"
  unsigned short pid;
  int table_id;               ///< -1 for what has no section
  psi::TableKey key;          ///< what tells the table from others of its output
  int version;                ///< version_number, -1 for what has none
  unsigned int sections;      ///< 0 for what is sent once
  unsigned int bytes;         ///< of the sections
  unsigned int packets;       ///< per repetition
  unsigned int period;        ///< ms, as set; 0 for what is sent once
  std::uint64_t repetitions;  ///< how often it has begun since it was put on air
  double measuredPeriod;      ///< ms, mean over these repetitions; 0 until there are two
};

}  // namespace vantor
