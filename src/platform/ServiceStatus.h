#ifndef VELOX_PLATFORM_SERVICESTATUS_H
#define VELOX_PLATFORM_SERVICESTATUS_H

#include "velox/native_application.h"

/// Reports the service state to a service manager; this platform has none.
void SetServiceState(SERVICE_STATE state);

#endif
