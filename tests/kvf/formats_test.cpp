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

}  // namespace
