#pragma once

#include <chrono>
#include <optional>

#include "programs/outputs/Descriptor.h"
#include "programs/servicemux/LiveView.h"
#include "programs/servicemux/StderrCapture.h"

namespace vantor::cli {

/// Shows an output in whatever way suits the place: as a block on a terminal, as lines elsewhere. While the block
/// is there and stderr is a terminal too, what is written to stderr appears above the block.
class Display {
 public:
  enum class Place { Stdout, Stderr };

  Display(bool quiet, Place place);
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;
  /// Leaves the terminal as it was.
  ~Display();

  /// How often to show the state.
  std::chrono::steady_clock::duration interval() const;

  /// Readable, in the sense of poll(2), when something was written to stderr that show() is to put in its place; -1
  /// when nothing can be.
  int logFd() const;

  void show(const OutputState& state);

  /// Shows the state for the last time, and a summary.
  void sumUp(const OutputState& state);

 private:
  void write(const std::string& text) const;

  const bool quiet;
  const outputs::Descriptor screen;  // where to show; a copy, since stderr may be captured
  const bool terminal;
  LiveBlock block;
  std::optional<StderrCapture> log;
};

}  // namespace vantor::cli
