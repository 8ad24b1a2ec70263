#pragma once

#include <optional>
#include <vector>

#include "programs/servicemux/ListView.h"

namespace vantor::cli {

/// Has the terminal hand over each key at once and unseen, as long as it lives. It gives the terminal back as it
/// was however the program ends: at destruction, and when a signal ends or stops it; Signals has those that ask it
/// to end. There is one at a time.
class Keyboard {
 public:
  /// Whether stdin is a terminal, and this program is in its foreground.
  static bool isThere();

  /// `drawnOn` is where a block is drawn: a signal that ends the program leaves its cursor visible.
  explicit Keyboard(int drawnOn);
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;
  ~Keyboard();

  /// Readable, in the sense of poll(2), when a key was pressed; -1 once the terminal has gone away.
  [[nodiscard]] int fd() const;

  /// The keys pressed since the last time; does not wait.
  [[nodiscard]] std::vector<Key> read();

 private:
  KeyReader reader;
  bool isOpen = true;
};

}  // namespace vantor::cli
