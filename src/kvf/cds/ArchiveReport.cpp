#include "kvf/cds/ArchiveReport.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

Json asJson(const Quartiles& quartiles) {
  return {{"low", quartiles.low}, {"median", quartiles.median}, {"high", quartiles.high}};
}

Json asJson(const StartVariant& variant, const StartTimes& times) {
  Json json = {{"name", variant.name}, {"archiveBytes", variant.archiveBytes}};
  if (!times.failure.empty()) {
    json["failure"] = times.failure;
    return json;
  }
  json["seconds"] = asJson(times.seconds);
  json["ratio"] = asJson(times.ratio);
  json["processorSeconds"] = times.processorSeconds;
  return json;
}

}  // namespace

Json asJson(const ArchiveReport& report) {
  Json kinds = Json::array();
  for (const ArchiveReport::Kind& kind : report.kinds) {
    kinds.push_back(
        {{"kind", kind.name}, {"made", kind.failure.empty()}, {"failure", kind.failure}});
  }
  Json starts = Json::array();
  for (std::size_t i = 0; i < report.times.size(); ++i)
    starts.push_back(asJson(report.variants[i], report.times[i]));
  Json chosen;
  if (report.chosen) {
    chosen = {{"kind", report.chosen->kind},
              {"archive", report.chosen->archive},
              {"bytes", report.chosen->bytes},
              {"options", report.chosen->options}};
  }
  return {{"file", report.file},
          {"java", {{"version", report.javaVersion}, {"library", report.javaLibrary}}},
          {"kinds", kinds},
          {"starts", starts},
          {"chosen", chosen},
          {"why", report.why},
          {"line", report.line},
          {"written", report.written},
          {"unwritten", report.unwritten}};
}
