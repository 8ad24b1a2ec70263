#pragma once

/// While it lives libdvbpsi has no memory for sections of ATSC's tables, and makes none of a TDT or TOT. (Its own
/// generators do not check whether they got memory.)
class FailingSections {
 public:
  FailingSections();
  FailingSections(const FailingSections&) = delete;
  FailingSections& operator=(const FailingSections&) = delete;
  ~FailingSections();
};
