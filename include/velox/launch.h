#ifndef VELOX_LAUNCH_H
#define VELOX_LAUNCH_H

/*
 * The whole launcher inside a host program: in C, in C++, or in another language by its foreign
 * function interface.
 */

#define VELOX_PUBLIC __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Reads the command line and the properties file and does what they say. A run that names no Java
 * application and no native library calls application_main with the application's arguments, on the
 * calling thread. Returns the exit status: the result of application_main where that was called.
 *
 * Ends the process, with a message on standard output: with status 255 on fatal errors and when
 * memory is exhausted, with status 1 where --kill cannot do its work. A Java application that exits
 * by itself ends the process with its status; a signal ends it as it would end the program wrapper.
 * No C++ exception leaves it, and none may leave the two functions.
 *
 * Call it once in a process, first thing in main, with main's own argc and argv, before there are
 * other threads. It may run argv[0] again with the same arguments and one more, as a child that it
 * waits for, in which it does not return, and in place of this process; it changes the environment
 * and the working directory. So a host that is a script must be executable, and pass the path of
 * the script as argv[0].
 *
 * argv stays the caller's and is not changed. The vector that application_main gets is the
 * launcher's and lives until application_main returns.
 *
 * application_stop is called on another thread, at most once, while application_main runs: at the
 * first of the signals that the property application.stop.signals names. It asks application_main
 * to return; velox_launch waits for both. Either function may be null.
 */
VELOX_PUBLIC int velox_launch(int argc, char** argv, int (*application_main)(int argc, char** argv),
                              void (*application_stop)(void)); /* NOLINT: C reads this, too */

#ifdef __cplusplus
}
#endif

#endif
