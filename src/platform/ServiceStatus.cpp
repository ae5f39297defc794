#include "platform/ServiceStatus.h"

void SetServiceState(SERVICE_STATE /*state*/) {}
