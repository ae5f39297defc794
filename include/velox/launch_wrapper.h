#ifndef VELOX_LAUNCH_WRAPPER_H
#define VELOX_LAUNCH_WRAPPER_H

/// The whole launcher, for a host program that links it in: reads the command line and the
/// properties file and does what they say. A run that names no Java application and no native
/// library calls applicationMain with the application's arguments. Returns the exit status; fatal
/// errors, exhausted memory among them, end the process with a message and status 255.
///
/// It may run argv[0] again with the same arguments and one more, as a child that it waits for and
/// in place of this process, and it changes the environment and the working directory. So call it
/// once, first thing in main, with main's own argc and argv, before there are other threads.
///
/// Either function may be null. applicationMain must not throw; applicationStop is kept for a
/// service manager and not called today.
int LaunchWrapper(int argc, char** argv, int (*applicationMain)(int, char**),
                  void (*applicationStop)());

#endif
