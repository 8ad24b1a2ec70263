#include "programs/tables/json/parseJson.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/pointer.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kDeepest = 32;  // levels; a table set needs fewer than ten

/// "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error ..." from "line" on.
std::string withoutPreamble(std::string what) {
  for (const std::string preamble : {"] ", "parse error at "})
    if (const auto at = what.find(preamble); at != std::string::npos) what.erase(0, at + preamble.size());
  return printable(what, true);
}

/// The pieces of a text. The parser takes a NUL for the end of the text and would not look at what follows; no JSON
/// text holds one.
class Pieces {
 public:
  explicit Pieces(const NextPiece& next) : next(next) {}

  std::string_view take() {
    countLines();
    piece = next();
    refuseNul();
    return piece;
  }

 private:
  void countLines() {
    lines += static_cast<std::size_t>(std::count(piece.begin(), piece.end(), '\n'));
    const std::size_t lastEnd = piece.rfind('\n');
    column = lastEnd == std::string_view::npos ? column + piece.size() : piece.size() - lastEnd - 1;
  }

  void refuseNul() {
    const std::size_t at = piece.find('\0');
    if (at == std::string_view::npos) return;
    piece = piece.substr(0, at);
    countLines();
    throw InputError("line " + std::to_string(lines + 1) + ", column " + std::to_string(column + 1) +
                     ": a NUL character");
  }

  const NextPiece& next;
  std::string_view piece;
  std::size_t lines = 0;   // before the piece
  std::size_t column = 0;  // characters of the line that the piece goes on with
};

/// The characters of all pieces, as the parser wants them.
class Character {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  /// The end.
  Character() = default;
  explicit Character(Pieces& pieces) : pieces(&pieces) { takePiece(); }

  char operator*() const { return *at; }
  Character& operator++() {
    if (++at == end) takePiece();
    return *this;
  }
  friend bool operator==(const Character& a, const Character& b) { return a.at == b.at; }
  friend bool operator!=(const Character& a, const Character& b) { return a.at != b.at; }

 private:
  void takePiece() {
    const std::string_view piece = pieces->take();
    at = piece.empty() ? nullptr : piece.data();
    end = at + piece.size();
  }

  Pieces* pieces = nullptr;
  const char* at = nullptr;
  const char* end = nullptr;
};

/// Makes a document of what the parser finds, but for the elements that go elsewhere.
class DocumentBuilder : public nlohmann::json_sax<Json> {
 public:
  explicit DocumentBuilder(const ElementTakers& takers) : takers(takers) {}

  Json take() { return std::move(document); }

  bool null() override { return scalar(nullptr); }
  bool boolean(bool value) override { return scalar(value); }
  bool number_integer(number_integer_t value) override { return scalar(value); }
  bool number_unsigned(number_unsigned_t value) override { return scalar(value); }
  bool number_float(number_float_t value, const string_t& /*text*/) override { return scalar(value); }
  bool string(string_t& value) override { return scalar(std::move(value)); }
  bool binary(binary_t& /*value*/) override { return false; }  // no JSON text holds one

  bool start_object(std::size_t /*elements*/) override {
    begin(Json::object(), false);
    return true;
  }
  bool start_array(std::size_t /*elements*/) override {
    begin(Json::array(), true);
    return true;
  }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }

  bool key(string_t& name) override {
    Level& level = open.back();
    auto& object = level.container->get_ref<Json::object_t&>();
    const auto [field, isNew] = object.try_emplace(std::move(name));
    level.field = &*field;
    if (!isNew) throw InputError(atPointer(pointer(), "given twice"));
    return true;
  }

  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    const std::string what = withoutPreamble(error.what());
    // One that only the parser's numbers have no room for has its place in the document.
    throw InputError(dynamic_cast<const Json::out_of_range*>(&error) != nullptr ? atPointer(pointer(), what)
                                                                                : what);
  }

 private:
  struct Level {
    Json* container;
    bool isArray;
    const ElementTaker* taker;                    // of the array's elements, null when they stay
    std::size_t count = 0;                        // elements of an array so far
    Json::object_t::value_type* field = nullptr;  // the latest one of an object
  };

  std::string pointer() const {
    std::string out;
    for (const Level& level : open) {
      if (level.isArray && level.count > 0)
        appendStep(out, std::to_string(level.count - 1));
      else if (!level.isArray && level.field != nullptr)
        appendStep(out, level.field->first);
    }
    return out;
  }

  bool scalar(Json value) {
    place(std::move(value));
    return handOver();
  }

  void begin(Json container, bool isArray) {
    const ElementTaker* const taker = isArray ? takerHere() : nullptr;
    Json& placed = place(std::move(container));
    open.push_back({&placed, isArray, taker});
    if (open.size() > kDeepest) throw InputError(atPointer(pointer(), "nested too deep"));
  }

  bool end() {
    open.pop_back();
    return handOver();
  }

  /// That of the array that begins here.
  const ElementTaker* takerHere() const {
    if (open.size() != 1 || open.back().isArray) return nullptr;
    const auto found = takers.find(open.back().field->first);
    return found == takers.end() ? nullptr : &found->second;
  }

  /// Puts a value where it belongs.
  Json& place(Json value) {
    if (open.empty()) return document = std::move(value);
    Level& level = open.back();
    if (!level.isArray) return level.field->second = std::move(value);
    ++level.count;
    if (level.taker != nullptr) return element = std::move(value);
    auto& elements = level.container->get_ref<Json::array_t&>();
    return elements.emplace_back(std::move(value));
  }

  /// Hands the element over that is whole now, if there is one.
  bool handOver() {
    if (open.empty() || open.back().taker == nullptr) return true;
    const std::string where = pointer();
    (*open.back().taker)(JsonValue(element, where));
    return true;
  }

  const ElementTakers& takers;
  Json document;
  Json element;  // of an array with a taker
  std::vector<Level> open;
};

}  // namespace

Json parseJson(const NextPiece& next, const ElementTakers& takers) {
  DocumentBuilder builder(takers);
  Pieces pieces(next);
  Json::sax_parse(Character(pieces), Character(), &builder);
  return builder.take();
}

Json parseJson(std::string_view text) {
  return parseJson([&text] { return std::exchange(text, {}); }, {});
}

}  // namespace vantor::tables
