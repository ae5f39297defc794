#ifndef VELOX_NATIVE_APPLICATION_H
#define VELOX_NATIVE_APPLICATION_H

/*
 * The contract between the wrapper and a native application: a shared library, in C or C++, that
 * defines the three functions below. The property application.library names it. The functions may
 * be spread over several libraries, named with ":" between them.
 *
 * The wrapper calls RegisterWrapperEntryPoints once, right after loading, whatever its command is;
 * to run the application it then calls AppMain on its main thread. The result of AppMain is the
 * wrapper's exit status. No C++ exception may leave any of the functions.
 */

#ifdef __cplusplus
extern "C" {
#endif

/* NOLINTNEXTLINE(modernize-use-using): C reads this, too */
typedef enum SERVICE_STATE {
  SERVICE_STATE_STOPPED = 1,
  SERVICE_STATE_START_PENDING = 2,
  SERVICE_STATE_STOP_PENDING = 3,
  SERVICE_STATE_RUNNING = 4
} SERVICE_STATE;

/* Runs the application. argv belongs to the wrapper and lives until the return: the program as it
 * was typed, the arguments of the command line that are no switches, and those of the property
 * application.args. */
int AppMain(int argc, char** argv);

/* Asks the application to stop, on another thread while AppMain runs: at the first of the signals
 * that the property application.stop.signals names. Without it the wrapper never calls this. */
void AppStop(void);

/* Hands over the function through which the application may report its state. It may be kept and
 * called at any time; without a service manager it does nothing. */
void RegisterWrapperEntryPoints(void (*setServiceState)(SERVICE_STATE state));

#ifdef __cplusplus
}
#endif

#endif
