#include "logging/ServiceUtils.h"

WString ServiceUtils::s_BinaryPath;
