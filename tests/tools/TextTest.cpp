// SPDX-License-Identifier: BSL-1.0

// Words, columns and findings: what a user reads, whatever the texts in it are.
#include "tests/support/Testing.h"
#include "tools/Columns.h"
#include "tools/Findings.h"
#include "tools/Terminal.h"
#include "tools/Text.h"

namespace {

using namespace std::string_literals;

TEST(Text, NothingThatPlaysWithATerminalIsPrintedAndEveryLetterIs) {
  for (const auto& [text, shown] :
       {std::pair{"a b~\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xA7"s,
                  "a b~\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xA7"s},
        {"\x1b[2J\n\x7F\0"s, "\\x1b[2J\\x0a\\x7f\\x00"},
        {"\xC2\x9B\xC2\xA0", "\\xc2\\x9b\xC2\xA0"},  // control characters end at A0
        {"\xE2\x80\xAE\xE2\x81\xA9", "\\xe2\\x80\\xae\\xe2\\x81\\xa9"},  // directions
        {"\xE2\x80\xA8\xE2\x80\x94", "\\xe2\\x80\\xa8\xE2\x80\x94"},     // ends of a line
        {"\xC0\xAF\xE0\x9F\xBF", "\\xc0\\xaf\\xe0\\x9f\\xbf"},           // overlong
        {"\xED\xA0\x80\xF4\x90\x80\x80", "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
        {"\xEF\xBF\xBE\xEF\xBF\xBD", "\\xef\\xbf\\xbe\xEF\xBF\xBD"},
        {"x\xE2\x82", "x\\xe2\\x82"}})  // cut within a letter
    EXPECT_EQ(tools::printable(text), shown);
  EXPECT_EQ(tools::printableJson("\"\xC2\x9B\x7F\xE2\x80\xAE\xC3\xA9\""),
            "\"\\u009b\\u007f\\u202e\xC3\xA9\"");
  EXPECT_EQ(tools::typeText(0x564D4958) + tools::typeText(0x41000A42), "VMIXA\\x00\\x0aB");
}

TEST(Text, NumbersAndTimesAreInTheirUnits) {
  std::string ages;
  for (const long seconds : {-3L, 119L, 120L, 7199L, 7200L, 172'799L, 172'800L, -172'800L})
    ages += tools::ageText(seconds) + ", ";
  EXPECT_EQ(ages, "-3 s, 119 s, 2 min, 119 min, 2 h, 47 h, 2 d, -2 d, ");
  EXPECT_EQ(tools::rangesText({0, 1, 2, 5, 7, 8}) + tools::rangesText({}), "0-2, 5, 7-8");
  EXPECT_EQ(tools::modeText(1 | 4) + tools::modeText(4 | 8) + tools::modeText(16),
            "5 (inputs, announced)12 (no audio, exclusive)16");
  EXPECT_EQ(tools::modeLetters(3) + tools::modeLetters(12) + tools::modeLetters(17),
            "io----nxi---+");
  EXPECT_EQ(tools::numberText(0.1F) + tools::numberText(-std::nanf("")), "0.1nan");
  const std::chrono::system_clock::time_point early(std::chrono::milliseconds(-1));
  EXPECT_EQ(tools::isoTimeText(early), "1969-12-31T23:59:59.999Z");
}

TEST(Columns, AreAsWideAsWhatTheyHoldAndTheWidestAreCutTo80) {
  tools::Columns columns({">#", "~ID", "EMPTY", "~NAME", "LAST"});
  columns.add({"7", "short", "", "n", "x"});
  columns.add({"10", {"\xE6\x97\xA5\xE6\x9C\xAC", tools::eColour::eGood}, "", "e\xCC\x81", ""});
  EXPECT_EQ(columns.text(tools::Style(), 2),
            "   #  ID     NAME  LAST\n"
            "   7  short  n     x\n"
            "  10  \xE6\x97\xA5\xE6\x9C\xAC   e\xCC\x81\n");
  columns.add({"1", std::string(60, 'i'), "", std::string(40, 'n'), "whole"});
  std::istringstream lines(columns.text(tools::Style(), 2));
  std::string line, longest;
  while (std::getline(lines, line)) {
    EXPECT_LE(tools::columnsOf(line), 80U);
    if (line.size() > longest.size() && line.ends_with("whole")) longest = line;
  }
  // Of their 100 columns 65 are left: the wider one gives first.
  EXPECT_EQ(longest,
            "   1  " + std::string(29, 'i') + "...  " + std::string(30, 'n') + "...  whole");
  tools::Columns rigid({"A", "B"});
  rigid.add({std::string(70, 'a'), std::string(30, 'b')});
  EXPECT_TRUE(rigid.text(tools::Style(), 0).ends_with("aa  " + std::string(30, 'b') + "\n"));
}

TEST(Terminal, ATextIsCutBetweenItsLettersWhateverTheirWidth) {
  const std::string wide = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";  // three letters, six columns
  EXPECT_EQ(tools::columnsOf(wide + "e\xCC\x81"), 7U);
  EXPECT_EQ(tools::cut(wide, 6), wide);
  EXPECT_EQ(tools::cut(wide, 5), wide.substr(0, 3) + "...");
  EXPECT_EQ(tools::cut(wide, 4), "...");
  EXPECT_EQ(tools::cut(wide, 2), "..");
  EXPECT_EQ(tools::cell(wide, 4), "... ");
  EXPECT_EQ(tools::cell("ab", 4) + "|", "ab  |");
}

TEST(Findings, AreWrappedAt80ColumnsButForWhatIsToBeCopied) {
  inspect::Finding finding{"a-key", inspect::eSeverity::eWrong, "", "A title\x1b.", {}, {}};
  std::string words, path = "/a/path";
  for (int i = 0; i < 12; ++i) {
    words += "evidence" + std::to_string(i) + " ";
    path += "/that is long";
  }
  finding.evidence = {words, path};
  finding.todo = {"sudo command of " + path, "Sentence of " + words};
  std::istringstream lines(tools::findingText(finding, false));
  std::string all;
  for (std::string line; std::getline(lines, line); all += line + "\n")
    EXPECT_TRUE(line.size() <= 80 || line.find(path) != std::string::npos) << line;
  EXPECT_EQ(all.find("wrong   A title\\x1b. [a-key]\n        - evidence0 evidence1 "), 0U) << all;
  EXPECT_NE(all.find("\n        - " + path + "\n        do: sudo command of " + path + "\n"),
            std::string::npos)
      << all;
  EXPECT_NE(all.find("\n          evidence"), std::string::npos) << "under its beginning: " << all;
  finding.evidence.assign(15, "e");
  const std::string shortened = tools::findingText(finding, true);
  EXPECT_EQ(shortened.find("\x1b[1;31mwrong\x1b[0m   A title"), 0U) << shortened;
  EXPECT_EQ(std::count(shortened.begin(), shortened.end(), '\n'), 1 + 12 + 1 + 1 + 3) << shortened;
  EXPECT_NE(shortened.find("- and 3 more (--json has all)"), std::string::npos);
}

}  // namespace
