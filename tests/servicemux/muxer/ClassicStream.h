#pragma once

#include <string>
#include <vector>

#include "servicemux/muxer/muxed_stream.h"

/// A stream that has nothing to send with the timing of the standards.
class ClassicStream : public vantor::muxed_stream {
 public:
  void beginClassic(time_point) override {}
  vantor::TableLayout layoutOf(vantor::PacedTable&) override { return {}; }
  bool takeSection(vantor::PacedTable&, std::size_t, time_point, std::string&) override { return false; }
  std::vector<vantor::PacedTable*> pacedTables() override { return {}; }

 protected:
  using muxed_stream::muxed_stream;
};
