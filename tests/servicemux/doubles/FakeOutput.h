#pragma once

#include <memory>
#include <string>

#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/output/InsertionPeriods.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/servicemux/doubles/Sender.h"

/// An output that is nothing but what its parts see of it; its muxer does not run.
class FakeOutput final : public vantor::RegistryOwner {
 public:
  const std::string& outputName() const override { return name; }
  vantor::InsertionPeriods& insertionPeriods() override { return periods; }
  vantor::TimingProfile timingProfile() const override { return muxer->timingProfile(); }
  const std::shared_ptr<vantor::VBRmuxer>& outputMuxer() const override { return muxer; }
  const std::shared_ptr<vantor::TableCarrousel>& outputSdtCarrousel() const override { return sdtCarrousel; }

  std::string name = "out";
  vantor::InsertionPeriods periods;
  Sender sender;
  std::shared_ptr<vantor::VBRmuxer> muxer = std::make_shared<vantor::VBRmuxer>(sender, 1024, 7);
  std::shared_ptr<vantor::TableCarrousel> sdtCarrousel =
      std::make_shared<vantor::TableCarrousel>(muxer, 0x11, vantor::muxed_stream::kNoCC);
};
