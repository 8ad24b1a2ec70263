#pragma once

#include <cstdint>
#include <string>

#include "servicemux/streams/Repetition.h"

namespace vantor {

/// One table as it is on air at this moment.
struct TableOnAir {
  TableOnAir(std::string table, unsigned short pid, const StreamedTable& sent)
      : table(std::move(table)),
        pid(pid),
        version(sent.version),
        period(sent.period),
        packets(sent.packets),
        repetitions(sent.repetition.count()),
        measuredPeriod(sent.repetition.meanPeriod()) {}

  std::string table;  ///< like "PAT", "PMT_101", "SDTo_2_1" or "EIT_4e_258", "null" for null packets
  unsigned short pid;
  int version;                ///< -1 for what has none
  unsigned int period;        ///< ms, as set
  unsigned int packets;       ///< per repetition
  std::uint64_t repetitions;  ///< how often it has begun since it was put on air
  double measuredPeriod;      ///< ms, mean over these repetitions; 0 until there are two
};

}  // namespace vantor
