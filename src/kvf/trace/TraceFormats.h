#ifndef VELOX_KVF_TRACE_TRACEFORMATS_H
#define VELOX_KVF_TRACE_TRACEFORMATS_H

#include <string>
#include <string_view>

#include "kvf/trace/StartTrace.h"

/// A trace for its readers.

/// Tables for a terminal.
std::string traceTables(const StartTrace& trace);
/// One HTML file with a picture and the tables; it needs nothing else.
std::string tracePage(const StartTrace& trace);
/// The trace event format, as chrome://tracing and Perfetto show it. Times are in microseconds.
std::string traceEvents(const StartTrace& trace);

/// True for what the last two have written, which another trace may replace.
bool isTraceFile(std::string_view text);

/// "1234.5 ms".
std::string inMilliseconds(TraceTime time);
/// "tracing added 12 ms to 480 ms (...)".
std::string costText(const TraceCost& cost);

#endif
