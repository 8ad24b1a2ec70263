#include "programs/servicemux/LiveBlock.h"

namespace vantor::cli {

std::string LiveBlock::draw(const std::vector<std::string>& lines, const std::string& log) {
  // Cursor up and erase below, ECMA-48 clauses 8.3.22 and 8.3.39; the cursor is hidden while the block lives.
  std::string out = "\x1b[?25l\r";
  if (height > 0) out += "\x1b[" + std::to_string(height) + "A";
  // The old block is overwritten line by line and not erased first, which would flicker; a log needs the room.
  if (!log.empty()) out += "\x1b[J" + log + (log.back() == '\n' ? "" : "\n");
  for (const auto& line : lines) out += line + "\x1b[K\n";
  out += "\x1b[J";
  height = lines.size();
  return out;
}

std::string LiveBlock::end() {
  height = 0;
  return "\x1b[?25h";
}

}  // namespace vantor::cli
