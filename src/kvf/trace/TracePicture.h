#ifndef VELOX_KVF_TRACE_TRACEPICTURE_H
#define VELOX_KVF_TRACE_TRACEPICTURE_H

#include <string>

#include "kvf/trace/StartTrace.h"

/// The trace as an element <svg> for an HTML page: along one axis of time the phases, the JVM's
/// creation, when classes were loaded and from where, initialisers and collections.
std::string tracePicture(const StartTrace& trace);

#endif
