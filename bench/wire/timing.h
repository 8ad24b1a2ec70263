#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "servicemux/muxer/TimingProfile.h"

/// Declares --timing, of the senders that the wire benchmarks start.
inline void addTiming(CLI::App& app, vantor::TimingProfile& profile) {
  static const std::map<std::string, vantor::TimingProfile> kProfiles{
      {"classic", vantor::TimingProfile::Classic}, {"standards", vantor::TimingProfile::Standards}};
  app.add_option("--timing", profile, "classic or standards")->transform(CLI::Transformer(kProfiles));
}
