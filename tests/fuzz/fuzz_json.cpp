#include <string_view>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/fuzz/fuzzTarget.h"
#include "tests/fuzz/roundTrip.h"

using namespace vantor;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    fuzz::requireRoundTrips(tables::readTableSet({reinterpret_cast<const char*>(data), size}));
  } catch (const tables::InputError& error) {
    fuzz::requirePrintable(error.what());
  }
  return 0;
}
