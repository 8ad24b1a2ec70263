#include "programs/tables/json/parseJson.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/tableSetJson.h"

/// Texts that come in pieces, and arrays that are not kept.

namespace vantor::tables::parseJson_test {
namespace {

using ::testing::ElementsAre;

/// The text in pieces of this size.
NextPiece inPieces(std::string_view text, std::size_t size) {
  return [text, size]() mutable {
    const std::string_view piece = text.substr(0, size);
    text.remove_prefix(piece.size());
    return piece;
  };
}

template <typename Read>
std::string errorOf(Read read) {
  try {
    read();
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(ParseJson, GivesTheSameDocumentHoweverItIsCut) {
  const std::string text =
      R"({"a": [1, {"b": "\u00e9 x"}, []], "c": -1.5, "d": {"e": null, "f": [true, [false]]}})";
  const Json whole = parseJson(text);
  EXPECT_EQ(whole, Json::parse(text));
  for (std::size_t size = 1; size <= text.size(); ++size) EXPECT_EQ(parseJson(inPieces(text, size), {}), whole);
}

TEST(ParseJson, HandsElementsOverOneByOneAndKeepsNone) {
  std::vector<std::string> taken;
  const ElementTakers takers{{"long", [&taken](const JsonValue& value) { taken.push_back(value.shown()); }}};
  const std::string text = R"({"short": [1, 2], "long": [3, "x", [4], {"long": [5]}], "after": {"long": [6]}})";
  EXPECT_EQ(parseJson(inPieces(text, 7), takers),
            Json::parse(R"({"short": [1, 2], "long": [], "after": {"long": [6]}})"));
  EXPECT_THAT(taken, ElementsAre("3", "\"x\"", "an array", "an object"));
}

TEST(ParseJson, LeavesAFieldThatIsNoArrayWhereItIs) {
  const ElementTakers takers{{"long", [](const JsonValue&) { FAIL(); }}};
  EXPECT_EQ(parseJson(inPieces(R"({"long": {"x": [1]}})", 100), takers), Json::parse(R"({"long": {"x": [1]}})"));
  EXPECT_EQ(parseJson(inPieces(R"([{"long": [1]}])", 100), takers), Json::parse(R"([{"long": [1]}])"));
}

TEST(ParseJson, ElementKnowsItsPlace) {
  const ElementTakers takers{{"a/b", [](const JsonValue& value) { value.required("x").integer(0, 9); }}};
  EXPECT_EQ(errorOf([&] { parseJson(inPieces(R"({"a/b": [{"x": 1}, {"x": 10}]})", 100), takers); }),
            "/a~1b/1/x: 10 is above 9");
}

TEST(ParseJson, CountsLinesAndColumnsOverAllPieces) {
  const std::string_view text("{\n\n \"a\": 1,\n  \0}", 17);
  for (std::size_t size = 1; size <= text.size(); ++size)
    EXPECT_EQ(errorOf([&] { parseJson(inPieces(text, size), {}); }), "line 4, column 3: a NUL character") << size;
  for (std::size_t size = 1; size < 9; ++size)
    EXPECT_EQ(errorOf([&] { parseJson(inPieces("{\n \"a\": x}", size), {}); }).substr(0, 17), "line 2, column 7:");
}

TEST(ParseJson, RefusesInAnElementWhatItRefusesElsewhere) {
  const ElementTakers takers{{"a", [](const JsonValue&) {}}};
  EXPECT_EQ(errorOf([&] { parseJson(inPieces(R"({"a": [{}, {"b": [0, {"c": 1, "c": 2}]}]})", 5), takers); }),
            "/a/1/b/1/c: given twice");
  EXPECT_EQ(errorOf([&] { parseJson(inPieces(R"({"a": [1], "a": [2]})", 5), takers); }), "/a: given twice");
  EXPECT_NE(
      errorOf([&] { parseJson(inPieces("{\"a\": " + std::string(40, '['), 5), takers); }).find("nested too deep"),
      std::string::npos);
  EXPECT_EQ(errorOf([&] { parseJson(inPieces(R"({"a": [1, 1e999]})", 5), takers); }),
            "/a/0: number overflow parsing '1e999'");
}

constexpr const char* kEit =
    R"({"service_id": 7, "transport_stream_id": 4, "original_network_id": 8442, "events": []})";

TEST(LongFields, WhatIsWrongIsToldInItsTurn) {
  const auto of = [](const std::string& text) { return errorOf([&] { readTableSet(text); }); };
  const std::string wrong = R"({"eit_pf": [{"service_id": 7}], )";
  EXPECT_EQ(of(wrong + "\"pat\": 5}"), "/pat: 5 is not an object");
  EXPECT_EQ(of(wrong + "\"foo\": 5}"), "/foo: unknown field");
  EXPECT_EQ(of(wrong + "x}").substr(0, 7), "line 1,");
  EXPECT_EQ(of(wrong + "\"periods\": {\"foo\": 1}}"), "/eit_pf/0/transport_stream_id: missing field");
  EXPECT_EQ(of(wrong + R"("eit_schedule": [5]})"), "/eit_schedule/0: 5 is not an object");
  EXPECT_EQ(of(R"({"eit_pf": [{"service_id": 7}, 5]})"), "/eit_pf/0/transport_stream_id: missing field");
}

TEST(LongFields, TheSameTableTwiceIsToldWithBothPlaces) {
  const std::string twice = std::string("[") + kEit + ", " + R"({"service_id": 8, "transport_stream_id": 4,
      "original_network_id": 8442, "events": []}, )" +
                            kEit + "]";
  for (const std::string field : {"eit_pf", "eit_schedule"})
    EXPECT_EQ(errorOf([&] { readTableSet("{\"" + field + "\": " + twice + "}"); }),
              "/" + field + "/2: the same table as in /" + field + "/0");
}

TEST(LongFields, TablesComeInTheirOrderWhateverThatOfTheFile) {
  std::string list;
  for (const int service : {9, 3, 7, 1})
    list += (list.empty() ? "" : ", ") + std::string(R"({"service_id": )") + std::to_string(service) +
            R"(, "transport_stream_id": 4, "original_network_id": 8442, "events": []})";
  const TableSet set = readTableSet("{\"eit_pf\": [" + list + "]}");
  std::vector<int> services;
  for (const auto& table : set.eitPf) services.push_back(table.service_id);
  EXPECT_THAT(services, ElementsAre(1, 3, 7, 9));
}

}  // namespace
}  // namespace vantor::tables::parseJson_test
