#pragma once

/// While it lives libdvbpsi makes no sections of the DVB tables.
class FailingGenerators {
 public:
  FailingGenerators();
  FailingGenerators(const FailingGenerators&) = delete;
  FailingGenerators& operator=(const FailingGenerators&) = delete;
  ~FailingGenerators();
};
