#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/parseJson.h"
#include "programs/tables/sets/tableSetJson.h"

namespace vantor::tables::JsonValue_test {
namespace {

std::string errorOf(std::string_view text) {
  try {
    readTableSet(text);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

/// A PAT whose only program has this in the place of its pid.
std::string withPid(const std::string& pid) {
  return R"({"pat": {"transport_stream_id": 1, "version_number": 0, "programs": [{"program_number": 1, "pid": )" +
         pid + "}]}}";
}

std::string withDescriptor(const std::string& descriptor) {
  return R"({"cat": {"version_number": 0, "descriptors": [)" + descriptor + "]}}";
}

TEST(JsonValue, ReadsEveryFieldOfATableSet) {
  const TableSet set = readTableSet(R"({
    "pat": {"transport_stream_id": 4660, "version_number": 3, "current_next_indicator": false,
            "programs": [{"program_number": 0, "pid": 16}, {"program_number": 65535, "pid": 8191}]},
    "cat": {"version_number": 31, "descriptors": [{"tag": 9, "data": "0B00e064"}]},
    "nit": {"network_id": 65535, "version_number": 1, "descriptors": [{"tag": 64, "data": ""}],
            "transport_streams": [{"transport_stream_id": 1, "original_network_id": 2,
                                   "descriptors": [{"tag": 255, "data": "00ff"}]}]}})");
  ASSERT_TRUE(set.pat && set.cat && set.nit);
  EXPECT_EQ(set.pat->transport_stream_id, 4660);
  EXPECT_EQ(set.pat->version_number, 3);
  EXPECT_FALSE(set.pat->current_next_indicator);
  ASSERT_EQ(set.pat->programs.size(), 2U);
  EXPECT_EQ(set.pat->programs[1].program_number, 65535);
  EXPECT_EQ(set.pat->programs[1].pid, 8191);
  EXPECT_EQ(set.cat->version_number, 31);
  EXPECT_TRUE(set.cat->current_next_indicator);
  ASSERT_EQ(set.cat->descriptors.size(), 1U);
  EXPECT_EQ(set.cat->descriptors[0].tag, 9);
  EXPECT_EQ(set.cat->descriptors[0].data, std::string("\x0B\x00\xE0\x64", 4));
  EXPECT_EQ(set.nit->network_id, 65535);
  ASSERT_EQ(set.nit->descriptors.size(), 1U);
  EXPECT_EQ(set.nit->descriptors[0].data, "");
  ASSERT_EQ(set.nit->transport_streams.size(), 1U);
  EXPECT_EQ(set.nit->transport_streams[0].original_network_id, 2);
  ASSERT_EQ(set.nit->transport_streams[0].descriptors.size(), 1U);
  EXPECT_EQ(set.nit->transport_streams[0].descriptors[0].tag, 255);
  EXPECT_EQ(set.nit->transport_streams[0].descriptors[0].data, std::string("\x00\xFF", 2));
}

TEST(JsonValue, FailsAtThePlaceThatAPointerLeadsToOrWhereItEnds) {
  const Json document = parseJson(R"({"streams": [{"pid": 1}, {"descriptors": [{"service": {}}], "7": [2]}]})");
  const auto placeOf = [&](const char* pointer) -> std::string {
    try {
      JsonValue(document).failAt(pointer, "wrong");
    } catch (const InputError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(placeOf(""), "wrong");
  EXPECT_EQ(placeOf("/streams/0/pid"), "/streams/0/pid: wrong");
  EXPECT_EQ(placeOf("/streams/1/descriptors/0/data"), "/streams/1/descriptors/0: wrong");
  EXPECT_EQ(placeOf("/streams/1/7/0"), "/streams/1/7/0: wrong");
  EXPECT_EQ(placeOf("/streams/2/pid"), "/streams: wrong");
  EXPECT_EQ(placeOf("/streams/99999999999999999999999/pid"), "/streams: wrong");
  EXPECT_EQ(placeOf("/streams/pid"), "/streams: wrong");
  EXPECT_EQ(placeOf("/table_id"), "wrong");
}

TEST(JsonValue, LeavesOutWhatIsNotThere) {
  const TableSet set = readTableSet(R"({"cat": {"version_number": 1}})");
  EXPECT_FALSE(set.pat);
  EXPECT_FALSE(set.nit);
  ASSERT_TRUE(set.cat);
  EXPECT_TRUE(set.cat->descriptors.empty());
}

TEST(JsonValue, TakesAVersionThatTheWireHasNoRoomFor) {
  EXPECT_EQ(readTableSet(R"({"cat": {"version_number": 300}})").cat->version_number, 300);
  EXPECT_EQ(errorOf(R"({"cat": {"version_number": 2147483648}})"),
            "/cat/version_number: 2147483648 is above 0x7FFFFFFF");
}

TEST(JsonValue, NamesTheFieldThatIsOutOfRange) {
  EXPECT_EQ(errorOf(withPid("9000")), "/pat/programs/0/pid: 9000 is above 0x1FFF");
  EXPECT_EQ(errorOf(withPid("-1")), "/pat/programs/0/pid: -1 is below 0");
  EXPECT_EQ(errorOf(withPid("18446744073709551615")), "/pat/programs/0/pid: 18446744073709551615 is above 0x1FFF");
  EXPECT_EQ(errorOf(withPid("-9223372036854775808")), "/pat/programs/0/pid: -9223372036854775808 is below 0");
  EXPECT_EQ(errorOf(R"({"nit": {"network_id": 1, "version_number": 0, "transport_streams": [
                       {"transport_stream_id": 1, "original_network_id": 1},
                       {"transport_stream_id": 1, "original_network_id": 70000}]}})"),
            "/nit/transport_streams/1/original_network_id: 70000 is above 0xFFFF");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 256, "data": ""})")), "/cat/descriptors/0/tag: 256 is above 0xFF");
}

TEST(JsonValue, RefusesWhatIsNoInteger) {
  EXPECT_EQ(errorOf(withPid("1.0")), "/pat/programs/0/pid: 1.0 is not an integer");
  EXPECT_EQ(errorOf(withPid("18446744073709551616")),
            "/pat/programs/0/pid: 1.8446744073709552e+19 is not an integer");
  EXPECT_EQ(errorOf(withPid("1e999")), "/pat/programs/0/pid: number overflow parsing '1e999'");
  EXPECT_EQ(errorOf(withPid("\"5\"")), "/pat/programs/0/pid: \"5\" is no PID like \"0x0012\" or 18");
  EXPECT_EQ(errorOf(withPid("true")), "/pat/programs/0/pid: true is not an integer");
  EXPECT_EQ(errorOf(withPid("null")), "/pat/programs/0/pid: null is not an integer");
  EXPECT_EQ(errorOf(withPid("[5]")), "/pat/programs/0/pid: an array is not an integer");
  EXPECT_EQ(errorOf(withPid("{}")), "/pat/programs/0/pid: an object is not an integer");
}

TEST(JsonValue, RefusesOtherWrongTypes) {
  EXPECT_EQ(errorOf("[]"), "an array is not an object");
  EXPECT_EQ(errorOf(R"({"cat": 5})"), "/cat: 5 is not an object");
  EXPECT_EQ(errorOf(R"({"cat": {"version_number": 0, "descriptors": {}}})"),
            "/cat/descriptors: an object is not an array");
  EXPECT_EQ(errorOf(withDescriptor("5")), "/cat/descriptors/0: 5 is not an object");
  EXPECT_EQ(errorOf(R"({"cat": {"version_number": 0, "current_next_indicator": 1}})"),
            "/cat/current_next_indicator: 1 is not true or false");
}

TEST(JsonValue, NamesUnknownAndMissingFields) {
  EXPECT_EQ(errorOf(R"({"foo": {}})"), "/foo: unknown field");
  EXPECT_EQ(errorOf(R"({"pat": {"foo": 1}})"), "/pat/foo: unknown field");
  EXPECT_EQ(errorOf(R"({"pat": {"a/b~c": 1}})"), "/pat/a~1b~0c: unknown field");
  EXPECT_EQ(errorOf(R"({"pat": {"version_number": 0}})"), "/pat/transport_stream_id: missing field");
  EXPECT_EQ(errorOf(R"({"pat": {"transport_stream_id": 1, "version_number": 0}})"), "/pat/programs: missing field");
  EXPECT_EQ(errorOf(R"({"nit": {"network_id": 1, "version_number": 0}})"), "/nit/transport_streams: missing field");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9})")), "/cat/descriptors/0/data: missing field");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": "", "x": 0})")), "/cat/descriptors/0/x: unknown field");
}

TEST(JsonValue, RefusesBadHex) {
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": "0g"})")),
            "/cat/descriptors/0/data: \"0g\" is not a string of hex digits");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": "012"})")),
            "/cat/descriptors/0/data: 3 hex digits do not make whole bytes");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": 12})")), "/cat/descriptors/0/data: 12 is not a string");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": "00)" + std::string("\\u0000") + R"("})")),
            "/cat/descriptors/0/data: \"00\\u0000\" is not a string of hex digits");
}

TEST(JsonValue, TakesTheLongestDescriptorAndNoLongerOne) {
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": ")" + std::string(510, '0') + R"("})")), "accepted");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 9, "data": ")" + std::string(512, '0') + R"("})")),
            "/cat/descriptors/0/data: 256 bytes are more than 255");
}

TEST(JsonValue, RefusesAFieldGivenTwice) {
  EXPECT_EQ(errorOf(R"({"cat": {"version_number": 0}, "cat": {"version_number": 1}})"), "/cat: given twice");
  EXPECT_EQ(errorOf(withDescriptor(R"({"tag": 1, "data": ""}, {"tag": 1, "data": "", "tag": 2})")),
            "/cat/descriptors/1/tag: given twice");
}

TEST(JsonValue, TellsLineAndColumnOfASyntaxError) {
  EXPECT_EQ(errorOf("{\n  \"cat\": {,}}"),
            "line 2, column 11: syntax error while parsing object key - unexpected ','; expected string literal");
  EXPECT_EQ(errorOf(""),
            "line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
            "literal");
  EXPECT_EQ(errorOf("{} x"),
            "line 1, column 4: syntax error while parsing value - invalid literal; last read: '{} x'; expected end "
            "of input");
  EXPECT_EQ(errorOf("{\"pat\": NaN}").substr(0, 16), "line 1, column 9");
  EXPECT_EQ(errorOf(std::string_view("{}\0x", 4)), "line 1, column 3: a NUL character");
  EXPECT_EQ(errorOf(std::string_view("{\n\0}", 4)), "line 2, column 1: a NUL character");
}

TEST(JsonValue, ReportsInvalidUtf8WithoutRepeatingIt) {
  const std::string error = errorOf("{\"\xC3\x28\xFF\": 1}");
  EXPECT_EQ(error.substr(0, 16), "line 1, column 4");
  for (const char c : error) EXPECT_TRUE(c >= 0x20 && c < 0x7F) << error;
}

TEST(JsonValue, KeepsAnErrorOnOnePrintableLine) {
  EXPECT_EQ(errorOf(R"({"a\nb\u001b[31m": 1})"), "/a\\x0ab\\x1b[31m: unknown field");
  EXPECT_LT(errorOf("{\"" + std::string(100000, 'x') + "\": 1}").size(), 300U);
}

TEST(JsonValue, RefusesDeepNestingWithoutExhaustingTheStack) {
  const std::string deep(1000000, '[');
  EXPECT_NE(errorOf(deep).find("nested too deep"), std::string::npos);
  std::string objects;
  for (int i = 0; i < 100000; ++i) objects += "{\"a\":";
  EXPECT_NE(errorOf(objects).find("nested too deep"), std::string::npos);
}

}  // namespace
}  // namespace vantor::tables::JsonValue_test
