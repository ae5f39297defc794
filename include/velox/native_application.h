#ifndef VELOX_NATIVE_APPLICATION_H
#define VELOX_NATIVE_APPLICATION_H

/*
 * The contract between the wrapper and a native application: a shared library, in C or C++, that
 * defines the three functions below. The property application.library names it. The functions may
 * be spread over several libraries, named with ":" between them.
 *
 * The wrapper calls RegisterWrapperEntryPoints once, right after loading, then AppMain on its main
 * thread. The result of AppMain is the wrapper's exit status.
 */

#ifdef __cplusplus
extern "C" {
#endif

typedef enum SERVICE_STATE { /* NOLINT(modernize-use-using): C reads this too */
                             SERVICE_STATE_STOPPED = 1,
                             SERVICE_STATE_START_PENDING = 2,
                             SERVICE_STATE_STOP_PENDING = 3,
                             SERVICE_STATE_RUNNING = 4
} SERVICE_STATE;

/* Runs the application. argv holds argc texts that belong to the wrapper and live until the return;
 * argv[0] is the program as it was typed. */
int AppMain(int argc, char** argv);

/* Asks the application to stop; may be called on another thread while AppMain runs. */
void AppStop(void);

/* Hands over the function through which the application may report its state. It may be kept and
 * called at any time; without a service manager it does nothing. */
void RegisterWrapperEntryPoints(void (*setServiceState)(SERVICE_STATE state));

#ifdef __cplusplus
}
#endif

#endif
