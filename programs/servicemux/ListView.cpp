#include "programs/servicemux/ListView.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "programs/servicemux/text.h"

namespace vantor::cli {

namespace {

constexpr std::size_t kLeastRows = 4;  // before the lines around the list give way

/// Leaves out lines around the list until there is room for some of its rows.
void makeRoom(ListBlock& block, std::size_t height) {
  const std::size_t wanted = std::min(block.rows.size(), kLeastRows);
  const auto room = [&] {
    const std::size_t around = block.head.size() + block.foot.size();
    return height > around ? height - around : 0;
  };
  if (room() < wanted) block.foot.clear();
  while (room() < wanted && !block.head.empty()) block.head.erase(block.head.begin());
}

std::string hiddenText(const ListBlock& block, std::size_t first, std::size_t shown) {
  const auto begin = block.rows.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = begin + static_cast<std::ptrdiff_t>(shown);
  const auto isOff = [](const Row& row) { return row.off; };
  const auto off = std::count_if(block.rows.begin(), begin, isOff) + std::count_if(end, block.rows.end(), isOff);
  const std::size_t below = block.rows.size() - first - shown;
  std::string text = first > 0 ? grouped(first) + " above" : "";
  if (below > 0) text += (first > 0 ? ", and " : "and ") + grouped(below) + " more";
  if (off > 0) text += ", " + grouped(static_cast<std::uint64_t>(off)) + " of them " + block.offWhat;
  return text;
}

}  // namespace

void ListView::take(Key key) {
  switch (key) {
    case Key::kUp:
      first -= std::min<std::size_t>(first, 1);
      break;
    case Key::kDown:
      ++first;
      break;
    case Key::kPageUp:
      first -= std::min(first, page);
      break;
    case Key::kPageDown:
      first += page;
      break;
    case Key::kHome:
      first = 0;
      break;
    case Key::kEnd:
      first = static_cast<std::size_t>(-1);
      break;
    case Key::kSort:
      sortedBy = sortedBy == Order::kWorst ? Order::kPid : sortedBy == Order::kPid ? Order::kName : Order::kWorst;
      first = 0;
      break;
    case Key::kQuit:
      break;
  }
}

std::string ListView::keysText(const std::string& end) const {
  if (!keysAreThere) return end;
  return end + "   s: " + orderText() + "   arrows, PgUp, PgDn, Home, End: scroll";
}

const char* ListView::orderText() const {
  switch (sortedBy) {
    case Order::kPid:
      return "by PID";
    case Order::kName:
      return "by name";
    case Order::kWorst:
      break;
  }
  return "worst first";
}

void ListView::sort(std::vector<Row>& rows) const {
  std::stable_sort(rows.begin(), rows.end(), [this](const Row& a, const Row& b) {
    if (sortedBy == Order::kPid) return a.pid < b.pid;
    if (sortedBy == Order::kName) return a.name < b.name;
    // Among those within their limits the order of the list says more.
    return std::make_pair(!a.off, a.off ? -a.severity : 0) < std::make_pair(!b.off, b.off ? -b.severity : 0);
  });
}

std::vector<std::string> ListView::fit(ListBlock block, ScreenSize screen) {
  sort(block.rows);
  // One row stays free below the block, for the cursor.
  const std::size_t height = std::max<std::size_t>(screen.rows, 2) - 1;
  makeRoom(block, height);
  const std::size_t around = block.head.size() + block.foot.size();
  const std::size_t room = height > around ? height - around : 0;
  const bool fits = block.rows.size() <= room;
  // The line that tells what is hidden goes where there is no room for a row besides.
  const bool tells = !fits && room > 1;
  const std::size_t shown = fits ? block.rows.size() : room - (tells ? 1 : 0);
  page = std::max<std::size_t>(shown, 1);
  first = std::min(first, block.rows.size() - shown);
  std::vector<Line> lines = std::move(block.head);
  for (std::size_t i = first; i < first + shown; ++i) lines.push_back(block.rows[i].line);
  if (tells) lines.push_back({kDim, "  " + hiddenText(block, first, shown)});
  lines.insert(lines.end(), block.foot.begin(), block.foot.end());
  if (lines.size() > height) lines.resize(height);
  std::vector<std::string> out;
  out.reserve(lines.size());
  for (const Line& line : lines) out.push_back(line.style + line.text.substr(0, screen.columns) + kReset);
  return out;
}

std::vector<Key> KeyReader::take(const std::string& bytes) {
  // As xterm and the Linux console send them, in both of a terminal's modes for cursor keys.
  static constexpr std::pair<const char*, Key> kSequences[] = {
      {"\x1b[A", Key::kUp},      {"\x1bOA", Key::kUp},        {"\x1b[B", Key::kDown}, {"\x1bOB", Key::kDown},
      {"\x1b[5~", Key::kPageUp}, {"\x1b[6~", Key::kPageDown}, {"\x1b[H", Key::kHome}, {"\x1bOH", Key::kHome},
      {"\x1b[1~", Key::kHome},   {"\x1b[7~", Key::kHome},     {"\x1b[F", Key::kEnd},  {"\x1bOF", Key::kEnd},
      {"\x1b[4~", Key::kEnd},    {"\x1b[8~", Key::kEnd},      {"s", Key::kSort},      {"q", Key::kQuit}};
  std::vector<Key> keys;
  pending += bytes;
  while (!pending.empty()) {
    bool isBegun = false;
    std::size_t used = 0;
    for (const auto& [sequence, key] : kSequences) {
      const std::string text(sequence);
      if (pending.compare(0, text.size(), text) == 0) {
        keys.push_back(key);
        used = text.size();
      } else if (text.compare(0, pending.size(), pending) == 0) {
        isBegun = true;
      }
    }
    if (used == 0 && isBegun) break;  // the rest is to come
    pending.erase(0, std::max<std::size_t>(used, 1));
  }
  return keys;
}

}  // namespace vantor::cli
