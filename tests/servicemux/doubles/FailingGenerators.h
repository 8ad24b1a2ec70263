#pragma once

/// While it lives libdvbpsi makes no sections of a PAT, CAT or NIT.
class FailingGenerators {
 public:
  FailingGenerators();
  FailingGenerators(const FailingGenerators&) = delete;
  FailingGenerators& operator=(const FailingGenerators&) = delete;
  ~FailingGenerators();
};
