#ifndef VELOX_PLATFORM_SERVICESTATUS_H
#define VELOX_PLATFORM_SERVICESTATUS_H

#include "velox/native_application.h"

/// Reports the service state to a service manager; there is none to tell on this platform.
void SetServiceState(SERVICE_STATE state);

#endif
