#include "tests/servicemux/doubles/OwnPeriods.h"

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/nextFunction.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

bool replacing = false;

}  // namespace

OwnPeriods::OwnPeriods() { replacing = true; }

OwnPeriods::~OwnPeriods() { replacing = false; }

namespace vantor {

/// An explicit instantiation may name a private member.
template <InsertionPeriods serviceMux::*periods>
struct PeriodsAccess {
  friend InsertionPeriods& periodsOf(serviceMux& mux) { return mux.*periods; }
};

InsertionPeriods& periodsOf(serviceMux& mux);

template struct PeriodsAccess<&serviceMux::periods>;

// The constructor opens the socket before it makes the streams, which take their periods along.
bool serviceMux::openUDPSocket() {
  static auto* const real = nextFunction<bool(serviceMux*)>("_ZN6vantor10serviceMux13openUDPSocketEv");
  if (replacing) periodsOf(*this) = ownPeriods();
  return real(this);
}

}  // namespace vantor
