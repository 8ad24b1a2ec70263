#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "programs/outputs/Descriptor.h"
#include "programs/servicemux/Keyboard.h"
#include "programs/servicemux/ListView.h"
#include "programs/servicemux/LiveBlock.h"
#include "programs/servicemux/StderrCapture.h"

namespace vantor::cli {

/// Shows a state again and again in whatever way suits the place: as a block on a terminal, in which keys move
/// about, as lines elsewhere. While the block is there and stderr is a terminal too, what is written to stderr
/// appears above the block.
///
/// What can be shown has blockOf(state, screen, view), lineOf(state) and summaryOf(state).
class Display {
 public:
  enum class Place { Stdout, Stderr };
  enum class Keys {
    kNone,  ///< stdin is not for keys
    kFromStdin
  };

  Display(bool quiet, Place place, Keys keys = Keys::kFromStdin);
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;
  /// Leaves the terminal as it was.
  ~Display();

  /// How often to show the state.
  std::chrono::steady_clock::duration interval() const;

  /// Readable, in the sense of poll(2), when something was written to stderr that show() is to put in its place; -1
  /// when nothing can be.
  int logFd() const;

  /// Likewise when keys were pressed that takeKeys() is to take.
  int keysFd() const;

  /// Takes the keys that were pressed; the next show() goes by them. True when the user wants to quit.
  [[nodiscard]] bool takeKeys();

  template <typename State>
  void show(const State& state) {
    if (terminal)
      draw(blockOf(state, screenSize(), view));
    else if (!quiet)
      write(lineOf(state) + "\n");
  }

  /// Shows the state for the last time, and a summary.
  template <typename State>
  void sumUp(const State& state) {
    if (terminal) show(state);
    if (!quiet) write(summaryOf(state) + "\n");
  }

  /// Puts plain lines, as many as there are, in place of the block.
  void conclude(const std::vector<std::string>& lines);

 private:
  [[nodiscard]] ScreenSize screenSize() const;
  void draw(const std::vector<std::string>& lines);
  void write(const std::string& text) const;

  const bool quiet;
  const outputs::Descriptor screen;  // where to show; a copy, since stderr may be captured
  const bool terminal;
  std::optional<Keyboard> keyboard;
  ListView view;
  LiveBlock block;
  std::optional<StderrCapture> log;
};

}  // namespace vantor::cli
