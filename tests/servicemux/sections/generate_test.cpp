#include <gmock/gmock.h>

#include "interface/converters/owned.h"
#include "tests/servicemux/doubles/FailingHandles.h"
#include "tests/servicemux/sections/decoded.h"

namespace {

/// Has memory run out at each of the handles that a table needs, and returns how many these are. The table has no
/// sections then, and all of them when there is memory again.
template <typename Generator>
int handlesFor(Generator generator) {
  const auto expected = bytesOf(generator());
  EXPECT_FALSE(expected.empty());
  for (int left = 0;; ++left) {
    const FailingHandles failing(left);
    const vantor::SectionChain sections = generator();
    if (!FailingHandles::haveFailed()) {
      EXPECT_EQ(bytesOf(sections), expected);
      return left;
    }
    EXPECT_EQ(sections, nullptr) << left << " handles";
  }
}

}  // namespace

TEST(SectionsWithoutMemory, AreNoneOfAnEit) {
  const vantor::EitTable eit(dvbpsi_eit_new(0x50, 0x0401, 3, true, 4, 0x20FA, 0, 0x50));
  for (std::uint16_t id = 0; id < 3; ++id) dvbpsi_eit_event_add(eit.get(), id, 0xEA60000000, 0x010000, 1, false, 0);
  vantor::EITLayout layout;
  layout.starts = {false, true, true};
  EXPECT_GT(handlesFor([&] { return vantor::generateSections(*eit, layout); }), 3);
}

TEST(SectionsWithoutMemory, AreNoneOfAnSdt) {
  const vantor::SdtTable sdt(dvbpsi_sdt_new(0x42, 4, 3, true, 0x20FA));
  for (std::uint16_t id = 0; id < 3; ++id) dvbpsi_sdt_service_add(sdt.get(), id, true, true, 4, false);
  EXPECT_GT(handlesFor([&] { return vantor::generateSections(*sdt, 0x46, {false, true, true}); }), 3);
}

TEST(SectionsWithoutMemory, AreNoneOfANit) {
  const vantor::NitTable nit(dvbpsi_nit_new(0x40, 0x3001, 0x3001, 9, true));
  Bytes data(255, 0xAB);
  for (int i = 0; i < 9; ++i) dvbpsi_nit_descriptor_add(nit.get(), 0x40, 255, data.data());
  EXPECT_GT(handlesFor([&] { return vantor::generateSections(*nit); }), 3);
}

TEST(SectionsWithoutMemory, AreNoneOfATableThatLibdvbpsiDivides) {
  const vantor::PmtTable pmt(dvbpsi_pmt_new(1, 2, true, 0x100));
  EXPECT_EQ(handlesFor([&] { return vantor::generateSections(*pmt); }), 1);
  const vantor::PatTable pat(dvbpsi_pat_new(1, 2, true));
  EXPECT_EQ(handlesFor([&] { return vantor::generateSections(*pat); }), 1);
  const vantor::CatTable cat(dvbpsi_cat_new(2, true));
  EXPECT_EQ(handlesFor([&] { return vantor::generateSections(*cat); }), 1);
}
