#include <sstream>

#include "kvf/text/MarkupText.h"
#include "kvf/text/Text.h"
#include "kvf/trace/TraceFormats.h"
#include "kvf/trace/TracePicture.h"

namespace {

constexpr std::string_view head =
    "<!DOCTYPE html>\n<!-- kvf trace -->\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "style-src 'unsafe-inline'\">\n<title>";
constexpr std::string_view style =
    "</title>\n<style>\n"
    "body { font: 14px/1.45 system-ui, sans-serif; margin: 24px auto; max-width: 1240px; "
    "color: #222; background: #fff; }\n"
    "h1 { font-size: 20px; margin: 0 0 4px; } p { margin: 2px 0 14px; }\n"
    "svg { width: 100%; height: auto; font: 12px system-ui, sans-serif; }\n"
    ".lane { text-anchor: end; font-weight: 600; } .note { text-anchor: end; fill: #666; }\n"
    ".tick { text-anchor: middle; fill: #666; } .grid { stroke: #e4e4e4; }\n"
    ".inside { fill: #fff; pointer-events: none; } .legend { fill: #333; }\n"
    ".before { text-anchor: end; fill: #333; }\n"
    "pre { font: 13px/1.4 ui-monospace, monospace; overflow-x: auto; }\n"
    "</style>\n</head>\n<body>\n";

}  // namespace

std::string tracePage(const StartTrace& trace) {
  const std::string subject = markupText(trace.subject);
  std::string tables;
  std::istringstream lines(traceTables(trace));
  for (std::string line; std::getline(lines, line);) tables += markupText(line) + "\n";
  return concat({head, "Start of ", subject, style, "<h1>", subject, "</h1>\n<p>",
                 inMilliseconds(trace.end), " from the launcher's start until ",
                 markupText(trace.mark), "</p>\n", tracePicture(trace), "<pre>\n", tables,
                 "</pre>\n</body>\n</html>\n"});
}
