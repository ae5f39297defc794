#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kvf/launch/Inspector.h"
#include "kvf/report/FindingFormats.h"
#include "kvf/rules/Check.h"
#include "support/Jdk.h"

namespace {

using nlohmann::json;

/// Two mistakes in the last line, after a letter of two bytes.
std::string text() {
  return "java.library=" + jvmLibrary() +
         "\nvelox.class.path.extended=" VELOX_PROBE_JAR
         "\njava.start.class=probe.Probe\njava.property.\xC3\xA4=%kvf.file.dir/<\xC3\xA4> \n";
}

/// The report on a file of that text.
std::string reportOn(const std::string& content, const char* format) {
  const std::string path = "/x y/\xC3\xA4,1.kvf";
  const Inspection inspection = inspectFile(path, {}, {{path, content}});
  return findFindingFormat(format)->text(check({&inspection, 1}, {}), {.root = "/x y"});
}

/// The report on a command line.
std::string reportOn(const std::vector<std::string>& commandLine, const char* format) {
  const Inspection inspection = inspectCommandLine(commandLine);
  return findFindingFormat(format)->text(check({&inspection, 1}, {}), {});
}

TEST(FindingFormats, AgreeOnEveryFinding) {
  const std::string blank =
      "the value ends with 1 blank, kept as a part of it: remove what is not meant, or write ";
  const std::string open = " is not closed and stays as it is: write ";
  EXPECT_EQ(reportOn(text(), "text"), "\xC3\xA4,1.kvf:4: warning: " + blank +
                                          "\"\\ \" for one that is [trailing-blank]\n" +
                                          "\xC3\xA4,1.kvf:4: error: the reference %kvf.file.dir" +
                                          open + "%kvf.file.dir% [open-reference]\n");
  EXPECT_EQ(reportOn(text(), "gcc"), "\xC3\xA4,1.kvf:4:34: warning: " + blank +
                                         "\"\\ \" for one that is [trailing-blank]\n" +
                                         "\xC3\xA4,1.kvf:4:17: error: the reference %kvf.file.dir" +
                                         open + "%kvf.file.dir% [open-reference]\n");
  EXPECT_EQ(reportOn(text(), "github"),
            "::warning file=\xC3\xA4%2C1.kvf,line=4,endLine=4,col=34,endColumn=35,"
            "title=kvf trailing-blank::" +
                blank + "\"\\ \" for one that is\n" +
                "::error file=\xC3\xA4%2C1.kvf,line=4,endLine=4,col=17,endColumn=30,"
                "title=kvf open-reference::the reference %25kvf.file.dir" +
                open + "%25kvf.file.dir%25\n");
  EXPECT_EQ(reportOn(text(), "checkstyle"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<checkstyle version=\"4.3\">\n"
            "  <file name=\"\xC3\xA4,1.kvf\">\n"
            "    <error line=\"4\" column=\"34\" severity=\"warning\" message=\"" +
                blank +
                "&quot;\\ &quot; for one that is\" source=\"kvf.trailing-blank\"/>\n"
                "    <error line=\"4\" column=\"17\" severity=\"error\" "
                "message=\"the reference %kvf.file.dir" +
                open +
                "%kvf.file.dir%\" source=\"kvf.open-reference\"/>\n"
                "  </file>\n</checkstyle>\n");
  const json gitlab = json::parse(reportOn(text(), "gitlab")).at(1);
  EXPECT_EQ(gitlab["check_name"], "open-reference");
  EXPECT_EQ(gitlab["severity"], "major");
  EXPECT_EQ(gitlab["location"],
            json::parse("{\"path\": \"\xC3\xA4,1.kvf\", \"lines\": {\"begin\": 4}}"));
}

TEST(FindingFormats, SarifHasRulesPlacesAndFixes) {
  const json run = json::parse(reportOn(text(), "sarif")).at("runs").at(0);
  EXPECT_EQ(run["originalUriBaseIds"]["ROOT"]["uri"], "file:///x%20y/");
  const json& result = run["results"].at(1);
  EXPECT_EQ(run["tool"]["driver"]["rules"][result["ruleIndex"].get<std::size_t>()]["id"],
            "open-reference");
  EXPECT_EQ(result["level"], "error");
  const json artifact = {{"uri", "%C3%A4,1.kvf"}, {"uriBaseId", "ROOT"}};
  const json& physical = result["locations"][0]["physicalLocation"];
  EXPECT_EQ(physical["artifactLocation"], artifact);
  EXPECT_EQ(physical["region"],
            json({{"startLine", 4}, {"startColumn", 17}, {"endLine", 4}, {"endColumn", 30}}));
  const json& change = result["fixes"][0]["artifactChanges"][0];
  EXPECT_EQ(change["artifactLocation"], artifact);
  EXPECT_EQ(change["replacements"][0],
            json({{"deletedRegion",
                   {{"startLine", 4}, {"startColumn", 30}, {"endLine", 4}, {"endColumn", 30}}},
                  {"insertedContent", {{"text", "%"}}}}));
}

TEST(FindingFormats, FingerprintsOutliveChangesElsewhere) {
  const auto fingerprints = [](const std::string& content) {
    std::vector<std::string> all;
    for (const json& one : json::parse(reportOn(content, "gitlab")))
      all.push_back(one["fingerprint"]);
    return all;
  };
  const std::string two = text() + "java.property.b = c\njava.property.b.c = d\n";
  const auto before = fingerprints(two);
  EXPECT_EQ(before, fingerprints("# Above.\n" + two + "# Below.\n"));
  EXPECT_EQ(std::set(before.begin(), before.end()).size(), before.size());
}

TEST(FindingFormats, TheCommandLineIsNotAFile) {
  const std::vector<std::string> line = {"wrapper", "--propfile", "app.kvf"};
  EXPECT_TRUE(reportOn(line, "gcc").starts_with("command line:1: error: "));
  EXPECT_TRUE(reportOn(line, "github").starts_with("::error title=kvf unknown-switch::command "));
  const json location =
      json::parse(reportOn(line, "sarif"))["runs"][0]["results"][0]["locations"][0];
  EXPECT_EQ(location["logicalLocations"][0]["fullyQualifiedName"], "command line:1");
}

TEST(FindingFormats, TheProblemMatcherTakesWhatIsPrinted) {
  std::ifstream file(VELOX_PROBLEM_MATCHER);
  const json pattern = json::parse(file)["problemMatcher"][0]["pattern"][0];
  const std::regex matcher(pattern["regexp"].get<std::string>());
  for (const char* format : {"text", "gcc"}) {
    std::istringstream lines(reportOn(text(), format));
    std::string line;
    for (std::size_t count = 0; std::getline(lines, line); ++count) {
      std::smatch match;
      ASSERT_TRUE(std::regex_match(line, match, matcher)) << line;
      const auto part = [&](const char* name) {
        return match.str(pattern[name].get<std::size_t>());
      };
      EXPECT_EQ(part("file"), "\xC3\xA4,1.kvf");
      EXPECT_EQ(part("line"), "4");
      EXPECT_EQ(part("column"), format == std::string("text") ? "" : count == 0 ? "34" : "17");
      EXPECT_EQ(part("severity"), count == 0 ? "warning" : "error");
      EXPECT_EQ(part("code"), count == 0 ? "trailing-blank" : "open-reference");
      EXPECT_TRUE(part("message").starts_with("the ")) << line;
    }
  }
  const std::string argument = reportOn(std::vector<std::string>{"wrapper", "--propfile"}, "gcc");
  EXPECT_FALSE(std::regex_search(argument, matcher));
}

/// A line, and the place of the finding of a rule in it: columns in characters.
struct PlaceRow {
  std::string lines;  ///< from line 4 on
  const char* rule;
  std::size_t line, column, endLine, endColumn;
};

const PlaceRow placeRows[] = {
    {"x=%kvf.file.dir/\n", "open-reference", 4, 3, 4, 16},
    {"java.property.a\t=\t%kvf.file.dir/x\n", "open-reference", 4, 19, 4, 32},
    {"\xF0\x9F\x98\x80\xF0\x9F\x98\x80.x=%kvf.file.dir\r\n", "open-reference", 4, 6, 4, 19},
    {"\xF0\x9F\x98\x80\xF0\x9F\x98\x80.x=\xC3\xA4 \r\n", "trailing-blank", 4, 7, 4, 8},
    // Each byte that is not UTF-8 is one.
    {"java.property.\xFF\xFF=\xC0%kvf.file.dir \n", "open-reference", 4, 19, 4, 32},
    {"java.property.\xFF\xFF=\xC0%kvf.file.dir \n", "trailing-blank", 4, 32, 4, 33},
    {"a=b\rword\rc=%kvf.file.dir\r", "open-reference", 4, 12, 4, 25},
    {"x=one\\\n   \xC3\xA4two%kvf.file.dir\n", "open-reference", 5, 8, 5, 21},
    {"word\xC3\xA4", "no-separator", 4, 1, 4, 6},
    // Two in one line, of which the first ends after the second begins.
    {"application.args=%a%b 5%\xC3\xA4 6% \n", "percent-pair", 4, 24, 4, 29},
};

TEST(FindingFormats, EachHasTheSamePlaceWhateverTheLineHolds) {
  const std::string sound = "java.library=" + jvmLibrary() +
                            "\nvelox.class.path.extended=" VELOX_PROBE_JAR
                            "\njava.start.class=probe.Probe\n";
  for (const PlaceRow& row : placeRows) {
    SCOPED_TRACE(row.rule + (": " + row.lines));
    const std::string all = sound + row.lines;
    const auto number = [](std::size_t value) { return std::to_string(value); };
    const std::string rule = row.rule;

    const json findings = json::parse(reportOn(all, "json")).at("findings");
    const auto isIt = [&](const json& one) { return one.at("rule") == rule; };
    const auto finding = std::find_if(findings.begin(), findings.end(), isIt);
    ASSERT_NE(finding, findings.end()) << findings.dump(2);
    EXPECT_EQ(finding->at("line"), row.line);
    EXPECT_EQ(finding->at("column"), row.column);
    EXPECT_EQ(finding->at("endLine"), row.endLine);
    EXPECT_EQ(finding->at("endColumn"), row.endColumn);

    json region;
    const json sarif = json::parse(reportOn(all, "sarif"));
    for (const json& result : sarif["runs"][0]["results"])
      if (region.is_null() && result["ruleId"] == rule)
        region = result["locations"][0]["physicalLocation"]["region"];
    EXPECT_EQ(region, json({{"startLine", row.line},
                            {"startColumn", row.column},
                            {"endLine", row.endLine},
                            {"endColumn", row.endColumn}}));

    const struct {
      const char* format;
      std::string text;
    } parts[] = {
        {"gcc", "kvf:" + number(row.line) + ":" + number(row.column) + ": "},
        {"github", ",line=" + number(row.line) + ",endLine=" + number(row.endLine) +
                       ",col=" + number(row.column) + ",endColumn=" + number(row.endColumn) +
                       ",title=kvf " + rule + "::"},
        {"checkstyle",
         "<error line=\"" + number(row.line) + "\" column=\"" + number(row.column) + "\" "},
    };
    for (const auto& part : parts) {
      const std::string report = reportOn(all, part.format);
      EXPECT_NE(report.find(part.text), std::string::npos) << part.text << "\n" << report;
    }
  }
}

TEST(FindingFormats, NoNameOfAFileBreaksAReport) {
  const std::string path = "/x/od\x01\nd\xFF<&>\"\xC3\xA9%,::'.kvf";
  const Inspection inspection = inspectFile(path, {}, {{path, "word\x01\xFF<&>]]>\n"}});
  const auto report = [&](const char* format) {
    return findFindingFormat(format)->text(check({&inspection, 1}, {}), {.root = "/x"});
  };
  for (const char* format : {"json", "sarif", "gitlab"})
    EXPECT_FALSE(json::parse(report(format)).empty()) << format;
  for (const char* format : {"text", "gcc", "checkstyle"}) {
    const std::string text = report(format);
    EXPECT_NE(text.find("od\\x01\\nd\\xff"), std::string::npos) << text;
    const auto isControl = [](char c) { return c >= 0 && c < ' ' && c != '\n'; };
    EXPECT_EQ(std::count_if(text.begin(), text.end(), isControl), 0) << text;
  }
  EXPECT_NE(report("checkstyle").find("xff&lt;&amp;&gt;&quot;\xC3\xA9%,::"), std::string::npos);
  EXPECT_NE(report("github").find("od\x01%0Ad\xFF<&>\"\xC3\xA9%25%2C%3A%3A'.kvf,line=1"),
            std::string::npos)
      << report("github");
  EXPECT_NE(report("sarif").find("\"od%01%0Ad%FF%3C&%3E%22%C3%A9%25,%3A%3A'.kvf\""),
            std::string::npos);
}

}  // namespace
