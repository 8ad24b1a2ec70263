#include "programs/tables/values/dvbText.h"

#include <gtest/gtest.h>

namespace vantor::tables {
namespace {

using namespace std::string_literals;

constexpr const char* kNothing = "nothing";

std::string encoded(const std::string& text) { return encodeText(text).value_or(kNothing); }

std::string encoded(const std::string& text, const std::string& table) {
  return encodeText(DvbText{text, table}).value_or(kNothing);
}

std::string decoded(std::string_view bytes) {
  const auto text = decodeText(bytes);
  return text ? text->text : kNothing;
}

/// The same text in UTF-8 and in one table.
struct Sample {
  std::string table;
  std::string text;
  std::string bytes;  // behind the selector
};

TEST(DvbText, KnowsEveryTable) {
  for (const auto& sample :
       std::vector<Sample>{{""s, "Aä€", "A\xC8"s + "a\xA4"}, {"\x01"s, "Жя", "\xB6\xEF"},
                           {"\x02"s, "ب", "\xC8"},           {"\x03"s, "Ω", "\xD9"},
                           {"\x04"s, "א", "\xE0"},           {"\x05"s, "Ğ", "\xD0"},
                           {"\x06"s, "Ą", "\xA1"},           {"\x07"s, "ก", "\xA1"},
                           {"\x09"s, "Ą", "\xC0"},           {"\x0A"s, "Ŵ", "\xD0"},
                           {"\x0B"s, "€", "\xA4"},           {"\x10\x00\x01"s, "é", "\xE9"},
                           {"\x10\x00\x02"s, "ř", "\xF8"},   {"\x10\x00\x03"s, "Ħ", "\xA1"},
                           {"\x10\x00\x04"s, "ĸ", "\xA2"},   {"\x10\x00\x05"s, "Ж", "\xB6"},
                           {"\x10\x00\x06"s, "ب", "\xC8"},   {"\x10\x00\x07"s, "Ω", "\xD9"},
                           {"\x10\x00\x08"s, "א", "\xE0"},   {"\x10\x00\x09"s, "Ğ", "\xD0"},
                           {"\x10\x00\x0A"s, "Ą", "\xA1"},   {"\x10\x00\x0B"s, "ก", "\xA1"},
                           {"\x10\x00\x0D"s, "Ą", "\xC0"},   {"\x10\x00\x0E"s, "Ŵ", "\xD0"},
                           {"\x10\x00\x0F"s, "€", "\xA4"},   {"\x11"s, "Ж中", "\x04\x16\x4E\x2D"},
                           {"\x12"s, "한", "\xC7\xD1"},      {"\x13"s, "中", "\xD6\xD0"},
                           {"\x14"s, "中", "\xA4\xA4"},      {"\x15"s, "Ж中😀", "Ж中😀"}}) {
    EXPECT_TRUE(isTextTable(sample.table));
    EXPECT_EQ(encoded(sample.text, sample.table), sample.table + sample.bytes) << sample.text;
    const auto back = decodeText(sample.table + sample.bytes);
    ASSERT_TRUE(back) << sample.text;
    EXPECT_EQ(back->text, sample.text);
    EXPECT_EQ(back->table, sample.table);
  }
}

TEST(DvbText, ChoosesTheFirstTableThatHasAllCharacters) {
  EXPECT_EQ(encoded(""), "");
  EXPECT_EQ(encoded("Das Erste HD 1+#$~"), "Das Erste HD 1+#$~");
  EXPECT_EQ(encoded("Čţ"), "\xCF"s + "C\xCB" + "t");
  EXPECT_EQ(encoded("5 €"), "5 \xA4");
  EXPECT_EQ(encoded("Жук"), "\x01\xB6\xE3\xDA");
  EXPECT_EQ(encoded("Ω"), "\x03\xD9");
  EXPECT_EQ(encoded("Đ"), "\x06\xA9");
  EXPECT_EQ(encoded("Ж and Ω"), "\x15Ж and Ω");
  EXPECT_EQ(encoded("中"), "\x15中");
}

/// Every letter with an accent that ISO 6937 has.
TEST(DvbText, PutsAccentsBeforeTheLetterInTheDefaultTable) {
  const std::string letters =
      "ÀÈÌÒÙàèìòùÁĆÉÍĹŃÓŔŚÚÝŹáćéíĺńóŕśúýźÂĈÊĜĤÎĴÔŜÛŴŶâĉêĝĥîĵôŝûŵŷÃĨÑÕŨãĩñõũĀĒĪŌŪāēīōūĂĞŬăğŭĊĖĠİŻċėġżÄËÏÖÜŸäëïöüÿÅŮå"
      "ů"
      "ÇĢĶĻŅŖŞŢçķļņŗşţŐŰőűĄĘĮŲąęįųČĎĚĽŇŘŠŤŽčďěľňřšťž";
  const std::string bytes = encoded(letters);
  ASSERT_EQ(bytes.size(), letters.size());  // two bytes each, in UTF-8 too
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    EXPECT_EQ(static_cast<unsigned char>(bytes[i]) & 0xF0, 0xC0) << i;
    EXPECT_LT(static_cast<unsigned char>(bytes[i + 1]), 0x80) << i;
  }
  EXPECT_EQ(decoded(bytes), letters);
}

TEST(DvbText, HasANewLineForTheControlCode) {
  EXPECT_EQ(encoded("a\nb"), "a\x8A"s + "b");
  EXPECT_EQ(encoded("\n"), "\x8A");
  EXPECT_EQ(encoded("Ж\nя"), "\x01\xB6\x8A\xEF");
  EXPECT_EQ(encoded("a\n", "\x11"), "\x11\0a\xE0\x8A"s);
  EXPECT_EQ(encoded("a\n", "\x15"), "\x15"s + "a\xEE\x82\x8A");
  EXPECT_EQ(decoded("a\x8A"s + "b"), "a\nb");
  EXPECT_EQ(decoded("\x01\xB6\x8A\xEF"), "Ж\nя");
  EXPECT_EQ(decoded("\x11\0a\xE0\x8A"s), "a\n");
  EXPECT_EQ(decoded("\x15"s + "a\xEE\x82\x8A"), "a\n");
}

TEST(DvbText, KeepsOtherControlCodesAsPrivateCharacters) {
  const std::string text = "a\uE086b\uE087\uE080\uE09F";
  EXPECT_EQ(encoded(text), "a\x86"s + "b\x87\x80\x9F");
  EXPECT_EQ(decoded("a\x86"s + "b\x87\x80\x9F"), text);
  EXPECT_EQ(decoded("\x05"s + "\x86"), "\uE086");
  EXPECT_EQ(decoded("\x11\xE0\x86"), "\uE086");
}

TEST(DvbText, RefusesOtherControlCharacters) {
  for (const char* const text : {"\x01", "\t", "a\r\n", "\x1F", "\x7F", "\u0080", "a\u009F"}) {
    EXPECT_EQ(encoded(text), kNothing);
    EXPECT_EQ(encoded(text, "\x15"), kNothing);
  }
  EXPECT_EQ(encoded("a\0b"s), kNothing);
  EXPECT_EQ(decoded("a\x01"s), kNothing);
  EXPECT_EQ(decoded("a\n"s), kNothing);
  EXPECT_EQ(decoded("\x15\t"s), kNothing);
  EXPECT_EQ(decoded("\x15"s + "a\xC2\x80"), kNothing);
}

TEST(DvbText, DecodesNothingButWholeCharactersOfKnownTables) {
  EXPECT_EQ(decoded("\x08"s + "a"), kNothing);            // reserved
  EXPECT_EQ(decoded("\x16"s + "a"), kNothing);            // reserved
  EXPECT_EQ(decoded("\x1F\x01"s + "a"), kNothing);        // private encoding
  EXPECT_EQ(decoded("\x10"s), kNothing);                  // selector cut short
  EXPECT_EQ(decoded("\x10\x00"s), kNothing);              //
  EXPECT_EQ(decoded("\x10\x00\x0C"s + "a"), kNothing);    // ISO/IEC 8859-12 was never made
  EXPECT_EQ(decoded("\x10\x01\x01"s + "a"), kNothing);    //
  EXPECT_EQ(decoded("a\xC8"s), kNothing);                 // accent without a letter
  EXPECT_EQ(decoded("\xC8!"s), kNothing);                 // accent over none
  EXPECT_EQ(decoded("\xC8\xA4"s), kNothing);              //
  EXPECT_EQ(decoded("\xC0"s), kNothing);                  // not in the default table
  EXPECT_EQ(decoded("\x11\x04"s), kNothing);              // half a character
  EXPECT_EQ(decoded("\x11\xD8\x3D\xDE\x00"s), kNothing);  // surrogates
  EXPECT_EQ(decoded("\x12\xC7"s), kNothing);              //
  EXPECT_EQ(decoded("\x15\xD0"s), kNothing);              //
  EXPECT_EQ(decoded("\x15\xED\xA0\x80"s), kNothing);      // a surrogate
  EXPECT_FALSE(isTextTable("\x08"));
  EXPECT_FALSE(isTextTable("\x1F"));
  EXPECT_EQ(encoded("a", "\x08"), kNothing);
}

TEST(DvbText, KeepsWhetherAnEmptyTextHasASelector) {
  EXPECT_EQ(decodeText("")->table, "");
  EXPECT_EQ(decodeText("\x05")->table, "\x05");
  EXPECT_EQ(encoded("", "\x05"), "\x05");
}

TEST(DvbTextDefaultCharset, DecodesWhatHasNoSelector) {
  EXPECT_EQ(decodeText("T\xFCrk\xE7"
                       "e")
                ->text,
            decodeText("T\xFCrk\xE7"
                       "e")
                ->text);
  const DefaultCharset charset("ISO-8859-9");
  const auto text = decodeText(
      "T\xFCrk\xE7"
      "e\x8A\x86!");
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->text, "Türkçe\n\uE086!");
  EXPECT_EQ(text->table, "");
  EXPECT_EQ(text->charset, "ISO-8859-9");
  EXPECT_EQ(encodeText(*text),
            "T\xFCrk\xE7"
            "e\x8A\x86!");
}

TEST(DvbTextDefaultCharset, LeavesAloneWhatHasASelector) {
  const DefaultCharset charset("ISO-8859-9");
  const auto text = decodeText("\x01\xBC");
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->table, "\x01");
  EXPECT_EQ(text->charset, "");
}

TEST(DvbTextDefaultCharset, IsOverWithItsObject) {
  { const DefaultCharset charset("ISO-8859-9"); }
  EXPECT_EQ(decodeText("abc")->charset, "");
}

TEST(DvbTextDefaultCharset, MayHaveCharactersWhereDvbHasControlCodes) {
  const DefaultCharset charset("WINDOWS-1252");
  EXPECT_EQ(decodeText("\x8A\x80")->text, "Š€");
}

TEST(DvbTextDefaultCharset, GivesWayToTheDefaultTableForWhatItHasNot) {
  const DefaultCharset charset("UTF-8");
  const auto text = decodeText(
      "caf\xC2"
      "e");  // in the default table an accent before its letter
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->charset, "");
  EXPECT_EQ(text->text, "caf\u00e9");
}

TEST(DvbTextCharsets, HoldAscii) {
  for (const char* name : {"ISO-8859-1", "iso8859-15", "WINDOWS-1251", "UTF-8", "GBK"})
    EXPECT_TRUE(isTextCharset(name)) << name;
  for (const char* name : {"", "UTF-16", "EBCDIC-US", "no such"}) EXPECT_FALSE(isTextCharset(name)) << name;
}

TEST(DvbTextCharsets, WriteNoTextThatBeginsLikeASelector) {
  EXPECT_EQ(encodeText(DvbText{"Б", "", "ISO-8859-9"}), std::nullopt);
  EXPECT_EQ(encodeText(DvbText{"a", "", "no such"}), std::nullopt);
}

}  // namespace
}  // namespace vantor::tables
