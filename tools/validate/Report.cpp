// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/Report.h"

#include <algorithm>
#include <string_view>

#include <fmt/core.h>

#include "tools/Picture.h"
#include "tools/Text.h"

namespace tools::validate {
namespace {

using json = nlohmann::ordered_json;

constexpr std::size_t cWidth = 80;
constexpr std::string_view cIndent = "                 ";
constexpr int cMostOutputLines = 5;

std::string wrapped(std::string_view text) {
  std::string all;
  std::string line(cIndent);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    const std::string_view word = text.substr(at, end - at);
    if (line.size() > cIndent.size() && line.size() + 1 + word.size() > cWidth) {
      all += line + "\n";
      line = cIndent;
    }
    if (line.size() > cIndent.size()) line += ' ';
    line += word;
    at = end + 1;
  }
  return all + line + "\n";
}

std::string coloured(eOutcome outcome, bool hasColours) {
  std::string word = fmt::format("{:<8}", outcomeWord(outcome));
  if (!hasColours) return word;
  const int colour = outcome == eOutcome::ePassed ? 32 : outcome == eOutcome::eFailed ? 31 : 33;
  return fmt::format("\x1b[{}m{}\x1b[0m", colour, word);
}

std::vector<std::string> lastLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (end > 0) lines.push_back(printable(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (lines.size() > cMostOutputLines) lines.erase(lines.begin(), lines.end() - cMostOutputLines);
  return lines;
}

/// `printable` leaves nothing that XML 1.0 cannot hold but two code points.
std::string escaped(std::string_view text) {
  std::string all;
  for (const char c : printable(text)) {
    switch (c) {
      case '&':
        all += "&amp;";
        break;
      case '<':
        all += "&lt;";
        break;
      case '>':
        all += "&gt;";
        break;
      case '"':
        all += "&quot;";
        break;
      default:
        all += c;
    }
  }
  for (const std::string_view none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (std::size_t at; (at = all.find(none)) != std::string::npos;)
      all.replace(at, none.size(), 1, '?');
  }
  return all;
}

std::string escapedLines(std::string_view text) {
  std::string all;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    all += escaped(text.substr(at, end - at)) + "\n";
    at = end + 1;
  }
  return all;
}

std::string testCase(const Result& result) {
  std::string text =
      fmt::format("    <testcase classname=\"lipc.validate\" name=\"{}\" time=\"{:.3f}\">\n",
                  result.check->name, result.seconds);
  if (result.outcome == eOutcome::eFailed) {
    text += fmt::format("      <failure message=\"{}\">{}</failure>\n", escaped(result.evidence),
                        escaped(result.advice));
  } else if (result.outcome == eOutcome::eSkipped) {
    text += fmt::format("      <skipped message=\"{}\"/>\n", escaped(result.evidence));
  }
  std::string said;
  for (const std::string& note : result.notes)
    said += "note: " + note + "\n";
  said += result.output;
  if (!said.empty()) text += "      <system-out>" + escapedLines(said) + "</system-out>\n";
  return text + "    </testcase>\n";
}

}  // namespace

std::size_t Report::count(eOutcome outcome) const {
  return static_cast<std::size_t>(std::ranges::count(results, outcome, &Result::outcome));
}

const char* outcomeWord(eOutcome outcome) {
  return outcome == eOutcome::ePassed   ? "passed"
         : outcome == eOutcome::eFailed ? "failed"
                                        : "skipped";
}

std::string resultText(const Result& result, bool hasColours) {
  std::string text =
      fmt::format("  {:<13}  {} {:>6.1f} s  {}\n", result.check->name,
                  coloured(result.outcome, hasColours), result.seconds, result.check->title);
  const auto add = [&](std::string_view words) {
    if (!words.empty()) text += wrapped(printable(words));
  };
  add(result.evidence);
  add(result.advice);
  for (const std::string& note : result.notes)
    add("note: " + note);
  if (result.outcome != eOutcome::eFailed) return text;
  const std::vector<std::string> lines = lastLines(result.output);
  if (!lines.empty()) add("the last that it printed:");
  for (const std::string& line : lines)
    text += std::string(cIndent) + "| " + line + "\n";
  return text;
}

std::string verdictText(const Report& report) {
  const std::size_t all = report.results.size();
  const std::size_t failed = report.count(eOutcome::eFailed);
  const std::size_t skipped = report.count(eOutcome::eSkipped);
  const std::string rest = skipped == 0 ? "" : fmt::format(", {} were skipped", skipped);
  const char* const verdict = failed != 0      ? "Not certified"
                              : report.isWhole ? "Certified"
                                               : "No certificate, which takes all checks";
  return fmt::format("{}: {} of {} checks passed{}, in {:.0f} s.\n", verdict,
                     report.count(eOutcome::ePassed), all, rest, report.seconds);
}

json reportJson(const Report& report) {
  json checks = json::array();
  for (const Result& result : report.results) {
    checks.push_back({{"name", result.check->name},
                      {"title", result.check->title},
                      {"result", outcomeWord(result.outcome)},
                      {"seconds", result.seconds},
                      {"evidence", result.evidence},
                      {"advice", result.advice},
                      {"notes", result.notes},
                      {"output", result.output}});
  }
  return {{"format", "lipc-validate"},
          {"version", 1},
          {"library", report.library},
          {"certified", report.isCertified()},
          {"passed", report.count(eOutcome::ePassed)},
          {"failed", report.count(eOutcome::eFailed)},
          {"skipped", report.count(eOutcome::eSkipped)},
          {"seconds", report.seconds},
          {"checks", std::move(checks)}};
}

std::string reportJUnit(const Report& report) {
  const std::string counts =
      fmt::format("tests=\"{}\" failures=\"{}\" errors=\"0\" skipped=\"{}\" time=\"{:.3f}\"",
                  report.results.size(), report.count(eOutcome::eFailed),
                  report.count(eOutcome::eSkipped), report.seconds);
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites " + counts +
                     ">\n  <testsuite name=\"lipc validate " + escaped(report.library) + "\" " +
                     counts + ">\n";
  for (const Result& result : report.results)
    text += testCase(result);
  return text + "  </testsuite>\n</testsuites>\n";
}

}  // namespace tools::validate
