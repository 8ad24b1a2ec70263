#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vantor::cli {

// Select graphic rendition, ECMA-48 clause 8.3.117.
inline constexpr const char* kPlain = "";
inline constexpr const char* kBold = "\x1b[1m";
inline constexpr const char* kDim = "\x1b[2m";
inline constexpr const char* kGreen = "\x1b[32m";
inline constexpr const char* kYellow = "\x1b[33m";
inline constexpr const char* kRed = "\x1b[1;31m";
inline constexpr const char* kReset = "\x1b[0m";

struct Line {
  const char* style;
  std::string text;
};

struct ScreenSize {
  std::size_t columns = 80;
  std::size_t rows = 24;
};

/// What a user does with a list.
enum class Key { kUp, kDown, kPageUp, kPageDown, kHome, kEnd, kSort, kQuit };

constexpr std::size_t kUsualName = 27;  ///< characters of a table's name, for which there is always room

/// One line of a list, and what it is sorted by.
struct Row {
  Line line;
  double severity = 0;  ///< the more the worse
  bool off = false;     ///< off its limits
  unsigned int pid = 0;
  std::string name;
};

/// A list between lines that stay.
struct ListBlock {
  std::vector<Line> head;  ///< the last one has the titles of the columns
  std::vector<Row> rows;
  std::vector<Line> foot;
  const char* offWhat = "off their limits";  ///< what is said of those rows that are off and have no place
};

/// Which part of a list is seen, and in what order. What is off its limits stands first, or is counted on the line
/// that tells how much there is above and below.
class ListView {
 public:
  /// With `hasKeys` a user can move about in it.
  explicit ListView(bool hasKeys = false) : keysAreThere(hasKeys) {}

  /// Takes a key; what quits changes nothing here.
  void take(Key key);

  [[nodiscard]] bool hasKeys() const { return keysAreThere; }
  /// What the keys do, behind `end`, which says how to end the program.
  [[nodiscard]] std::string keysText(const std::string& end) const;

  /// The block as it fits on the screen: no line is wider, and the block is lower. Where a screen is too low for
  /// the list, its rows go before the lines around them. Lines carry their colours and no line ends.
  [[nodiscard]] std::vector<std::string> fit(ListBlock block, ScreenSize screen);

  /// The rows in the order of the view.
  void sort(std::vector<Row>& rows) const;

 private:
  enum class Order {
    kWorst,  ///< what is off its limits first, by how far
    kPid,
    kName
  };

  [[nodiscard]] const char* orderText() const;

  const bool keysAreThere;
  Order sortedBy = Order::kWorst;
  std::size_t first = 0;  // row that is seen
  std::size_t page = 1;   // rows that were seen last
};

/// Reads keys from what a terminal sends.
class KeyReader {
 public:
  /// Takes what came; what is not known is left out. A sequence may come in pieces.
  [[nodiscard]] std::vector<Key> take(const std::string& bytes);

 private:
  std::string pending;
};

}  // namespace vantor::cli
