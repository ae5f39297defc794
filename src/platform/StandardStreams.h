#ifndef VELOX_PLATFORM_STANDARDSTREAMS_H
#define VELOX_PLATFORM_STANDARDSTREAMS_H

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed, so that no file takes its
/// place and receives what is printed.
void openClosedStandardStreams();

#endif
