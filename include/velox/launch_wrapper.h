#ifndef VELOX_LAUNCH_WRAPPER_H
#define VELOX_LAUNCH_WRAPPER_H

/// The whole launcher, for a host program that links it in: reads the command line and the
/// properties file and does what they say. A run that names no Java application and no native
/// library calls applicationMain with the application's arguments. Returns the exit status; fatal
/// errors end the process, and exhausted memory leaves as a C++ exception.
///
/// Either function may be null; the stop function is kept for a service manager and not called
/// today. Call it on the main thread, once.
int LaunchWrapper(int argc, char** argv, int (*applicationMain)(int, char**),
                  void (*applicationStop)());

#endif
